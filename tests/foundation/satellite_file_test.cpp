#include "zam/foundation/satellite_file.h"

#include <gtest/gtest.h>

#include <string>

#include "zam/platform/files.h"

namespace ZaM::detail {
namespace {

std::string GermanSatellite() {
  return platform::ReadFile(u"" ZAM_TEST_LIBRARY_FOLDER "/zam/de/zam.lng", satelliteLimit).value_or("");
}

std::string Little(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i & 0xFF);
  return text;
}

/// The head of a file with this number of blocks, and an entry of the directory.
std::string Head(std::uint32_t blocks) {
  return "ZaMTexts" + Little(1, 4) + Little(blocks, 4);
}
std::string Entry(std::uint32_t block, std::uint32_t offset) {
  return Little(block, 4) + Little(offset, 4);
}

std::string Sealed(std::string const& bytes) {
  return bytes + Little(SatelliteChecksum(bytes), 8);
}

TEST(SatelliteFile, HasTheDocumentedBytes) {
  // The example of docs/formats.md.
  std::string const bytes = Head(1) + Entry(2, 24) + std::string("\0\0\2\0J\0a\0\0\0\1\0\xC4\0", 14) +
                            std::string(24, '\0') + Little(0x7CE4F92FF8D61B83, 8);
  EXPECT_EQ(EncodeSatellite({{17, u"Ja"}, {18, u""}, {19, u"\u00C4"}}), bytes);
  EXPECT_EQ(DecodeSatellite(bytes), (TextMap{{17, u"Ja"}, {19, u"\u00C4"}}));
}

TEST(SatelliteFile, GivesBackWhatWasStored) {
  for (TextMap const& texts :
       {TextMap{}, TextMap{{0, u"first"}, {15, u"last of its block"}, {16, u"next block"}},
        TextMap{{0xFFFFFFFF, {u'a', 0xD800, 0}}}, TextMap{{5, wstring(satelliteTextLimit, u'x')}}}) {
    EXPECT_TRUE(DecodeSatellite(EncodeSatellite(texts)) == texts);
  }
  EXPECT_TRUE(DecodeSatellite(EncodeSatellite({{5, wstring(satelliteTextLimit + 1, u'x')}}))->at(5).size() ==
              satelliteTextLimit);
}

TEST(SatelliteFile, NoticesEveryTruncationAndEveryChangedByte) {
  std::string const bytes = GermanSatellite();
  ASSERT_TRUE(DecodeSatellite(bytes));
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    ASSERT_FALSE(DecodeSatellite(std::string_view(bytes).substr(0, length))) << length;
  }
  EXPECT_FALSE(DecodeSatellite(bytes + '\0'));
  for (std::size_t place = 0; place < bytes.size(); ++place) {
    for (int const mask : {0x01, 0x80, 0xFF}) {
      std::string damaged = bytes;
      damaged[place] = static_cast<char>(damaged[place] ^ mask);
      ASSERT_FALSE(DecodeSatellite(damaged)) << place;
    }
  }
}

TEST(SatelliteFile, RefusesHostileStructureUnderARightChecksum) {
  std::string const block = std::string("\1\0x", 4) + std::string(30, '\0');
  std::pair<char const*, std::string> const cases[] = {
      {"another magic", "ZaMText!" + Head(0).substr(8)},
      {"a later version", "ZaMTexts" + Little(2, 4) + Little(0, 4)},
      {"more blocks than bytes", Head(0xFFFFFFFF) + Entry(1, 24)},
      {"a block without texts", Head(1) + Entry(1, 24) + std::string(32, '\0')},
      {"block 0", Head(1) + Entry(0, 24) + block},
      {"a block beyond the last", Head(1) + Entry(0x10000001, 24) + block},
      {"an offset beyond the end", Head(1) + Entry(1, 0xFFFFFFFF) + block},
      {"an offset into the head", Head(1) + Entry(1, 0) + block},
      {"a text beyond the end", Head(1) + Entry(1, 24) + "\xFF\xFF"},
      {"one block twice", Head(2) + Entry(1, 32) + Entry(1, 66) + block + block},
      {"blocks out of order", Head(2) + Entry(2, 32) + Entry(1, 66) + block + block},
      {"bytes left over", Head(0) + "rest"},
  };
  for (auto const& [name, bytes] : cases) EXPECT_FALSE(DecodeSatellite(Sealed(bytes))) << name;
  EXPECT_TRUE(DecodeSatellite(Sealed(Head(2) + Entry(1, 32) + Entry(0x10000000, 66) + block + block)))
      << "the others are variations of a sound one";
}

}  // namespace
}  // namespace ZaM::detail
