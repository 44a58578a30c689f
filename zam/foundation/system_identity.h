// The names and numbers of the machine and the process.
//
// Threads: any, at any time.
// Errors:  BaseException with id 5 out of GetPID when memory runs out; the other two throw nothing.
#ifndef ZAM_FOUNDATION_SYSTEM_IDENTITY_H
#define ZAM_FOUNDATION_SYSTEM_IDENTITY_H

#include <cstdint>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// The number of processors of the machine that are switched on; at least 1. Limits that were set for the process or
/// its container don't lower it.
[[nodiscard]] ZAM_EXPORT std::int32_t ZamGetCPUCount();

/// Puts the machine's name, at most 255 bytes in UTF-8, into `name`. False where the system doesn't tell or memory runs
/// out; `name` is untouched then.
ZAM_EXPORT bool GetHostname(wstring& name);

/// Puts the id of this process into `text`, in decimal.
ZAM_EXPORT void GetPID(wstring& text);

}  // namespace ZaM

#endif
