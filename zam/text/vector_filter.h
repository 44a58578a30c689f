// The block kernels for processors with vector instructions: looking a block up, finding its words and moving together
// what is kept are a few instructions each.
//
// Written once for all of them. `Vector` is the instructions: platform::Vector512 or platform::Vector256, in tests a
// model of them that runs anywhere. A file that includes this first defines ZAM_VECTOR_FILTER as what makes its
// functions code for those processors, so everything here belongs to that file alone.
#ifndef ZAM_TEXT_VECTOR_FILTER_H
#define ZAM_TEXT_VECTOR_FILTER_H

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "zam/text/block_kernel.h"
#include "zam/text/symbol_tables.h"
#include "zam/text/word_masks.h"

namespace ZaM::detail {
namespace {

/// A block's symbols, in as many registers as they need, and what they are.
template <class Vector>
struct Translation {
  static constexpr unsigned int parts = blockUnits / Vector::width;
  static constexpr auto partMask = ~std::uint64_t{0} >> (64 - Vector::width);

  typename Vector::Register symbols[parts];
  BlockMasks masks;

  /// Whether a part is worth looking at, if the block has `units` units of text and a 0 after them.
  ZAM_VECTOR_FILTER static bool Counts(unsigned int part, unsigned int units) { return part * Vector::width <= units; }
};

/// Looks up single bytes, in a table that stays in registers.
template <class Vector>
class NarrowTranslator {
 public:
  ZAM_VECTOR_FILTER explicit NarrowTranslator(Stretch<unsigned char> const& stretch)
      : table(Vector::LoadLatinTable(stretch.symbols)) {}

  ZAM_VECTOR_FILTER void operator()(unsigned char const* text, unsigned int units, Translation<Vector>& block) const {
    for (unsigned int i = 0; i < block.parts; ++i) {
      if (!block.Counts(i, units)) break;
      block.symbols[i] = Vector::LookUp(table, Vector::Load(text + i * Vector::width));
      block.masks.letters |= (block.partMask & ~Vector::Equal(block.symbols[i], Symbols::separator))
                             << i * Vector::width;
    }
  }

 private:
  typename Vector::LatinTable table;
};

/// Looks up 16-bit units, page by page: those that share their high byte are done together.
template <class Vector>
class WideTranslator {
 public:
  ZAM_VECTOR_FILTER explicit WideTranslator(Stretch<char16_t> const& stretch)
      : latin(Vector::LoadLatinTable(stretch.symbols)),
        pages(Vector::LoadTable(stretch.pages)),
        table(stretch.symbols) {}

  ZAM_VECTOR_FILTER void operator()(char16_t const* text, unsigned int count, Translation<Vector>& block) const {
    for (unsigned int i = 0; i < block.parts; ++i, text += Vector::width) {
      if (!block.Counts(i, count)) break;
      auto const units = Vector::LoadUnits(text);
      auto symbols = Vector::LookUp(latin, units.low);
      auto const shift = i * Vector::width;
      if (auto const others = block.partMask & ~Vector::Equal(units.high, 0); others != 0) {
        symbols = Vector::Choose(others, LookUpPages(text, units, others), symbols);
        block.masks.dropped |= Vector::Equal(symbols, Symbols::dropped) << shift;
        block.masks.ideographs |= Vector::Equal(symbols, Symbols::ideograph) << shift;
        block.masks.open |= Vector::Between(units.high, 0xD8, 0xDB) << shift;
      }
      block.masks.letters |= (block.partMask & ~Vector::Equal(symbols, Symbols::separator)) << shift;
      block.symbols[i] = symbols;
    }
    block.masks.letters &= ~block.masks.ideographs;
  }

