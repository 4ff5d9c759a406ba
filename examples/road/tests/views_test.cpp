#include "views.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace road {
namespace {

TEST(MiddleOf, StartsAtEvenColumnsAndRowsAndStaysInside) {
  for (int width = 1; width <= 70; ++width) {
    for (int height = 1; height <= 9; ++height) {
      SCOPED_TRACE(testing::Message() << width << " x " << height);
      const Rect rect = MiddleOf(width, height);
      EXPECT_EQ(rect.x % 2 + rect.y % 2, 0);
      EXPECT_GE(rect.width, 1);
      EXPECT_GE(rect.height, 1);
      EXPECT_LE(rect.x + rect.width, width);
      EXPECT_LE(rect.y + rect.height, height);
    }
  }
  const Rect full_hd = MiddleOf(1920, 1080);
  EXPECT_EQ(full_hd.x, 480);
  EXPECT_EQ(full_hd.y, 270);
  EXPECT_EQ(full_hd.width, 960);
  EXPECT_EQ(full_hd.height, 540);
}

struct MiddleCase {
  const char* format;
  std::vector<uint8_t> bytes;  // of the 2 x 2 pixels from (2, 2) of 4 x 4
};

TEST(Middle, TakesThePixelsOfEveryPlane) {
  const MiddleCase cases[] = {
      {"gray", {10, 11, 14, 15}},
      {"yuv420p", {10, 11, 14, 15, 19, 23}},
      {"nv12", {10, 11, 14, 15, 22, 23}},
      {"yuv444p", {10, 11, 14, 15, 26, 27, 30, 31, 42, 43, 46, 47}},
      {"yuv420p10le", {20, 21, 22, 23, 28, 29, 30, 31, 38, 39, 46, 47}},
      {"bgra", {40, 41, 42, 43, 44, 45, 46, 47, 56, 57, 58, 59, 60, 61, 62, 63}},
  };
  for (const MiddleCase& row : cases) {
    SCOPED_TRACE(row.format);
    const PixelFormat& format = *FindPixelFormat(row.format);
    std::vector<uint8_t> picture(PictureSize(format, 4, 4));
    std::iota(picture.begin(), picture.end(), uint8_t{0});
    const auto middle = Middle(format, TightViews(format, 4, 4, picture), {2, 2, 2, 2});
    EXPECT_EQ(GatherPicture(format, 2, 2, middle), row.bytes);
  }
}

}  // namespace
}  // namespace road
