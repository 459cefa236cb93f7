// The exported factories of site lists, the shutdown switch and the store's
// test hooks.
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>

#include "core/agent_settings.h"
#include "core/string_conversion.h"
#include "facade/site_list_impl.h"
#include "inetmgr/site_list.h"
#include "platform/assert.h"
#include "platform/config.h"
#include "platform/crypto.h"
#include "platform/log.h"
#include "platform/utf8.h"
#include "site/progress.h"
#include "store/persist_site.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"imsitel";

struct DestroySiteList {
  void operator()(IImSiteList* list) const {
    if (list == nullptr) {
      platform::logInternalError(kTag, L"DestroySiteList() called without valid pointer.");
      return;
    }
    list->destroy();
  }
};

// `path` made absolute and free of ".", ".." and symbolic links as far as it
// exists, so that one file goes by one name.
std::wstring absoluteFilePath(const std::wstring& path) {
  std::error_code error;
  const std::filesystem::path full = std::filesystem::weakly_canonical(platform::toUtf8(path), error);
  return error ? path : platform::fromUtf8(full.string());
}

}  // namespace

IImSiteList_ptr createSiteListSmartObject(bool rethrow) {
  return IImSiteList_ptr(createSiteListObject(rethrow), DestroySiteList());
}

ResultCode getLastSiteListRefreshStatus(SiteListRefreshStatus& status) {
  status = PersistSite::lastRefreshStatus();
  return status.code;
}

ResultCode setSiteListSource(const wchar_t* path) {
  if (path == nullptr || *path == L'\0') {
    platform::logError(kTag, L"setSiteListSource: give the path of a site list file");
    return rcBadArgument;
  }
  const std::wstring source = absoluteFilePath(path);
  std::wstring cache;
  std::wstring bundle;
  // The agent's own list keeps its cache and bundle beside it; any other list
  // gets files of its own under the data directory, so that reading it never
  // writes beside it nor touches the agent's cache and bundle.
  if (source != absoluteFilePath(getExpectedSitelistLocation())) {
    const std::string native = platform::toUtf8(source);
    const std::string digest = platform::labelledDigestHex(
        "inetmgr site list path v1", platform::CryptBuffer(native.begin(), native.end()), 8);
    const std::wstring directory = platform::IConfiguration::GetConfiguration()->GetFrameworkDataDirectory() +
                                   L"/var/lists/" + platform::fromUtf8(digest);
    cache = directory + L"/sitecache.bin";
    bundle = directory + L"/cabundle.cer";
  }
  PersistSite::setDefaultSiteList(source.c_str());
  PersistSite::setDefaultCacheFile(cache.c_str());
  PersistSite::setDefaultCabundlePath(bundle.c_str());
  // The paths are fixed when the store is set up, so the next use sets it up
  // again; the list held came from another file.
  PersistSite::resetInitFlag();
  PersistSite::testResetSiteList();
  return rcSuccess;
}

namespace test {

void ReplaceSiteListSource(const char* path) {
  INETMGR_ASSERT(path != nullptr, "0!=sitelistPath");
  PersistSite::setDefaultSiteList(convertString<wchar_t>(path).c_str());
}

void ReplaceSiteListSource(const wchar_t* path) { PersistSite::setDefaultSiteList(path); }

void ResetInitFlag() { PersistSite::resetInitFlag(); }

}  // namespace test
}  // namespace corvane_com::zel::inetmgr

using namespace corvane_com::zel::inetmgr;
namespace platform = corvane_com::zel::platform;

IImSiteList* createSiteListObject(bool rethrow) {
  platform::ADetailTrace trace(kTag, L"createSiteListObject()");
  IImSiteList* instance = nullptr;
  try {
    ResultCode status = rcSuccess;
    PersistSite* store = PersistSite::getInstance(status);
    instance = new ImSiteListImpl(store, status);
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"new inetmgr::ImSiteListImpl failed.");
    if (rethrow) throw;
    return getNullSiteList();
  } catch (const InetMgrShutDownException& e) {
    platform::logDetail(kTag, convertString<wchar_t>(e.what()));
    if (rethrow) throw;
    return getNullSiteList();
  } catch (const std::runtime_error& e) {
    platform::logError(kTag, L"inetmgr::ImSiteListImpl constructor threw runtime_error = " +
                                 convertString<wchar_t>(e.what()));
    if (rethrow) throw;
    return getNullSiteList();
  }
  INETMGR_ASSERT(instance != nullptr, "0!=instance");
  return instance;
}

void triggerShutdownInetMgr() {
  // The two blanks after "end" are the message as it has always been written.
  platform::logDetail(kTag, L"Request to end  all inetmgr operations has arrived.");
  PersistSite::abortOperation();
  ImProgress::abortOperation();
}

void testResetSiteList() { PersistSite::testResetSiteList(); }
