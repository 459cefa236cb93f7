// Monotonic tick count from CLOCK_MONOTONIC.
#include "platform/tick_count.h"

#include <time.h>

namespace corvane_com::zel::platform {

std::uint32_t xoiGetTickCount() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t ms = static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                           static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
  return static_cast<std::uint32_t>(ms);
}

}  // namespace corvane_com::zel::platform
