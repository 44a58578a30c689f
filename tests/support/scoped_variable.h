// Sets a variable of the process's environment for as long as a test needs it.
#ifndef TESTS_SUPPORT_SCOPED_VARIABLE_H
#define TESTS_SUPPORT_SCOPED_VARIABLE_H

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace ZaM::test {

class ScopedVariable {
 public:
  /// Without a value the variable is taken away.
  ScopedVariable(std::string name, std::optional<std::string> const& value) : variable(std::move(name)) {
    if (char const* const old = std::getenv(variable.c_str())) before = old;
    Put(value);
  }
  ScopedVariable(ScopedVariable const&) = delete;
  ScopedVariable& operator=(ScopedVariable const&) = delete;
  ~ScopedVariable() { Put(before); }

 private:
  void Put(std::optional<std::string> const& value) const {
    value ? setenv(variable.c_str(), value->c_str(), 1) : unsetenv(variable.c_str());
  }

  std::string variable;
  std::optional<std::string> before;
};

}  // namespace ZaM::test

#endif
