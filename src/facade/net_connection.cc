// The network connection: one site chosen by name or by type, no failover.
#include "facade/net_connection.h"

#include <filesystem>
#include <initializer_list>

#include "core/result_exceptions.h"
#include "platform/assert.h"
#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"imnetco";

// A failure of site selection is logged where it happens and again by the
// public operation that returns it: two identical records, deliberately.
void checkSelection(ResultCode code) {
  if (code == rcSuccess) return;
  NetConnException failure(code);
  doNetConnExceptCatch(failure);
  throw failure;
}

IImSite_ptr findSiteByName(IImSiteList& siteList, const wchar_t* siteName) {
  platform::ADetailTrace trace(kTag, L"im_netconn.cpp->findSiteByName()");
  INETMGR_ASSERT(siteName != nullptr, "0!=siteName");
  const bool enabled = true;
  checkSelection(siteList.setSiteSearchParams(&enabled, ProtocolType::typeDontCare, SiteType::typeCount,
                                              siteName, nullptr));
  checkSelection(siteList.reset());
  IImSite* site = nullptr;
  // Running off the end is rcEndOfList here, unlike a choice by type.
  checkSelection(siteList.getNextSite(site));
  return wrapSitePtr(site);
}

IImSite_ptr findSiteByType(IImSiteList& siteList, ImFlags flags) {
  platform::ADetailTrace trace(kTag, L"im_netconn.cpp->findSiteByType()");
  SiteType::Types siteType = SiteType::typeCount;
  ProtocolType::Types protocol = ProtocolType::typeDontCare;
  // Only the first of the three bits that is set counts.
  if ((flags & imFlagMasterSite) != 0) {
    siteType = SiteType::Master;
  } else if ((flags & imFlagSpipeSite) != 0) {
    protocol = ProtocolType::Spipe;
  } else if ((flags & imFlagFallbackSite) != 0) {
    siteType = SiteType::Fallback;
  }
  const bool enabled = true;
  checkSelection(siteList.setSiteSearchParams(&enabled, protocol, siteType, nullptr, nullptr));
  checkSelection(siteList.reset());
  IImSite* site = nullptr;
  const ResultCode found = siteList.getNextSite(site);
  if (found != rcEndOfList) checkSelection(found);
  if (site == nullptr) checkSelection(rcNotFound);
  return wrapSitePtr(site);
}

IImSite_ptr findSite(IImSiteList& siteList, ImFlags flags, const wchar_t* siteName) {
  return (flags & imFlagSiteByName) != 0 ? findSiteByName(siteList, siteName)
                                         : findSiteByType(siteList, flags);
}

void requireArguments(std::initializer_list<const wchar_t*> arguments) {
  for (const wchar_t* argument : arguments) {
    if (argument == nullptr) throw NetConnException(rcBadArgument);
  }
}

}  // namespace

ImNetConnImpl::ImNetConnImpl() : siteList_(createSiteListSmartObject(false)) {
  INETMGR_ASSERT(isValid(), "isValid()");
}

ImNetConnImpl::~ImNetConnImpl() {
  INETMGR_ASSERT(isValid(), "isValid()");
}

void ImNetConnImpl::destroy() {
  INETMGR_ASSERT(isValid(), "isValid()");
  delete this;
}

ResultCode ImNetConnImpl::downloadFile(const wchar_t* file, const wchar_t* sourceDir, const wchar_t* destDir,
                                       const wchar_t* siteName, const UserDefinedSite* siteConfig,
                                       ImFlags flags) const {
  INETMGR_ASSERT(isValid(), "isValid()");
  platform::ADetailTrace trace(kTag, L"ImNetConnImpl::downloadFile()");
  INETMGR_ASSERT(siteConfig == nullptr, "0==siteConfig");
  try {
    requireArguments({file, sourceDir, destDir});
    if ((flags & imFlagSiteByName) != 0) requireArguments({siteName});
    const IImSite_ptr site = findSite(*siteList_, flags, siteName);
    return site->downloadFile(file, sourceDir, destDir, (flags & imFlagResume) != 0, nullptr);
  } catch (NetConnException& e) {
    return doNetConnExceptCatch(e);
  }
}

