// System calls that a signal may interrupt.
#ifndef ZAM_PLATFORM_RETRY_H
#define ZAM_PLATFORM_RETRY_H

#include <cerrno>

namespace ZaM::platform {

/// What the call gives; one that a signal interrupted is made again.
template <class Call>
auto Retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

}  // namespace ZaM::platform

#endif
