// What the bytes of a fuzz input choose, one after the other.
#ifndef FUZZ_BYTE_SOURCE_H
#define FUZZ_BYTE_SOURCE_H

#include <cstddef>
#include <cstdint>

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

 private:
  std::uint8_t const* next;
  std::uint8_t const* end;
};

}  // namespace ZaM::test

#endif
