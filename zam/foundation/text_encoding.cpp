#include "zam/foundation/text_encoding.h"

#include "zam/foundation/create_counted.h"
#include "zam/foundation/error_ids.h"
#include "zam/foundation/exceptions.h"
#include "zam/platform/text_encoding.h"
#include "zam/platform/unicode.h"

namespace ZaM {

namespace {

using namespace std::string_view_literals;

constexpr auto utf8 = "UTF-8"sv;

struct Mark {
  std::string_view bytes;
  std::string_view encoding;
};

/// That of UTF-32 before that of UTF-16, which it begins with.
constexpr Mark marks[] = {{"\xEF\xBB\xBF"sv, utf8},
                          {"\xFF\xFE\0\0"sv, "UTF-32LE"sv},
                          {"\0\0\xFE\xFF"sv, "UTF-32BE"sv},
                          {"\xFF\xFE"sv, "UTF-16LE"sv},
                          {"\xFE\xFF"sv, "UTF-16BE"sv}};

std::optional<wstring> Decode(std::string_view bytes, std::string_view encoding) {
  if (encoding != utf8) return platform::DecodeBytes(bytes, encoding.data());
  return IsUtf8(bytes) ? std::optional(platform::Utf16FromUtf8(bytes)) : std::nullopt;
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  return ReportOutOfMemory([&] { return platform::Utf8FromUtf16(text); });
}

wstring FromUtf8(std::string_view bytes) {
  return ReportOutOfMemory([&] { return platform::Utf16FromUtf8(bytes); });
}

bool IsUtf8(std::string_view bytes) {
  return platform::IsUtf8(bytes);
}

std::optional<wstring> DecodeText(std::string_view bytes, std::string const& encoding) {
  return ReportOutOfMemory([&] {
    if (encoding.find('\0') != encoding.npos || !platform::IsEncoding(encoding.c_str()))
      throw BaseException(ErrorId::InvalidArgument, FromUtf8(encoding));
    for (Mark const& mark : marks) {
      if (bytes.starts_with(mark.bytes)) return Decode(bytes.substr(mark.bytes.size()), mark.encoding);
    }
    return Decode(bytes, encoding);
  });
}

}  // namespace ZaM
