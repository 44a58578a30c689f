#include "zam/foundation/hresult.h"

#include <cstddef>
#include <optional>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/foundation/format_text.h"
#include "zam/foundation/library_texts.h"
#include "zam/foundation/messages.h"

namespace ZaM {

namespace {

constexpr std::size_t capacity = 256;  // of the sentence, a terminator counted

std::optional<wstring>& PendingDescription() {
  thread_local std::optional<wstring> pending;
  return pending;
}

wchar const* DescriptionOf(std::uint32_t result) {
  switch (result) {
    case 0x8000FFFF:
      return u"Catastrophic failure";
    case 0x80004001:
      return u"Not implemented";
    case 0x80004002:
      return u"Interface not supported";
    case 0x80004003:
      return u"Pointer not valid";
    case 0x80004004:
      return u"Operation aborted";
    case 0x80004005:
      return u"Unspecified error";
    case 0x80070005:
      return u"General access denied";
    case 0x80070006:
      return u"Handle not valid";
    case 0x8007000E:
      return u"Out of memory";
    case 0x80070057:
      return u"One or more arguments are not valid";
    default:
      return u"Unknown error";
  }
}

}  // namespace

void SetErrorInfo(wstring const& description) {
  ReportOutOfMemory([&] { PendingDescription() = wstring(description); });
}

bool GetErrorInfo(wstring& description) {
  std::optional<wstring>& pending = PendingDescription();
  if (!pending) return false;
  description = *std::exchange(pending, std::nullopt);
  return true;
}

wstring HResultToString(std::int32_t hr, wstring location, wstring function) {
  auto const result = static_cast<std::uint32_t>(hr);
  wstring pending;
  bool const isPending = GetErrorInfo(pending);
  wchar const* const description = isPending ? pending.c_str() : DescriptionOf(result);
  return ReportOutOfMemory([&] {
    detail::FormatArgument const arguments[] = {location.c_str(), function.c_str(), description, result};
    auto const id = static_cast<unsigned int>(detail::Message::SystemException);
    wstring const frame = detail::LibraryTexts::Get().GetString(id);
    return detail::FormatText(frame, arguments, capacity);
  });
}

}  // namespace ZaM
