// File services: whole-file reads, atomic replacement, temporary files, paths.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iterator>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "platform/files.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

namespace pf = corvane_com::zel::platform;
namespace im = corvane_com::zel::inetmgr;

TEST(Files, WriteThenReadRoundTripsAndAppliesTheMode) {
  inetmgr_test::TempDir dir;
  const std::wstring path = dir.wfile("doc.xml");
  const pf::ByteBuffer contents{'a', 0, 'b', 0xFF};
  ASSERT_TRUE(pf::AFile::write(path, contents, 0600));
  pf::ByteBuffer back;
  ASSERT_TRUE(pf::AFile::read(path, back));
  EXPECT_EQ(back, contents);
  struct stat info {};
  ASSERT_EQ(::stat(dir.file("doc.xml").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  pf::FileInfo fileInfo;
  int error = 0;
  ASSERT_TRUE(pf::statFile(dir.file("doc.xml"), fileInfo, error));
  EXPECT_EQ(fileInfo.size, 4u);
  EXPECT_GT(fileInfo.lastModified, 0);
  EXPECT_FALSE(pf::statFile(dir.file("missing"), fileInfo, error));
  EXPECT_EQ(error, ENOENT);
}

TEST(Files, MissingFilesFailAndOnlyReadComplains) {
  inetmgr_test::TempDir dir;
  inetmgr_test::LogCapture log;
  pf::ByteBuffer contents{1};
  EXPECT_FALSE(pf::AFile::readExisting(dir.wfile("none"), contents));
  EXPECT_TRUE(contents.empty());
  EXPECT_TRUE(log.records().empty());
  EXPECT_FALSE(pf::AFile::read(dir.wfile("none"), contents));
  EXPECT_EQ(log.records().size(), 1u);
}

TEST(Files, AFailedWriteLeavesTheOldFileAndNoLitter) {
  inetmgr_test::TempDir dir;
  const std::wstring path = dir.wfile("keep");
  ASSERT_TRUE(pf::AFile::write(path, std::string("old")));
  // A directory in the target's place makes the final rename fail.
  ASSERT_TRUE(pf::makeDirectories(dir.wfile("occupied/sub")));
  EXPECT_FALSE(pf::AFile::write(dir.wfile("occupied"), std::string("new")));
  EXPECT_FALSE(pf::AFile::write(dir.wfile("no/such/dir/file"), std::string("new")));
  pf::ByteBuffer back;
  ASSERT_TRUE(pf::AFile::read(path, back));
  EXPECT_EQ(std::string(back.begin(), back.end()), "old");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2)
      << "only 'keep' and 'occupied' remain";
}

TEST(Files, ReadersInAnotherProcessNeverSeeATornFile) {
  inetmgr_test::TempDir dir;
  const std::wstring path = dir.wfile("list");
  const std::string small(100, 'a');
  const std::string large(200000, 'b');
  ASSERT_TRUE(pf::AFile::write(path, small));
  const pid_t reader = ::fork();
  if (reader == 0) {
    for (int i = 0; i < 2000; ++i) {
      pf::ByteBuffer seen;
      if (!pf::AFile::read(path, seen)) ::_exit(2);
      const std::string text(seen.begin(), seen.end());
      if (text != small && text != large) ::_exit(1);
    }
    ::_exit(0);
  }
  for (int i = 0; i < 300; ++i) ASSERT_TRUE(pf::AFile::write(path, i % 2 ? small : large));
  int status = 0;
  ASSERT_EQ(::waitpid(reader, &status, 0), reader);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: torn contents seen, 2: read failed";
}

TEST(Files, TemporaryFilesAreUniqueAndDeletable) {
  std::wstring first, second;
  ASSERT_TRUE(pf::AFiler::getTempFilePath(first));
  ASSERT_TRUE(pf::AFiler::getTempFilePath(second));
  EXPECT_NE(first, second);
  EXPECT_TRUE(pf::AFiler::deleteFile(first));
  EXPECT_FALSE(pf::AFiler::deleteFile(first));
  EXPECT_TRUE(pf::AFiler::deleteFile(second));
}

TEST(Files, SplitPathCutsAtTheLastSeparatorOfEitherKind) {
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
