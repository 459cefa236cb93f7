// The shared site handle: its deleter gives the caller's reference back.
#include "inetmgr/site.h"

#include "platform/assert.h"

namespace corvane_com::zel::inetmgr {
namespace {

struct ReleaseSite {
  void operator()(IImSite* site) const {
    if (site != nullptr) site->release();
  }
};

}  // namespace

IImSite_ptr wrapSitePtr(IImSite* site) {
  INETMGR_ASSERT(site != nullptr, "0!=iSite");
  return IImSite_ptr(site, ReleaseSite());
}

}  // namespace corvane_com::zel::inetmgr
