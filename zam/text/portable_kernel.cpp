// The block kernel for any machine.
//
// What slows the plain loop down isn't memory but the processor's wrong guesses at where words end: one or two in each
// word. Here nothing is guessed per word. Each unit is looked up, eight symbols at a time give eight bits of a mask by
// arithmetic, and what is to be kept is found and copied in runs, which are mostly longer than words. Measured by
// benchmarks/text_filter_benchmark.
#include <cstring>

#include "zam/platform/surrogates.h"
#include "zam/text/block_kernel.h"
#include "zam/text/symbol_tables.h"
#include "zam/text/word_masks.h"

namespace ZaM::detail {
namespace {

constexpr unsigned int chunk = 32;  // bytes copied at once: most runs need no second chunk

/// What a block gives. Each unit gives at most four bytes; copying in chunks touches some after them.
struct Bytes {
  unsigned char at[4 * blockUnits + chunk];
};

constexpr Bytes offsets = [] {
  Bytes bytes{};
  for (unsigned int i = 0; i < blockUnits; ++i) bytes.at[i] = static_cast<unsigned char>(i);
  return bytes;
}();

constexpr std::uint64_t EachByte(std::uint64_t value) {
  return value * 0x0101010101010101;
}

/// One bit for each of eight bytes, the lowest for the lowest byte: set where the byte isn't `value`.
std::uint64_t DifferentBytes(std::uint64_t bytes, unsigned char value) {
  auto const difference = bytes ^ EachByte(value);
  auto const high = (((difference & EachByte(0x7F)) + EachByte(0x7F)) | difference) & EachByte(0x80);
  return (high >> 7) * 0x0102040810204080 >> 56;  // the product gathers the eight bits in its top byte
}

std::uint64_t EqualBytes(std::uint64_t bytes, unsigned char value) {
  return DifferentBytes(bytes, value) ^ 0xFF;
}

/// Not 0 if one of eight bytes is `value`.
std::uint64_t HasByte(std::uint64_t bytes, unsigned char value) {
  auto const difference = bytes ^ EachByte(value);
  return (difference - EachByte(1)) & ~difference & EachByte(0x80);
}

/// Stores a number's bytes, the lowest first.
template <class Number>
void Store(Number bytes, unsigned char* to) {
  if constexpr (std::endian::native == std::endian::big) {
    std::reverse_copy(reinterpret_cast<unsigned char*>(&bytes), reinterpret_cast<unsigned char*>(&bytes + 1), to);
  } else {
    std::memcpy(to, &bytes, sizeof bytes);
  }
}

std::uint64_t Load(unsigned char const* from) {
  std::uint64_t eight = 0;
  for (unsigned int k = 0; k < 8; ++k) eight |= std::uint64_t{from[k]} << 8 * k;
  return eight;
}

/// Finds out what else than letters and separators is in a block.
void FindRareUnits(char16_t const* text, unsigned int units, Bytes const& symbols, BlockMasks& masks) {
  for (unsigned int i = 0; i < units; i += 8) {
    std::uint64_t const eight = Load(symbols.at + i);
    masks.dropped |= EqualBytes(eight, Symbols::dropped) << i;
    masks.ideographs |= EqualBytes(eight, Symbols::ideograph) << i;
    for (unsigned int k = 0; k < 8; ++k) masks.open |= std::uint64_t{platform::IsHighSurrogate(text[i + k])} << (i + k);
  }
  masks.letters &= ~masks.ideographs;
}

/// Looks up the symbols of at least `units` of a block's units and finds out what they are; the others are separators.
template <class Unit>
[[gnu::always_inline]] inline BlockMasks Translate(Unit const* text, unsigned int units, unsigned char const* table,
                                                   Bytes& symbols) {
  BlockMasks masks;
  std::uint64_t rare = 0;
  for (unsigned int i = 0; i < units; i += 8) {
    std::uint64_t eight = 0;
#pragma GCC unroll 8
    for (unsigned int k = 0; k < 8; ++k) eight |= std::uint64_t{table[text[i + k]]} << 8 * k;
    Store(eight, symbols.at + i);
    masks.letters |= DifferentBytes(eight, Symbols::separator) << i;
    if constexpr (sizeof(Unit) > 1) rare |= HasByte(eight, Symbols::dropped) | HasByte(eight, Symbols::ideograph);
  }
  if constexpr (sizeof(Unit) > 1) {
    if (rare != 0) FindRareUnits(text, units, symbols, masks);
  }
  return masks;
}

/// Moves the bytes whose bits are set in `keep` together; returns their number.
std::size_t Compact(Bytes const& from, std::uint64_t keep, Bytes& to) {
  auto const* source = from.at;
  auto* target = to.at;
  while (keep != 0) {
    auto const gap = std::countr_zero(keep);
    auto const run = static_cast<unsigned int>(std::countr_one(keep >> gap));
    source += gap;
    for (unsigned int copied = 0; copied < run; copied += chunk) std::memcpy(target + copied, source + copied, chunk);
    source += run;
    target += run;
    keep = keep >> gap >> (run - 1) >> 1;  // in two steps, as a run may be 64 long
  }
  return static_cast<std::size_t>(target - to.at);
}

/// The same for a block with ideographs: writes the symbols of what is kept, and from which unit each of them is.
/// Every unit writes four bytes and steps over those that count.
std::size_t Expand(char16_t const* text, BlockMasks const& masks, BlockPlan const& plan, Bytes const& symbols,
                   Bytes& kept, Bytes& origins) {
  std::size_t count = 0;
  auto keep = plan.keep;
  auto ideographs = plan.ideographs;
  auto closing = plan.ideographs & ~masks.open;
  for (unsigned int i = 0; i < plan.taken + plan.closed; ++i) {
    auto const chosen = static_cast<std::uint32_t>(-(ideographs & 1));  // all bits or none: no branch to guess
    Store((EncodeIdeograph(text[i]) & chosen) | (symbols.at[i] & ~chosen), kept.at + count);
    Store(static_cast<std::uint32_t>(EachByte(i)), origins.at + count);
    count += (keep & 1) + 2 * (ideographs & 1) + (closing & 1);
    keep >>= 1;
    ideographs >>= 1;
    closing >>= 1;
  }
  return count;
}

template <class Unit>
class PortableFilter {
 public:
  explicit PortableFilter(Stretch<Unit> const& whole) : stretch(whole) {}

