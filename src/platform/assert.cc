// Failure path of INETMGR_ASSERT.
#include "platform/assert.h"

#include <cstdio>
#include <cstdlib>

namespace corvane_com::zel::platform {

void assertionFailed(const char* expressionText) {
  std::fprintf(stderr, "%s\n", expressionText);
  std::fflush(stderr);
  std::abort();
}

}  // namespace corvane_com::zel::platform
