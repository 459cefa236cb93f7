// The network connection: the simplest way to move one file. It picks one site
// of the agent's site list, by name or by a few type flags, and hands the
// transfer to that site. There is no failover here: the chosen site's result is
// the result (uploadFileAndGetResponse in agent.h is the helper that fails over).
#ifndef INETMGR_CONNECTION_H
#define INETMGR_CONNECTION_H

#include "inetmgr/export.h"
#include "inetmgr/progress.h"
#include "inetmgr/result_code.h"

namespace corvane_com::zel::inetmgr {

// The caller's choices for one transfer, as a bit set; combine with |.
typedef unsigned int ImFlags;
// Resume a partial download (passed to the site's download as its resume flag).
inline constexpr ImFlags imFlagResume = 1;
// Choose the site by the name given instead of by type.
inline constexpr ImFlags imFlagSiteByName = 4;
// By type, only the first of these that is set counts: a master site (any
// protocol), else an spipe site (any type), else the fallback site. None of
// them: the first enabled site of any kind.
inline constexpr ImFlags imFlagMasterSite = 16;
inline constexpr ImFlags imFlagSpipeSite = 32;
inline constexpr ImFlags imFlagFallbackSite = 64;

// A site described by the caller rather than taken from the site list. Declared
// only: this build accepts no such site (pass null).
struct UserDefinedSite;

// Owns a snapshot of the site list taken when the connection was made (make a
// new connection to see a newer list). One connection must not be used by two
// threads at once: choosing a site moves its list's iterator. Release it with
// destroy(), never delete.
//
// Result codes of the transfers: rcBadArgument for a null required argument;
// rcEndOfList when no enabled site has the name asked for; rcNotFound when no
// enabled site has the type asked for; otherwise the chosen site's own code
// (rcSuccess, rcSiteDisabled, rcXoInetError, rcXoInetStatus, ..., see IImSite).
// Failures are logged under "imnetco".
class IImNetConnection {
 public:
  // The virtual operations keep this order: it is the object's binary layout.
  virtual ~IImNetConnection() = default;

  // Deletes the connection; releases a callback still held.
  virtual void destroy() = 0;
  // Downloads `file` from the directory `sourceDir` of the chosen site into the
  // local directory `destDir`. With imFlagSiteByName the site is `siteName`
  // (required then), otherwise it is chosen by the type flags. `siteConfig`
  // must be null: passing a site is a programming error that stops the process.
  virtual ResultCode downloadFile(const wchar_t* file, const wchar_t* sourceDir, const wchar_t* destDir,
                                  const wchar_t* siteName, const UserDefinedSite* siteConfig,
                                  ImFlags flags) const = 0;
  // Uploads the local file `fileName` from `localDir` to `remoteDir` on the
  // chosen site, where it keeps its name. Site choice as for downloadFile.
  virtual ResultCode uploadFile(const wchar_t* fileName, const wchar_t* remoteDir, const wchar_t* localDir,
                                const wchar_t* siteName, ImFlags flags) const = 0;
  // Uploads the local file at the path `localFile` to `remoteDir` on the first
  // enabled spipe site, keeping the server's answer in `responseFile`. Also
  // rcPathError when `localFile` is not a usable path.
  virtual ResultCode uploadFileAndGetResponse(const wchar_t* localFile, const wchar_t* remoteDir,
                                              const wchar_t* responseFile) const = 0;
  // Holds `callback` (with a reference of its own) until disconnect or
  // destroy. It is not given to this connection's transfers: attach callbacks
  // to a site (IImSite::connect) to watch a transfer. rcBadArgument for null,
  // rcUnexpected when one is already held (that one stays).
  virtual ResultCode connect(IImProgressCallback* callback) = 0;
  // Drops the held callback, releasing its reference. rcBadArgument for null,
  // rcNotFound when none is held, rcUnexpected when `callback` is another one
  // (the held one stays).
  virtual ResultCode disconnect(IImProgressCallback* callback) = 0;
};

// A new connection over a snapshot of the agent's site list. The caller owns it
// and calls destroy(). On failure logs "Failed to instantiate IImNetConnection"
// and returns null or, with `rethrow`, throws the cause on (std::bad_alloc).
// There is no null connection object, unlike the site list factory. A
// connection whose site list could not be made still comes back: its
// transfers then fail with the null site list's code (rcNotImplemented).
// Thread-safe.
INETMGR_API IImNetConnection* createConnectionObject(bool rethrow);

}  // namespace corvane_com::zel::inetmgr

// Callers used to the undecorated site list factory may call this one
// unqualified too.
using corvane_com::zel::inetmgr::createConnectionObject;

#endif  // INETMGR_CONNECTION_H
