// Runs all tests of a program under a locale with a comma, where ZAM_TEST_COMMA_LOCALE says so.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <memory>

#include "tests/support/comma_locale.h"

namespace ZaM::test {
namespace {

class LocaleEnvironment : public testing::Environment {
 public:
  void SetUp() override { locale = std::make_unique<CommaLocale>(); }
  void TearDown() override {
    EXPECT_EQ(*std::localeconv()->decimal_point, ',') << "a test has left another locale behind";
    locale = nullptr;
  }

 private:
  std::unique_ptr<CommaLocale> locale;
};

[[maybe_unused]] testing::Environment const* const environment =
    std::getenv("ZAM_TEST_COMMA_LOCALE") != nullptr ? testing::AddGlobalTestEnvironment(new LocaleEnvironment)
                                                    : nullptr;

}  // namespace
}  // namespace ZaM::test
