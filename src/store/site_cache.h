// The store's cache file ("sitecache.bin"): a Boost text archive of the held
// site list, so that a process can start without reading the document.
// Passwords are saved only encrypted.
#ifndef INETMGR_STORE_SITE_CACHE_H
#define INETMGR_STORE_SITE_CACHE_H

#include <string>

namespace corvane_com::zel::inetmgr {

class PersistSite;

class SiteCacheCodec {
 public:
  // Writes the store's held list to `path`, replacing the file atomically
  // (mode 0600). False, logged, on failure; the old cache stays.
  static bool save(const PersistSite& store, const std::wstring& path);
  // Replaces the store's held list with the cache at `path`. False when there
  // is none or it cannot be read whole: then the store is left as it was. A
  // damaged or hostile file never causes an allocation larger than itself.
  static bool load(PersistSite& store, const std::wstring& path);
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_STORE_SITE_CACHE_H
