// Last words of a program that no `catch` was ready for.
#ifndef ZAM_FOUNDATION_UNCAUGHT_H
#define ZAM_FOUNDATION_UNCAUGHT_H

#include <cstdio>
#include <exception>

#include "zam/foundation/exceptions.h"

namespace ZaM {

/// From here on an uncaught BaseException writes its sentence to standard error before the program ends:
///
///     int main() {
///       ZaM::DescribeUncaught();
///       ZaM::XmlTree letters(u"letters.xml");   // Could not open file: letters.xml
///     }
///
/// What was called at the end until now, which by default names the type and aborts, is called after that, and alone
/// for any other exception. The handler is compiled into the program: nothing of it stays when the library is unloaded
/// before.
///
/// Threads: any; the handler is the process's. Calling it again changes nothing.
/// Errors:  nothing is thrown. A sentence that there is no memory for is an empty line.
inline void DescribeUncaught() {
  static std::terminate_handler const former = std::get_terminate();
  auto const describe = [] {
    try {
      if (std::exception_ptr const failure = std::current_exception()) std::rethrow_exception(failure);
    } catch (BaseException const& failure) {
      std::fprintf(stderr, "%s\n", failure.what().c_str());
    } catch (...) {
      // The former handler names it.
    }
    former();
  };
  [[maybe_unused]] static bool const isSet = (std::set_terminate(describe), true);
}

}  // namespace ZaM

#endif
