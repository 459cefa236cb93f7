// Fuzz target for the site list reader: arbitrary bytes go through the whole
// document path (decryption check, parse, CA bundle, sites, proxies, versions,
// policies). Every input must end accepted or rejected, never in a crash, a
// leak or a sanitizer report.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "inetmgr/log_sink.h"
#include "sitelist/sitelist_document.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

void discard(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}

// The run's data directory (the library's key file lands in it) in $TMPDIR,
// removed with its contents when the process exits normally: at the end of a
// replay and of a libFuzzer run alike.
class ScratchDataDir {
 public:
  ScratchDataDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "inetmgr-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    path_ = pattern;
  }
  ~ScratchDataDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDataDir(const ScratchDataDir&) = delete;
  ScratchDataDir& operator=(const ScratchDataDir&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// The CA bundle of accepted inputs is written here.
std::wstring& bundlePath() {
  static std::wstring path;
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  static const ScratchDataDir dir;
  ::setenv("INETMGR_DATA_DIR", dir.path().c_str(), 1);
  bundlePath() = (dir.path() / "cabundle.cer").wstring();
  im::setLogSink(&discard, nullptr, im::LogLevel::Trace);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const corvane_com::zel::platform::ByteBuffer bytes(data, data + size);
  corvane_com::zel::platform::AdvXMLParser::Document document;
  if (im::parseSiteListBuffer(bytes, document).code != im::rcSuccess) return 0;
  im::SiteListContents contents;
  const im::SiteListRejection result = im::buildSiteListContents(document, bundlePath(), true, contents);
  // An accepted document always has sites and both versions.
  if (result.code == im::rcSuccess &&
      (contents.sites.empty() || contents.globalVersion.empty() || contents.localVersion.empty())) {
    std::abort();
  }
  return 0;
}
