// SecureString: bounds, equality, raw ciphertext, failures of the crypto
// service, and its journey through text archives.
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "core/secure_string_archive.h"
#include "platform/files.h"
#include "support/data_dir.h"
#include "support/log_capture.h"

namespace im = corvane_com::zel::inetmgr;
using im::SecureString;

class SecureStringTest : public ::testing::Test {
 protected:
  inetmgr_test::ScopedDataDir data_;
};

TEST_F(SecureStringTest, EmptyAndDefaultStringsReadBackAsEmptySuccessfully) {
  SecureString empty(L"", 0);
  EXPECT_FALSE(empty.encrypted_str().empty()) << "the terminator is encrypted too";
  EXPECT_EQ(empty.str(), L"");
  EXPECT_EQ(empty.getLastResult(), 0);
  SecureString unset;
  EXPECT_EQ(unset.str(), L"");
  EXPECT_EQ(unset.getLastResult(), 0);
  EXPECT_NE(unset, empty);
}

TEST_F(SecureStringTest, BoundAdmitsExactlyTheTextsThatFitWithTheAllowance) {
  SecureString fits(std::wstring(19, L'x'), 100);  // 80 + 20 = 100
  EXPECT_EQ(fits.str(), std::wstring(19, L'x'));
  try {
    SecureString tooLong(std::wstring(20, L'x'), 100);  // 84 + 20 = 104
    FAIL() << "expected BufferOverflowException";
  } catch (const SecureString::BufferOverflowException& e) {
    EXPECT_STREQ(e.what(), "encryptString() -> Input buffer will result in encrypted buffer > 100");
  }
  EXPECT_THROW(fits = std::wstring(20, L'y'), SecureString::BufferOverflowException);
  EXPECT_TRUE(fits.encrypted_str().empty()) << "the old secret is gone after a failed assignment";
  EXPECT_TRUE(fits.isValid());
}

TEST_F(SecureStringTest, EqualityComparesCiphertextOnly) {
  SecureString a(L"secret", 0);
  SecureString b(L"secret", 500);
  SecureString c(L"Secret", 0);
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a != b);
  EXPECT_TRUE(a != c);
  SecureString copy(a);
  EXPECT_EQ(copy, a);
  SecureString assigned;
  assigned = c;
  EXPECT_EQ(assigned.str(), L"Secret");
}

TEST_F(SecureStringTest, RawCiphertextDropsTheBoundAndSetMaxBufferSizeGuardsIt) {
  SecureString source(L"abc", 0);
  const auto cipher = source.encrypted_str();
  SecureString bounded(L"", 1000);
  bounded = cipher;
  EXPECT_EQ(bounded.str(), L"abc");
  EXPECT_TRUE(bounded.setMaxBufferSize(cipher.size() + 1));
  EXPECT_FALSE(bounded.setMaxBufferSize(cipher.size() - 1));
  EXPECT_TRUE(bounded.setMaxBufferSize(cipher.size())) << "equal to the size is accepted";
  // With the bound kept, a longer ciphertext would break the invariant and stop
  // the process.
  bounded = SecureString(L"a much longer secret", 0).encrypted_str();
  EXPECT_EQ(bounded.str(), L"a much longer secret");
  bounded.clear();
  EXPECT_TRUE(bounded.encrypted_str().empty());
}

TEST_F(SecureStringTest, DecryptedTextEndsAtAnEmbeddedZero) {
  SecureString s(std::wstring(L"ab\0cd", 5), 0);
  EXPECT_EQ(s.str(), L"ab");
}

TEST_F(SecureStringTest, DamagedCiphertextFailsWithoutGarbage) {
  inetmgr_test::LogCapture log;
  auto cipher = SecureString(L"password", 0).encrypted_str();
  cipher[cipher.size() / 2] ^= 0x10;
  SecureString damaged(cipher);
  EXPECT_EQ(damaged.str(), L"");
  EXPECT_EQ(damaged.getLastResult(), -1);
  EXPECT_EQ(log.count(im::LogLevel::Error, L"Error decrypting buffer."), 1);
}

TEST(SecureStringWithoutKey, UnavailableCryptoServiceLeavesTheStringEmptyAndSaysSo) {
  inetmgr_test::ScopedDataDir data;
  // A file where the key's directory should be: no key can be read or created.
  ASSERT_TRUE(corvane_com::zel::platform::AFile::write(data.dir().wfile("etc"), std::string("not a dir")));
  inetmgr_test::LogCapture log;
  SecureString s(L"secret", 0);
  EXPECT_EQ(s.getLastResult(), -1);
  EXPECT_TRUE(s.encrypted_str().empty());
  EXPECT_EQ(log.count(im::LogLevel::Error, L"Error occurred while encrypting buffer."), 1);
  s = std::vector<unsigned char>{1, 2, 3};
  EXPECT_EQ(s.str(), L"");
  EXPECT_EQ(log.count(im::LogLevel::Error, L"Error occurred while decrypting buffer."), 1);
}

