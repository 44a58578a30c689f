// A process whose numbers have a comma, as a program in Germany may set it.
#ifndef TESTS_SUPPORT_COMMA_LOCALE_H
#define TESTS_SUPPORT_COMMA_LOCALE_H

#include <clocale>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "tests/support/scoped_variable.h"
#include "tests/support/temporary_folder.h"

namespace ZaM::test {

/// While it lives, the process's locale is de_DE.UTF-8; made for the occasion, so that none has to be installed. It
/// throws where there is no such locale.
class CommaLocale {
 public:
  CommaLocale() {
    std::string const command = "localedef -i de_DE -f UTF-8 " + (folder.Path() / "de_DE.UTF-8").string();
    bool const isMade = std::system(command.c_str()) == 0 && std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    if (!isMade || *std::localeconv()->decimal_point != ',') throw std::runtime_error("no locale with a comma");
  }
  CommaLocale(CommaLocale const&) = delete;
  ~CommaLocale() { std::setlocale(LC_ALL, before.c_str()); }

 private:
  std::string before = std::setlocale(LC_ALL, nullptr);
  TemporaryFolder folder;
  ScopedVariable path{"LOCPATH", folder.Path().string()};
};

}  // namespace ZaM::test

#endif
