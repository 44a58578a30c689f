// Threads that run under the identity of whoever starts them.
//
// Sequence: ZamCreateThread ZamWaitThread* ZamCloseThreadHandle.
// Owning:   the handle belongs to the caller of ZamCreateThread, and ends by ZamCloseThreadHandle.
// Threads:  any number may wait with one handle at once, but none while another gives it up.
// Errors:   no function throws; a thread that there is no memory for can't be started. An exception that leaves `start`
//           ends the program.
#ifndef ZAM_FOUNDATION_THREAD_H
#define ZAM_FOUNDATION_THREAD_H

#include <cstdint>

#include "zam/foundation/export.h"

namespace ZaM {

/// Starts a thread that calls `start(argument)`; the result of that is the thread's exit code. Null if the thread can't
/// be started.
///
///     void* const thread = ZamCreateThread(0, &work, &job);
///     if (thread == nullptr) return false;
///     ZamWaitThread(thread, 0xFFFFFFFF);
///     ZamCloseThreadHandle(thread);
///
/// `stackSize` is in bytes; 0 is the usual size. Small stacks get at least 64 KiB. The new thread takes over the
/// identity of the calling thread, under which files are opened for it, even if the process has another one.
[[nodiscard]] ZAM_EXPORT void* ZamCreateThread(unsigned int stackSize, std::uint32_t (*start)(void*), void* argument);

/// Waits until the thread has ended, for at most `timeout` milliseconds; 0 only looks, 0xFFFFFFFF waits without a
/// limit. True if the thread has ended, with the destructors of its own variables, however often this is asked; false
/// on a timeout, also while such a destructor runs, and for null or the calling thread itself. What the thread did
/// happens before the return of true.
ZAM_EXPORT bool ZamWaitThread(void* handle, std::uint32_t timeout);

/// Gives the handle up. A thread that runs goes on, and frees what it holds when it ends. Null does nothing.
ZAM_EXPORT void ZamCloseThreadHandle(void* handle);

}  // namespace ZaM

#endif
