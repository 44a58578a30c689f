// The table by which the unwinder finds a function's exception handlers and destructors.
#ifndef ZAM_PLATFORM_HANDLER_TABLE_H
#define ZAM_PLATFORM_HANDLER_TABLE_H

#include <cstdint>

namespace ZaM::platform {

/// Reads a table in the form of the C++ ABI for Itanium, as GCC and Clang write it. An exception that meets a function
/// at a place outside of all ranges of its table ends the process.
class HandlerTable {
 public:
  /// Of the function whose code begins at `function`. `start` is where the table lies, null for a function that has
  /// none and lets every exception through.
  HandlerTable(std::uintptr_t function, void const* start)
      : code(reinterpret_cast<unsigned char const*>(function)), table(static_cast<unsigned char const*>(start)) {}

  /// Whether an exception may come from `offset` bytes after the function's start. Also true where the table isn't in
  /// the form that is read here.
  [[nodiscard]] bool LetsThrow(std::uintptr_t offset) const noexcept;

  /// Whether `offset` lies before all ranges but the one in which the function takes its part of the stack, so that
  /// nothing that has to be cleaned up is there yet.
  [[nodiscard]] bool IsBeforeAll(std::uintptr_t offset) const noexcept;

 private:
  unsigned char const* code;
  unsigned char const* table;
};

}  // namespace ZaM::platform

#endif
