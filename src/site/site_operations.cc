// Transfers and reachability probes of a site. Not wired in this build yet:
// every operation reports rcNotImplemented (and the probes "unmeasurable")
// without touching the site, so a caller can tell it apart from a failure.
#include "site/site_impl.h"

namespace corvane_com::zel::inetmgr {
namespace {

// The value a probe returns for a site it cannot measure.
constexpr int kUnmeasurable = 65535;

}  // namespace

ResultCode ImSiteImpl::downloadFile(const wchar_t*, const wchar_t*, const wchar_t*, bool, const wchar_t*) {
  return rcNotImplemented;
}

ResultCode ImSiteImpl::uploadFile(const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*) {
  return rcNotImplemented;
}

ResultCode ImSiteImpl::getLocalIPAddressFromSocket() { return rcNotImplemented; }

ResultCode ImSiteImpl::ping(int) { return static_cast<ResultCode>(kUnmeasurable); }

ResultCode ImSiteImpl::calculateSubnetDistance(int) { return static_cast<ResultCode>(kUnmeasurable); }

}  // namespace corvane_com::zel::inetmgr
