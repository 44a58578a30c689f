#include "zam/foundation/stringhash.h"

#include <gtest/gtest.h>

#include <random>

#include "zam/foundation/stringhash_kernel.h"

namespace ZaM {
namespace {

/// The number behind a character: a string of one character has it as its hash.
std::uint32_t NumberOf(unsigned int character) {
  wchar const unit = static_cast<wchar>(character);
  return stringhash().GetStringHashW(1, &unit);
}

TEST(StringHash, KeepsItsTableForEver) {
  // FNV-1a over all numbers, the lowest byte first. If this differs, stored hashes have become worthless.
  std::uint64_t checksum = 0xCBF29CE484222325;
  for (unsigned int i = 0; i < 1024; ++i) {
    for (unsigned int shift = 0; shift < 32; shift += 8) {
      checksum = (checksum ^ (NumberOf(i) >> shift & 0xFF)) * 0x100000001B3;
    }
  }
  EXPECT_EQ(checksum, 0xBBDC12632954C8B7U);
}

class EveryStringHash : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(StringHash, EveryStringHash, testing::Bool(),
                         [](auto const& tested) { return tested.param ? "Avx512" : "Portable"; });

TEST_P(EveryStringHash, WeighsCharactersByTheirPlaces) {
  auto const* const kernel = GetParam() ? detail::Vector512StringHash() : &detail::portableStringHash;
  if (!kernel) GTEST_SKIP() << "This processor has no AVX-512 VBMI2.";
  std::mt19937 engine(1);
  for (std::uint32_t length = 0; length < 400; ++length) {
    std::vector<wchar> wide(length);  // to the byte, for AddressSanitizer
    std::vector<char> narrow(length);
    std::uint32_t expectedWide = 0, expectedNarrow = 0;
    for (std::uint32_t i = 0; i < length; ++i) {
      wide[i] = static_cast<wchar>(length % 2 == 0 ? engine() : engine() % 256);
      narrow[i] = static_cast<char>(engine());
      expectedWide += (2 * i + 1) * NumberOf(wide[i] % 1024u);
      expectedNarrow += (2 * i + 1) * NumberOf(static_cast<unsigned char>(narrow[i]));
    }
    EXPECT_EQ(kernel->wide(length, wide.data()), expectedWide) << length;
    EXPECT_EQ(kernel->narrow(length, narrow.data()), expectedNarrow) << length;
  }
}

TEST(StringHash, HashesTheKnownStrings) {
  for (stringhash const& hash : {stringhash(), stringhash(7)}) {
    EXPECT_TRUE(hash.GetStringHash("ab") == 0x8EBBBE13u && hash.GetStringHash(2, "abc") == 0x8EBBBE13u);
    EXPECT_TRUE(hash.GetStringHashW(u"ab") == 0x8EBBBE13u && hash.GetStringHashW(2, u"abc") == 0x8EBBBE13u);
  }
  EXPECT_EQ(stringhash().GetStringHash(std::string("\0\0", 2)), 0xCC657BC9u * 4);
  EXPECT_TRUE(stringhash().GetStringHash(0, nullptr) == 0 && stringhash().GetStringHashW(0, nullptr) == 0);
}

}  // namespace
}  // namespace ZaM
