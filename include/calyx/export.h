// Symbol visibility for libcalyx.
//
// The shared library is built with hidden visibility; only declarations marked
// CALYX_EXPORT form its binary interface.
#ifndef CALYX_EXPORT_H
#define CALYX_EXPORT_H

#if defined(CALYX_STATIC)
#define CALYX_EXPORT
#else
#define CALYX_EXPORT __attribute__((visibility("default")))
#endif

#endif  // CALYX_EXPORT_H
