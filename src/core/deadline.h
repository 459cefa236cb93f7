// Absolute deadlines for timed waits.
#ifndef INETMGR_CORE_DEADLINE_H
#define INETMGR_CORE_DEADLINE_H

#include <chrono>

namespace corvane_com::zel::inetmgr {

// The current system time plus `seconds` whole seconds (negative values give a
// time in the past), for use as the deadline of a timed wait.
std::chrono::system_clock::time_point getTimePlus(long long seconds);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_DEADLINE_H
