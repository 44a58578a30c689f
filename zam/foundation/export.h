// Marks what the shared library exports; everything else is hidden in it.
#ifndef ZAM_FOUNDATION_EXPORT_H
#define ZAM_FOUNDATION_EXPORT_H

#define ZAM_EXPORT __attribute__((visibility("default")))

#endif
