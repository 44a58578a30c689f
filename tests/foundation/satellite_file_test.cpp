#include "zam/foundation/satellite_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "zam/foundation/messages.h"
#include "zam/foundation/placeholder.h"

namespace ZaM::detail {
namespace {

std::string GermanSatellite() {
  std::ifstream file(ZAM_TEST_LIBRARY_FOLDER "/zam/de/zam.lng", std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string LittleEndian(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i & 0xFF);
  return text;
}

std::string Sealed(std::string const& bytes) {
  return bytes + LittleEndian(SatelliteChecksum(bytes), 8);
}

TEST(SatelliteFile, HasTheDocumentedBytes) {
  // The example of docs/formats.md.
  std::string const bytes = "ZaMTexts" + LittleEndian(1, 4) + LittleEndian(1, 4) +             //
                            LittleEndian(2, 4) + LittleEndian(24, 4) +                         //
                            LittleEndian(0, 2) + LittleEndian(2, 2) + LittleEndian(0x4A, 2) +  //
                            LittleEndian(0x61, 2) + LittleEndian(0, 2) + LittleEndian(1, 2) +  //
                            LittleEndian(0xC4, 2) + std::string(24, '\0') +                    //
                            LittleEndian(0x7CE4F92FF8D61B83, 8);
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
  std::string const head = "ZaMTexts" + LittleEndian(1, 4);
  std::string const block = std::string(2, '\1') + std::string(2 * 0x101, 'x') + std::string(30, '\0');
  std::string const emptyBlock(32, '\0');
  std::pair<char const*, std::string> const cases[] = {
      {"another magic", "ZaMText!" + LittleEndian(1, 4) + LittleEndian(0, 4)},
      {"a later version", "ZaMTexts" + LittleEndian(2, 4) + LittleEndian(0, 4)},
      {"more blocks than bytes", head + LittleEndian(0xFFFFFFFF, 4) + LittleEndian(1, 4) + LittleEndian(24, 4)},
      {"a block without texts", head + LittleEndian(1, 4) + LittleEndian(1, 4) + LittleEndian(24, 4) + emptyBlock},
      {"block 0", head + LittleEndian(1, 4) + LittleEndian(0, 4) + LittleEndian(24, 4) + block},
      {"a block beyond the last",
       head + LittleEndian(1, 4) + LittleEndian(0x10000001, 4) + LittleEndian(24, 4) + block},
      {"an offset beyond the end",
       head + LittleEndian(1, 4) + LittleEndian(1, 4) + LittleEndian(0xFFFFFFFF, 4) + block},
      {"an offset into the head", head + LittleEndian(1, 4) + LittleEndian(1, 4) + LittleEndian(0, 4) + block},
      {"a text beyond the end", head + LittleEndian(1, 4) + LittleEndian(1, 4) + LittleEndian(24, 4) + "\xFF\xFF"},
      {"one block twice", head + LittleEndian(2, 4) + LittleEndian(1, 4) + LittleEndian(32, 4) + LittleEndian(1, 4) +
                              LittleEndian(32 + block.size(), 4) + block + block},
      {"bytes left over", head + LittleEndian(0, 4) + "rest"},
  };
  for (auto const& [name, bytes] : cases) EXPECT_FALSE(DecodeSatellite(Sealed(bytes))) << name;
  EXPECT_TRUE(
      DecodeSatellite(Sealed(head + LittleEndian(1, 4) + LittleEndian(0x10000000, 4) + LittleEndian(24, 4) + block)))
      << "the block that the others are variations of is sound";
}

TEST(SatelliteFile, TheGermanOneIsComplete) {
  auto const german = DecodeSatellite(GermanSatellite());
  ASSERT_TRUE(german);
  EXPECT_EQ(german->size(), BuiltInTexts().size());
  for (auto const& [id, text] : BuiltInTexts()) {
    ASSERT_TRUE(german->contains(id)) << id;
    EXPECT_TRUE(PlaceholderKinds(german->at(id)) == PlaceholderKinds(text)) << id;
    EXPECT_EQ(german->at(id).ends_with(u' '), text.ends_with(u' ')) << id;
  }
}

}  // namespace
}  // namespace ZaM::detail
