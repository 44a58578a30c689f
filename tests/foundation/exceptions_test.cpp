#include "zam/foundation/exceptions.h"

#include <gtest/gtest.h>

#include <exception>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "zam/platform/unicode.h"

namespace ZaM {
namespace {

static_assert(!std::is_base_of_v<std::exception, BaseException>);
static_assert(std::has_virtual_destructor_v<BaseException>);
static_assert(std::is_nothrow_copy_constructible_v<LimitExceededException>);

wstring Said(BaseException const& failure) {
  return failure.GetErrorDescription();
}

using Base = BaseException;
using Bounds = OutOfBoundsException;
using Format = XMLFormatException;
using File = FileIOException;
using Canceled = UserCanceledException;
using Collection = CollectionException;

constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();

// These tests run beside no satellites, so that all sentences are the built-in ones. What is only a row of errors.def
// has one case for its class; the others are what a class makes of it.
TEST(Exceptions, SpeakOfTheirDetail) {
  std::pair<wstring, wstring> const cases[] = {
      {Said(Base(ErrorId::InvalidArgument, u"count")), u"Invalid argument: count."},
      {Said(Base(ErrorId::InvalidArgument)), u"Invalid argument specified."},
      {Said(Base(5, u"unused")), u"Out of memory"},
      {Said(Base(25, u"no %s, 100%")), u"no %s, 100%"},
      {Said(Base(37)), u"Failed to load form definition, because preprocessing method '' is not installed."},
      {Said(Base(53)), u"The settings are incomplete: %s"},
      {Said(Base(4001)), u"ZaM exception number 4001"},
      {Said(Bounds(8, 7, 5)), u"Zam-Exception: Index (7) out of range (0 - 4). "},
      {Said(Bounds(8, 0, least)), u"Zam-Exception: Index (0) out of range (0 - 2147483647). "},
      {Said(Bounds(9, 7, 5)), u"ZaM exception number 9"},
      {Said(LimitExceededException(u"50% of %s", ~0ull, 0)),
       u"Limit exceeded: 50% of %s (18446744073709551615, at most 0)"},
      {Said(Format(10, u"7.1")),
       u"This XML file was saved by a newer version '7.1' of this software. Please update to the new version."},
      {Said(Format(17, u"100%s")), u"Invalid XML format for node '100%s' detected."},
      {Said(File(2003, u"a%20b%s.xml")), u"Could not open file: a%20b%s.xml"},
      {Said(File(2004)), u"Could not read file"},
      {Said(File(-7, u"a%s.xml")), u"FileIOException -7, Filename: a%s.xml"},
      {Said(Canceled(21)), u"Training canceled by user"},
      {Said(Canceled(5)), u"ZaM exception number 5"},
      {Said(Collection(1001, 3, 0)), u"Zam-Exception: Index (3) out of range (0 - -1). "},
      {Said(Collection(1002, 0)), u"Item with Id #0 not found."},
      {Said(Collection(1003, u"50% off")), u"Item with name '50% off' not found."},
      {Said(Collection(5, 1, 2)), u"Unknown collection exception #5."},
      {Said(XmlException(3002, u"unused")), u"Canot close the XML node."},
      {Said(XmlException(5)), u"Unknown XML error."},
  };
  for (auto const& [said, expected] : cases) {
    EXPECT_TRUE(said == expected) << platform::Utf8FromUtf16(said) << "\n" << platform::Utf8FromUtf16(expected);
  }
}

TEST(Exceptions, SentencesAreCutToTheCapacityOfTheirClass) {
  wstring const words(3000, u'x');
  EXPECT_TRUE(Base(1, words).GetErrorDescription() == (u"Invalid argument: " + words).substr(0, 1023));
  EXPECT_TRUE(Base(25, words).GetErrorDescription() == words);
  EXPECT_TRUE(Format(11, words).GetErrorDescription() == (u"Invalid XML format for node '" + words).substr(0, 127));
  EXPECT_TRUE(Collection(1003, words).GetErrorDescription() == (u"Item with name '" + words).substr(0, 255));
  EXPECT_TRUE(File(7, words).GetErrorDescription() == u"FileIOException 7, Filename: " + words);
}

TEST(Exceptions, ALimitIsExceededAboveItAlone) {
  RequireAtMost(u"passes", 20, 20);
  try {
    RequireAtMost(u"passes", 21, 20);
    FAIL();
  } catch (LimitExceededException const& failure) {
    EXPECT_EQ(failure.GetErrorId(), 4001);
    EXPECT_TRUE(failure.GetWhat() == u"passes");
    EXPECT_EQ(std::pair(failure.GetValue(), failure.GetLimit()), std::pair(std::uint64_t{21}, std::uint64_t{20}));
  }
}

}  // namespace
}  // namespace ZaM
