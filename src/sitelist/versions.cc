// Reads the version attributes of a site list's root and compares them with
// the versions of the list the store holds.
#include "sitelist/versions.h"

#include "inetmgr/sitelist_schema.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;

constexpr wchar_t kTag[] = L"persite";

}  // namespace

bool readDocumentVersions(const platform::AdvXMLParser::Element& root, std::wstring& global,
                          std::wstring& local) {
  global = root.GetAttribute(schema::XO_XML_SITELISTS_GLOBAL_VERSION).GetValue();
  local = root.GetAttribute(schema::XO_XML_SITELISTS_LOCAL_VERSION).GetValue();
  return !global.empty() && !local.empty();
}

bool isDocumentVersionNewer(const platform::AdvXMLParser::Element& root, const std::wstring& heldGlobal,
                            const std::wstring& heldLocal) {
  if (heldGlobal.empty() && heldLocal.empty()) {
    platform::logDetail(kTag, L"Internal site list version are empty");
    return true;
  }
  std::wstring fileGlobal;
  std::wstring fileLocal;
  readDocumentVersions(root, fileGlobal, fileLocal);
  if (fileGlobal.empty() && fileLocal.empty()) {
    platform::logDetail(kTag, L"No versions in site list file");
    return false;
  }
  platform::logDetail(kTag, L"version global file: " + fileGlobal + L" internal: " + heldGlobal +
                                L" local file: " + fileLocal + L" internal: " + heldLocal);
  // Deliberately not an ordering: any different version replaces the held
  // list, so the server can roll a list back by sending an older one.
  const bool newer =
      (!fileGlobal.empty() && fileGlobal != heldGlobal) || (!fileLocal.empty() && fileLocal != heldLocal);
  platform::logDetail(kTag, newer ? L"site list file version != internal version"
                                  : L"site list file version <= internal version");
  return newer;
}

}  // namespace corvane_com::zel::inetmgr
