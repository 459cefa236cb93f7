// The CA bundle file written from a site list: PEM line cutting, what happens
// without certificates, without a bundle element or without a path, and a
// staged bundle that only replaces the file in place when committed.
#include "sitelist/ca_bundle.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "support/parsed_xml.h"
#include "support/temp_dir.h"
#include "support/transfer_files.h"

namespace {

namespace inetmgr = corvane_com::zel::inetmgr;
using inetmgr_test::ParsedXml;
using inetmgr_test::readFile;

bool save(const std::string& bundle, const std::wstring& path) {
  return inetmgr::saveCarootCertificateBundle(ParsedXml("<SiteLists>" + bundle + "</SiteLists>").root(),
                                              path);
}

const std::string kData = INETMGR_SOURCE_DIR "/tests/data/sitelist/";

TEST(CaBundle, PemLinesOf64InOrderNoBundleKeepsTheFileAnEmptyFirstCertificateEmptiesItAnUnwritablePathFails) {
  inetmgr_test::TempDir dir;
  ASSERT_TRUE(inetmgr::saveCarootCertificateBundle(ParsedXml(readFile(kData + "ca_bundle.xml")).root(),
                                                   dir.wfile("cabundle.cer")));
  EXPECT_EQ(readFile(dir.file("cabundle.cer")), readFile(kData + "ca_bundle.cer"));
  EXPECT_TRUE(save("<SiteList/>", dir.wfile("cabundle.cer")));
  EXPECT_EQ(readFile(dir.file("cabundle.cer")), readFile(kData + "ca_bundle.cer"));
  EXPECT_TRUE(save("<CABundle><Certificate/><Certificate>QUJD</Certificate></CABundle>", dir.wfile("cabundle.cer")));
  EXPECT_EQ(readFile(dir.file("cabundle.cer")), "") << "the walk ends at the empty certificate";
  EXPECT_FALSE(save("<CABundle><Certificate>QUJD</Certificate></CABundle>", dir.wfile("missing/cabundle.cer")));
}

TEST(CaBundle, AStagedBundleReplacesTheFileOnlyWhenCommittedAndADroppedOneLeavesNothingBehind) {
  inetmgr_test::TempDir dir;
  std::ofstream(dir.file("cabundle.cer")) << "bundle of the held list";
  const ParsedXml document("<SiteLists><CABundle><Certificate>QUJD</Certificate></CABundle></SiteLists>");
  const auto fileCount = [&dir] {
    using std::filesystem::directory_iterator;
    return std::distance(directory_iterator(dir.path()), directory_iterator());
  };
  inetmgr::StagedCaBundle taken;
  {
    inetmgr::StagedCaBundle dropped;
    inetmgr::StagedCaBundle staged;
    ASSERT_TRUE(inetmgr::stageCaBundle(document.root(), dir.wfile("cabundle.cer"), dropped));
    ASSERT_TRUE(inetmgr::stageCaBundle(document.root(), dir.wfile("cabundle.cer"), staged));
    EXPECT_EQ(fileCount(), 3);
    taken = std::move(staged);
  }
  EXPECT_EQ(fileCount(), 2) << "a bundle dropped uncommitted is removed, a moved one is not";
  EXPECT_EQ(readFile(dir.file("cabundle.cer")), "bundle of the held list");
  ASSERT_TRUE(taken.commit());
  EXPECT_EQ(readFile(dir.file("cabundle.cer")),
            "-----BEGIN CERTIFICATE-----\nQUJD\n-----END CERTIFICATE-----\n");
  EXPECT_EQ(fileCount(), 1);
}

}  // namespace
