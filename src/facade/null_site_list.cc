// The null site list: handed out where no real site list can be made. It holds
// nothing, and its walk fails at once with rcNotImplemented.
#include "inetmgr/site_list.h"

namespace corvane_com::zel::inetmgr {
namespace {

class NullSiteList final : public IImSiteList {
 public:
  // Empty on purpose: a stray delete through the interface must not free the
  // static instance.
  static void operator delete(void*) noexcept {}

  void destroy() override {}
  ResultCode getGlobalSiteListVersion(std::wstring& version) const override {
    version.clear();
    return rcNotImplemented;
  }
  ResultCode getLocalSiteListVersion(std::wstring& version) const override {
    version.clear();
    return rcNotImplemented;
  }
  ResultCode getNextNearestSite(const std::wstring&, std::wstring& a, std::wstring& b, std::wstring& c,
                                bool& flag) const override {
    a.clear();
    b.clear();
    c.clear();
    flag = false;
    return rcNotImplemented;
  }
  ResultCode setSiteSearchParams(const bool*, ProtocolType::Types, SiteType::Types, const wchar_t*,
                                 const bool*) override {
    return rcNotImplemented;
  }
  // An error rather than rcEndOfList, so a loop that runs while this succeeds
  // ends at once; a caller who ignores the code still gets a harmless site.
  ResultCode getNextSite(IImSite*& site) override {
    site = getNullSite();
    return rcNotImplemented;
  }
  ResultCode getNextSiteByIndex(int&, IImSite*& site) override {
    site = getNullSite();
    return rcNotImplemented;
  }
  ResultCode reset() override { return rcNotImplemented; }
  std::size_t getSiteCount() const override { return 0; }
  bool getPolicyOverwriteClientSites() const override { return false; }
  // The default of a real site list.
  unsigned int getPolicyFindNearestMethod() const override { return 2; }
  ResultCode addRemediationSites(const std::wstring&) override { return rcNotImplemented; }
};

NullSiteList g_nullSitelist;

}  // namespace

IImSiteList* getNullSiteList() {
  return &g_nullSitelist;
}

}  // namespace corvane_com::zel::inetmgr
