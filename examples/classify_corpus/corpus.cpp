#include "corpus.h"

#include <algorithm>
#include <system_error>

#include "fold.h"
#include "interrupt.h"
#include "reading_error.h"
#include "run_error.h"
#include "utf8.h"

namespace classify {

namespace fs = std::filesystem;

namespace {

bool IsHidden(fs::path const& path) {
  return path.filename().native().starts_with('.');
}

void Sort(std::vector<fs::path>& paths) {
  std::sort(paths.begin(), paths.end(), [](auto const& a, auto const& b) { return a.native() < b.native(); });
}

// Where there is nothing to find out, the type `none` or `not_found`.
fs::file_status StatusOf(fs::directory_entry const& entry) {
  std::error_code error;
  fs::file_status const status = entry.status(error);
  if (error) CheckMayLeaveOut(entry.path(), error);
  return status;
}

std::vector<fs::path> ClassFolders(fs::path const& corpus, Notes& notes) {
  std::error_code error;
  std::vector<fs::path> folders;
  for (fs::directory_iterator entry(corpus, error), end; !error && entry != end; entry.increment(error)) {
    if (IsHidden(entry->path())) continue;
    if (StatusOf(*entry).type() == fs::file_type::directory) {
      folders.push_back(entry->path());
    } else {
      notes.Add("beside the class folders, left out", Printable(entry->path().filename().native()));
    }
  }
  if (error) throw RunError{"can't list the folder " + Printable(corpus.native()) + ": " + error.message()};
  Sort(folders);
  return folders;
}

// What a folder holds at any depth. Each level is read to its end before the next, so that few folders are open at
// once.
std::vector<fs::path> FilesBelow(fs::path const& classFolder, Notes& notes) {
  std::vector<fs::path> files;
  std::vector<fs::path> folders{classFolder};
  while (!folders.empty()) {
    fs::path const folder = std::move(folders.back());
    folders.pop_back();
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
      std::error_code unknown;
      StopIfInterrupted(CancelId::Reading);
      if (IsHidden(entry->path())) continue;
      fs::file_type const type = StatusOf(*entry).type();
      if (type == fs::file_type::regular) {
        files.push_back(entry->path());
      } else if (type == fs::file_type::directory && !entry->is_symlink(unknown)) {
        folders.push_back(entry->path());
      } else {
        notes.Add("neither file nor folder, left out", Printable(entry->path().native()));
      }
    }
    if (error) CheckMayLeaveOut(folder, error);
    if (error) notes.Add("folder that can't be listed, left out", Printable(folder.native()));
  }
  Sort(files);
  return files;
}

}  // namespace

std::string Corpus::NameOf(DocumentFile const& file) const {
  return Printable(file.path.lexically_relative(folder).native());
}

Corpus ListCorpus(fs::path const& folder, Notes& notes) {
  Corpus corpus{folder, {"-"}, {}};
  for (fs::path const& classFolder : ClassFolders(folder, notes)) {
    std::string const name = Printable(classFolder.filename().native());
    std::vector<fs::path> const files = FilesBelow(classFolder, notes);
    if (files.empty()) {
      notes.Add("class without a document, left out", name);
      continue;
    }
    auto const classId = static_cast<unsigned int>(corpus.classNames.size());
    corpus.classNames.push_back(name);
    for (fs::path const& file : files) corpus.files.push_back({file, classId, FoldOf(file.filename().native())});
  }
  if (corpus.ClassCount() == 0)
    throw RunError{Printable(folder.native()) + " holds no class: a class is a folder with documents in it"};
  return corpus;
}

}  // namespace classify
