#include "zam/foundation/stream_helper.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <utility>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/exceptions.h"

namespace ZaM {
namespace {

using std::string_literals::operator""s;
using test::FailureId;

TEST(StreamHelper, StoresTheLowestByteFirst) {
  std::string const stored =
      "\x01\0\xFE\xFF\xFF\xFF\x04\x03\x02\x01\x01\0\0\0\0\0\xF0\xBF\x06\0\0\0a\0\0\xD8\0\0\x02\0\0\0\0\0"s;
  wstring text = u"a\xD800", none;
  std::ostringstream out;
  for (bool const flag : {true, false}) StreamHelper::WriteBool(&out, flag);
  for (std::int32_t const number : {-2, 0x01020304}) StreamHelper::WriteLong(&out, number);
  StreamHelper::WriteDouble(&out, -1.0000000000000002);
  for (wstring* const string : {&text, &none}) StreamHelper::WriteString(&out, *string);
  EXPECT_EQ(out.str(), stored);

  std::istringstream in(stored + "\xFE\xFF\x02"s);
  bool flags[3] = {false, true, false};
  std::int32_t longs[2];
  double real;
  std::int16_t small;
  wstring strings[2] = {u"old", u"old"};
  for (bool* const flag : {&flags[0], &flags[1]}) StreamHelper::ReadBool(&in, *flag);
  for (std::int32_t& number : longs) StreamHelper::ReadLong(&in, number);
  StreamHelper::ReadDouble(&in, real);
  for (wstring& string : strings) StreamHelper::ReadString(&in, string);
  StreamHelper::ReadShort(&in, small);
  StreamHelper::ReadBool(&in, flags[2]);  // a byte of 2
  EXPECT_TRUE(flags[0] && !flags[1] && flags[2] && strings[0] == text && strings[1].empty());
  EXPECT_TRUE(longs[0] == -2 && longs[1] == 0x01020304 && real == -1.0000000000000002 && small == -2);
}

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
      {"no count", "\x02\0\0"s, u"old", 2004},
      {"negative count", Count(0x80000000) + Units(Text(600)), u"", 2004},
      {"huge count", Count(0x7FFFFFFF) + Units(Text(1300)), Text(1024), 2004},
      {"ends behind a chunk", Count(1026) + Units(Text(512)), Text(512), 2004},
  };
  for (auto const& [name, stored, expected, failure] : cases) {
    std::istringstream in(stored);
    wstring text = u"old";
    std::size_t const allocated = test::AllocatedBytes();
    EXPECT_EQ(FailureId([&] { StreamHelper::ReadString(&in, text); }), failure) << name;
    EXPECT_LT(test::AllocatedBytes() - allocated, 20'000u) << name;
    EXPECT_TRUE(text == expected && in.fail() == (failure != 0)) << name;
  }
  for (std::size_t const length : {1u, 511u, 512u, 2000u}) {
    wstring text = Text(length), read;
    std::stringstream stream;
    StreamHelper::WriteString(&stream, text);
    EXPECT_EQ(stream.str(), Count(2 * length + 2) + Units(text + u'\0'));
    StreamHelper::ReadString(&stream, read);
    EXPECT_TRUE(read == text && stream.peek() == std::char_traits<char>::eof()) << length;
  }
}

/// The sentence, which names no path, in which a use ends; nothing where it ends well.
wstring Failure(std::function<void()> const& use) try {
  use();
  return {};
} catch (FileIOException const& failure) {
  return failure.GetErrorDescription();
}

TEST(StreamHelper, ReportsStreamsThatEndAnywhere) {
  /// Takes `limit` bytes and then fails.
  struct Limited : std::streambuf {
    explicit Limited(std::size_t limit) { setp(bytes, bytes + limit); }
    char bytes[2000];
  };
  wstring text = Text(600);
  std::string const stored = Count(1202) + Units(text + u'\0');
  std::pair<std::size_t, std::function<void(std::ostream*)>> const writes[] = {
      {1, [](std::ostream* s) { StreamHelper::WriteBool(s, true); }},
      {4, [](std::ostream* s) { StreamHelper::WriteLong(s, 1); }},
      {8, [](std::ostream* s) { StreamHelper::WriteDouble(s, 1); }},
      {stored.size(), [&](std::ostream* s) { StreamHelper::WriteString(s, text); }}};
  for (auto const thrown : {std::ios_base::goodbit, std::ios_base::failbit | std::ios_base::badbit}) {
    for (auto const& [length, write] : writes) {
      for (std::size_t limit = 0; limit <= length; ++limit) {
        Limited buffer(limit);
        std::ostream out(&buffer);
        out.exceptions(thrown);
        EXPECT_EQ(Failure([&, &use = write] { use(&out); }), limit < length ? u"Could not write file: " : u"");
      }
    }
    for (std::size_t length = 0; length <= stored.size(); ++length) {
      std::istringstream in(stored.substr(0, length));
      in.exceptions(thrown);
      wstring read;
      auto const failure = Failure([&] { StreamHelper::ReadString(&in, read); });
      EXPECT_EQ(failure, length < stored.size() ? u"Could not read file" : u"") << length;
    }
  }
  std::istringstream in("\x11\x22"s);
  std::int32_t number = -1;
  bool flag = true;
  EXPECT_EQ(FailureId([&] { StreamHelper::ReadLong(&in, number); }), 2004);
  EXPECT_EQ(static_cast<std::uint32_t>(number), 0xFFFF2211u) << "what arrived of it";
  EXPECT_TRUE(FailureId([&] { StreamHelper::ReadBool(&in, flag); }) == 2004 && flag);
}

TEST(StreamHelper, SurvivesALackOfMemory) {
  wstring text = Text(1700), read;
  std::stringstream stream;
  StreamHelper::WriteString(&stream, text);
  auto const readAgain = [&] {
    stream.seekg(0);
    read = wstring();
    StreamHelper::ReadString(&stream, read);
  };
  auto const isFront = [&] { EXPECT_TRUE(read.size() % 512 == 0 && read == text.substr(0, read.size())); };
  EXPECT_GE(test::FailEachAllocation(readAgain, isFront, {.mayKeepMemory = true}), 2u);
  EXPECT_TRUE(read == text);
}

}  // namespace
}  // namespace ZaM
