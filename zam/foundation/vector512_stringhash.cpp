// The hash for x86-64 processors with AVX-512 VBMI2: 64 characters at once.
//
// Each of the four bytes of the numbers has a table of its own, small enough for the processor to look 64 characters up
// in a few instructions, and the sums of the bytes are put together at the end. A block at place b·64 adds
//
//     Σ (2(64b + j) + 1) · number = 128 · b · Σ number + Σ (2j + 1) · number
//
// so its own weights fit into bytes. With n blocks, Σ b · S(b) is n · Σ S less the sum of all sums so far.
#include <algorithm>

#include "zam/foundation/stringhash_kernel.h"
#include "zam/foundation/stringhash_table.h"
#include "zam/platform/vector512.h"

namespace ZaM::detail {
namespace {

using Vector = platform::Vector512;

constexpr unsigned int blockSize = Vector::width;
constexpr unsigned int pageSize = 256;
constexpr unsigned int pages = stringHashTable.size() / pageSize;
constexpr unsigned int bytesOfNumber = 4;

/// The table's bytes, apart: of each page first all lowest ones.
struct ByteTables {
  alignas(64) unsigned char at[pages][bytesOfNumber][pageSize] = {};

  constexpr ByteTables() {
    for (unsigned int i = 0; i < stringHashTable.size(); ++i) {
      for (unsigned int k = 0; k < bytesOfNumber; ++k) {
        at[i / pageSize][k][i % pageSize] = static_cast<unsigned char>(stringHashTable[i] >> 8 * k);
      }
    }
  }
};

constexpr ByteTables byteTables;

struct Weights {
  alignas(64) unsigned char ones[blockSize] = {};
  alignas(64) unsigned char odd[blockSize] = {};

  constexpr Weights() {
    for (unsigned int j = 0; j < blockSize; ++j) {
      ones[j] = 1;
      odd[j] = static_cast<unsigned char>(2 * j + 1);
    }
  }
};

constexpr Weights weights;

/// The sums over one byte of the numbers.
struct Sums {
  Vector::Numbers weighted = {};  // by the weights within a block
  Vector::Numbers plain = {};
  Vector::Numbers ofPlain = {};  // the sum of what `plain` was after each block
};

/// Whether there is just one block, whose characters' place in the text is that in the block.
enum class Blocks { One, Many };

/// Adds the characters of a page, at the places where `here` is set.
template <Blocks blocks>
ZAM_VECTOR512_INLINE void AddPage(unsigned int page, Vector::Register characters, std::uint64_t here,
                                  Sums (&sums)[bytesOfNumber]) {
  auto const odd = Vector::Keep(here, Vector::Load(weights.odd));
  auto const ones = Vector::Keep(here, Vector::Load(weights.ones));
  for (unsigned int k = 0; k < bytesOfNumber; ++k) {
    auto const bytes = Vector::LookUp(Vector::LoadTable(byteTables.at[page][k]), characters);
    sums[k].weighted = Vector::AddProducts(sums[k].weighted, bytes, odd);
    if constexpr (blocks == Blocks::Many) sums[k].plain = Vector::AddProducts(sums[k].plain, bytes, ones);
  }
}

template <Blocks blocks>
ZAM_VECTOR512_INLINE void AddBlock(char const* text, std::size_t count, Sums (&sums)[bytesOfNumber]) {
  AddPage<blocks>(0, Vector::LoadFirst(text, count), Vector::FirstBits(count), sums);
}

template <Blocks blocks>
ZAM_VECTOR512_INLINE void AddBlock(wchar const* text, std::size_t count, Sums (&sums)[bytesOfNumber]) {
  constexpr std::size_t half = blockSize / 2;
  auto const inFirst = std::min(count, half);
  auto const units = Vector::SplitUnitsOf(Vector::LoadFirst(text, 2 * inFirst),
                                          Vector::LoadFirst(text + inFirst, 2 * (count - inFirst)));
  auto const inText = Vector::FirstBits(count);
  for (unsigned int page = 0; page < pages; ++page) {
    auto const here = Vector::EqualLowBits(units.high, pages - 1, static_cast<unsigned char>(page)) & inText;
    if (here != 0) AddPage<blocks>(page, units.low, here, sums);
  }
}

ZAM_VECTOR512_INLINE std::uint32_t PutTogether(Vector::Numbers const& first, Vector::Numbers const& second,
                                               Vector::Numbers const& third, Vector::Numbers const& fourth) {
  return Vector::Total(first + (second << 8) + (third << 16) + (fourth << 24));
}

template <class Character>
ZAM_VECTOR512 std::uint32_t Hash(std::size_t length, Character const* text) {
  if constexpr (sizeof(Character) == 1) {
    if (length <= 8) return HashEight(Vector::FirstNumber(Vector::LoadFirst(text, length)), length);
  }
  Sums sums[bytesOfNumber];
  if (length <= blockSize) {
    AddBlock<Blocks::One>(text, length, sums);
    return PutTogether(sums[0].weighted, sums[1].weighted, sums[2].weighted, sums[3].weighted);
  }
  std::uint32_t blocks = 0;
  for (std::size_t i = 0; i < length; i += blockSize, ++blocks) {
    AddBlock<Blocks::Many>(text + i, std::min<std::size_t>(length - i, blockSize), sums);
    for (auto& sum : sums) sum.ofPlain += sum.plain;
  }
  for (auto& sum : sums) sum.weighted += 2 * blockSize * (sum.plain * blocks - sum.ofPlain);
  return PutTogether(sums[0].weighted, sums[1].weighted, sums[2].weighted, sums[3].weighted);
}

constexpr StringHashKernel kernel{Hash<char>, Hash<wchar>};

}  // namespace

StringHashKernel const* Vector512StringHash() {
  return Vector::Available() ? &kernel : nullptr;
}

}  // namespace ZaM::detail
