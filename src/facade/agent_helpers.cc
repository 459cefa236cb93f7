// The agent's conversations with its management server: uploads with failover
// over the server's spipe sites, in-memory requests, and the local address
// the agent reaches the server from.
#include <string>

#include "core/site_index.h"
#include "facade/server_info.h"
#include "inetmgr/agent.h"
#include "inetmgr/site_list.h"
#include "platform/files.h"
#include "platform/log.h"
#include "platform/net_interfaces.h"
#include "site/site_impl.h"
#include "site/site_probes.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"imutils";
constexpr wchar_t kAgentSource[] = L"Agent_3.0.0";

// Transfer codes of the server's answers (see uploadFileAndGetResponse).
constexpr long kTryNextSiteCode = 12;
constexpr long kRegenerateGuidCode = -95;
constexpr long kUpdateKeysCode = -96;
constexpr long kNoSiteLeftCode = -9;
constexpr long kNoSiteListCode = -14;

// A snapshot of the site list walking the spipe sites of any type, reset.
ResultCode openSpipeSites(IImSiteList_ptr& list) {
  list = createSiteListSmartObject(false);
  if (list.get() == getNullSiteList()) return rcSiteListError;
  const ResultCode filtered =
      list->setSiteSearchParams(nullptr, ProtocolType::Spipe, SiteType::typeCount, nullptr, nullptr);
  if (filtered != rcSuccess) return filtered;
  return list->reset();
}

// The server addresses of every site, for the sibling product's hooks.
void collectServerAddresses(IImSiteList& list) {
  list.reset();
  AString addresses;
  IImSite* site = nullptr;
  for (int index = 0; list.getNextSiteByIndex(index, site) == rcSuccess; ++index) {
    createServerIPListForVex(addresses, wrapSitePtr(site), index != 0);
  }
  if (!addresses.empty()) AddServerIPForVex(addresses);
}

