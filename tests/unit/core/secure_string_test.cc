// SecureString: bounds, equality, raw ciphertext, failures of the crypto
// service, and its journey through text archives.
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/secure_string_archive.h"
#include "platform/files.h"
#include "support/temp_dir.h"
#include "support/thrown.h"

namespace im = corvane_com::zel::inetmgr;
using boost::archive::archive_exception;
using im::SecureString;
using inetmgr_test::thrownText;

class SecureStringTest : public ::testing::Test {
 protected:
  inetmgr_test::ScopedDataDir data_;
};

TEST_F(SecureStringTest, EmptyDefaultAndZeroCutStringsReadBackSuccessfully) {
  SecureString empty(L"", 0), unset, cut(std::wstring(L"ab\0cd", 5), 0);
  EXPECT_FALSE(empty.encrypted_str().empty()) << "the terminator is encrypted too";
  EXPECT_EQ(empty.str() + unset.str() + cut.str(), L"ab") << "text ends at an embedded zero";
  EXPECT_EQ(empty.getLastResult() + unset.getLastResult(), 0);
  EXPECT_NE(unset, empty);
}

TEST_F(SecureStringTest, BoundAdmitsExactlyTheTextsThatFitWithTheAllowance) {
  SecureString fits(std::wstring(19, L'x'), 100);  // 80 + 20 = 100
  EXPECT_EQ(fits.str(), std::wstring(19, L'x'));
  EXPECT_EQ(
      thrownText<SecureString::BufferOverflowException>([] { SecureString(std::wstring(20, L'x'), 100); }),
      "encryptString() -> Input buffer will result in encrypted buffer > 100");  // 84 + 20 = 104
  EXPECT_THROW(fits = std::wstring(20, L'y'), SecureString::BufferOverflowException);
  EXPECT_TRUE(fits.encrypted_str().empty()) << "the old secret is gone after a failed assignment";
  EXPECT_TRUE(fits.isValid());
}

TEST_F(SecureStringTest, EqualityComparesCiphertextOnlyAndRawCiphertextDropsTheBound) {
  EXPECT_EQ(SecureString(L"secret", 0), SecureString(L"secret", 500));
  EXPECT_NE(SecureString(L"secret", 0), SecureString(L"Secret", 0));
  const auto cipher = SecureString(L"abc", 0).encrypted_str();
  SecureString bounded(L"", 1000);
  bounded = cipher;
  EXPECT_EQ(bounded.str(), L"abc");
  EXPECT_TRUE(bounded.setMaxBufferSize(cipher.size() + 1) && !bounded.setMaxBufferSize(cipher.size() - 1));
  EXPECT_TRUE(bounded.setMaxBufferSize(cipher.size())) << "equal to the size is accepted";
  // With the bound kept, a longer ciphertext would break the invariant and stop the process.
  bounded = SecureString(L"a much longer secret", 0).encrypted_str();
  EXPECT_EQ(bounded.str(), L"a much longer secret");
}

TEST_F(SecureStringTest, DamagedCiphertextOrAMissingKeyFailsWithoutGarbage) {
  auto cipher = SecureString(L"password", 0).encrypted_str();
  cipher[cipher.size() / 2] ^= 0x10;
  SecureString damaged(cipher);
  EXPECT_TRUE(damaged.str().empty() && damaged.getLastResult() == -1);

  inetmgr_test::ScopedDataDir data;
  // A file where the key's directory should be: no key can be read or created.
  ASSERT_TRUE(corvane_com::zel::platform::AFile::write(data.wfile("etc"), std::string("not a dir")));
  SecureString s(L"secret", 0);
  EXPECT_TRUE(s.getLastResult() == -1 && s.encrypted_str().empty());
  s = std::vector<unsigned char>{1, 2, 3};
  EXPECT_EQ(s.str(), L"");
}

TEST(SecureStringDeathTest, CopyOfAStringThatFillsItsBoundIsAFault) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  inetmgr_test::ScopedDataDir data;
  SecureString full(SecureString(L"x", 0).encrypted_str());
  ASSERT_TRUE(full.setMaxBufferSize(full.encrypted_str().size()));
  EXPECT_DEATH({ SecureString copy(full); },
               "\\(0==maxBufSize_\\) \\|\\| \\(buffer_.size\\(\\) < maxBufSize_\\)");
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
  // What loading `saved` threw, with the plaintext it gave.
  static std::string load(const std::string& saved, std::wstring& plaintext) {
    std::istringstream stream(saved);
    boost::archive::text_iarchive archive(stream);
    return thrownText<std::exception>([&] { EXPECT_EQ(im::decryptStrBuffer(archive, plaintext), 0); });
  }
  static std::wstring load(const std::string& saved) {
    std::wstring plaintext = L"untouched";
    EXPECT_EQ(load(saved, plaintext), "nothing thrown");
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
  EXPECT_EQ(
      thrownText<std::runtime_error>([&] { im::encryptStrBuffer(archive, std::wstring(262139, L'k')); }),
      "Buffer to encrypt > 1MB");
}

TEST_F(SecureStringArchiveTest, EmptyAndHostilelyLongSecretsAreRefusedBeforeAnyAllocation) {
  std::ostringstream empty;
  boost::archive::text_oarchive(empty) << SecureString();
  std::wstring plaintext = L"old";
  EXPECT_EQ(load(empty.str(), plaintext), "Stream contains 0-byte encrypted buffer.");
  EXPECT_TRUE(plaintext.empty());

  std::istringstream saved(save(L"abc"));
  std::vector<std::string> tokens{std::istream_iterator<std::string>(saved), {}};
  for (const char* hostile : {"1048577", "18446744073709551615"}) {
    tokens.at(5) = hostile;  // the ciphertext's byte count, after the archive and class headers
    std::string forged;
    for (const std::string& token : tokens) forged += token + " ";
    EXPECT_EQ(load(forged, plaintext), archive_exception(archive_exception::other_exception).what())
        << hostile;
  }
}
