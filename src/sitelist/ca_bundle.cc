// Writes the certificates of a site list as a PEM bundle for the SSL sites'
// transfers, and hands the bundle's path to those sites.
#include "sitelist/ca_bundle.h"

#include <cctype>
#include <sstream>

#include "core/string_conversion.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/files.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;
using Element = platform::AdvXMLParser::Element;

constexpr wchar_t kTag[] = L"persite";
constexpr unsigned int kPemLineLength = 64;

}  // namespace

bool split_in_chunks(const std::string& text, unsigned int chunkSize, std::vector<std::string>& lines) {
  std::string packed;
  packed.reserve(text.size());
  for (const char c : text) {
    if (!std::isspace(static_cast<unsigned char>(c))) packed += c;
  }
  for (std::size_t start = 0; start < packed.size(); start += chunkSize) {
    lines.push_back(packed.substr(start, chunkSize));
  }
  return true;
}

bool addCertificateFromElement(std::ostream& out, const Element& certificate) {
  // "Certicate" in the scope name is spelled so deliberately.
  platform::ADetailTrace trace(kTag, L"Free Function: addCerticateFromElement()");
  const std::string text = convertString<char>(certificate.GetValue());
  if (text.empty()) return false;
  std::vector<std::string> lines;
  split_in_chunks(text, kPemLineLength, lines);
  out << "-----BEGIN CERTIFICATE-----\n";
  for (const std::string& line : lines) {
    if (!line.empty()) out << line << '\n';
  }
  out << "-----END CERTIFICATE-----\n";
  return true;
}

bool saveCarootCertificateBundle(const Element& root, const std::wstring& path) {
  const Element bundle = root.GetElement(schema::XO_XML_CABUNDLE);
  // Without a bundle element the file of an earlier list stays in use.
  if (bundle.IsNull()) return true;

  // Built in memory and replaced in one step, so that a transfer reading the
  // bundle never sees it half written.
  std::ostringstream text;
  bool anyWritten = false;
  for (const Element& child : bundle.GetChildElements()) {
    if (child.GetName() != schema::XO_XML_CACERTIFICATE) continue;
    if (!addCertificateFromElement(text, child)) break;
    anyWritten = true;
  }
  if (!anyWritten) platform::logInfo(kTag, L"ca bundle does not contain any certificates");
  return platform::AFile::write(path, text.str());
}

void AssignSslFunctor::operator()(IImSite_ptr& site) const {
  if (site && site->isSslEnabled()) site->setCaBundlePath(path_);
}

}  // namespace corvane_com::zel::inetmgr
