// The crypto service: key file creation, determinism, authentication, the
// document form of passwords.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "platform/crypto.h"
#include "platform/files.h"
#include "support/temp_dir.h"

namespace pf = corvane_com::zel::platform;
using pf::CryptBuffer;

namespace {

struct Encryption {
  pf::IEncryption* object = pf::CryptShim::instance()->create_encryption_object(pf::kEncryptionTypeAesSiv);
  ~Encryption() { pf::CryptShim::instance()->destroy_encryption_object(object); }
  pf::IEncryption* operator->() const { return object; }
};

CryptBuffer bytes(const std::string& text) { return CryptBuffer(text.begin(), text.end()); }

}  // namespace

TEST(Crypto, FirstUseCreatesAPrivate256BitKeyFileAndAnUnreadableKeyGivesNoObject) {
  {
    inetmgr_test::ScopedDataDir data;
    Encryption encryption;
    ASSERT_NE(encryption.object, nullptr);
    struct stat info {};
    ASSERT_EQ(::stat(data.file("etc/inetmgr.key").c_str(), &info), 0);
    EXPECT_EQ(info.st_size, 32);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
  }
  inetmgr_test::ScopedDataDir data;
  ASSERT_TRUE(pf::makeDirectories(data.wfile("etc")));
  ASSERT_TRUE(pf::AFile::write(data.wfile("etc/inetmgr.key"), std::string("too short")));
  EXPECT_EQ(Encryption().object, nullptr);
}

TEST(Crypto, EncryptionHasSixteenBytesOfOverheadAndRoundTripsAsDocumentText) {
  inetmgr_test::ScopedDataDir data;
  Encryption encryption;
  // Equal secrets give equal ciphertexts: pinned where SecureStrings and document passwords are compared.
  CryptBuffer first, plain;
  ASSERT_TRUE(encryption->encrypt(bytes("password"), first));
  EXPECT_EQ(first.size(), 8 + pf::kCipherOverhead);
  EXPECT_TRUE(encryption->decrypt(first, plain) && plain == bytes("password"));
  CryptBuffer empty{1};
  EXPECT_TRUE(!encryption->encrypt(CryptBuffer(), empty) && empty.empty());

  std::wstring text, back;
  // That the document text is base64 is pinned by the site list writer's expected document.
  ASSERT_TRUE(encryption->encryptText(L"p\u00e4ss w\u00f6rd \U0001F511", text));
  ASSERT_TRUE(encryption->decryptText(L" " + text + L"\n", back));
  EXPECT_EQ(back, L"p\u00e4ss w\u00f6rd \U0001F511");
  EXPECT_FALSE(encryption->decryptText(L"not base64!", back));
  EXPECT_TRUE(!encryption->decryptText(text.substr(0, text.size() - 4), back) && back.empty());
  EXPECT_TRUE(encryption->encryptText(L"", text) && encryption->decryptText(L"", back));
  EXPECT_EQ(text + back, L"");
}

TEST(Crypto, TamperedTruncatedOrForeignCiphertextNeverDecrypts) {
  CryptBuffer cipher;
  {
    inetmgr_test::ScopedDataDir data;
    Encryption encryption;
    ASSERT_TRUE(encryption->encrypt(bytes("a secret of some length"), cipher));
    CryptBuffer plain{1, 2, 3};
    for (std::size_t i = 0; i < cipher.size(); ++i) {
      CryptBuffer flipped = cipher;
      flipped[i] ^= 0x01;
      EXPECT_TRUE(!encryption->decrypt(flipped, plain) && plain.empty()) << "flipped byte " << i;
    }
    for (std::size_t cut = 0; cut < cipher.size(); ++cut)
      EXPECT_FALSE(encryption->decrypt(CryptBuffer(cipher.begin(), cipher.begin() + cut), plain)) << cut;
  }
  inetmgr_test::ScopedDataDir otherMachine;
  CryptBuffer plain;
  EXPECT_FALSE(Encryption()->decrypt(cipher, plain));
}

TEST(Crypto, ProcessesStartingTogetherAgreeOnOneKey) {
  inetmgr_test::ScopedDataDir data;
  constexpr int kProcesses = 6;
  for (int i = 0; i < kProcesses; ++i) {
    if (::fork() == 0) {
      Encryption encryption;
      CryptBuffer cipher;
      const bool written = encryption.object != nullptr && encryption->encrypt(bytes("same"), cipher) &&
                           pf::AFile::write(data.wfile("result" + std::to_string(i)), cipher);
      ::_exit(written ? 0 : 1);
    }
  }
  for (int i = 0; i < kProcesses; ++i) {
    int status = 0;
    ::wait(&status);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  CryptBuffer first, other;
  for (int i = 0; i < kProcesses; ++i) {
    ASSERT_TRUE(pf::AFile::read(data.wfile("result" + std::to_string(i)), i == 0 ? first : other));
    EXPECT_TRUE(i == 0 || other == first) << "process " << i << " used another key";
  }
}
