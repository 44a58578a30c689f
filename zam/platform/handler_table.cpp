#include "zam/platform/handler_table.h"

namespace ZaM::platform {

namespace {

std::uintptr_t ReadUleb128(unsigned char const*& from) {
  std::uintptr_t number = 0;
  for (unsigned shift = 0;; shift += 7) {
    unsigned char const byte = *from++;
    number |= static_cast<std::uintptr_t>(byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) return number;
  }
}

struct Range {
  std::uintptr_t first;
  std::uintptr_t size;
};

/// Whether a range is no more than the instruction that takes the function's part of the stack.
bool IsStackAllocation(unsigned char const* code, Range range) {
#if defined(__x86_64__)
  constexpr std::uintptr_t longest = 7;
  unsigned char const* const at = code + range.first;
  return range.size <= longest && at[0] == 0x48 && (at[1] == 0x81 || at[1] == 0x83) && at[2] == 0xEC;  // sub, rsp
#else
  static_cast<void>(code), static_cast<void>(range);
  return false;
#endif
}

/// Calls `visit` for each range, in ascending order, until it returns false. Returns false for a table in another form.
template <class Visit>
bool VisitRanges(unsigned char const* at, Visit visit) {
  constexpr unsigned char omitted = 0xFF;
  constexpr unsigned char uleb128 = 0x01;
  if (*at++ != omitted) return false;     // a base of the handlers' places, other than the function's start
  if (*at++ != omitted) ReadUleb128(at);  // how far off the types of what is caught are
  if (*at++ != uleb128) return false;
  std::uintptr_t const size = ReadUleb128(at);
  for (unsigned char const* const end = at + size; at < end;) {
    std::uintptr_t const first = ReadUleb128(at);
    std::uintptr_t const length = ReadUleb128(at);
    ReadUleb128(at);  // the handler
    ReadUleb128(at);  // what it catches
    if (!visit(Range{first, length})) break;
  }
  return true;
}

}  // namespace

bool HandlerTable::LetsThrow(std::uintptr_t offset) const noexcept {
  if (table == nullptr) return true;
  bool isInside = false;
  bool const isRead = VisitRanges(table, [&](Range range) {
    isInside = offset - range.first < range.size;
    return !isInside && range.first <= offset;
  });
  return isInside || !isRead;
}

bool HandlerTable::IsBeforeAll(std::uintptr_t offset) const noexcept {
  if (table == nullptr) return false;
  bool isBefore = true;
  bool const isRead = VisitRanges(table, [&](Range range) {
    if (IsStackAllocation(code, range)) return true;
    isBefore = offset < range.first;
    return false;
  });
  return isBefore && isRead;
}

}  // namespace ZaM::platform