TEST(SecureStringDeathTest, CopyOfAStringThatFillsItsBoundIsAFault) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  inetmgr_test::ScopedDataDir data;
  SecureString full(SecureString(L"x", 0).encrypted_str());
  ASSERT_TRUE(full.setMaxBufferSize(full.encrypted_str().size()));
  EXPECT_DEATH({ SecureString copy(full); }, "\\(0==maxBufSize_\\) \\|\\| \\(buffer_.size\\(\\) < maxBufSize_\\)");
  EXPECT_DEATH({ SecureString s(static_cast<const wchar_t*>(nullptr), 0); }, "0!=plaintext");
}

class SecureStringArchiveTest : public SecureStringTest {
 protected:
  static std::string save(const std::wstring& plaintext) {
    std::ostringstream stream;
    {
      boost::archive::text_oarchive archive(stream);
      EXPECT_EQ(im::encryptStrBuffer(archive, plaintext), 0);
    }
    return stream.str();
  }
  static std::wstring load(const std::string& saved) {
    std::istringstream stream(saved);
    boost::archive::text_iarchive archive(stream);
    std::wstring plaintext = L"untouched";
    EXPECT_EQ(im::decryptStrBuffer(archive, plaintext), 0);
    return plaintext;
  }
};

TEST_F(SecureStringArchiveTest, PasswordsRoundTripUpToTheMegabyteLimit) {
  EXPECT_EQ(load(save(L"p\u00e4ssword")), L"p\u00e4ssword");
  EXPECT_EQ(load(save(L"")), L"");
  // (262138 + 1) * 4 + 20 = 1048576 bytes: the largest password that fits.
  const std::wstring largest(262138, L'k');
  EXPECT_EQ(load(save(largest)), largest);
  std::ostringstream stream;
  boost::archive::text_oarchive archive(stream);
  try {
    im::encryptStrBuffer(archive, std::wstring(262139, L'k'));
    FAIL() << "expected runtime_error";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Buffer to encrypt > 1MB");
  }
}

TEST_F(SecureStringArchiveTest, AnEmptySecretInAnArchiveIsRefused) {
  std::ostringstream stream;
  {
    boost::archive::text_oarchive archive(stream);
    archive << SecureString();
  }
  std::istringstream in(stream.str());
  boost::archive::text_iarchive archive(in);
  std::wstring plaintext = L"old";
  try {
    im::decryptStrBuffer(archive, plaintext);
    FAIL() << "expected runtime_error";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Stream contains 0-byte encrypted buffer.");
  }
  EXPECT_EQ(plaintext, L"");
}

TEST_F(SecureStringArchiveTest, AHostileLengthIsRefusedBeforeAnyAllocation) {
  std::string saved = save(L"abc");
  // The first number after the archive header is the ciphertext's byte count.
  std::istringstream header(saved);
  std::string signature;
  int version = 0;
  int tracking = 0;
  int classVersion = 0;
  std::size_t count = 0;
  header >> version >> signature >> version >> tracking >> classVersion >> count;
  const std::string countText = std::to_string(count);
  const std::size_t at = saved.find(" " + countText + " ");
  ASSERT_NE(at, std::string::npos);
  for (const char* hostile : {"1048577", "18446744073709551615"}) {
    std::string forged = saved;
    forged.replace(at + 1, countText.size(), hostile);
    std::istringstream in(forged);
    boost::archive::text_iarchive archive(in);
    std::wstring plaintext;
    try {
      im::decryptStrBuffer(archive, plaintext);
      FAIL() << "expected archive_exception for " << hostile;
    } catch (const boost::archive::archive_exception& e) {
      EXPECT_EQ(e.code, boost::archive::archive_exception::other_exception);
    }
  }
}

TEST_F(SecureStringArchiveTest, TheWrongDirectionFailsAtOnceWithAStreamError) {
  std::ostringstream out;
  boost::archive::text_oarchive oarchive(out);
  std::wstring plaintext;
  try {
    im::decryptStrBuffer(oarchive, plaintext);
    FAIL();
  } catch (const boost::archive::archive_exception& e) {
    EXPECT_EQ(e.code, 8);
  }
  std::istringstream in(save(L"x"));
  boost::archive::text_iarchive iarchive(in);
  try {
    im::encryptStrBuffer(iarchive, L"x");
    FAIL();
  } catch (const boost::archive::archive_exception& e) {
    EXPECT_EQ(e.code, 8);
  }
}
