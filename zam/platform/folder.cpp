#include "zam/platform/folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>

#include "zam/platform/case_mapping.h"
#include "zam/platform/descriptor.h"
#include "zam/platform/files.h"

namespace ZaM::platform {

namespace {

/// Goes back to the last `*` alone: an earlier one could only take what this one can take too. So the time is at most
/// the product of both lengths.
bool Matches(std::u16string_view pattern, std::u16string_view name) {
  std::size_t at = 0;
  std::size_t afterStar = std::u16string_view::npos;
  std::size_t starEnd = 0;
  for (std::size_t n = 0; n < name.size();) {
    if (at < pattern.size() && pattern[at] == u'*') {
      afterStar = ++at;
      starEnd = n;
    } else if (at < pattern.size() && (pattern[at] == u'?' || LowerCase(pattern[at]) == LowerCase(name[n]))) {
      ++at;
      ++n;
    } else if (afterStar != std::u16string_view::npos) {
      at = afterStar;
      n = ++starEnd;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of(u'*', at) == std::u16string_view::npos;
}

/// Nothing for an entry that is gone by now.
std::optional<FolderEntry> EntryOf(int folder, std::string const& native, std::u16string name) {
  struct stat status = {};
  bool const found = fstatat(folder, native.c_str(), &status, 0) == 0 ||
                     fstatat(folder, native.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  if (!found) return std::nullopt;
  FolderEntry entry;
  entry.isReadOnly = (status.st_mode & S_IWUSR) == 0;
  entry.isHidden = native.front() == '.' && native != "." && native != "..";
  entry.isFolder = S_ISDIR(status.st_mode);
  entry.changeTime = status.st_ctime;
  entry.accessTime = status.st_atime;
  entry.writeTime = status.st_mtime;
  entry.size = static_cast<std::uint64_t>(status.st_size);
  entry.name = std::move(name);
  return entry;
}

}  // namespace

std::vector<FolderEntry> SearchFolder(std::u16string_view pattern) {
  std::size_t const separator = pattern.find_last_of(u"\\/");
  std::u16string_view const path = separator == std::u16string_view::npos ? u"." : pattern.substr(0, separator + 1);
  pattern.remove_prefix(separator + 1);  // npos + 1 is 0
  if (pattern == u"*.*") pattern = u"*";

  Descriptor const folder(open(OpenablePath(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  auto names = folder.IsOpen() ? NamesInFolder(folder.Number()) : std::nullopt;
  if (!names) return {};
  names->insert(names->begin(), {".", ".."});

  std::vector<FolderEntry> entries;
  for (std::string const& native : *names) {
    std::u16string name = WidePath(native);
    if (!Matches(pattern, name)) continue;
    if (auto entry = EntryOf(folder.Number(), native, std::move(name))) entries.push_back(std::move(*entry));
  }
  return entries;
}

std::optional<std::vector<std::string>> NamesInFolder(int folder) {
  // A second descriptor, since closing the stream closes the one it was made of.
  int const second = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  std::unique_ptr<DIR, int (*)(DIR*)> const stream(second < 0 ? nullptr : fdopendir(second), &closedir);
  if (stream == nullptr) {
    bool const lacksMemory = errno == ENOMEM;
    Descriptor const unused(second);
    if (lacksMemory) throw std::bad_alloc();
    return std::nullopt;
  }
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    dirent const* const entry = readdir(stream.get());
    if (entry == nullptr) break;
    std::string_view const name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  if (errno != 0) return std::nullopt;
  return names;
}

}  // namespace ZaM::platform
