// The canvas of a turned picture. Expectations come from plane geometry: with D the diagonal and T
// the angle between the picture's longer side and D, the side is D * |cos| of what separates the
// turned picture's nearer diagonal from an axis; halves are added before the fraction is cut off.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "mivare/media_desc.h"

namespace mivare::test {
namespace {

constexpr uint32_t kUntouched = 4242;

struct Size {
  uint32_t a = kUntouched;
  uint32_t b = kUntouched;
  friend bool operator==(const Size&, const Size&) = default;
};

Size Canvas(float angle, uint32_t width, uint32_t height) {
  Size size;
  GetVideoRotateCaseNewSize(angle, 0, width, height, &size.a, &size.b);
  return size;
}

struct Case {
  float angle;
  uint32_t width;
  uint32_t height;
  uint32_t a;
  uint32_t b;
};

// clang-format off
const Case kCases[] = {
    {0.0F, 1920, 1080, 1080, 1920},
    {30.0F, 1920, 1080, 1895, 3369},
    {45.0F, 1920, 1080, 2203, 3916},
    {60.0F, 1920, 1080, 2203, 3916},
    {89.5F, 1920, 1080, 1929, 3430},
    {90.0F, 1920, 1080, 1920, 3413},
    {120.0F, 1920, 1080, 2203, 3916},
    {135.0F, 1920, 1080, 2203, 3916},
    {150.0F, 1920, 1080, 1895, 3369},
    {180.0F, 1920, 1080, 1080, 1920},
    {210.0F, 1920, 1080, 1895, 3369},
    {225.0F, 1920, 1080, 2203, 3916},
    {250.0F, 1920, 1080, 2174, 3864},
    {270.0F, 1920, 1080, 1920, 3413},
    {300.0F, 1920, 1080, 2203, 3916},
    {315.0F, 1920, 1080, 2203, 3916},
    {359.0F, 1920, 1080, 1113, 1979},
    {360.0F, 1920, 1080, 1080, 1920},
    {405.0F, 1920, 1080, 2203, 3916},
    {750.0F, 1920, 1080, 1895, 3369},
    {-30.0F, 1920, 1080, 25, 44},
    {-45.0F, 1920, 1080, 594, 1056},
    {-90.0F, 1920, 1080, 1920, 3413},
    {-180.0F, 1920, 1080, 1080, 1920},
    {-200.0F, 1920, 1080, 358, 637},
    {0.0F, 1080, 1920, 1921, 1080},
    {30.0F, 1080, 1920, 3370, 1895},
    {45.0F, 1080, 1920, 3917, 2203},
    {60.0F, 1080, 1920, 3917, 2203},
    {90.0F, 1080, 1920, 3414, 1920},
    {120.0F, 1080, 1920, 3917, 2203},
    {135.0F, 1080, 1920, 3917, 2203},
    {150.0F, 1080, 1920, 3370, 1895},
    {180.0F, 1080, 1920, 1921, 1080},
    {210.0F, 1080, 1920, 3370, 1895},
    {225.0F, 1080, 1920, 3917, 2203},
    {250.0F, 1080, 1920, 3865, 2174},
    {270.0F, 1080, 1920, 3414, 1920},
    {300.0F, 1080, 1920, 3917, 2203},
    {315.0F, 1080, 1920, 3917, 2203},
    {359.0F, 1080, 1920, 1980, 1113},
    {360.0F, 1080, 1920, 1921, 1080},
    {-30.0F, 1080, 1920, 45, 25},
    {-45.0F, 1080, 1920, 1057, 594},
    {-200.0F, 1080, 1920, 638, 358},
    {0.0F, 101, 67, 67, 101},
    {30.0F, 101, 67, 109, 164},
    {45.0F, 101, 67, 121, 183},
    {90.0F, 101, 67, 101, 152},
    {120.0F, 101, 67, 121, 182},
    {210.0F, 101, 67, 109, 164},
    {250.0F, 101, 67, 118, 178},
    {300.0F, 101, 67, 121, 182},
    {359.0F, 101, 67, 69, 104},
    {0.0F, 640, 640, 640, 640},
    {30.0F, 640, 640, 874, 874},
    {45.0F, 640, 640, 905, 905},
    {90.0F, 640, 640, 640, 640},
    {120.0F, 640, 640, 874, 874},
    {-30.0F, 640, 640, 234, 234},
    // So close to a whole number that a better circle constant, or degrees of double precision,
    // give another one.
    {-45.0F, 1920, 4320, 3819, 1697},
    {26.0F, 7680, 1920, 5092, 20370},
    {-354.0F, 1920, 1, 202, 387244},
};
// clang-format on

TEST(RotatedSize, FollowsTheTurnedDiagonal) {
  for (const Case& row : kCases) {
    SCOPED_TRACE(testing::Message() << row.width << " x " << row.height << " by " << row.angle);
    const Size size = Canvas(row.angle, row.width, row.height);
    EXPECT_EQ(size.a, row.a);
    EXPECT_EQ(size.b, row.b);
  }
}

TEST(RotatedSize, Of1920x1080By45IsTheDiagonalLong) {
  EXPECT_EQ(Canvas(45, 1920, 1080), (Size{2203, 3916}));
  EXPECT_EQ(Canvas(0, 1920, 1080), (Size{1080, 1920}));
  EXPECT_EQ(Canvas(90, 1920, 1080), (Size{1920, 3413}));
}

// A little before and behind a quarter turn the picture lies as its mirror image does.
TEST(RotatedSize, IsTheSameOnBothSidesOfEachQuarterTurn) {
  for (const float angle : {0.5F, 179.5F, 180.5F, 359.5F}) {
    EXPECT_EQ(Canvas(angle, 1920, 1080), (Size{1097, 1950})) << angle;
  }
  for (const float angle : {1.0F, 179.0F, 181.0F, 359.0F}) {
    EXPECT_EQ(Canvas(angle, 1920, 1080), (Size{1113, 1979})) << angle;
  }
  for (const float angle : {44.0F, 136.0F, 224.0F, 316.0F}) {
    EXPECT_EQ(Canvas(angle, 1920, 1080), (Size{2111, 3752})) << angle;
  }
  for (const float angle : {46.0F, 134.0F, 226.0F, 314.0F}) {
    EXPECT_EQ(Canvas(angle, 1920, 1080), (Size{2131, 3789})) << angle;
  }
  for (const float angle : {89.0F, 91.0F, 269.0F, 271.0F}) {
    EXPECT_EQ(Canvas(angle, 1920, 1080), (Size{1939, 3446})) << angle;
  }
  for (const float angle : {89.5F, 90.5F, 269.5F, 270.5F}) {
    EXPECT_EQ(Canvas(angle, 1920, 1080), (Size{1929, 3430})) << angle;
  }
}

TEST(RotatedSize, OfAnAngleThatIsNoNumberIsAlmostNothing) {
  // The side is 0, and only the added halves remain: 0.5, and 0.5 * 1920 / 1080 + 0.5 = 1.39.
  for (const float angle :
       {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
        -std::numeric_limits<float>::infinity()}) {
    EXPECT_EQ(Canvas(angle, 1920, 1080), (Size{0, 0}));
    EXPECT_EQ(Canvas(angle, 1080, 1920), (Size{1, 0}));
  }
}

TEST(RotatedSize, OfAPictureWithoutAreaIsZeroWhereItIsNotFinite) {
  EXPECT_EQ(Canvas(0, 0, 0), (Size{0, 0}));
  EXPECT_EQ(Canvas(30, 0, 0), (Size{0, 0}));
  EXPECT_EQ(Canvas(90, 100, 0), (Size{100, 0}));  // 100 * 100 / 0
  EXPECT_EQ(Canvas(45, 0, 100), (Size{0, 100}));  // 100.5 * 100 / 0
  EXPECT_EQ(Canvas(0, 100, 0), (Size{0, 0}));     // 0 * 100 / 0
}

TEST(RotatedSize, WrapsTheSquaresAt32Bits) {
  // 65536 * 65536 wraps to 0 and 65537 * 65537 to 131073, whose root is 362.04.
  EXPECT_EQ(Canvas(45, 65536, 65536), (Size{0, 0}));
  EXPECT_EQ(Canvas(45, 65537, 65536).a, 362U);
}

TEST(RotatedSize, KeepsTheLow32BitsOfALargerSide) {
  // 65536 * 65536 / 1 + 0.5 is 2^32, and 100000 * 100000 / 1 is 1410065408 above 2 * 2^32.
  EXPECT_EQ(Canvas(90, 65536, 1), (Size{65536, 0}));
  EXPECT_EQ(Canvas(90, 100000, 1), (Size{100000, 1410065408}));
  // 4294967295 squared exceeds what 64 bits hold with a sign.
  EXPECT_EQ(Canvas(90, UINT32_MAX, 1), (Size{UINT32_MAX, 0}));
}

TEST(RotatedSize, SkipsNullOutputsAndIgnoresTheReservedArgument) {
  uint32_t value = kUntouched;
  GetVideoRotateCaseNewSize(45, -1, 1920, 1080, &value, nullptr);
  EXPECT_EQ(value, 2203U);
  GetVideoRotateCaseNewSize(45, INT32_MAX, 1920, 1080, nullptr, &value);
  EXPECT_EQ(value, 3916U);
  GetVideoRotateCaseNewSize(45, 0, 1920, 1080, nullptr, nullptr);
}

}  // namespace
}  // namespace mivare::test
