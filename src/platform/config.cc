// Configuration from the environment.
#include "platform/config.h"

#include <cstdlib>

#include "platform/utf8.h"

namespace corvane_com::zel::platform {
namespace {

class EnvironmentConfiguration final : public IConfiguration {
 public:
  std::wstring GetFrameworkDataDirectory() const override {
    const char* dir = std::getenv("INETMGR_DATA_DIR");
    if (dir == nullptr || *dir == '\0') return kDefaultFrameworkDataDirectory;
    return fromUtf8(dir);
  }
};

}  // namespace

IConfiguration* IConfiguration::GetConfiguration() {
  static EnvironmentConfiguration configuration;
  return &configuration;
}

}  // namespace corvane_com::zel::platform