// A temporary file that is gone when the scope ends, whatever happened.
class TemporaryFile {
 public:
  TemporaryFile() : made_(platform::AFiler::getTempFilePath(path_)) {}
  ~TemporaryFile() { remove(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  bool made() const { return made_; }
  const std::wstring& path() const { return path_; }
  void remove() {
    if (made_) platform::AFiler::deleteFile(path_);
    made_ = false;
  }

 private:
  std::wstring path_;
  bool made_;
};

}  // namespace

ResultCode uploadFileAndGetResponse(const wchar_t* localFile, const wchar_t* agentGuid,
                                    const wchar_t* responseFile, long* xoInetCode) {
  platform::ADetailTrace trace(kTag, L"uploadFileAndGetResponse()");
  if (localFile == nullptr || agentGuid == nullptr || responseFile == nullptr) {
    platform::logError(
        kTag, L"uploadFileAndGetResponse: give the local file, the agent GUID and the response file");
    return rcBadArgument;
  }
  const std::wstring remotePath =
      L"/spipe/pkg?AgentGuid=" + std::wstring(agentGuid) + L"&Source=" + kAgentSource;
  IImSiteList_ptr list;
  const ResultCode opened = openSpipeSites(list);
  if (opened != rcSuccess) {
    if (xoInetCode != nullptr) *xoInetCode = kNoSiteListCode;
    return opened;
  }
  std::wstring directory;
  std::wstring fileName;
  platform::splitPath(localFile, directory, fileName);
  // Bounded by the list: every attempt but the first moves the index on, and
  // the walk ends at the first index past the last site.
  for (bool first = true;; first = false) {
    if (!first) ++iSiteIndex;
    IImSite* raw = nullptr;
    const ResultCode next = list->getNextSiteByIndex(iSiteIndex, raw);
    if (next != rcSuccess) {
      platform::logDetail(kTag, L"return result after getNextSiteByIndex");
      if (xoInetCode != nullptr) *xoInetCode = kNoSiteLeftCode;
      return next;
    }
    const IImSite_ptr site = wrapSitePtr(raw);
    platform::logInfo(kTag, L"Trying with site: " + site->getSiteIp());
    site->setForceUpload();
    const ResultCode result =
        site->uploadFile(L"", remotePath.c_str(), fileName.c_str(), directory.c_str(), responseFile);
    const long code = site->getLastErrorXoInet();
    if (xoInetCode != nullptr) {
      *xoInetCode = code;
      platform::logDetail(kTag, L"uploadFileAndGetResponse pxoinetCode: " + std::to_wstring(code));
    }
    // The server's verdict on the agent itself: another site would say the same.
    if (result == rcXoInetError && code == kRegenerateGuidCode) {
      platform::logDetail(kTag, L"Orno returns error code 506. Regenerating GUID");
      return result;
    }
    if (result == rcXoInetError && code == kUpdateKeysCode) {
      platform::logDetail(kTag, L"Need to update keys");
      return result;
    }
    if (result == rcSuccess) collectServerAddresses(*list);
    if (result >= 0 && code != kTryNextSiteCode) return result;
  }
}

ResultCode uploadAndGetResponse(const ABuffer& request, const wchar_t* agentGuid, ABuffer& response) {
  platform::ADetailTrace trace(kTag, L"uploadAndGetResponse()");
  if (agentGuid == nullptr) {
    platform::logError(kTag, L"uploadAndGetResponse: give the agent GUID");
    return rcBadArgument;
  }
  TemporaryFile responseFile;
  TemporaryFile requestFile;
  if (!responseFile.made() || !requestFile.made()) {
    platform::logError(kTag, L"uploadAndGetResponse: no temporary file can be made; check $TMPDIR");
    return rcUnexpected;
  }
  if (!platform::AFile::write(requestFile.path(), request.bytes(), 0600)) return rcUnexpected;
  long code = 0;
  const ResultCode result =
      uploadFileAndGetResponse(requestFile.path().c_str(), agentGuid, responseFile.path().c_str(), &code);
  requestFile.remove();
  if (result != rcSuccess) return result;
  platform::ByteBuffer answer;
  if (!platform::AFile::readExisting(responseFile.path(), answer)) {
    platform::logError(
        kTag, L"uploadAndGetResponse: the response file " + responseFile.path() + L" cannot be read");
    return rcUnexpected;
  }
  response.bytes() = std::move(answer);
  return rcSuccess;
}

ResultCode getLocalIPAddress(std::wstring& address) {
  platform::ADetailTrace trace(kTag, L"getLocalIPAddress()");
  address.clear();
  IImSiteList_ptr list;
  const ResultCode opened = openSpipeSites(list);
  if (opened != rcSuccess) return opened;
  iSiteIndex = 0;
  for (bool first = true; address.empty(); first = false) {
    if (!first) ++iSiteIndex;
    IImSite* raw = nullptr;
    const ResultCode next = list->getNextSiteByIndex(iSiteIndex, raw);
    if (next != rcSuccess) {
      platform::logDetail(kTag, L"return result after getNextsite");
      return next;
    }
    const IImSite_ptr site = wrapSitePtr(raw);
    // The punctuation is the text as it has always been logged.
    platform::logDetail(kTag, L"Trying with site:. " + site->getSiteIp());
    site->setForceUpload();
    if (auto* impl = dynamic_cast<ImSiteImpl*>(site.get())) {
      impl->probeLocalAddress(address);
    } else {
      site->getLocalIPAddressFromSocket();
    }
  }
  return rcSuccess;
}

ResultCode getLocalIPAddressWithoutInit(std::wstring& address) {
  platform::ADetailTrace trace(kTag, L"getLocalIPAddressWithoutInit()");
  std::wstring server[3];
  unsigned short port = 0;
  if (!sitehlp::CSitesHelper::GetOrnoServerInfo(server[0], server[1], server[2], port)) return rcUnexpected;
  const bool ipv6 = server[0].find(L':') != std::wstring::npos;
  std::wstring local;
  bool connected = false;
  for (int i = 0; i < 3 && !connected; ++i) {
    // A host named twice would only cost a second wait.
    const bool namedBefore = (i > 0 && server[i] == server[0]) || (i > 1 && server[i] == server[1]);
    connected = !server[i].empty() && !namedBefore && tryConnect(server[i], port, local, i == 0);
  }
  if (connected) {
    platform::logDetail(kTag, L"IP address collected using Spipe entry");
  } else {
    platform::logDetail(kTag, L"IP address is not getting collected using Spipe entry");
    platform::NetInterfaceList interfaces;
    platform::getNetInterfacesList(interfaces);
    const platform::AddressFamily wanted =
        ipv6 ? platform::AddressFamily::IPv6 : platform::AddressFamily::IPv4;
    for (const platform::NetInterface& candidate : interfaces) {
      // A link-local address is no address a server could be reached from.
      if (candidate.getFamily() != wanted || candidate.getIPAddress().rfind(L"fe80:", 0) == 0) continue;
      local = candidate.getIPAddress();
      break;
    }
    if (local.empty()) {
      platform::logError(kTag, L"No local address of the management server's family");
      return rcUnexpected;
    }
  }
  address = local;
  xoimcomn_set_local_ip_addr(local);
  return rcSuccess;
}

void createServerIPListForVex(AString&, const IImSite_ptr&, bool) {}

void AddServerIPForVex(AString&) {}

}  // namespace corvane_com::zel::inetmgr
