#include "zam/foundation/system_identity.h"

#include <new>
#include <optional>
#include <string>
#include <utility>

#include "zam/foundation/create_counted.h"
#include "zam/platform/identity.h"

namespace ZaM {

std::int32_t ZamGetCPUCount() {
  return platform::ProcessorCount();
}

bool GetHostname(wstring& name) {
  try {
    std::optional<wstring> found = platform::HostName();
    if (!found) return false;
    name = std::move(*found);
    return true;
  } catch (std::bad_alloc const&) {
    return false;
  }
}

void GetPID(wstring& text) {
  std::string const digits = std::to_string(platform::ProcessId());
  ReportOutOfMemory([&] { text.assign(digits.begin(), digits.end()); });
}

}  // namespace ZaM
