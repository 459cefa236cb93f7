// Where the agent keeps its site list, and the platform's fixed answers.
#include "core/agent_settings.h"

#include "inetmgr/sitelist_schema.h"
#include "platform/config.h"

namespace corvane_com::zel::inetmgr {

std::wstring getExpectedSitelistLocation() {
  return platform::IConfiguration::GetConfiguration()->GetFrameworkDataDirectory() + L"/etc/" +
         xmlschema::sitelist::XO_XML_FILE_NAME;
}

ResultCode getSiteListLocation(std::wstring& path) {
  path = getExpectedSitelistLocation();
  return rcSuccess;
}

bool isManagedMode() { return false; }

bool getUseProxyCacheSetting() { return false; }

}  // namespace corvane_com::zel::inetmgr
