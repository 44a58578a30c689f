// The block kernel for x86-64 processors with AVX-512 VBMI2: a block is one register, and looking it up, finding its
// words and moving together what is kept are a few instructions each.
#include "zam/platform/vector512.h"
#include "zam/text/block_kernel.h"
#include "zam/text/symbol_tables.h"
#include "zam/text/word_masks.h"

namespace ZaM::detail {
namespace {

using platform::AsBytes;
using platform::Bytes64;
using platform::ByteTable;
using platform::EqualBytes;
using platform::Numbers16;

struct Translation {
  Bytes64 symbols;
  BlockMasks masks;
};

/// Looks up single bytes, in a table that stays in registers.
class NarrowTranslator {
 public:
  ZAM_VECTOR512_INLINE explicit NarrowTranslator(Stretch<unsigned char> const& stretch)
      : table(platform::LoadTable(stretch.symbols)) {}

  ZAM_VECTOR512_INLINE Translation operator()(unsigned char const* text) const {
    auto const symbols = LookUp(table, platform::Load64(text));
    return {symbols, {.letters = ~EqualBytes(symbols, Symbols::separator)}};
  }

 private:
  ByteTable table;
};

/// Looks up 16-bit units, page by page: those that share their high byte are done together.
class WideTranslator {
 public:
  ZAM_VECTOR512_INLINE explicit WideTranslator(Stretch<char16_t> const& stretch)
      : latin(platform::LoadTable(stretch.symbols)),
        pages(platform::LoadTable(stretch.pages)),
        table(stretch.symbols) {}

  ZAM_VECTOR512_INLINE Translation operator()(char16_t const* text) const {
    auto const units = platform::LoadUnits64(text);
    auto symbols = LookUp(latin, units.low);
    auto const others = ~EqualBytes(units.high, 0);
    if (others != 0) symbols = platform::Choose(others, LookUpPages(text, units), symbols);
    auto const ideographs = EqualBytes(symbols, Symbols::ideograph);
    return {symbols,
            {.letters = ~EqualBytes(symbols, Symbols::separator) & ~ideographs,
             .dropped = EqualBytes(symbols, Symbols::dropped),
             .ideographs = ideographs,
             .open = platform::BytesBetween(units.high, 0xD8, 0xDB)}};
  }

 private:
  /// Ideographs and separators show in their high bytes alone. Of the pages with letters a block mostly has one.
  ZAM_VECTOR512_INLINE Bytes64 LookUpPages(char16_t const* text, platform::SplitUnits const& units) const {
    auto symbols = LookUp(pages, units.high);
    for (auto mixed = EqualBytes(symbols, mixedPage) & ~EqualBytes(units.high, 0); mixed != 0;) {
      unsigned int const page = text[std::countr_zero(mixed)] >> 8;
      auto const here = EqualBytes(units.high, static_cast<unsigned char>(page));
      symbols = platform::Choose(here, LookUp(platform::LoadTable(table + 256 * page), units.low), symbols);
      mixed &= ~here;
    }
    return symbols;
  }

  ByteTable latin;
  ByteTable pages;
  unsigned char const* table;
};

/// EncodeIdeograph for 16 units at once.
ZAM_VECTOR512_INLINE Numbers16 EncodeIdeographs(char16_t const* text) {
  auto const number = platform::LoadNumbers16(text) - 0x2E80;
  auto const tens = number * 52429 >> 21;  // division by 40, exact for numbers below 65,536
  auto const hundreds = tens * 52429 >> 21;
  return (hundreds + Symbols::firstLetter) | (tens - 40 * hundreds + Symbols::firstLetter) << 8 |
         (number - 40 * tens + Symbols::firstLetter) << 16;
}

/// Filters block after block.
template <class Unit, class Translator>
class VectorFilter {
 public:
  ZAM_VECTOR512_INLINE explicit VectorFilter(Stretch<Unit> const& whole) : stretch(whole), translate(whole) {}

