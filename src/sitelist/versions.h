// The global and local versions of a site list document, and the rule that
// decides whether a document replaces the list the store holds.
#ifndef INETMGR_SITELIST_VERSIONS_H
#define INETMGR_SITELIST_VERSIONS_H

#include <string>

#include "platform/xml.h"

namespace corvane_com::zel::inetmgr {

// Reads the root's version attributes into `global` and `local`; an absent or
// empty attribute gives an empty text. Returns whether both are present.
// Thread-safe.
bool readDocumentVersions(const platform::AdvXMLParser::Element& root, std::wstring& global,
                          std::wstring& local);

// Whether the document should replace a held list of versions `heldGlobal` and
// `heldLocal`: always when nothing is held, never when the document carries no
// version, otherwise when a version it carries differs from the held one.
// Logs its reasoning at detail level. Thread-safe.
bool isDocumentVersionNewer(const platform::AdvXMLParser::Element& root, const std::wstring& heldGlobal,
                            const std::wstring& heldLocal);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITELIST_VERSIONS_H
