#include "zam/foundation/stream_helper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/exceptions.h"

namespace ZaM {
namespace {

using std::string_literals::operator""s;
using test::FailureId;

/// Takes `limit` bytes and then fails.
class Limited : public std::stringbuf {
 public:
  explicit Limited(std::streamsize limit) : rest(limit) {}

 protected:
  std::streamsize xsputn(char const* bytes, std::streamsize count) override {
    std::streamsize const taken = std::stringbuf::xsputn(bytes, std::min(count, rest));
    rest -= taken;
    return taken;
  }

 private:
  std::streamsize rest;
};

/// `count` as it is stored.
std::string Count(std::uint32_t count) {
  std::string bytes;
  for (unsigned int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(count >> shift & 0xFF);
  return bytes;
}

/// The units of `text`, without count and terminator, as they are stored.
std::string Units(wstring const& text) {
  std::string bytes;
  for (wchar const unit : text) (bytes += static_cast<char>(unit & 0xFF)) += static_cast<char>(unit >> 8);
  return bytes;
}

wstring Text(std::size_t length) {
  wstring text;
  for (std::size_t i = 0; i < length; ++i) text += static_cast<wchar>(0xFFFF - 37 * i);
  return text;
}

TEST(StreamHelper, StoresTheLowestByteFirst) {
  std::ostringstream out;
  StreamHelper::WriteBool(&out, true);
  StreamHelper::WriteBool(&out, false);
  StreamHelper::WriteLong(&out, -2);
  StreamHelper::WriteLong(&out, 0x01020304);
  StreamHelper::WriteDouble(&out, -1.0000000000000002);
  wstring text = u"a\xD800";
  StreamHelper::WriteString(&out, text);
  wstring none;
  StreamHelper::WriteString(&out, none);
  std::string const stored =
      "\x01\0\xFE\xFF\xFF\xFF\x04\x03\x02\x01\x01\0\0\0\0\0\xF0\xBF\x06\0\0\0a\0\0\xD8\0\0\x02\0\0\0\0\0"s;
  EXPECT_EQ(out.str(), stored);

  std::istringstream in(stored + "\xFE\xFF\x02"s);
  bool flags[3] = {false, true, false};
  std::int32_t longs[2];
  double real;
  std::int16_t small;
  none = u"old";
  StreamHelper::ReadBool(&in, flags[0]);
  StreamHelper::ReadBool(&in, flags[1]);
  StreamHelper::ReadLong(&in, longs[0]);
  StreamHelper::ReadLong(&in, longs[1]);
  StreamHelper::ReadDouble(&in, real);
  StreamHelper::ReadString(&in, text);
  StreamHelper::ReadString(&in, none);
  StreamHelper::ReadShort(&in, small);
  StreamHelper::ReadBool(&in, flags[2]);  // a byte of 2
  EXPECT_TRUE(flags[0] && !flags[1] && flags[2]);
  EXPECT_TRUE(longs[0] == -2 && longs[1] == 0x01020304 && real == -1.0000000000000002 && small == -2);
  EXPECT_TRUE(text == u"a\xD800" && none.empty());
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
      {"negative count", Count(0xFFFFFFFF) + "abcd", u"", 2004},
      {"most negative count", Count(0x80000000) + "abcd", u"", 2004},
      {"huge count", Count(0x7FFFFFFF) + Units(Text(1300)), Text(1024), 2004},
      {"ends inside the first chunk", Count(6) + "a\0b\0\0"s, u"", 2004},
      {"ends behind a chunk", Count(1026) + Units(Text(512)), Text(512), 2004},
  };
  for (auto const& [name, stored, expected, failure] : cases) {
    std::istringstream in(stored);
    wstring text = u"old";
    std::size_t const allocated = test::AllocatedBytes();
    EXPECT_EQ(FailureId([&] { StreamHelper::ReadString(&in, text); }), failure) << name;
    EXPECT_LT(test::AllocatedBytes() - allocated, 20'000u) << name;
    EXPECT_TRUE(text == expected) << name;
    EXPECT_EQ(in.fail(), failure != 0) << name;
  }
}

TEST(StreamHelper, GivesTextsOfAnyLengthBack) {
  for (std::size_t const length : {0u, 1u, 510u, 511u, 512u, 513u, 1023u, 1024u, 2000u, 100'000u}) {
    wstring text = Text(length);
    std::replace(text.begin(), text.end(), u'\0', u'0');
    std::stringstream stream;
    StreamHelper::WriteString(&stream, text);
    EXPECT_EQ(stream.str(), Count(static_cast<std::uint32_t>(2 * length + 2)) + Units(text + u'\0'));
    wstring read;
    StreamHelper::ReadString(&stream, read);
    EXPECT_TRUE(read == text) << length;
    EXPECT_EQ(stream.peek(), std::char_traits<char>::eof());
  }
}

TEST(StreamHelper, KeepsWhatArrivedOfANumber) {
  std::istringstream in("\x11\x22"s);
  std::int32_t number = -1;
  EXPECT_EQ(FailureId([&] { StreamHelper::ReadLong(&in, number); }), 2004);
  EXPECT_EQ(static_cast<std::uint32_t>(number), 0xFFFF2211u);
  bool flag = true;
  EXPECT_EQ(FailureId([&] { StreamHelper::ReadBool(&in, flag); }), 2004);
  EXPECT_TRUE(flag);
}

/// Runs `write`, which writes `length` bytes, on streams that take fewer bytes, and on one that takes all.
template <class Write>
void ExpectFailureWhereverItEnds(std::streamsize length, std::ios_base::iostate thrown, Write write) {
  for (std::streamsize limit = 0; limit <= length; ++limit) {
    Limited buffer(limit);
    std::ostream out(&buffer);
    out.exceptions(thrown);
    EXPECT_EQ(FailureId([&] { write(&out); }), limit < length ? 2001 : 0) << limit;
  }
}

TEST(StreamHelper, ReportsStreamsThatEndAnywhere) {
  wstring text = Text(600);
  for (auto const thrown : {std::ios_base::goodbit, std::ios_base::failbit | std::ios_base::badbit}) {
    ExpectFailureWhereverItEnds(1, thrown, [](std::ostream* s) { StreamHelper::WriteBool(s, true); });
    ExpectFailureWhereverItEnds(4, thrown, [](std::ostream* s) { StreamHelper::WriteLong(s, 1); });
    ExpectFailureWhereverItEnds(8, thrown, [](std::ostream* s) { StreamHelper::WriteDouble(s, 1); });
    ExpectFailureWhereverItEnds(1206, thrown, [&](std::ostream* s) { StreamHelper::WriteString(s, text); });

    std::string const stored = Count(1202) + Units(text + u'\0');
    for (std::size_t length = 0; length <= stored.size(); ++length) {
      std::istringstream in(stored.substr(0, length));
      in.exceptions(thrown);
      wstring read;
      EXPECT_EQ(FailureId([&] { StreamHelper::ReadString(&in, read); }), length < stored.size() ? 2004 : 0) << length;
    }
  }
}

TEST(StreamHelper, SaysWhatFailedWithoutAPath) {
  auto const sentence = [](auto use) -> wstring {
    std::stringstream ended;
    ended.setstate(std::ios_base::badbit);
    try {
      use(&ended);
    } catch (FileIOException const& failure) {
      EXPECT_TRUE(failure.GetPathname().empty());
      return failure.GetErrorDescription();
    }
    return u"none";
  };
  std::int16_t number;
  EXPECT_TRUE(sentence([&](auto* s) { StreamHelper::ReadShort(s, number); }) == u"Could not read file");
  EXPECT_TRUE(sentence([&](auto* s) { StreamHelper::WriteLong(s, 1); }) == u"Could not write file: ");
}

TEST(StreamHelper, SurvivesALackOfMemory) {
  std::stringstream stream;
  wstring text = Text(1700);
  StreamHelper::WriteString(&stream, text);
  wstring read;
  std::size_t const failures = test::FailEachAllocation(
      [&] {
        stream.seekg(0);
        read = wstring();
        StreamHelper::ReadString(&stream, read);
      },
      [&] { EXPECT_TRUE(read.size() % 512 == 0 && read == text.substr(0, read.size())); }, {.mayKeepMemory = true});
  EXPECT_GE(failures, 2u);
  EXPECT_TRUE(read == text);
}

}  // namespace
}  // namespace ZaM
