#include "orlo/md5.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using orlo::md5::MD5String;

std::string DigestOf(const std::string& text) { return MD5String(text.data(), text.size()); }

// The test suite of RFC 1321, A.5.
TEST(Md5, GivesTheDigestsThatTheAlgorithmIsKnownBy) {
  const struct {
    const char* text;
    const char* digest;
  } cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(DigestOf(one.text), one.digest);
  }
}

TEST(Md5, TakesNullForAnEmptyRun) {
  EXPECT_EQ(MD5String(nullptr, 0), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(Md5, ReadsZeroBytesLikeAnyOther) {
  const uint8_t zero = 0;
  EXPECT_EQ(MD5String(&zero, 1), "93b885adfe0da089cdf634904fd59f71");
}

// md5sum of a million letters a.
TEST(Md5, TakesRunsOfManyBlocks) {
  EXPECT_EQ(DigestOf(std::string(1000000, 'a')), "7707d6ae4e027c70eea2a935c2296f21");
}

}  // namespace
