// The mark of what the shared library exports.
#ifndef ZAM_FOUNDATION_EXPORT_H
#define ZAM_FOUNDATION_EXPORT_H

#if __cplusplus < 202002L
#error "zam needs C++20: compile with -std=c++20 or later"
#endif

/// In front of what programs call. Nothing else of the shared library is visible to them.
#define ZAM_EXPORT __attribute__((visibility("default")))

#endif
