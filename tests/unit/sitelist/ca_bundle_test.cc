// The CA bundle file written from a site list: PEM line cutting, and what
// happens without certificates, without a bundle element or without a path.
#include "sitelist/ca_bundle.h"

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "support/xml_element.h"

namespace {

namespace inetmgr = corvane_com::zel::inetmgr;
using inetmgr_test::ParsedXml;

std::string fileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool save(const std::string& bundle, const std::wstring& path) {
  return inetmgr::saveCarootCertificateBundle(ParsedXml("<SiteLists>" + bundle + "</SiteLists>").root(),
                                              path);
}

std::string pemBlock(const std::vector<std::string>& lines) {
  std::string block = "-----BEGIN CERTIFICATE-----\n";
  for (const std::string& line : lines) block += line + "\n";
  return block + "-----END CERTIFICATE-----\n";
}

TEST(CaBundle, CertificatesAreWrittenInOrderAsPemLinesOf64WithoutWhiteSpaceOrEmptyLines) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::string first = alphabet + alphabet + "AB";
  const std::string second = first.substr(2, 128);  // a whole number of lines
  const std::string spaced =
      first.substr(0, 50) + "\n  " + first.substr(50, 40) + " \t\r\n" + first.substr(90);
  inetmgr_test::TempDir dir;
  ASSERT_TRUE(save("<CABundle><Certificate>" + spaced + "</Certificate><Note>x</Note><Certificate>" + second +
                       "</Certificate></CABundle>",
                   dir.wfile("cabundle.cer")));
  EXPECT_EQ(fileText(dir.file("cabundle.cer")),
            pemBlock({first.substr(0, 64), first.substr(64, 64), first.substr(128)}) +
                pemBlock({second.substr(0, 64), second.substr(64)}));
}

TEST(CaBundle, NoBundleKeepsTheOldFileAnEmptyFirstCertificateEmptiesItAndAnUnwritablePathFails) {
  inetmgr_test::LogCapture log;
  inetmgr_test::TempDir dir;
  std::ofstream(dir.file("cabundle.cer")) << "earlier bundle";
  EXPECT_TRUE(save("<SiteList/>", dir.wfile("cabundle.cer")));
  EXPECT_EQ(fileText(dir.file("cabundle.cer")), "earlier bundle");
  EXPECT_TRUE(
      save("<CABundle><Certificate/><Certificate>QUJD</Certificate></CABundle>", dir.wfile("cabundle.cer")));
  EXPECT_EQ(fileText(dir.file("cabundle.cer")), "") << "the walk ends at the empty certificate";
  EXPECT_EQ(log.count(inetmgr::LogLevel::Info, L"ca bundle does not contain any certificates"), 1);
  EXPECT_FALSE(
      save("<CABundle><Certificate>QUJD</Certificate></CABundle>", dir.wfile("missing/cabundle.cer")));
}

}  // namespace
