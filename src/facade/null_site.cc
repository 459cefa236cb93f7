// The null site: handed out where no real site can be made, so callers can call
// through the pointer without a null test. Every operation does nothing.
#include <climits>

#include "inetmgr/site_list.h"

namespace corvane_com::zel::inetmgr {
namespace {

// The reading of an unmeasurable ping time or hop count.
constexpr ResultCode kUnreachable = static_cast<ResultCode>(65535);

class NullSite final : public IImSite {
 public:
  // Empty on purpose: a stray delete through the interface must not free the
  // static instance.
  static void operator delete(void*) noexcept {}

  bool operator==(const IImSite& other) const override { return &other == this; }
  int release() override { return 0; }
  // The "any" values, which a filter lets through.
  SiteType::Types getType() const override { return SiteType::typeCount; }
  ProtocolType::Types getProtocol() const override { return ProtocolType::typeDontCare; }
  bool isLocalSiteList() const override { return false; }
  bool isEnabled() const override { return false; }
  std::wstring getSiteIp() const override { return std::wstring(); }
  int getSiteOrder() const override { return 0; }
  std::wstring getSiteName() const override { return std::wstring(); }
  std::wstring getServerName() override { return std::wstring(); }
  std::wstring getServerNetBios() override { return std::wstring(); }
  std::wstring getHostSSLPort() override { return std::wstring(); }
  bool setProxy(const xoInet::CProxyParams*) override { return false; }
  bool getProxy(xoInet::CProxyParams& proxy) const override {
    proxy = xoInet::CProxyParams();
    return false;
  }
  // Sorts after every real site.
  int getSortOrder() const override { return INT_MAX; }
  void setSortOrder(int) override {}
  void setSiteOrder(int) override {}
  void setForceUpload() override {}
  bool isSslEnabled() const override { return false; }
  void forceNonSslTransfer() override {}
  std::wstring getCaBundlePath() const override { return std::wstring(); }
  void setCaBundlePath(const std::wstring&) override {}
  xoInet::xoInetError getLastErrorXoInet() const override { return xoInet::rcNotSupported; }
  ResultCode downloadFile(const wchar_t*, const wchar_t*, const wchar_t*, bool, const wchar_t*) override {
    return rcNotImplemented;
  }
  ResultCode uploadFile(const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*,
                        const wchar_t*) override {
    return rcNotImplemented;
  }
  ResultCode getLocalIPAddressFromSocket() override { return rcNotImplemented; }
  ResultCode ping(int) override { return kUnreachable; }
  ResultCode calculateSubnetDistance(int) override { return kUnreachable; }
  ResultCode connect(IImProgressCallback*) override { return rcNotImplemented; }
  ResultCode disconnect(IImProgressCallback*) override { return rcNotImplemented; }
};

NullSite g_nullSite;

}  // namespace

IImSite* getNullSite() {
  return &g_nullSite;
}

}  // namespace corvane_com::zel::inetmgr
