// Symbol visibility for the public API. The library is built with hidden
// visibility; only declarations marked INETMGR_API are exported.
#ifndef INETMGR_EXPORT_H
#define INETMGR_EXPORT_H

// Every public header includes this one.
#if __cplusplus < 201703L
#error "the inetmgr headers need C++17 or later (e.g. -std=c++17)"
#endif

#if defined(__GNUC__)
#define INETMGR_API __attribute__((visibility("default")))
#else
#define INETMGR_API
#endif

#endif  // INETMGR_EXPORT_H