 private:
  /// Ideographs and separators show in their high bytes alone. Of the pages with letters a block mostly has one.
  ZAM_VECTOR_FILTER typename Vector::Register LookUpPages(char16_t const* text,
                                                          typename Vector::SplitUnits const& units,
                                                          std::uint64_t others) const {
    auto symbols = Vector::LookUp(pages, units.high);
    for (auto mixed = Vector::Equal(symbols, mixedPage) & others; mixed != 0;) {
      unsigned int const page = text[std::countr_zero(mixed)] >> 8;
      auto const here = Vector::Equal(units.high, static_cast<unsigned char>(page));
      auto const found = Vector::LookUp(Vector::LoadTable(table + std::size_t{256} * page), units.low);
      symbols = Vector::Choose(here, found, symbols);
      mixed &= ~here;
    }
    return symbols;
  }

  typename Vector::LatinTable latin;
  typename Vector::Table pages;
  unsigned char const* table;
};

/// EncodeIdeograph for as many units at once as there are numbers in a register.
template <class Vector>
ZAM_VECTOR_FILTER typename Vector::Register EncodeIdeographs(char16_t const* text) {
  using Numbers = typename Vector::Numbers;
  Numbers const number = Vector::LoadNumbers(text) - 0x2E80;
  Numbers const tens = number * 52429 >> 21;  // division by 40, exact for numbers below 65,536
  Numbers const hundreds = tens * 52429 >> 21;
  return Vector::AsBytes((hundreds + Symbols::firstLetter) | ((tens - 40 * hundreds + Symbols::firstLetter) << 8) |
                         ((number - 40 * tens + Symbols::firstLetter) << 16));
}

/// Where the bytes go: to their place at once, or through a buffer where storing them touches some bytes after them.
template <class Vector>
class Output {
 public:
  static constexpr unsigned int largestBlock = 4 * blockUnits;
  static constexpr unsigned int capacity = 8 * largestBlock;

  ZAM_VECTOR_FILTER Output(char* to, unsigned char* through) : out(to), buffer(through) {}

  ZAM_VECTOR_FILTER void StoreKept(std::uint64_t keep, typename Vector::Register bytes) {
    if constexpr (Vector::spill == 0) {
      Vector::StoreKept(keep, bytes, out);
      out += std::popcount(keep);
    } else {
      Vector::StoreKept(keep, bytes, buffer + buffered);
      buffered += static_cast<std::size_t>(std::popcount(keep));
    }
  }

  /// To be called after each block.
  ZAM_VECTOR_FILTER void FlushIfFull() {
    if (buffered > capacity - largestBlock) Flush();
  }

  ZAM_VECTOR_FILTER void Flush() {
    // By whole registers: GCC 12 makes a slow string instruction of copying less than a known number of bytes.
    std::size_t copied = 0;
    for (; copied + Vector::width <= buffered; copied += Vector::width) {
      Vector::Store(Vector::Load(buffer + copied), out + copied);
    }
    std::memmove(out + copied, buffer + copied, buffered - copied);
    out += buffered;
    buffered = 0;
  }

 private:
  char* out;
  unsigned char* buffer;
  std::size_t buffered = 0;
};

/// Filters block after block, and the rest as a block filled up with zeros, which separate words.
template <class Unit, class Vector>
class VectorFilter {
 public:
  /// `buffer` is for `Output`.
  ZAM_VECTOR_FILTER VectorFilter(Stretch<Unit> const& whole, unsigned char* buffer)
      : stretch(whole), translate(whole), output(whole.out, buffer) {}

  ZAM_VECTOR_FILTER Progress Filter() {
    while (Left() >= blockUnits && FilterBlock(stretch.text + done.taken, blockUnits) >= worthwhileUnits) continue;
    if (Left() >= worthwhileRest && Left() < blockUnits) FilterRest();
    output.Flush();
    return done;
  }

 private:
  static constexpr bool wide = sizeof(Unit) > 1;
  static constexpr unsigned int width = Vector::width;

  ZAM_VECTOR_FILTER std::size_t Left() const { return stretch.length - done.taken; }

