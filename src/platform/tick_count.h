// A monotonic millisecond clock for measuring short intervals.
#ifndef INETMGR_PLATFORM_TICK_COUNT_H
#define INETMGR_PLATFORM_TICK_COUNT_H

#include <cstdint>

namespace corvane_com::zel::platform {

// Milliseconds since an arbitrary start, from the monotonic clock; wraps around
// after about 49.7 days, so compare only differences taken in 32-bit arithmetic.
std::uint32_t xoiGetTickCount();

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_TICK_COUNT_H
