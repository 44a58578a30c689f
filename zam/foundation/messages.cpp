#include "zam/foundation/messages.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace ZaM::detail {

namespace {

constexpr BuiltInText table[] = {
#define ZAM_MESSAGE(name, id, text) {id, text},
#include "zam/foundation/messages.def"
#undef ZAM_MESSAGE
};

static_assert(std::ranges::adjacent_find(table, std::greater_equal(), &BuiltInText::id) == std::end(table),
              "a number in messages.def is out of order or stands twice");

}  // namespace

std::span<BuiltInText const> BuiltInTexts() {
  return table;
}

}  // namespace ZaM::detail
