// The interface of the process-wide site store as site lists see it: the same
// twelve operations as a site list, then the lock-cookie protocol.
#ifndef INETMGR_STORE_PERSIST_SITE_ITF_H
#define INETMGR_STORE_PERSIST_SITE_ITF_H

#include <cstddef>
#include <string>
#include <vector>

#include "inetmgr/result_code.h"
#include "inetmgr/site.h"
#include "inetmgr/site_types.h"
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::platform {
class XmlDocument;
}  // namespace corvane_com::zel::platform

namespace corvane_com::zel::inetmgr {

class IPersistSite {
 public:
  virtual ~IPersistSite() = default;

  virtual void destroy() = 0;
  virtual ResultCode getGlobalSiteListVersion(std::wstring& version) const = 0;
  virtual ResultCode getLocalSiteListVersion(std::wstring& version) const = 0;
  virtual ResultCode getNextNearestSite(const std::wstring& name, std::wstring& a, std::wstring& b,
                                        std::wstring& c, bool& flag) const = 0;
  virtual ResultCode setSiteSearchParams(const bool* enabled, ProtocolType::Types protocol,
                                         SiteType::Types siteType, const wchar_t* name,
                                         const bool* localSiteList) = 0;
  // A new copy of the next held site (one reference, the caller's);
  // rcEndOfList after the last.
  virtual ResultCode getNextSite(IImSite*& site) = 0;
  virtual ResultCode getNextSiteByIndex(int& index, IImSite*& site) = 0;
  virtual ResultCode reset() = 0;
  virtual std::size_t getSiteCount() const = 0;
  virtual bool getPolicyOverwriteClientSites() const = 0;
  virtual unsigned int getPolicyFindNearestMethod() const = 0;
  virtual ResultCode addRemediationSites(const std::wstring& sites) = 0;

  // Takes the store's access lock and returns its cookie (1, 2, ...); 0 when
  // the lock could not be had. A caller holds a cookie while it reads sites.
  virtual long lock() = 0;
  // Gives the lock of `cookie` back; false for a cookie not handed out.
  virtual bool unlock(long cookie) = 0;
  virtual bool isLocked() const = 0;
  virtual bool setNewXmlDocument(platform::XmlDocument* newDocument) = 0;
  virtual void getProxyList(std::vector<xoInet::CProxyParams>& proxies) const = 0;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_STORE_PERSIST_SITE_ITF_H