  ZAM_VECTOR512_INLINE Progress Filter() {
    while (stretch.length - taken >= blockUnits && FilterBlock() >= worthwhileUnits) continue;
    return {taken, written};
  }

 private:
  /// Returns how many units it took: none, if the room doesn't take what they give.
  ZAM_VECTOR512_INLINE unsigned int FilterBlock() {
    auto const block = translate(stretch.text + taken);
    auto const plan = PlanBlock(block.masks, stretch.minWordLen);
    auto const closing = plan.ideographs & ~block.masks.open;
    auto const count = std::popcount(plan.keep) + 2 * std::popcount(plan.ideographs) + std::popcount(closing);
    if (static_cast<std::size_t>(count) > stretch.room - written) return 0;
    if (plan.ideographs == 0) {
      Emit(plan.keep, block.symbols, platform::Load64(platform::countTo64));
    } else if constexpr (sizeof(Unit) > 1) {
      EmitExpanded(block.symbols, plan, closing);
    }
    taken += plan.taken;
    return plan.taken;
  }

  /// Writes the bytes that are kept; `origins` says from which unit of the block each byte is.
  ZAM_VECTOR512_INLINE void Emit(std::uint64_t keep, Bytes64 bytes, Bytes64 origins) {
    auto const count = static_cast<unsigned int>(std::popcount(keep));
    platform::StoreFirst(platform::Compact(keep, bytes), count, stretch.out + written);
    if (stretch.positions) WritePositions(platform::Compact(keep, origins));
    written += count;
  }

  /// Writes a block with ideographs: every unit becomes four bytes, of which none, one, three or all are kept.
  ZAM_VECTOR512_INLINE void EmitExpanded(Bytes64 blockSymbols, BlockPlan const& plan, std::uint64_t closing) {
    alignas(64) unsigned char symbols[blockUnits];
    platform::Store64(blockSymbols, symbols);
    for (unsigned int i = 0; i < blockUnits; i += 16) {
      auto const ideographs = platform::SpreadBits(plan.ideographs >> i);
      auto const keep = platform::SpreadBits(plan.keep >> i) | ideographs << 1 | ideographs << 2 |
                        platform::SpreadBits(closing >> i) << 3;
      auto const encoded = AsBytes(EncodeIdeographs(stretch.text + taken + i));
      auto const letters = AsBytes(platform::LoadNumbers16(symbols + i));
      auto const origins = AsBytes(platform::LoadNumbers16(platform::countTo64 + i) * 0x01010101);
      Emit(keep, platform::Choose(ideographs * 0xF, encoded, letters), origins);
    }
  }

  /// Writes 64 positions, whatever they are worth.
  ZAM_VECTOR512_INLINE void WritePositions(Bytes64 blockOrigins) {
    alignas(64) unsigned char origins[blockUnits];
    platform::Store64(blockOrigins, origins);
    auto const first = stretch.firstIndex + static_cast<std::uint32_t>(taken);
    for (unsigned int i = 0; i < blockUnits; i += 16) {
      platform::Store64(AsBytes(platform::LoadNumbers16(origins + i) + first), stretch.positions + written + i);
    }
  }

  Stretch<Unit> const& stretch;
  Translator translate;
  std::size_t taken = 0;
  std::size_t written = 0;
};

ZAM_VECTOR512 Progress FilterNarrow(Stretch<unsigned char> const& stretch) {
  return VectorFilter<unsigned char, NarrowTranslator>(stretch).Filter();
}

ZAM_VECTOR512 Progress FilterWide(Stretch<char16_t> const& stretch) {
  return VectorFilter<char16_t, WideTranslator>(stretch).Filter();
}

constexpr BlockKernel vectorKernel{"avx512", FilterNarrow, FilterWide};

}  // namespace

BlockKernel const* VectorKernel() {
  return platform::HasVector512() ? &vectorKernel : nullptr;
}

}  // namespace ZaM::detail
