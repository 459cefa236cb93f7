// One site list document, from its bytes to the sites, proxies, versions and
// policies it holds, or to the reason it is rejected. The store only decides
// when to read and whether to take the result.
#ifndef INETMGR_SITELIST_SITELIST_DOCUMENT_H
#define INETMGR_SITELIST_SITELIST_DOCUMENT_H

#include <memory>
#include <string>
#include <vector>

#include "inetmgr/result_code.h"
#include "inetmgr/site.h"
#include "inetmgr/xoinet.h"
#include "platform/xml.h"
#include "sitelist/ca_bundle.h"
#include "sitelist/policies.h"

namespace corvane_com::zel::inetmgr {

// Everything an accepted document contributes to the store.
struct SiteListContents {
  std::vector<IImSite_ptr> sites;  // in document order
  std::vector<xoInet::CProxyParams> proxies;
  bool useSystemProxy = false;
  std::wstring globalVersion;
  std::wstring localVersion;
  SiteListPolicies policies;
  // The document's CA bundle, written but not in place: whoever takes the
  // list commits it; dropping the contents drops it.
  StagedCaBundle caBundle;
  // Entries that could not be sites, each as "<Element Name="...">: why".
  std::vector<std::wstring> skippedEntries;
};

// Why a document was not taken; code rcSuccess when it was.
struct SiteListRejection {
  ResultCode code = rcSuccess;
  std::wstring reason;
};

// Reads the file at `path` (decrypting a document stored encrypted) and parses
// it. On failure the reason is logged under "persite" and returned: rcPathError
// when the file cannot be read, rcBadSchema when it does not parse ("XML parse
// error"). `document` changes only on success.
SiteListRejection readSiteListFile(const std::wstring& path, platform::AdvXMLParser::Document& document);
// The same for bytes already in memory.
SiteListRejection parseSiteListBuffer(const platform::ByteBuffer& bytes, platform::AdvXMLParser::Document& document);

// Builds the contents of a parsed document, in this order: CA bundle (staged
// beside `caBundlePath` when the document has one; an unwritable path rejects
// the document), sites (SSL ones given `caBundlePath`) and proxy blocks,
// proxies given to the sites, validation (in managed mode only), versions,
// policies. Any failure rejects the whole document: `contents` is untouched
// and the reason is logged. Entries that cannot be sites are skipped (and
// logged) without rejecting the rest. Never throws for bad input; throws
// std::bad_alloc when memory runs out.
SiteListRejection buildSiteListContents(const platform::AdvXMLParser::Document& document,
                                        const std::wstring& caBundlePath, bool managedMode,
                                        SiteListContents& contents);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITELIST_SITELIST_DOCUMENT_H
