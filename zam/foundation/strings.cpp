#include "zam/foundation/strings.h"

#include <algorithm>
#include <bitset>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "zam/foundation/create_counted.h"
#include "zam/platform/case_mapping.h"
#include "zam/platform/unicode.h"

namespace ZaM {

namespace {

/// The part of a text that searches see.
std::u16string_view Terminated(std::u16string_view text) {
  return text.substr(0, text.find(u'\0'));
}

/// Finds one text in others, in time that follows the length of both alone (Knuth, Morris and Pratt): where a match
/// breaks off, its longest end that is also a beginning of what is sought goes on.
///
///     abab in abaabab: "aba" breaks off at the second a and goes on as "a".
class Finder {
 public:
  explicit Finder(std::u16string_view soughtText) : sought(soughtText), borders(sought.size() + 1) {
    for (std::size_t length = 1; length < sought.size(); ++length) {
      borders[length + 1] = Extended(borders[length], sought[length]);
    }
  }

  /// The first place at `from` or after; npos without one.
  [[nodiscard]] std::size_t Find(std::u16string_view text, std::size_t from) const {
    std::size_t matched = 0;
    for (std::size_t i = from; matched < sought.size(); ++i) {
      if (matched == 0) i = text.find(sought[0], i);
      if (i >= text.size()) return text.npos;
      matched = Extended(matched, text[i]);
      from = i + 1;
    }
    return from - sought.size();
  }

 private:
  /// The length of the match after `unit`, where `matched` units stand before it and aren't all.
  [[nodiscard]] std::size_t Extended(std::size_t matched, wchar unit) const {
    while (matched > 0 && sought[matched] != unit) matched = borders[matched];
    return sought[matched] == unit ? matched + 1 : 0;
  }

  std::u16string_view sought;
  std::vector<std::size_t> borders;  // by the length of a beginning: that of its longest end that is a beginning too
};

void MapCase(wchar* text, std::size_t length, wchar (*map)(wchar)) {
  std::transform(text, text + length, text, map);
}

wstring WithCase(wstring text, wchar (*map)(wchar)) {
  MapCase(text.data(), Terminated(text).size(), map);
  return text;
}

int MapCaseInBuffer(wchar* text, unsigned int size, wchar (*map)(wchar)) {
  if (!text) return EINVAL;
  wchar* const end = text + size;
  wchar* const terminator = std::find(text, end, u'\0');
  if (terminator == end) return EINVAL;
  MapCase(text, static_cast<std::size_t>(terminator - text), map);
  return 0;
}

}  // namespace

wstring Replace(wstring const& text, wstring const& search, wstring const& replacement) {
  return ReportOutOfMemory([&] {
    auto const searched = Terminated(text);
    auto const wanted = Terminated(search);
    if (wanted.empty()) return text;
    Finder const finder(wanted);
    wstring result;
    std::size_t done = 0;
    for (std::size_t found; (found = finder.Find(searched, done)) != searched.npos; done = found + wanted.size()) {
      result.append(text, done, found - done).append(replacement);
    }
    return result.append(text, done);
  });
}

wstring DeleteStr(wstring const& text, wstring const& characters) {
  return ReportOutOfMemory([&] {
    std::bitset<0x10000> deleted;
    for (wchar const unit : Terminated(characters)) deleted.set(unit);
    wstring result;
    std::ranges::remove_copy_if(text, std::back_inserter(result), [&](wchar unit) { return deleted[unit]; });
    return result;
  });
}

bool Split(wstring const& text, wstring const& separator, wstring& left, wstring& right) {
  auto const sought = Terminated(separator);
  return ReportOutOfMemory([&] {
    auto const found = Finder(sought).Find(Terminated(text), 0);
    if (found == wstring::npos) return false;
    wstring before(text, 0, found);
    wstring after(text, found + sought.size());
    left = std::move(before);
    right = std::move(after);
    return true;
  });
}

void SplitLocatorName(wstring name, wstring& first, wstring& second) {
  ReportOutOfMemory([&] {
    wstring after;
    auto const dot = Terminated(name).find(u'.');
    if (dot != wstring::npos && dot != 0) {
      after.assign(name, dot + 1);
      name.resize(dot);
    }
    first = std::move(name);
    second = std::move(after);
  });
}

std::int32_t GetNumCount(wstring text) {
  return static_cast<std::int32_t>(
      std::count_if(text.begin(), text.end(), [](wchar unit) { return unit >= u'0' && unit <= u'9'; }));
}

bool IsSeparator(wchar character, wstring const& separators) {
  bool const isIdeograph = character >= 0x4E00 && character <= 0x9FA5;
  return isIdeograph || Terminated(separators).find(character) != wstring::npos;
}

bool ConvertA2W(std::string const& text, wstring& result) {
  return ConvertA2W(text.c_str(), result);
}

bool ConvertA2W(char const* text, wstring& result) {
  if (!text) return false;
  result = ReportOutOfMemory([&] { return platform::Utf16FromUtf8(text); });
  return true;
}

bool ConvertW2A(wstring const& text, char* result, std::int32_t size) {
  if (!result || size <= 0) return false;
  std::string const bytes = ReportOutOfMemory([&] { return platform::Utf8FromUtf16(text); });
  if (bytes.size() >= static_cast<std::size_t>(size)) return false;
  *std::copy(bytes.begin(), bytes.end(), result) = '\0';
  return true;
}

bool ConvertW2A(wstring const& text, std::string& result) {
  result = ReportOutOfMemory([&] { return platform::Utf8FromUtf16(text); });
  return true;
}

wstring ZamStrToLower(wstring const& text) {
  return ReportOutOfMemory([&] { return WithCase(text, ZamToLower); });
}

wstring ZamStrToUpper(wstring const& text) {
  return ReportOutOfMemory([&] { return WithCase(text, ZamToUpper); });
}

int ZamChrToLower(wchar* text, unsigned int size) {
  return MapCaseInBuffer(text, size, ZamToLower);
}

int ZamChrToUpper(wchar* text, unsigned int size) {
  return MapCaseInBuffer(text, size, ZamToUpper);
}

wchar ZamToLower(wchar character) {
  return platform::LowerCase(character);
}

wchar ZamToUpper(wchar character) {
  return platform::UpperCase(character);
}

int ZamStrICmp(wchar const* a, wchar const* b) {
  for (;; ++a, ++b) {
    int const difference = ZamToLower(*a) - ZamToLower(*b);
    if (difference != 0 || *a == 0) return difference;
  }
}

}  // namespace ZaM
