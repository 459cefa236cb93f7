// Slash rewriting, the file-name rule of each protocol and change detection
// with FileStat on real files.
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "core/file_stat.h"
#include "core/path_utils.h"
#include "support/temp_dir.h"
#include "support/thrown.h"

namespace {

using namespace corvane_com::zel::inetmgr;  // NOLINT(google-build-using-namespace)
namespace fs = std::filesystem;

TEST(PathUtils, SlashesAreRewrittenAndEachProtocolGetsItsNameRuleWhichPathChecksApplyToEveryName) {
  EXPECT_EQ(L"srv/share/file.txt", changeBackToForwardSlashW(L"srv\\share\\file.txt"));
  EXPECT_EQ("srv/share/file.txt", changeBackToForwardSlash(L"srv\\share\\file.txt"));
  EXPECT_EQ(L"/a/b/c.txt", toRemoteNativePathString(fs::path("/a/b/c.txt"), ProtocolType::Unc));
  for (int type = ProtocolType::Ftp; type <= ProtocolType::SuperAgent; ++type) {
    const NameChecker check = findNameChecker(static_cast<ProtocolType::Types>(type));
    ASSERT_NE(nullptr, check) << type;
    EXPECT_TRUE(check("Catalog_2.z") && !check("with space") && !check("-flag")) << type;
  }
  const NameChecker unc = findNameChecker(ProtocolType::Unc);
  ASSERT_NE(nullptr, unc);
  EXPECT_TRUE(unc("with space") && unc("..") && !unc("a:b") && !unc("trailing."));
  const NameChecker local = findNameChecker(ProtocolType::Local);
  ASSERT_NE(nullptr, local);
  EXPECT_TRUE(local("a:b?") && !local(""));
  EXPECT_TRUE(checkPathNames("/repo/current/", findNameChecker(ProtocolType::Http)));
  EXPECT_FALSE(checkPathNames("/repo/bad name/Catalog.z", findNameChecker(ProtocolType::Http)));
  EXPECT_TRUE(checkPathNames("/repo/bad name", nullptr));

  std::string branch, leaf;
  const std::pair<const char*, const char*> splits[] = {
      {"/d/", "/d|."}, {"/a", "/|a"}, {"b.z", "|b.z"}, {"/", "|/"}};
  for (const auto& [path, parts] : splits) {
    splitBranchAndLeaf(path, &portableName, branch, leaf);
    EXPECT_EQ(branch + "|" + leaf, parts) << path;
  }
  EXPECT_THROW(splitBranchAndLeaf("/repo/bad name/", &portableName, branch, leaf), fs::filesystem_error);
}

TEST(FileStat, EqualTimeAndSizeCompareEqualWhateverThePathAndAMissingFileThrowsItsErrno) {
  inetmgr_test::TempDir dir;
  std::ofstream(dir.file("one.xml")) << "12345";
  std::ofstream(dir.file("two.xml")) << "abcde";
  FileStat one, two;
  one.setFile(fs::path(dir.file("one.xml")));
  two.setFile(dir.path().wstring() + L"\\two.xml");  // back-slashes in a wide path are separators
  EXPECT_EQ(dir.wfile("two.xml"), two.getFilename());
  const auto time = fs::last_write_time(dir.file("one.xml")) - std::chrono::hours(2);
  one.refresh();
  const FileStat before = one;
  fs::last_write_time(dir.file("one.xml"), time);
  fs::last_write_time(dir.file("two.xml"), time);
  one.refresh();
  two.refresh();
  EXPECT_EQ(before.getLastModified() - 7200, one.getLastModified());
  EXPECT_TRUE(one == two && !(one != two));
  std::ofstream(dir.file("two.xml")) << "abcdef";
  fs::last_write_time(dir.file("two.xml"), time);
  two.refresh();
  EXPECT_TRUE(one != two) << "a size change alone must count";

  fs::remove(dir.file("two.xml"));
  EXPECT_NE(
      inetmgr_test::thrownText<fs::filesystem_error>([&] { two.refresh(); }).find(std::strerror(ENOENT)),
      std::string::npos);
  two.reset();
  EXPECT_NO_THROW(two.refresh());
  EXPECT_TRUE(two == FileStat() && two.getFilename().empty());
}

}  // namespace
