#include "zam/platform/environment.h"

#include <gtest/gtest.h>

#include "tests/support/scoped_variable.h"

namespace ZaM::platform {
namespace {

using test::ScopedVariable;

TEST(UserLanguageId, FollowsTheFirstLocaleVariableThatIsNotEmpty) {
  struct {
    std::optional<std::string> all, messages, lang;
    int expected;
  } const cases[] = {
      {{}, {}, "de_DE.UTF-8", 0x407},     {{}, {}, "de@euro", 0x407}, {{}, "fr_CA", "de_DE", 0x40C},
      {"it_IT", "fr_CA", "de_DE", 0x410}, {"", "", "pt_BR", 0x416},   {{}, {}, "C.UTF-8", 0x409},
      {"C", {}, "de_DE", 0x409},          {{}, {}, "ja_JP.UTF-8", 0}, {{}, {}, "deu_DE", 0},
  };
  for (auto const& [all, messages, lang, expected] : cases) {
    ScopedVariable const one("LC_ALL", all), two("LC_MESSAGES", messages), three("LANG", lang);
    EXPECT_EQ(UserLanguageId(), expected) << all.value_or("-") << messages.value_or("-") << lang.value_or("-");
  }
}

TEST(EnvironmentVariable, IsReadUnderAnyNameAndDecoded) {
  ScopedVariable const set("zam test variable", "B\xC3\xA4r \xFF");
  EXPECT_TRUE(EnvironmentVariable("zam test variable") == u"B\u00E4r \uFFFD");
  EXPECT_TRUE(EnvironmentVariable("zam test variable that isn't set").empty());
}

}  // namespace
}  // namespace ZaM::platform
