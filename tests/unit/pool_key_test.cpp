#include "pool_key.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>

#include "support/fake_desc.h"

namespace mivare {
namespace {

using test::FakeDesc;

// Every code that means something somewhere, and its neighbours.
std::set<int32_t> Codes() {
  std::set<int32_t> codes{INT32_MIN, -1, INT32_MAX};
  for (int32_t code = 0; code <= 130; ++code) codes.insert(code);
  for (const int32_t code : {10000, 15000, 30000, 31000, 31100}) {
    for (int32_t near = code - 2; near <= code + 2; ++near) codes.insert(near);
  }
  for (int32_t code = 19998; code <= 20013; ++code) codes.insert(code);
  return codes;
}

// Codes with a size key, one by one.
const std::set<int32_t> kVideoSize{1,  2,  3,  6,  7,  8,  11, 16, 17, 18, 19, 20,   26, 27,
                                   28, 29, 30, 31, 32, 33, 34, 35, 45, 46, 47, 48,   50, 51,
                                   55, 56, 60, 61, 65, 66, 70, 71, 75, 76, 79, 15000};
const std::set<int32_t> kSubtitleSize{1, 2, 3, 6, 7, 8, 11, 45, 46, 47, 48, 50, 51, 55, 56, 15000};
const std::set<int32_t> kAudio{20001, 20002, 20003, 20004, 20006, 20007, 20008, 20009, 20010};

// 1918 x 1078 rounds to 1920 (0x780) x 1088 (0x440); 48000 Hz x 16 + 6 channels is 0xBB806.
constexpr uint64_t kSizeTerm = 0x04400780;
constexpr uint64_t kAudioTerm = 0xBB806;

uint64_t Expected(uint32_t media_type, int32_t smt) {
  const uint64_t code = static_cast<uint32_t>(smt);
  switch (media_type) {
    case 1:
      if (kVideoSize.contains(smt)) return 0x1000000000000000 + code * 0x100000000 + kSizeTerm;
      return smt == 10000 ? 0x1100000000002710 : 0;
    case 2:
      if (kAudio.contains(smt)) return 0x2000000000000000 + code * 0x100000000 + kAudioTerm;
      return smt == 30000 ? 0x2100000000007530 : 0;
    case 3:
      if (kVideoSize.contains(smt)) return 0x3000000000000000 + code * 0x100000000 + kSizeTerm;
      return smt == 10000 ? 0x3100000000002710 : 0;
    case 5:
      if (kSubtitleSize.contains(smt)) return 0x5000000000000000 + code * 0x100000000 + kSizeTerm;
      if (smt == 31000) return 0xFFFFFFFFFFFFFFFF;
      return smt == 31100 ? 0x510000000000797C : 0;
    default: return 0;
  }
}

TEST(PoolKey, OfEveryMediaTypeAndCode) {
  for (uint32_t media_type = 0; media_type <= 6; ++media_type) {
    for (const int32_t smt : Codes()) {
      FakeDesc desc(media_type, smt, 1918, 1078);
      desc.channels = 6;
      EXPECT_EQ(GetPoolKey(&desc), Expected(media_type, smt)) << media_type << " " << smt;
    }
  }
}

TEST(PoolKey, OfNullIsZero) { EXPECT_EQ(GetPoolKey(nullptr), 0U); }

TEST(PoolKey, RoundsSizesUpTo64) {
  struct Case {
    uint32_t width;
    uint32_t height;
    uint64_t term;
  };
  const Case cases[] = {
      {1918, 1078, 0x04400780}, {1920, 1080, 0x04400780}, {1920, 1088, 0x04400780},
      {1921, 1088, 0x044007C0}, {1920, 1089, 0x04800780}, {1, 1, 0x00400040},
      {64, 64, 0x00400040},     {65, 64, 0x00400080},     {0, 0, 0},
  };
  for (const Case& c : cases) {
    FakeDesc desc(1, 1, c.width, c.height);
    EXPECT_EQ(GetPoolKey(&desc), 0x1000000100000000 + c.term) << c.width << "x" << c.height;
  }
}

TEST(PoolKey, IsASumSoThatWideFramesCollide) {
  // 64 rows and a width of 64 x 65536 + 64 are the same sum as 65 (128) rows and a width of 64.
  FakeDesc wide(1, 1, 4194368, 64);
  FakeDesc tall(1, 1, 64, 65);
  EXPECT_EQ(GetPoolKey(&wide), 0x1000000100800040U);
  EXPECT_EQ(GetPoolKey(&tall), 0x1000000100800040U);
  // A height of 65536 runs into the code: smt 1 looks like smt 2.
  FakeDesc high(1, 1, 64, 65536);
  FakeDesc next(1, 2, 64, 0);
  EXPECT_EQ(GetPoolKey(&high), GetPoolKey(&next));
}

TEST(PoolKey, NegativeSizesRoundIn32Bits) {
  FakeDesc desc(1, 1, static_cast<uint32_t>(-5), 64);
  EXPECT_EQ(GetPoolKey(&desc), 0x1000000100400000U);
  FakeDesc wider(1, 1, static_cast<uint32_t>(-100), 64);
  EXPECT_EQ(GetPoolKey(&wider), 0x1000000100400000U + 0xFFFFFFC0U);
}

TEST(PoolKey, SampleRateAndChannelsAddIn64Bits) {
  FakeDesc desc(2, 20001);
  desc.sample_rate = 0xFFFFFFFF;
  desc.channels = 0xFFFFFFFF;
  // 0x2000000000000000 + 0x4E21 << 32, plus 0xFFFFFFFF0 and 0xFFFFFFFF.
  EXPECT_EQ(GetPoolKey(&desc), 0x20004E2100000000U + 0xFFFFFFFF0U + 0xFFFFFFFFU);
  // 16 channels more are one hertz more.
  FakeDesc a(2, 20001);
  a.sample_rate = 8000;
  a.channels = 17;
  FakeDesc b(2, 20001);
  b.sample_rate = 8001;
  b.channels = 1;
  EXPECT_EQ(GetPoolKey(&a), GetPoolKey(&b));
}

}  // namespace
}  // namespace mivare
