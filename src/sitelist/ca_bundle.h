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

// A bundle written to a new file beside its final path and not yet in use.
// commit() renames it into place; one dropped uncommitted is removed, so the
// file in place stays the one of the list the store holds. Move-only.
class StagedCaBundle {
 public:
  StagedCaBundle() = default;
  ~StagedCaBundle();
  StagedCaBundle(StagedCaBundle&& other) noexcept;
  StagedCaBundle& operator=(StagedCaBundle&& other) noexcept;
  StagedCaBundle(const StagedCaBundle&) = delete;
  StagedCaBundle& operator=(const StagedCaBundle&) = delete;

  // True while a written bundle waits to be put in place.
  bool pending() const { return !temporary_.empty(); }
  // Puts the bundle in place; true at once when none is pending. False, with
  // a log line, when the rename fails: the file in place is then unchanged.
  bool commit();

 private:
  friend bool stageCaBundle(const platform::AdvXMLParser::Element&, const std::wstring&, StagedCaBundle&,
                            std::wstring*);
  void discard();

  std::string temporary_;
  std::string path_;
};

// Writes the XO_XML_CACERTIFICATE children of the root's first XO_XML_CABUNDLE
// element as PEM blocks to a new file beside `path`, for `staged` to put in
// place. Without a bundle element nothing is staged, and the file in place
// stays. False, with a log line (also put in `failure` when given), only when
// the file cannot be written. The walk ends at the first certificate with no
// text; the blocks before it count.
bool stageCaBundle(const platform::AdvXMLParser::Element& root, const std::wstring& path,
                   StagedCaBundle& staged, std::wstring* failure = nullptr);

// stageCaBundle and commit in one step.
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