  ZAM_VECTOR_FILTER void FilterRest() {
    alignas(64) Unit block[blockUnits];
    constexpr auto unitsInRegister = width / sizeof(Unit);
    auto const* text = stretch.text + done.taken;
    auto const left = Left();
    for (std::size_t i = 0; i < blockUnits; i += unitsInRegister) {
      auto const count = std::min(left - std::min(left, i), unitsInRegister);
      Vector::Store(Vector::LoadFirst(text, count * sizeof(Unit)), block + i);
      text += count;
    }
    FilterBlock(block, static_cast<unsigned int>(left));
  }

  /// Returns how many units it took: none, if the room doesn't take what they give.
  ZAM_VECTOR_FILTER unsigned int FilterBlock(Unit const* text, unsigned int units) {
    Translation<Vector> block;
    translate(text, units, block);
    auto const plan = PlanBlock(block.masks, stretch.minWordLen, units);
    auto const closing = plan.ideographs & ~block.masks.open;
    auto const count = std::popcount(plan.keep) + 2 * std::popcount(plan.ideographs) + std::popcount(closing);
    if (!Fits(static_cast<std::size_t>(count), plan, units, stretch.room - done.written)) return 0;
    auto const first = stretch.firstIndex + static_cast<std::uint32_t>(done.taken);
    for (unsigned int i = 0; i < block.parts; ++i) {
      if (!block.Counts(i, units)) break;
      auto const shift = i * width;
      auto const ideographs = plan.ideographs >> shift & block.partMask;
      if (ideographs == 0) {
        Emit<0>(plan.keep >> shift & block.partMask, block.symbols[i], units + 1 - shift, first + shift);
      } else if constexpr (wide) {
        EmitExpanded(text + shift, block.symbols[i], plan.keep >> shift, ideographs, closing >> shift, first + shift);
      }
    }
    output.FlushIfFull();
    done.taken += plan.taken;
    done.closed = plan.closed;
    return plan.taken;
  }

  /// Writes the bytes that are kept, `units` of the first at most, and as their positions `first` and their places
  /// divided by 2 to the power of `shift`.
  template <unsigned int shift>
  ZAM_VECTOR_FILTER void Emit(std::uint64_t keep, typename Vector::Register bytes, unsigned int units,
                              std::uint32_t first) {
    output.StoreKept(keep, bytes);
    if (stretch.positions) Vector::template StorePlaces<shift>(keep, units, first, stretch.positions + done.written);
    done.written += static_cast<unsigned int>(std::popcount(keep));
  }

  /// Writes units among which are ideographs: each becomes four bytes, of which none, one, three or all are kept.
  ZAM_VECTOR_FILTER void EmitExpanded(char16_t const* text, typename Vector::Register blockSymbols, std::uint64_t keep,
                                      std::uint64_t ideographs, std::uint64_t closing, std::uint32_t first) {
    alignas(64) unsigned char symbols[width];
    Vector::Store(blockSymbols, symbols);
    constexpr unsigned int numbers = width / 4;
    for (unsigned int i = 0; i < width; i += numbers) {
      auto const encode = Vector::SpreadBits(ideographs >> i);
      auto const keepBytes =
          Vector::SpreadBits(keep >> i) | encode << 1 | encode << 2 | Vector::SpreadBits(closing >> i) << 3;
      auto const encoded = EncodeIdeographs<Vector>(text + i);
      auto const letters = Vector::AsBytes(Vector::LoadNumbers(symbols + i));
      Emit<2>(keepBytes, Vector::Choose(encode * 0xF, encoded, letters), width, first + i);
    }
  }

  Stretch<Unit> const& stretch;
  std::conditional_t<wide, WideTranslator<Vector>, NarrowTranslator<Vector>> translate;
  Output<Vector> output;
  Progress done;
};

template <class Unit, class Vector>
ZAM_VECTOR_FILTER Progress FilterByVectors(Stretch<Unit> const& stretch) {
  // Outside the filter, so that its other fields can stay in registers.
  unsigned char buffer[Vector::spill == 0 ? 1 : Output<Vector>::capacity + Vector::spill];
  return VectorFilter<Unit, Vector>(stretch, buffer).Filter();
}

}  // namespace
}  // namespace ZaM::detail

#endif
