// What the bytes of a fuzz input choose, one after the other, and rules that have to hold whatever they choose.
#ifndef FUZZ_BYTE_SOURCE_H
#define FUZZ_BYTE_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ZaM::test {

/// At the end of the input it gives zeros.
class ByteSource {
 public:
  ByteSource(std::uint8_t const* data, std::size_t size) : next(data), end(data + size) {}

  bool IsEmpty() const { return next == end; }

  /// A number below `bound`, which is 1 to 256, from one byte.
  unsigned int Below(unsigned int bound) { return IsEmpty() ? 0 : *next++ % bound; }

  template <class Value, std::size_t count>
  Value const& OneOf(Value const (&values)[count]) {
    return values[Below(count)];
  }

  /// Any number that a type without pointers can hold, from as many bytes as it has.
  template <class Number>
  Number Any() {
    unsigned char bytes[sizeof(Number)];
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(Below(256));
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
  }

 private:
  std::uint8_t const* next;
  std::uint8_t const* end;
};

/// Ends the process where a rule is broken, and says which.
inline void Require(bool holds, char const* rule) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", rule);
  std::abort();
}

}  // namespace ZaM::test

#endif
