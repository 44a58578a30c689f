#include "zam/foundation/language.h"

#include <gtest/gtest.h>

#include <thread>

#include "zam/foundation/exceptions.h"

namespace ZaM {
namespace {

class LanguageTest : public testing::Test {
 protected:
  ~LanguageTest() override { SetLanguage(u"en"); }
};

TEST_F(LanguageTest, IsThatOfTheSentencesFromThenOn) {
  BaseException const failure(5);
  ASSERT_TRUE(SetLanguage(u"de"));
  EXPECT_EQ(failure.GetErrorDescription(), u"Nicht gen\u00FCgend Arbeitsspeicher");

  struct {
    wstring wanted;
    bool isThere;
    wstring language, sentence;
  } const cases[] = {
      {u"fr", true, u"fr", u"M\u00E9moire insuffisante"},
      {u"pt_BR", true, u"pt", u"Mem\u00F3ria insuficiente"},
      {u"es", true, u"es", u"Memoria insuficiente"},
      {u"xx", false, u"es", u"Memoria insuficiente"},
      {u"", false, u"es", u"Memoria insuficiente"},
      {u"../zam/de", false, u"es", u"Memoria insuficiente"},
      {wstring(2000, u'x'), false, u"es", u"Memoria insuficiente"},
      {u"en", true, u"en", u"Out of memory"},
  };
  for (auto const& [wanted, isThere, language, sentence] : cases) {
    EXPECT_EQ(SetLanguage(wanted), isThere);
    EXPECT_TRUE(GetLanguage() == language);
    EXPECT_TRUE(failure.GetErrorDescription() == sentence);
  }
}

TEST_F(LanguageTest, ConcurrentReadersGetOneLanguageOrTheOther) {
  std::thread reader([] {
    for (int i = 0; i < 2000; ++i) {
      auto const sentence = BaseException(5).GetErrorDescription();
      EXPECT_TRUE(sentence == u"Out of memory" || sentence == u"Memoria insuficiente");
    }
  });
  for (int i = 0; i < 500; ++i) SetLanguage(i % 2 == 0 ? u"es" : u"en");
  reader.join();
}

}  // namespace
}  // namespace ZaM
