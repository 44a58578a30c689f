// Which bytes of a block of filtered text belong into the stream, found for 64 units at once.
//
// A block starts where a word may start. One bit per unit says what the unit is, the lowest bit the first unit:
//
//     text       "a  cat, or 3 do"     minimum length 2
//     letters     100111001101011
//     whole       111111111111100      up to the last end of a word: "do" may go on, and is left to the next block
//     words       000111001100000      runs of at least two letters
//     ends        000000100010000      the separator after each of them
//     keep        000111101110000
//
// So a word never straddles two blocks, and no state passes from one to the next. A word of 64 units or more leaves
// nothing whole: it is for the caller to take it by itself.
//
// An ideograph ends its word as a separator does, unless it is a high surrogate, which leaves the word open. Letters
// that touch an ideograph with their last, or an open one with their first, are in its word and stay, however few.
#ifndef ZAM_TEXT_WORD_MASKS_H
#define ZAM_TEXT_WORD_MASKS_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace ZaM::detail {

/// Units in a block: the bits of a mask.
inline constexpr unsigned int blockUnits = 64;

/// A block that takes fewer units than this isn't worth its effort; the text around it is better done step by step.
inline constexpr unsigned int worthwhileUnits = 32;

/// A rest of the text that is shorter than this isn't worth it either.
inline constexpr unsigned int worthwhileRest = 8;

/// What the units of a block are. A unit that is none of these separates words.
struct BlockMasks {
  std::uint64_t letters = 0;     ///< what makes words, ideographs aside
  std::uint64_t dropped = 0;     ///< those of the letters that write nothing
  std::uint64_t ideographs = 0;  ///< all of them
  std::uint64_t open = 0;        ///< those of the ideographs that leave their word open
};

/// What becomes of a block.
struct BlockPlan {
  std::uint64_t keep = 0;        ///< the units that go into the stream
  std::uint64_t ideographs = 0;  ///< those of them that are ideographs
  unsigned int taken = 0;        ///< how many units are done with; 0 if there is no whole word
  bool closed = false;           ///< the text ends here, and with it, in a 0, the stream
};

/// Keeps the runs of at least `length` set bits and clears all others. Not all bits may be set: what runs through a
/// whole block has a length that isn't known here.
constexpr std::uint64_t LongRuns(std::uint64_t bits, unsigned int length) {
  if (length < 2) return bits;
  // A bit survives if `length` bits from it upwards are set; each step doubles how many that is so far. The first step
  // is the only one for most filters.
  bits &= bits >> 1;
  length = std::min(length, blockUnits);
  for (unsigned int seen = 2; seen < length;) {
    auto const step = std::min(seen, length - seen);
    bits &= bits >> step;
    seen += step;
  }
  // From the survivors the runs grow back to where they ended.
  for (unsigned int grown = 2; grown < length;) {
    auto const step = std::min(grown, length - grown);
    bits |= bits << step;
    grown += step;
  }
  return bits | bits << 1;
}

/// The runs of `letters` that follow a bit of `marks` directly.
constexpr std::uint64_t RunsAfter(std::uint64_t marks, std::uint64_t letters) {
  auto const starts = marks << 1 & letters;
  return letters & ~(letters + starts);  // the carry clears each run that a start was added to
}

/// The runs of `letters` that a bit of `marks` follows directly.
constexpr std::uint64_t RunsBefore(std::uint64_t marks, std::uint64_t letters) {
  auto runs = marks >> 1 & letters;
  for (unsigned int step = 1; step < blockUnits; step *= 2) {
    runs |= runs >> step & letters;
    letters &= letters >> step;
  }
  return runs;
}

/// Plans a block whose first `units` units are text, one at least. If these are fewer than 64, the text ends there, and
/// the others are separators. The first of them closes the last word, unless a unit that writes nothing has left it
/// open: the 0 after such a word has another place.
[[gnu::always_inline]] inline BlockPlan PlanBlock(BlockMasks const& block, unsigned int minWordLen,
                                                  unsigned int units) {
  auto const separators = ~(block.letters | block.ideographs);
  auto const wordEnds = separators | (block.ideographs & ~block.open);
  if (wordEnds == 0) return {};
  auto const beyond = static_cast<unsigned int>(std::countl_zero(wordEnds));
  auto const whole = ~std::uint64_t{0} >> beyond;
  auto const letters = block.letters & whole;
  auto const ideographs = block.ideographs & whole;
  auto words = LongRuns(letters, minWordLen);
  if (ideographs != 0) words |= RunsBefore(ideographs, letters) | RunsAfter(block.open, letters) | ideographs;
  bool const closed = units < blockUnits && (block.dropped >> (units - 1) & 1) == 0;
  auto const text = ~std::uint64_t{0} >> (blockUnits - units - closed);
  auto const ends = (words & ~(ideographs & ~block.open)) << 1 & separators & text;
  return {(words & ~block.dropped) | ends, ideographs, units - beyond, closed};
}

/// Whether the room takes the `count` bytes of a block of `units` units, and a 0 that is left to be added.
constexpr bool Fits(std::size_t count, BlockPlan const& plan, unsigned int units, std::size_t room) {
  return count + (units < blockUnits && !plan.closed) <= room;
}

}  // namespace ZaM::detail

#endif
