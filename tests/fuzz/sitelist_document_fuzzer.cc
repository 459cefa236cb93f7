// Fuzz target for the site list reader: arbitrary bytes go through the whole
// document path (decryption check, parse, CA bundle, sites, proxies, versions,
// policies). Every input must end accepted or rejected, never in a crash, a
// leak or a sanitizer report.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "inetmgr/log_sink.h"
#include "sitelist/sitelist_document.h"
#include "support/temp_dir.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

void discard(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}

// The CA bundle of accepted inputs is written here, in the run's data
// directory, which is removed when the process exits normally: at the end of a
// replay and of a libFuzzer run alike.
std::wstring bundlePath;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  static const inetmgr_test::ScopedDataDir dir;
  bundlePath = dir.wfile("cabundle.cer");
  im::setLogSink(&discard, nullptr, im::LogLevel::Trace);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const corvane_com::zel::platform::ByteBuffer bytes(data, data + size);
  corvane_com::zel::platform::AdvXMLParser::Document document;
  if (im::parseSiteListBuffer(bytes, document).code != im::rcSuccess) return 0;
  im::SiteListContents contents;
  const im::SiteListRejection result = im::buildSiteListContents(document, bundlePath, true, contents);
  // An accepted document always has sites and both versions.
  if (result.code == im::rcSuccess &&
      (contents.sites.empty() || contents.globalVersion.empty() || contents.localVersion.empty()))
    std::abort();
  return 0;
}
