// The agent's configuration as the library sees it: where its data lives.
#ifndef INETMGR_PLATFORM_CONFIG_H
#define INETMGR_PLATFORM_CONFIG_H

#include <string>

namespace corvane_com::zel::platform {

// Directory under which the agent keeps its data: $INETMGR_DATA_DIR, or
// kDefaultFrameworkDataDirectory when that is unset or empty.
inline constexpr wchar_t kDefaultFrameworkDataDirectory[] = L"/var/lib/inetmgr";

class IConfiguration {
 public:
  virtual ~IConfiguration() = default;
  // Read on every call, so a change of the environment is seen at once.
  virtual std::wstring GetFrameworkDataDirectory() const = 0;

  // The process-wide configuration; never null.
  static IConfiguration* GetConfiguration();
};

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_CONFIG_H