ResultCode ImNetConnImpl::uploadFile(const wchar_t* fileName, const wchar_t* remoteDir,
                                     const wchar_t* localDir, const wchar_t* siteName, ImFlags flags) const {
  INETMGR_ASSERT(isValid(), "isValid()");
  platform::ADetailTrace trace(kTag, L"ImNetConnImpl::uploadFile()");
  try {
    requireArguments({fileName, remoteDir, localDir});
    if ((flags & imFlagSiteByName) != 0) requireArguments({siteName});
    const IImSite_ptr site = findSite(*siteList_, flags, siteName);
    // The name goes in twice, as the remote and the local name: the file keeps
    // its name on both sides. Deliberate.
    return site->uploadFile(fileName, remoteDir, fileName, localDir, nullptr);
  } catch (NetConnException& e) {
    return doNetConnExceptCatch(e);
  }
}

ResultCode ImNetConnImpl::uploadFileAndGetResponse(const wchar_t* localFile, const wchar_t* remoteDir,
                                                   const wchar_t* responseFile) const {
  INETMGR_ASSERT(isValid(), "isValid()");
  platform::ADetailTrace trace(kTag, L"ImNetConnImpl::uploadFileAndGetResponse()");
  try {
    requireArguments({localFile, remoteDir, responseFile});
    const IImSite_ptr site = findSite(*siteList_, imFlagSpipeSite, nullptr);
    const std::filesystem::path path(platform::toUtf8(localFile));
    const std::wstring leaf = platform::fromUtf8(path.filename().string());
    if (leaf.empty()) {
      platform::logError(kTag, L"The local file " + std::wstring(localFile) + L" names no file");
      return rcPathError;
    }
    const std::wstring parent = platform::fromUtf8(path.parent_path().string());
    return site->uploadFile(leaf.c_str(), remoteDir, leaf.c_str(), parent.c_str(), responseFile);
  } catch (NetConnException& e) {
    return doNetConnExceptCatch(e);
  } catch (const std::filesystem::filesystem_error& e) {
    platform::logError(kTag, platform::fromUtf8(e.what()));
    return rcPathError;
  }
}

ResultCode ImNetConnImpl::connect(IImProgressCallback* callback) {
  INETMGR_ASSERT(isValid(), "isValid()");
  if (callback == nullptr) return rcBadArgument;
  if (callback_) {
    platform::logInternalError(kTag, L"ImNetConnImpl::connect() progress callback already present.");
    return rcUnexpected;
  }
  callback_ = wrapProgressCallbackPtr(callback);
  callback->addRef();
  return rcSuccess;
}

ResultCode ImNetConnImpl::disconnect(IImProgressCallback* callback) {
  INETMGR_ASSERT(isValid(), "isValid()");
  if (callback == nullptr) return rcBadArgument;
  if (!callback_) {
    platform::logInternalError(kTag, L"ImNetConnImpl::disconnect() progress callback not present.");
    return rcNotFound;
  }
  if (callback_.get() != callback) {
    platform::logInternalError(
        kTag, L"ImNetConnImpl::disconnect() progress callback arg != internal progress callback instance.");
    return rcUnexpected;
  }
  callback_.reset();
  return rcSuccess;
}

IImNetConnection* createConnectionObject(bool rethrow) {
  IImNetConnection* instance = nullptr;
  try {
    instance = new ImNetConnImpl();
  } catch (...) {
    platform::logError(kTag, L"Failed to instantiate IImNetConnection");
    if (rethrow) throw;
    return nullptr;
  }
  INETMGR_ASSERT(instance != nullptr, "0!=instance");
  return instance;
}

}  // namespace corvane_com::zel::inetmgr
