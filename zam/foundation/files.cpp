#include "zam/foundation/files.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

#include "zam/foundation/no_throw.h"
#include "zam/platform/delete_tree.h"
#include "zam/platform/entries.h"

namespace ZaM {

namespace {

bool MakeFolders(std::u16string_view path) {
  std::vector<std::size_t> missing;  // lengths of the paths, the topmost last
  for (std::size_t length = path.size(); length > 0;) {
    auto const status = platform::StatusOf(path.substr(0, length));
    if (status && status->isFolder) break;
    missing.push_back(length);
    std::size_t const end = path.substr(0, length).find_last_of(u"\\/");
    length = end == std::u16string_view::npos ? 0 : end;
  }
  // A folder may be there by now: under another name of its own, such as one with a separator at its end, or because
  // somebody else wanted it too.
  return std::all_of(missing.rbegin(), missing.rend(), [&](std::size_t length) {
    std::u16string_view const folder = path.substr(0, length);
    if (platform::MakeFolder(folder)) return true;
    auto const status = platform::StatusOf(folder);
    return status && status->isFolder;
  });
}

bool IsReadOnly(wstring const& path) {
  auto const status = platform::StatusOf(path);
  return status && !status->isFolder && !status->isWritable;
}

}  // namespace

bool ZamFileExists(wstring const& path) noexcept {
  return detail::ResultOr(false, [&] {
    auto const status = platform::StatusOf(path);
    return status && !status->isFolder;
  });
}

bool ZamFolderExists(wstring const& path) noexcept {
  return detail::ResultOr(false, [&] {
    auto const status = platform::StatusOf(path);
    return status && status->isFolder;
  });
}

std::int32_t ZamGetFileTime(wstring const& path) noexcept {
  return detail::ResultOr(std::int32_t{0}, [&] {
    auto const status = platform::StatusOf(path);
    return status ? static_cast<std::int32_t>(status->writeTime) : 0;
  });
}

bool FileIsNewerByDate(wstring const& a, wstring const& b) noexcept {
  return detail::ResultOr(false, [&] {
    auto const statusOfB = platform::StatusOf(b);
    if (!statusOfB) return true;
    auto const statusOfA = platform::StatusOf(a);
    return statusOfA && statusOfA->writeTime > statusOfB->writeTime;
  });
}

bool CreateFolder(wstring path) noexcept {
  return detail::ResultOr(false, [&] { return MakeFolders(path); });
}

bool ZamCopyFile(wstring const& source, wstring const& target, bool failIfExists) noexcept {
  return detail::ResultOr(false, [&] {
    if (!failIfExists && IsReadOnly(target)) platform::MakeWritable(target);
    return platform::CopyFile(source, target, {.failIfExists = failIfExists, .makeWritable = true});
  });
}

bool ZamDeleteFile(wstring const& path) noexcept {
  return detail::ResultOr(false, [&] { return platform::RemoveFile(path); });
}

bool ZamMoveFile(wstring const& source, wstring const& target) noexcept {
  return detail::ResultOr(false, [&] { return platform::Move(source, target); });
}

int ZamRmDir(wstring const& path) noexcept {
  return detail::ResultOr(-1, [&] { return platform::RemoveEmptyFolder(path) ? 0 : -1; });
}

bool ZamDelTree(wstring const& path) noexcept {
  return detail::ResultOr(false, [&] { return platform::DeleteTree(path); });
}

}  // namespace ZaM
