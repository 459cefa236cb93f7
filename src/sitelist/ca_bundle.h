// The CA bundle: the certificates of a site list's XO_XML_CABUNDLE element
// written out as a PEM file, and the path of that file given to SSL sites.
#ifndef INETMGR_SITELIST_CA_BUNDLE_H
#define INETMGR_SITELIST_CA_BUNDLE_H

#include <ostream>
#include <string>
#include <vector>

#include "inetmgr/site.h"
#include "platform/xml.h"

namespace corvane_com::zel::inetmgr {

// Writes the XO_XML_CACERTIFICATE children of the root's first XO_XML_CABUNDLE
// element to `path` as PEM blocks, replacing the file atomically. Without a
// bundle element it returns true and leaves any existing file alone. Returns
// false only when the file cannot be written. The walk ends at the first
// certificate with no text; the blocks before it are kept.
bool saveCarootCertificateBundle(const platform::AdvXMLParser::Element& root, const std::wstring& path);

// Writes one PEM block for `certificate`'s base64 text to `out`; false, with
// nothing written, when the text is empty.
bool addCertificateFromElement(std::ostream& out, const platform::AdvXMLParser::Element& certificate);

// Appends `text` with all white space removed to `lines`, cut into pieces of
// `chunkSize` characters and the remainder. Always returns true.
bool split_in_chunks(const std::string& text, unsigned int chunkSize, std::vector<std::string>& lines);

// Applied to every site of a new list: SSL sites get the bundle's path, the
// others are left alone.
class AssignSslFunctor {
 public:
  explicit AssignSslFunctor(const std::wstring& path) : path_(path) {}
  void operator()(IImSite_ptr& site) const;

 private:
  std::wstring path_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITELIST_CA_BUNDLE_H
