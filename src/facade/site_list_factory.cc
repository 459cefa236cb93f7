// The exported factories of site lists, the shutdown switch and the store's
// test hooks.
#include <new>
#include <stdexcept>

#include "core/string_conversion.h"
#include "facade/site_list_impl.h"
#include "inetmgr/site_list.h"
#include "platform/assert.h"
#include "platform/log.h"
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

}  // namespace

IImSiteList_ptr createSiteListSmartObject(bool rethrow) {
  return IImSiteList_ptr(createSiteListObject(rethrow), DestroySiteList());
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