  Progress Filter() {
    for (;;) {
      auto const left = stretch.length - done.taken;
      auto const* const text = stretch.text + done.taken;
      if (left >= blockUnits) {
        if (FilterBlock(text, blockUnits) < worthwhileUnits) break;
      } else {
        if (left >= worthwhileRest) FilterRest(text, left);
        break;
      }
    }
    return done;
  }

 private:
  /// Filters the rest of the text, filled up with zeros, which separate words.
  void FilterRest(Unit const* text, std::size_t count) {
    Unit filledUp[blockUnits] = {};
    std::copy_n(text, count, filledUp);
    FilterBlock(filledUp, static_cast<unsigned int>(count));
  }

  /// Returns how many units it took: none, if the room doesn't take what they give.
  [[gnu::always_inline]] unsigned int FilterBlock(Unit const* text, unsigned int units) {
    auto const masks = Translate(text, std::min(units + 1, blockUnits), stretch.symbols, symbols);
    auto const plan = PlanBlock(masks, stretch.minWordLen, units);
    auto const count = Gather(text, masks, plan);
    if (!Fits(count, plan, units, stretch.room - done.written)) return 0;
    std::memcpy(stretch.out + done.written, kept.at, count);
    if (stretch.positions) WritePositions(count);
    done.taken += plan.taken;
    done.closed = plan.closed;
    done.written += count;
    return plan.taken;
  }

  std::size_t Gather(Unit const* text, BlockMasks const& masks, BlockPlan const& plan) {
    if constexpr (sizeof(Unit) > 1) {
      if (plan.ideographs != 0) return Expand(text, masks, plan, symbols, kept, origins);
    }
    if (stretch.positions) Compact(offsets, plan.keep, origins);
    return Compact(symbols, plan.keep, kept);
  }

  void WritePositions(std::size_t count) {
    auto const first = stretch.firstIndex + static_cast<std::uint32_t>(done.taken);
    auto* const positions = stretch.positions + done.written;
    for (std::size_t i = 0; i < count; ++i) positions[i] = static_cast<std::int32_t>(first + origins.at[i]);
  }

  Stretch<Unit> const& stretch;
  Progress done;
  Bytes symbols;  // of each unit of the block
  Bytes kept;     // what goes into the stream
  Bytes origins;  // from which unit of the block each byte of it is
};

template <class Unit>
Progress Filter(Stretch<Unit> const& stretch) {
  return PortableFilter<Unit>(stretch).Filter();
}

}  // namespace

BlockKernel const portableKernel{"portable", Filter<unsigned char>, Filter<char16_t>};

}  // namespace ZaM::detail
