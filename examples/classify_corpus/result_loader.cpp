#include "result_loader.h"

#include <zam/zam.h>

#include <optional>
#include <string>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "library_path.h"
#include "number_text.h"
#include "result_reader.h"
#include "run_error.h"
#include "utf8.h"

namespace classify {

namespace fs = std::filesystem;

namespace {

// Nothing where the library may try.
std::string WhyUnreadable(fs::path const& file) {
  std::error_code error;
  fs::file_status const status = fs::status(file, error);
  if (error) return error.message();
  if (fs::is_directory(status)) return "it is a folder";
  return LibraryPath(file) ? "" : "its name isn't UTF-8, or has a backslash";
}

Findings Read(fs::path const& file, Progress& progress) {
  std::string const name = Printable(file.native());
  if (std::string const reason = WhyUnreadable(file); !reason.empty())
    throw RunError{"can't read " + name + ": " + reason};
  ResultReader reader(name, progress);
  try {
    ZaM::XmlSaxParser().ParseFile(*LibraryPath(file), &reader);
  } catch (ZaM::FileIOException const& failure) {
    bool const isOpened = failure.GetErrorId() == ZaM::ErrorId::FileRead;
    throw RunError{"can't read " + name + ": " +
                   (isOpened ? "it can't be read to its end, or its compressed data is damaged"
                             : "it can't be opened, or is being written")};
  } catch (ZaM::LimitExceededException const& failure) {
    throw RunError{"can't read " + name + ": " + failure.what()};
  }
  return reader.Take();
}

/// Puts findings together, and sees to it that they belong together.
class Merger {
 public:
  void Add(fs::path const& file, Findings more);
  Findings Take() { return std::move(*whole); }

 private:
  void CheckAgreement(std::string const& file, Findings const& more) const;
  void Claim(std::string const& file, Findings const& more);

  std::optional<Findings> whole;                       // nothing before the first file
  std::string first;                                   // file
  std::unordered_map<std::string, std::string> files;  // where a document stands
};

void Merger::Add(fs::path const& file, Findings more) {
  std::string const name = Printable(file.native());
  if (whole) CheckAgreement(name, more);
  Claim(name, more);
  if (!whole) {
    whole = std::move(more);
    first = name;
    return;
  }
  whole->folds.insert(more.folds.begin(), more.folds.end());
  for (TestedDocument const& document : more.Tested())
    whole->Add(document.name, document.classId, document.fold, &document.Result());
}

void Merger::CheckAgreement(std::string const& file, Findings const& more) const {
  auto const require = [&](bool isEqual, char const* what) {
    if (!isEqual) throw RunError{file + " doesn't belong to " + first + ": " + what + " differ"};
  };
  require(more.ClassNames() == whole->ClassNames(), "the classes");
  require(more.documents == whole->documents, "the numbers of documents");
  require(more.settings == whole->settings, "the settings");
  for (auto const& [number, size] : more.folds) {
    auto const same = whole->folds.find(number);
    require(same == whole->folds.end() || same->second == size, "the sizes of a fold");
  }
}

void Merger::Claim(std::string const& file, Findings const& more) {
  for (TestedDocument const& document : more.Tested()) {
    auto const [place, isNew] = files.emplace(document.name, file);
    if (isNew) continue;
    std::string const where = place->second == file ? file + ", twice" : place->second + " and in " + file;
    throw RunError{"a document counts once, but " + document.name + " stands in " + where};
  }
}

void NoteMissing(Findings const& findings, Notes& notes) {
  std::map<unsigned int, std::uint64_t> present;
  for (TestedDocument const& document : findings.Tested()) ++present[document.fold];
  for (auto const& [number, size] : findings.folds) {
    if (present[number] == size.tested) continue;
    notes.Add("fold of which documents are missing in the files",
              std::to_string(number) + " has " + Grouped(present[number]) + " of " + Grouped(size.tested));
  }
}

}  // namespace

Findings LoadResults(std::vector<fs::path> const& files, Progress& progress, Notes& notes) {
  Merger merger;
  progress.Begin("loading", files.size());
  for (fs::path const& file : files) {
    merger.Add(file, Read(file, progress));
    progress.Step(CancelId::Reading);
  }
  Findings findings = merger.Take();
  findings.Sort();
  NoteMissing(findings, notes);
  return findings;
}

}  // namespace classify
