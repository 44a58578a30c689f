#include "zam/foundation/paths.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "zam/foundation/no_throw.h"
#include "zam/platform/case_mapping.h"

namespace ZaM {

namespace {

using View = std::u16string_view;

constexpr wchar separator = u'\\';
constexpr std::size_t bufferSize = 260;  // units of a caller's buffer, terminator included

View FolderOf(View path) {
  std::size_t const end = path.rfind(separator);
  return end == View::npos ? View() : path.substr(0, end);
}

bool EqualsWithoutCase(wchar a, wchar b) {
  return platform::LowerCase(a) == platform::LowerCase(b);
}

bool EndsPart(View path, std::size_t at) {
  return at == path.size() || path[at] == separator;
}

/// Units of the root with its separator: `\` 1, `C:\` 3, `\\` of a network name 2; 0 for a relative path.
std::size_t RootLength(View path) {
  if (path.starts_with(u"\\\\")) return 2;
  if (path.starts_with(separator)) return 1;
  return path.size() > 2 && path[1] == u':' && path[2] == separator ? 3 : 0;
}

std::size_t CommonLength(View a, View b) {
  std::size_t const root = RootLength(a);
  if (RootLength(b) != root) return 0;
  std::size_t length = 0;
  for (std::size_t n = 0;; ++n) {
    if (EndsPart(a, n) && EndsPart(b, n)) length = n;
    bool const rootEnds = n == root && n > 0;
    if (rootEnds) length = n;
    if (n == a.size() || n == b.size() || !EqualsWithoutCase(a[n], b[n])) break;
  }
  while (length > root && a[length - 1] == separator) --length;
  bool const halfARoot = length < root;
  bool const networkAlone = root == 2 && length == 2;
  return halfARoot || networkAlone ? 0 : length;
}

View WithoutSeparators(View path) {
  return path.substr(std::min(path.find_first_not_of(separator), path.size()));
}

std::size_t CountParts(View path) {
  std::size_t count = 0;
  for (path = WithoutSeparators(path); !path.empty(); ++count) {
    path = WithoutSeparators(path.substr(std::min(path.find(separator), path.size())));
  }
  return count;
}

wstring RelativePath(View from, View to) {
  std::size_t const common = CommonLength(from, to);
  if (common == 0) return {};
  std::size_t const levels = CountParts(from.substr(common));
  wstring path = levels == 0 ? u"." : u"..";
  for (std::size_t n = 1; n < levels; ++n) path += u"\\..";
  if (View const rest = WithoutSeparators(to.substr(common)); !rest.empty()) path.append(1, separator).append(rest);
  return path;
}

/// A part of a path would be another path, so what has no room is left out.
void Store(View text, wchar* result) {
  if (result == nullptr) return;
  if (text.size() >= bufferSize) text = View();
  *std::copy(text.begin(), text.end(), result) = u'\0';
}

}  // namespace

wstring GetFolder(wstring const& path) noexcept {
  return detail::ResultOr(wstring(), [&] { return wstring(FolderOf(path)); });
}

wstring ZamGetDirectoryFromFilename(wstring path) noexcept {
  return GetFolder(path);
}

wstring GetPureFileName(wstring const& path) noexcept {
  return detail::ResultOr(wstring(), [&] { return path.substr(path.rfind(separator) + 1); });  // npos + 1 is 0
}

bool CheckFolder(wstring const& path, wstring const& folder) noexcept {
  View const own = FolderOf(path);
  return std::equal(own.begin(), own.end(), folder.begin(), folder.end(), EqualsWithoutCase);
}

bool ZamPathRelativePathTo(wchar* result, wstring from, wstring to) noexcept {
  Store(detail::ResultOr(wstring(), [&] { return RelativePath(from, to); }), result);
  return true;
}

bool ZamPathCommonPrefix(wstring const& a, wstring const& b, wchar* result) noexcept {
  Store(View(a).substr(0, CommonLength(a, b)), result);
  return true;
}

}  // namespace ZaM
