// How the compilers are told that a call has to be a jump, in unoptimised builds too.
//
// A function that hands its work on to the next object of a chain needs no stack for it if the call is a jump.
//
//     ZAM_TAIL_CALLING void Link::Append(Link* link) {
//       if (next) { ZAM_TAIL_CALL next->Append(link); }
//       next = link;
//     }
#ifndef ZAM_PLATFORM_TAIL_CALL_H
#define ZAM_PLATFORM_TAIL_CALL_H

#if defined(__clang__)
#define ZAM_TAIL_CALLING
#define ZAM_TAIL_CALL [[clang::musttail]] return
#else
// The instrumentation of these two would leave something to be done after the call.
#define ZAM_TAIL_CALLING __attribute__((optimize("O2"), no_sanitize_thread, no_profile_instrument_function))
#define ZAM_TAIL_CALL return
#endif

#endif
