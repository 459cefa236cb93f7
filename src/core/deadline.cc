// Deadlines on the system clock, the clock the store's timed lock waits use.
#include "core/deadline.h"

namespace corvane_com::zel::inetmgr {

std::chrono::system_clock::time_point getTimePlus(long long seconds) {
  return std::chrono::system_clock::now() + std::chrono::seconds(seconds);
}

}  // namespace corvane_com::zel::inetmgr
