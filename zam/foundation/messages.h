// The numbers and built-in texts of the library's own messages, both from the table in messages.def.
#ifndef ZAM_FOUNDATION_MESSAGES_H
#define ZAM_FOUNDATION_MESSAGES_H

#include <cstdint>
#include <span>
#include <string_view>

namespace ZaM::detail {

enum class Message : std::uint32_t {
  None = 0,
#define ZAM_MESSAGE(name, id, text) name = (id),
#include "zam/foundation/messages.def"
#undef ZAM_MESSAGE
};

struct BuiltInText {
  std::uint32_t id;
  std::u16string_view text;
};

/// The table, by ascending id. Constant data: there before any code runs and after all of it has run.
[[nodiscard]] std::span<BuiltInText const> BuiltInTexts();

}  // namespace ZaM::detail

#endif
