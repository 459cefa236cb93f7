// File services: whole-file reads, atomic replacement, temporary files, paths.
// That a reading process never sees a torn file is shown with the site list
// writer, which replaces files through AFile::write.
#include <sys/stat.h>
#include <unistd.h>

#include <iterator>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/utf8.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

namespace pf = corvane_com::zel::platform;

TEST(Files, WriteThenReadRoundTripsAndAppliesTheModeAndOnlyReadComplainsAboutAMissingFile) {
  inetmgr_test::TempDir dir;
  inetmgr_test::LogCapture log;
  const pf::ByteBuffer contents{'a', 0, 'b', 0xFF};
  ASSERT_TRUE(pf::AFile::write(dir.wfile("doc.xml"), contents, 0600));
  pf::ByteBuffer back{1};
  EXPECT_TRUE(pf::AFile::read(dir.wfile("doc.xml"), back) && back == contents);
  struct stat info {};
  ASSERT_EQ(::stat(dir.file("doc.xml").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  EXPECT_TRUE(!pf::AFile::readExisting(dir.wfile("none"), back) && back.empty() && log.records().empty());
  EXPECT_TRUE(!pf::AFile::read(dir.wfile("none"), back) && log.records().size() == 1u);
}

TEST(Files, AFailedWriteLeavesTheOldFileAndNoLitter) {
  inetmgr_test::TempDir dir;
  ASSERT_TRUE(pf::AFile::write(dir.wfile("keep"), std::string("old")));
  // A directory in the target's place makes the final rename fail.
  ASSERT_TRUE(pf::makeDirectories(dir.wfile("occupied/sub")));
  EXPECT_FALSE(pf::AFile::write(dir.wfile("occupied"), std::string("new")));
  EXPECT_FALSE(pf::AFile::write(dir.wfile("no/such/dir/file"), std::string("new")));
  pf::ByteBuffer back;
  EXPECT_TRUE(pf::AFile::read(dir.wfile("keep"), back) && std::string(back.begin(), back.end()) == "old");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2)
      << "only 'keep' and 'occupied' remain";
}

TEST(Files, AReplacedFileKeepsItsModeAndOwnerALinkKeepsPointingAndOnlyRegularFilesAreReplaced) {
  inetmgr_test::TempDir dir;
  ASSERT_TRUE(pf::AFile::write(dir.wfile("target"), std::string("old"), 0640));
  ASSERT_EQ(::symlink("target", dir.file("link").c_str()), 0);
  const bool root = ::geteuid() == 0;
  ASSERT_TRUE(!root || ::chown(dir.file("target").c_str(), 65534, 65534) == 0);
  ASSERT_TRUE(pf::AFile::write(dir.wfile("link"), std::string("new")));
  struct stat link {}, target {};
  ASSERT_TRUE(::lstat(dir.file("link").c_str(), &link) == 0 && ::stat(dir.file("target").c_str(), &target) == 0);
  EXPECT_TRUE(S_ISLNK(link.st_mode)) << "the link was replaced by a file";
  EXPECT_EQ(target.st_mode & 07777, 0640u);
  EXPECT_TRUE(!root || target.st_uid == 65534u) << target.st_uid;
  pf::ByteBuffer back;
  EXPECT_TRUE(pf::AFile::read(dir.wfile("target"), back) && std::string(back.begin(), back.end()) == "new");
  // A file asked to be private loses group and other bits it had.
  ASSERT_TRUE(pf::AFile::write(dir.wfile("target"), std::string("secret"), 0600));
  ASSERT_EQ(::stat(dir.file("target").c_str(), &target), 0);
  EXPECT_EQ(target.st_mode & 0777, 0600u);
  ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
  inetmgr_test::LogCapture log;
  EXPECT_FALSE(pf::AFile::write(dir.wfile("fifo"), std::string("x")));
  EXPECT_EQ(log.count(pf::fromUtf8("Failed to write " + dir.file("fifo") +
                                   ": it is a FIFO, and only a regular file is replaced")),
            1);
}

TEST(Files, TemporaryFilesAreUniqueAndPathsSplitAtTheLastSeparatorOfEitherKind) {
  std::wstring first, second;
  ASSERT_TRUE(pf::AFiler::getTempFilePath(first) && pf::AFiler::getTempFilePath(second));
  EXPECT_NE(first, second);
  EXPECT_TRUE(pf::AFiler::deleteFile(first) && !pf::AFiler::deleteFile(first) &&
              pf::AFiler::deleteFile(second));
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"/a/b/c.txt", L"/a/b|c.txt"},
                                                             {L"C:\\dir\\file", L"C:\\dir|file"},
                                                             {L"c.txt", L"|c.txt"},
                                                             {L"/c.txt", L"/|c.txt"}};
  for (const auto& [path, parts] : cases) {
    std::wstring directory, name;
    pf::splitPath(path, directory, name);
    EXPECT_EQ(directory + L"|" + name, parts);
  }
}
