// Site lists: a caller's snapshot of the agent's sites, walked with a filter or
// by ranking order, and the factories that make them.
#ifndef INETMGR_SITE_LIST_H
#define INETMGR_SITE_LIST_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "inetmgr/export.h"
#include "inetmgr/result_code.h"
#include "inetmgr/site.h"
#include "inetmgr/site_types.h"

namespace corvane_com::zel::inetmgr {

// A snapshot of the store's sites taken when the list was created; it never
// changes with the store (create a new list to see a newer site list). One list
// must not be used by two threads at once; different lists are independent.
// Release it with destroy(), never delete.
class IImSiteList {
 public:
  virtual ~IImSiteList() = default;

  virtual void destroy() = 0;
  // The site list's versions at snapshot time; rcSuccess.
  virtual ResultCode getGlobalSiteListVersion(std::wstring& version) const = 0;
  virtual ResultCode getLocalSiteListVersion(std::wstring& version) const = 0;
  // Not implemented: rcNotImplemented, arguments untouched.
  virtual ResultCode getNextNearestSite(const std::wstring& name, std::wstring& a, std::wstring& b,
                                        std::wstring& c, bool& flag) const = 0;
  // Sets the filter of getNextSite: `enabled` and `localSiteList` (null: not
  // tested), protocol (typeDontCare: any), site type (typeCount: any) and exact
  // name (null or empty: any). Does not move the iterator; call reset().
  // Throws std::range_error for a protocol outside 0..7 or a type outside 0..5.
  virtual ResultCode setSiteSearchParams(const bool* enabled, ProtocolType::Types protocol,
                                         SiteType::Types siteType, const wchar_t* name,
                                         const bool* localSiteList) = 0;
  // The next site that matches the filter, with a reference the caller must
  // release(); rcEndOfList after the last (`site` untouched).
  virtual ResultCode getNextSite(IImSite*& site) = 0;
  // The site `index` steps into the list ordered by site order (only the
  // filter's protocol applies), with a reference the caller must release();
  // rcSiteListError when there is no such site. `index` is not changed.
  virtual ResultCode getNextSiteByIndex(int& index, IImSite*& site) = 0;
  // Back to the first site; rcSuccess.
  virtual ResultCode reset() = 0;
  // Number of sites in the snapshot, whatever the filter.
  virtual std::size_t getSiteCount() const = 0;
  virtual bool getPolicyOverwriteClientSites() const = 0;
  // 0 ping time, 1 hop count, 2 configured order.
  virtual unsigned int getPolicyFindNearestMethod() const = 0;
  // Puts HTTP remediation sites, given as URLs separated by '|', in front of
  // this list (only this list). rcSuccess, rcPathError for a malformed text
  // (sites before the fault stay added), or the site reader's code.
  virtual ResultCode addRemediationSites(const std::wstring& sites) = 0;
};

// A shared handle whose deleter calls destroy().
using IImSiteList_ptr = std::shared_ptr<IImSiteList>;

// The do-nothing site and site list, handed out where no real object can be
// made. Process-wide, never freed; their release() and destroy() do nothing.
INETMGR_API IImSite* getNullSite();
INETMGR_API IImSiteList* getNullSiteList();

// A snapshot of the site list wrapped with its deleter. Never empty: on failure
// the null site list. Exceptions as createSiteListObject.
INETMGR_API IImSiteList_ptr createSiteListSmartObject(bool rethrow);

// What became of the store's last look at its site list file.
struct SiteListRefreshStatus {
  // rcSuccess when the file's list is the one held, or nothing was read yet.
  // Otherwise why the file was not taken: rcPathError (it cannot be read),
  // rcBadSchema (it does not parse, or breaks a rule of the format),
  // rcLockFailed, rcShutDown, rcUnexpected, rcOutOfMemory. Callers keep
  // working with the list held before, if any.
  ResultCode code = rcSuccess;
  // One line for a person saying what to fix and where (element, site name),
  // e.g. "Reject empty site list: no usable site in <SiteList> (1 skipped;
  // first: <HttpSite Name="a">: Unknown site type string)". With rcSuccess, a
  // note when the file was read but not taken (same versions), else empty.
  std::wstring reason;
  // The site list file looked at.
  std::wstring path;
  // Entries of a list that was taken but could not be sites, each as
  // "<Element Name="...">: why" (a name, type or protocol missing or unknown,
  // a password too long).
  std::vector<std::wstring> skippedEntries;
};

// Fills `status` from the store's last refresh and returns its code.
// Thread-safe.
INETMGR_API ResultCode getLastSiteListRefreshStatus(SiteListRefreshStatus& status);

// Makes this process read its site list from `path` instead of the agent's
// site list location (getSiteListLocation), from the next site list or
// connection made on. For programs that inspect a list other than the agent's;
// the agent's own components never call it. Nothing is written beside such a
// list: its cache and CA bundle live in the data directory under
// var/lists/<hash of its absolute path>/, apart from the agent's own.
// rcSuccess; rcBadArgument for a null or empty path. Thread-safe.
INETMGR_API ResultCode setSiteListSource(const wchar_t* path);

namespace test {
// Test hooks: read the site list from `path` instead of the configured place
// (takes effect at the store's next first use), and make the next use start
// over as if the process had just begun.
INETMGR_API void ReplaceSiteListSource(const char* path);
INETMGR_API void ReplaceSiteListSource(const wchar_t* path);
INETMGR_API void ResetInitFlag();
}  // namespace test

}  // namespace corvane_com::zel::inetmgr

extern "C" {
// A snapshot of the agent's current site list, loading or refreshing the store
// first when needed. Never null: when no list can be made it logs why and
// returns the null site list, or, with `rethrow`, throws the cause on
// (std::runtime_error, std::bad_alloc, or the shutdown exception). Release the
// result with destroy(). Thread-safe.
INETMGR_API corvane_com::zel::inetmgr::IImSiteList* createSiteListObject(bool rethrow);

// Ends every inetmgr operation: running transfers stop at their next progress
// report and later site lists fail with rcShutDown. Cannot be undone in the
// process. Thread-safe.
INETMGR_API void triggerShutdownInetMgr();

// Test hook: empties the store's list so that the next use reads the file again.
INETMGR_API void testResetSiteList();
}

#endif  // INETMGR_SITE_LIST_H
