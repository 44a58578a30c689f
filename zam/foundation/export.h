// Marks what the shared library exports; everything else is hidden in it.
#ifndef ZAM_FOUNDATION_EXPORT_H
#define ZAM_FOUNDATION_EXPORT_H

#if __cplusplus < 202002L
#error "zam needs C++20: compile with -std=c++20 or later"
#endif

#define ZAM_EXPORT __attribute__((visibility("default")))

#endif
