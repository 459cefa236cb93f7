// Writes the certificates of a site list as a PEM bundle for the SSL sites'
// transfers, and hands the bundle's path to those sites.
#include "sitelist/ca_bundle.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/string_conversion.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;
using Element = platform::AdvXMLParser::Element;

constexpr wchar_t kTag[] = L"persite";
constexpr unsigned int kPemLineLength = 64;

std::wstring errnoText(int error) { return platform::fromUtf8(std::strerror(error)); }

// Writes `text` to a new file named after `path`, synced, mode 0644; its name
// goes to `temporary`. False with errno set when it cannot.
bool writeNewFile(const std::string& path, const std::string& text, std::string& temporary) {
  temporary = path + ".tmpXXXXXX";
  const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return false;
  const char* data = text.data();
  std::size_t left = text.size();
  bool ok = ::fchmod(fd, 0644) == 0;
  while (ok && left > 0) {
    const ssize_t n = ::write(fd, data, left);
    if (n < 0 && errno == EINTR) continue;
    ok = n > 0;
    if (ok) {
      data += n;
      left -= static_cast<std::size_t>(n);
    }
  }
  ok = ok && ::fsync(fd) == 0;
  const int error = errno;
  ok = ::close(fd) == 0 && ok;
  if (!ok) {
    ::unlink(temporary.c_str());
    errno = error;
  }
  return ok;
}

}  // namespace

StagedCaBundle::~StagedCaBundle() { discard(); }

StagedCaBundle::StagedCaBundle(StagedCaBundle&& other) noexcept
    : temporary_(std::exchange(other.temporary_, std::string())), path_(std::move(other.path_)) {}

StagedCaBundle& StagedCaBundle::operator=(StagedCaBundle&& other) noexcept {
  if (this != &other) {
    discard();
    temporary_ = std::exchange(other.temporary_, std::string());
    path_ = std::move(other.path_);
  }
  return *this;
}

void StagedCaBundle::discard() {
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
}

bool StagedCaBundle::commit() {
  if (temporary_.empty()) return true;
  if (::rename(temporary_.c_str(), path_.c_str()) != 0) {
    platform::logError(kTag, L"Failed to put the ca bundle file " + platform::fromUtf8(path_) +
                                 L" in place: " + errnoText(errno));
    discard();
    return false;
  }
  temporary_.clear();
  return true;
}

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

bool stageCaBundle(const Element& root, const std::wstring& path, StagedCaBundle& staged,
                   std::wstring* failure) {
  staged = StagedCaBundle();
  const Element bundle = root.GetElement(schema::XO_XML_CABUNDLE);
  // Without a bundle element the file of an earlier list stays in use.
  if (bundle.IsNull()) return true;

  // Renamed over the file in place later, so that a transfer reading the
  // bundle never sees it half written, nor one of a list that was not taken.
  std::ostringstream text;
  bool anyWritten = false;
  for (const Element& child : bundle.GetChildElements()) {
    if (child.GetName() != schema::XO_XML_CACERTIFICATE) continue;
    if (!addCertificateFromElement(text, child)) break;
    anyWritten = true;
  }
  if (!anyWritten) platform::logInfo(kTag, L"ca bundle does not contain any certificates");
  const std::string native = platform::toUtf8(path);
  std::string temporary;
  if (!writeNewFile(native, text.str(), temporary)) {
    const std::wstring reason = L"Failed to write ca bundle file " + path + L": " + errnoText(errno);
    platform::logError(kTag, reason);
    if (failure != nullptr) *failure = reason;
    return false;
  }
  staged.temporary_ = temporary;
  staged.path_ = native;
  return true;
}

bool saveCarootCertificateBundle(const Element& root, const std::wstring& path) {
  StagedCaBundle staged;
  return stageCaBundle(root, path, staged) && staged.commit();
}

void AssignSslFunctor::operator()(IImSite_ptr& site) const {
  if (site && site->isSslEnabled()) site->setCaBundlePath(path_);
}

}  // namespace corvane_com::zel::inetmgr
