// What must hold alike on 32-bit and on big-endian machines, and what a build
// must refuse when another kind of build wrote it. Runs in every suite,
// natively and in scripts/test-cross.sh (i386, s390x).
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/byte_order.h"
#include "core/file_stat.h"
#include "platform/crypto.h"
#include "store/site_cache.h"
#include "store/store_fixture.h"
#include "support/log_capture.h"

namespace {

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;

TEST(CrossArchitecture, AFileOfMoreThanFourGibibytesIsSeenWithItsWholeSize) {
  inetmgr_test::TempDir dir;
  const std::uint64_t size = (5ULL << 30) + 3;  // sparse: takes no room
  std::ofstream(dir.file("large")).put('x');
  std::filesystem::resize_file(dir.file("large"), size);
  im::FileStat stat;
  stat.setFile(std::filesystem::path(dir.file("large")));
  ASSERT_NO_THROW(stat.refresh());
  EXPECT_EQ(stat.getFileSize(), size);
}

// The ciphertext a machine of either byte order makes of `text`: its
// plaintext is native-order code units, and a big-endian machine binds it to
// its context.
std::vector<unsigned char> secretAsMadeBy(bool littleEndian, const std::wstring& text) {
  std::vector<unsigned char> plain;
  for (const wchar_t c : text + L'\0') {
    for (unsigned i = 0; i < 4; ++i) {
      plain.push_back(
          static_cast<unsigned char>(static_cast<std::uint32_t>(c) >> (littleEndian ? 8 * i : 24 - 8 * i)));
    }
  }
  pf::IEncryption* encryption =
      pf::CryptShim::instance()->create_encryption_object(pf::kEncryptionTypeAesSiv);
  std::vector<unsigned char> cipher;
  EXPECT_TRUE(encryption != nullptr &&
              encryption->encrypt(plain, littleEndian ? "" : im::kBigEndianSecretContext, cipher));
  pf::CryptShim::instance()->destroy_encryption_object(encryption);
  return cipher;
}

TEST(CrossArchitecture, ASecretFromAMachineOfTheOtherByteOrderIsRefusedNeverMisread) {
  inetmgr_test::ScopedDataDir data;
  // Reversed, these code units are U+10000 and U+100000: still characters, so
  // only the binding can tell.
  const std::wstring text = L"\u0100\u1000";
  im::SecureString own(secretAsMadeBy(im::kLittleEndianMachine, text));
  EXPECT_EQ(own.encrypted_str(), im::SecureString(text, 0).encrypted_str());
  EXPECT_EQ(own.str(), text);
  inetmgr_test::LogCapture quiet(im::LogLevel::Error);
  im::SecureString foreign(secretAsMadeBy(!im::kLittleEndianMachine, text));
  EXPECT_EQ(foreign.str(), L"");
  EXPECT_EQ(foreign.getLastResult(), -1);
}

class CrossArchitectureCache : public inetmgr_test::StoreTest {};

TEST_F(CrossArchitectureCache, ACacheOfAnotherKindOfMachineIsRefusedAsSuchAndTheDocumentIsRead) {
  writeSiteList("9", "2", {{"first", 1}},
                "<UseAuth>1</UseAuth><Password>" + passwordText(L"pw") + "</Password>");
  im::PersistSite* s = store();
  ASSERT_NE(s, nullptr);
  pf::ByteBuffer bytes;
  const std::wstring cache = data_.wfile("etc/sitecache.bin");
  ASSERT_TRUE(pf::AFile::read(cache, bytes));
  std::string contents(bytes.begin(), bytes.end());
  // The build identity ends with the byte order: make it the other one.
  const std::size_t order = contents.find(im::kLittleEndianMachine ? " le" : " be", contents.find(" long"));
  ASSERT_NE(order, std::string::npos);
  contents.replace(order, 3, im::kLittleEndianMachine ? " be" : " le");
  ASSERT_TRUE(pf::AFile::write(cache, contents));

  inetmgr_test::LogCapture log(im::LogLevel::Error);
  EXPECT_FALSE(im::SiteCacheCodec::load(*s, cache));
  EXPECT_EQ(siteNames(s), std::vector<std::wstring>{L"first"}) << "the held list stays";
  const std::vector<inetmgr_test::LogRecord> records = log.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_NE(records[0].text.find(L"written by another build ("), std::wstring::npos) << records[0].text;

  // A new process refuses it too, reads the document and writes its own.
  im::PersistSite::testResetSiteList();
  im::PersistSite::resetInitFlag();
  ASSERT_EQ(store(), s);
  EXPECT_EQ(siteNames(s), std::vector<std::wstring>{L"first"});
  EXPECT_TRUE(im::SiteCacheCodec::load(*s, cache));
}

}  // namespace
