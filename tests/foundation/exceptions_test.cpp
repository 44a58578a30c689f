#include "zam/foundation/exceptions.h"

#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "tests/support/failing_allocation.h"
#include "zam/foundation/library_texts.h"
#include "zam/foundation/messages.h"
#include "zam/platform/unicode.h"

namespace ZaM {
namespace {

static_assert(!std::is_base_of_v<std::exception, BaseException>);
static_assert(std::has_virtual_destructor_v<BaseException>);

/// A program's own failure, with the signature that programs write.
class ProgramException : public BaseException {
 public:
  using BaseException::BaseException;
  [[nodiscard]] const wstring GetErrorDescription() const override { return u"own"; }
};

struct Sentence {
  std::shared_ptr<BaseException const> failure;
  wstring expected;
};

template <class Exception>
Sentence Row(Exception const& failure, wstring expected) {
  return {std::make_shared<Exception const>(failure), std::move(expected)};
}

using Base = BaseException;
using Bounds = OutOfBoundsException;
using Format = XMLFormatException;
using File = FileIOException;
using Canceled = UserCanceledException;
using Collection = CollectionException;

constexpr std::int32_t least = -2147483647 - 1;

// These tests run beside no satellites, so that all sentences are the built-in ones.
TEST(Exceptions, EachCaseHasItsSentence) {
  Sentence const cases[] = {
      Row(Base(1, u"count"), u"Invalid argument: count."),
      Row(Base(1), u"Invalid argument specified."),
      Row(Base(3, u"C:\\x"), u"Invalid file path \"C:\\x\" specified."),
      Row(Base(3), u"Invalid file path \"(NULL)\" specified."),
      Row(Base(5), u"Out of memory"),
      Row(Base(5, u"unused"), u"Out of memory"),
      Row(Base(17, u"why"), u"Unknown error in ZaM library occured: why"),
      Row(Base(17, u""), u"Unknown error in ZaM library occured."),
      Row(Base(18, u"kNN"), u"This file was saved by a newer version of the \"kNN\" classifier."),
      Row(Base(18), u"This file was saved by a newer version of the ZaM classifier."),
      Row(Base(25, u"no %s, 100%"), u"no %s, 100%"),
      Row(Base(25), u"Feature not supported."),
      Row(Base(27), u"XML node invalid"),
      Row(Base(37, u"OCR"), u"Failed to load form definition, because preprocessing method 'OCR' is not installed."),
      Row(Base(37), u"Failed to load form definition, because preprocessing method '' is not installed."),
      Row(Base(38, u"Tab"), u"This file was saved by a newer version of the \"Tab\" extraction method."),
      Row(Base(38), u"This file was saved by a newer version of the ZaM extraction method."),
      Row(Base(50, u"("), u"The syntax of the regular expression is wrong!"),
      Row(Base(51, u"why"), u"Error in BarcodeLocator: why"),
      Row(Base(51), u"Unknown error in BarcodeLocator"),
      Row(Base(53, u"path"), u"The settings are incomplete: path"),
      Row(Base(53), u"The settings are incomplete: %s"),
      Row(Base(9), u"ZaM exception number 9"),
      Row(Base(20), u"ZaM exception number 20"),
      Row(Base(least, u"unused"), u"ZaM exception number -2147483648"),
      Row(Base(17, u"%s%d%n%"), u"Unknown error in ZaM library occured: %s%d%n%"),

      Row(Bounds(8, 7, 5), u"Zam-Exception: Index (7) out of range (0 - 4). "),
      Row(Bounds(8, -3, 0), u"Zam-Exception: Index (-3) out of range (0 - -1). "),
      Row(Bounds(8, 0, least), u"Zam-Exception: Index (0) out of range (0 - 2147483647). "),
      Row(Bounds(9, 7, 5), u"ZaM exception number 9"),

      Row(Format(9, u"item"), u"Invalid XML format for node 'item' detected.. Please update to the new version."),
      Row(Format(10, u"7.1"),
          u"This XML file was saved by a newer version '7.1' of this software. Please update to the new version."),
      Row(Format(11, u"100%s"), u"Invalid XML format for node '100%s' detected."),

      Row(File(2001, u"a.xml"), u"Could not write file: a.xml"),
      Row(File(2002, u"a.xml"), u"Could not create file: a.xml"),
      Row(File(2003, u"a%20b%s.xml"), u"Could not open file: a%20b%s.xml"),
      Row(File(2003), u"Could not open file: "),
      Row(File(2004, u"a.xml"), u"Could not read file: a.xml"),
      Row(File(2004), u"Could not read file"),
      Row(File(25, u"a.xml"), u"This file format is not supported: a.xml"),
      Row(File(-7, u"a%s.xml"), u"FileIOException -7, Filename: a%s.xml"),
      Row(File(5), u"FileIOException 5, Filename: "),

      Row(Canceled(20), u"Classification canceled by user"),
      Row(Canceled(21), u"Training canceled by user"),
      Row(Canceled(22), u"Directory parsing canceled by user"),
      Row(Canceled(23), u"Document analysis canceled by user"),
      Row(Canceled(5), u"ZaM exception number 5"),

      Row(Collection(1001, 3, 0), u"Zam-Exception: Index (3) out of range (0 - -1). "),
      Row(Collection(1002, 0), u"Item with Id #0 not found."),
      Row(Collection(1003, u"50% off"), u"Item with name '50% off' not found."),
      Row(Collection(5, 1, 2), u"Unknown collection exception #5."),

      Row(XmlException(3001), u"No open XML node for this operation."),
      Row(XmlException(3002, u"unused"), u"Canot close the XML node."),
      Row(XmlException(3003), u"File is already opened."),
      Row(XmlException(3004), u"File is still opened."),
      Row(XmlException(3005), u"The XML string contains illegal characters."),
      Row(XmlException(5), u"Unknown XML error."),

      Row(ProgramException(5), u"own"),
  };
  for (auto const& [failure, expected] : cases) {
    EXPECT_TRUE(failure->GetErrorDescription() == expected)
        << platform::Utf8FromUtf16(failure->GetErrorDescription()) << "\n"
        << platform::Utf8FromUtf16(expected);
  }
}

TEST(Exceptions, SentencesAreCutToTheCapacityOfTheirClass) {
  wstring const words(3000, u'x');
  EXPECT_TRUE(Base(1, words).GetErrorDescription() == (u"Invalid argument: " + words).substr(0, 1023));
  EXPECT_TRUE(Base(25, words).GetErrorDescription() == words);
  EXPECT_TRUE(Format(11, words).GetErrorDescription() == (u"Invalid XML format for node '" + words).substr(0, 127));
  EXPECT_TRUE(Collection(1003, words).GetErrorDescription() == (u"Item with name '" + words).substr(0, 255));
  EXPECT_TRUE(File(2003, words).GetErrorDescription() == (u"Could not open file: " + words).substr(0, 1023));
  EXPECT_TRUE(File(7, words).GetErrorDescription() == u"FileIOException 7, Filename: " + words);
}

TEST(Exceptions, CarryTheirDataAndAreCaughtByTheirRoot) {
  Bounds bounds(8, 7, 5);
  bounds = Bounds(8, 6, 4);
  EXPECT_EQ(bounds.GetErrorId(), 8);
  EXPECT_EQ(bounds.GetCurrentIndex(), 6);
  EXPECT_EQ(bounds.GetMaxIndex(), 4);
  File const file(2003, u"a.xml"), copy(file);
  EXPECT_TRUE(copy.GetPathname() == u"a.xml");
  try {
    throw Collection(1003, u"name");
  } catch (BaseException const& failure) {
    EXPECT_EQ(failure.GetErrorId(), 1003);
    EXPECT_TRUE(failure.GetErrorDescription() == u"Item with name 'name' not found.");
  }
}

TEST(Exceptions, SpeakOnSeveralThreadsAtOnce) {
  File const failure(2003, u"a.xml");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 500; ++j) ASSERT_TRUE(failure.GetErrorDescription() == u"Could not open file: a.xml");
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(LibraryTexts, HoldTheTextsThatOnlyProgramsAskFor) {
  ResMgr const& texts = detail::LibraryTexts::Get();
  EXPECT_TRUE(texts.GetString(509) == u"Error in %s, Function %s: %s (0x%x)");
  EXPECT_TRUE(texts.GetString(700) == u"Win operation \"%s\" failed. Error: %d - %s");
  for (unsigned int const missing : {0u, 100u, 103u, 701u}) {
    EXPECT_TRUE(detail::LibraryModule()->FindText(missing).empty()) << missing;
  }
  EXPECT_TRUE(detail::LibraryModule()->GetPath().ends_with(u"/zam/zam.mod"));
}

TEST(Exceptions, GiveAnEmptySentenceWhereThereIsNoMemoryForOne) {
  FileIOException const failure(2003, u"a path that doesn't fit into a string without an allocation");
  for (std::size_t n = 0;; ++n) {
    test::FailingAllocation const failing(n);
    bool const empty = failure.GetErrorDescription().empty();
    EXPECT_EQ(empty, failing.HasFailed());
    if (!failing.HasFailed()) break;
  }
}

}  // namespace
}  // namespace ZaM
