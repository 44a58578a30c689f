#include "zam/foundation/stream_helper.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/exceptions.h"

namespace ZaM {
namespace {

using std::string_literals::operator""s;
using test::FailureId;

/// A count, and units, as they are stored.
std::string Count(std::size_t count) {
  std::string bytes;
  for (unsigned int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(count >> shift & 0xFF);
  return bytes;
}
std::string Units(wstring const& text) {
  std::string bytes;
  for (wchar const unit : text) bytes += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
  return bytes;
}

wstring Text(std::size_t length) {
  wstring text;
  for (std::size_t i = 0; i < length; ++i) text += static_cast<wchar>(0xFFFF - 37 * i);
  return text;
}

/// The sentence, which names no path, in which a use ends; nothing where it ends well.
wstring Failure(std::function<void()> const& use) try {
  use();
  return {};
} catch (FileIOException const& failure) {
  return failure.GetErrorDescription();
}

TEST(StreamHelper, StoresTheLowestByteFirstOnStreamsThatMayEndAnywhere) {
  /// Takes `limit` bytes and then fails.
  struct Limited : std::streambuf {
    explicit Limited(std::size_t limit) { setp(bytes, bytes + limit); }
    char bytes[2000];
  };
  wstring text = Text(600);
  double const real = -1.0000000000000002;
  std::string const stored = "\x01\xFE\x03\x02\x01\x01\0\0\0\0\0\xF0\xBF"s + Count(1202) + Units(text + u'\0');
  for (auto const thrown : {std::ios_base::goodbit, std::ios_base::failbit | std::ios_base::badbit}) {
    for (std::size_t length = 0; length <= stored.size(); ++length) {
      bool const isWhole = length == stored.size();
      Limited buffer(length);
      std::ostream out(&buffer);
      out.exceptions(thrown);
      auto const write = [&] {
        StreamHelper::WriteBool(&out, true);
        StreamHelper::WriteLong(&out, 0x010203FE);
        StreamHelper::WriteDouble(&out, real);
        StreamHelper::WriteString(&out, text);
      };
      EXPECT_EQ(Failure(write), isWhole ? u"" : u"Could not write file: ") << length;
      EXPECT_TRUE(!isWhole || std::string(buffer.bytes, length) == stored);

      std::istringstream in(stored.substr(0, length));
      in.exceptions(thrown);
      std::tuple<bool, std::int32_t, double, wstring> read;
      auto const readAll = [&] {
        StreamHelper::ReadBool(&in, std::get<0>(read));
        StreamHelper::ReadLong(&in, std::get<1>(read));
        StreamHelper::ReadDouble(&in, std::get<2>(read));
        StreamHelper::ReadString(&in, std::get<3>(read));
      };
      EXPECT_EQ(Failure(readAll), isWhole ? u"" : u"Could not read file") << length;
      EXPECT_EQ(read == std::tuple(true, 0x010203FE, real, text), isWhole);
    }
  }
}

TEST(StreamHelper, TakesWhatArrivedOfANumber) {
  std::istringstream in("\xFE\xFF\2\0\x11\x22"s);
  std::int16_t small;
  bool flags[2] = {false, true};
  std::int32_t number = -1;
  StreamHelper::ReadShort(&in, small);
  for (bool& flag : flags) StreamHelper::ReadBool(&in, flag);
  EXPECT_TRUE(small == -2 && flags[0] && !flags[1]);
  EXPECT_EQ(FailureId([&] { StreamHelper::ReadLong(&in, number); }), 2004);
  EXPECT_EQ(static_cast<std::uint32_t>(number), 0xFFFF2211u);
  EXPECT_TRUE(FailureId([&] { StreamHelper::ReadBool(&in, flags[0]); }) == 2004 && flags[0]);
}

TEST(StreamHelper, LetsPassWhatAnotherStreamThrowsThatIsFlushedBefore) {
  struct Broken : std::streambuf {
    int sync() override { return -1; }
  } broken;
  std::ostream other(&broken);
  other.exceptions(std::ios_base::badbit);
  std::ostringstream out;
  out.tie(&other);
  EXPECT_THROW(StreamHelper::WriteBool(&out, true), std::ios_base::failure);
}

TEST(StreamHelper, ReadsStoredTextsOfAnyForm) {
  wstring const zeroInside = Text(100) + u'\0' + Text(600);
  struct {
    char const* name;
    std::string stored;
    wstring expected;
    std::int32_t failure = 0;
  } const cases[] = {
      {"count of 0", Count(0), u""},
      {"odd count", Count(3) + "a\0b"s, u"ab"},
      {"odd count across chunks", Count(1025) + Units(Text(512)) + "b", Text(512) + u'b'},
      {"no terminator", Count(4) + Units(u"ab"), u"ab"},
      {"zero unit in the first chunk", Count(1404) + Units(zeroInside + u'\0'), Text(100) + zeroInside.substr(512)},
      {"zero unit at the end of a chunk", Count(1028) + Units(Text(511) + u'\0' + u"b" + u'\0'), Text(511) + u'b'},
      {"zero unit at the start of a chunk", Count(1028) + Units(Text(512) + u'\0' + u"b"), Text(512)},
      {"negative count", Count(0x80000000) + Units(Text(600)), u"", 2004},
      {"huge count", Count(0x7FFFFFFF) + Units(Text(1300)), Text(1024), 2004},
  };
  for (auto const& [name, stored, expected, failure] : cases) {
    std::istringstream in(stored);
    wstring text = u"old";
    std::size_t const allocated = test::AllocatedBytes();
    EXPECT_EQ(FailureId([&] { StreamHelper::ReadString(&in, text); }), failure) << name;
    EXPECT_TRUE(text == expected && test::AllocatedBytes() - allocated < 20'000) << name;
  }
}

TEST(StreamHelper, SurvivesALackOfMemory) {
  for (std::size_t const length : {0u, 511u, 512u, 1700u}) {
    wstring text = Text(length), read;
    std::stringstream stream;
    StreamHelper::WriteString(&stream, text);
    auto const readAgain = [&] {
      stream.seekg(0);
      read = wstring();
      StreamHelper::ReadString(&stream, read);
    };
    auto const isFront = [&] { EXPECT_TRUE(read.size() % 512 == 0 && read == text.substr(0, read.size())); };
    EXPECT_GE(test::FailEachAllocation(readAgain, isFront, {.mayKeepMemory = true}), length > 512 ? 2u : 0u);
    EXPECT_TRUE(read == text && stream.peek() == std::char_traits<char>::eof()) << length;
  }
}

}  // namespace
}  // namespace ZaM
