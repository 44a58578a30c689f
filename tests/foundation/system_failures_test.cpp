#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <thread>

#include "tests/support/comma_locale.h"
#include "tests/support/failing_allocation.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/hresult.h"

namespace ZaM {
namespace {

wstring Said(std::int32_t id, wstring const& operation, std::uint32_t error) {
  return WinOperationException(id, operation, error).GetErrorDescription();
}

TEST(WinOperationException, NamesTheOperationAndAddsTheSystemsText) {
  EXPECT_EQ(Said(100, u"mkdir", ENOENT), u"Win operation \"mkdir\" failed. Error: 2 - No such file or directory");
  EXPECT_EQ(Said(100, u"50%d %s", 0x80070005),
            u"Win operation \"50%d %s\" failed. Error: -2147024891 - ");  // no error of this system
  EXPECT_EQ(WinOperationException(100).GetErrorDescription(), u"Win operation \"\" failed. Error: 0 - Success");
  EXPECT_EQ(Said(5, u"mkdir", ENOENT), u"Out of memory");
  EXPECT_EQ(WinOperationException(1, u"mkdir").GetErrorDescription(), u"Invalid argument: mkdir.");
  wstring const words(600, u'x');
  EXPECT_EQ(Said(100, words, ENOENT), (u"Win operation \"" + words).substr(0, 511));
}

TEST(WinOperationException, TakesTheTextInTheLanguageAndEncodingOfTheLocale) {
  test::CommaLocale const german;
  wstring const sentence = u"Win operation \"read\" failed. Error: 11 - Die Ressource ist zur Zeit nicht verfügbar";
  EXPECT_EQ(Said(100, u"read", EAGAIN), sentence);
  ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);  // has no ü
  wstring const plain = Said(100, u"read", EAGAIN);
  EXPECT_TRUE(plain.starts_with(sentence.substr(0, sentence.find(u'ü')))) << plain.size();
}

TEST(HResultToString, MakesALineOfTheNumberOrTheDescriptionThatWaits) {
  auto const line = [](std::uint32_t hr) { return HResultToString(static_cast<std::int32_t>(hr), u"a%s", u"Load"); };
  std::pair<std::uint32_t, wstring> const cases[] = {
      {0x8000FFFF, u"Error in a%s, Function Load: Catastrophic failure (0x8000ffff)"},
      {0x80004005, u"Error in a%s, Function Load: Unspecified error (0x80004005)"},
      {0, u"Error in a%s, Function Load: Unknown error (0x0)"},
  };
  for (auto const& [hr, expected] : cases) EXPECT_EQ(line(hr), expected);

  SetErrorInfo(u"first");
  SetErrorInfo(u"disk %d full");
  std::thread([&] { EXPECT_EQ(line(0), cases[2].second) << "of another thread"; }).join();
  EXPECT_EQ(line(0x80004005), u"Error in a%s, Function Load: disk %d full (0x80004005)");
  EXPECT_EQ(line(0x80004005), cases[1].second) << "taken away";

  wstring const words(300, u'x');
  EXPECT_EQ(HResultToString(0, words, u""), (u"Error in " + words).substr(0, 255));
}

TEST(HResultToString, TakesTheDescriptionAwayEvenWhereMemoryRunsOut) {
  wstring description;
  wstring const words = u"a description that needs memory of its own";
  EXPECT_GT(test::FailEachAllocation([&] { SetErrorInfo(words); }, [&] { EXPECT_FALSE(GetErrorInfo(description)); },
                                     {.mayKeepMemory = true}),
            0u);
  auto const describe = [] { static_cast<void>(HResultToString(-1, u"place", u"call")); };
  EXPECT_GT(test::FailEachAllocation(describe, [&] { EXPECT_FALSE(GetErrorInfo(description)), SetErrorInfo(words); },
                                     {.mayKeepMemory = true}),
            0u);
  EXPECT_FALSE(GetErrorInfo(description));
}

}  // namespace
}  // namespace ZaM
