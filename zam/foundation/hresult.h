// Sentences about calls that fail with a number of 32 bits and, perhaps, a description that is left for the caller.
//
// Sequence: SetErrorInfo, if there is more to say, then HResultToString or GetErrorInfo on the same thread.
// Threads:  any, at any time; each has a description of its own.
// Errors:   BaseException with id 5 when memory runs out; GetErrorInfo throws nothing. An argument that is taken by
//           value is the caller's copy, which ends in `std::bad_alloc` where there is no memory for it.
#ifndef ZAM_FOUNDATION_HRESULT_H
#define ZAM_FOUNDATION_HRESULT_H

#include <cstdint>

#include "zam/foundation/export.h"
#include "zam/foundation/types.h"

namespace ZaM {

/// Leaves `description` for the next HResultToString of this thread, in place of one that is still there. For
/// components that know more about their failure than its number says. What was there before is kept when memory runs
/// out.
ZAM_EXPORT void SetErrorInfo(wstring const& description);

/// Moves the description that waits on this thread into `description` and takes it away. Returns false, and changes
/// nothing, if none waits.
ZAM_EXPORT bool GetErrorInfo(wstring& description);

/// One line about a failed call, such as "Error in a.xml, Function Load: Out of memory (0x8007000e)", in the user's
/// language but for the description. That is the one which SetErrorInfo left on this thread, and is taken away by this
/// call; without one, a text for `hr`, "Unknown error" if it has none. At most 255 units; more is cut.
///
/// To be called on the thread of the failed call, before another call that may leave a description. The description is
/// gone also when memory runs out.
[[nodiscard]] ZAM_EXPORT wstring HResultToString(std::int32_t hr, wstring location, wstring function);

}  // namespace ZaM

#endif
