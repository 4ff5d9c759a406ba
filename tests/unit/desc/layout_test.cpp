// The byte layout of every pixel format. The numbers are worked out by hand from the padded size:
// 1919 x 1079 is padded to 1920 x 1088 and 101 x 67 to 128 x 128, so that plane 0 has
// Y = 1920 * 1088 = 2088960 or 128 * 128 = 16384 samples, twice as many bytes above 8 bits, and
// 4 * 1920 * 1089 or 4 * 128 * 129 components where pixels are packed.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "support/log_capture.h"
#include "unit/desc/families.h"

namespace mivare::test {
namespace {

using desc::Bgrax;
using desc::Gray;
using desc::Nv12x;
using desc::Nv16x;
using desc::Nv24x;
using desc::Yuvax;
using desc::Yv12x;
using desc::Yv16x;
using desc::Yv24x;

struct LayoutCase {
  const char* name;
  NewFamily make;
  std::vector<int32_t> codes;
  int32_t width;
  int32_t height;
  std::vector<uint32_t> offsets;
  int32_t size;
  std::array<int32_t, 4> pitches;
};

void ExpectLayout(const LayoutCase& row) {
  for (const int32_t smt : row.codes) {
    SCOPED_TRACE(testing::Message()
                 << row.name << " smt " << smt << " " << row.width << " x " << row.height);
    const auto desc = row.make(smt);
    desc->SetWidthHeight(row.width, row.height);
    EXPECT_EQ(desc->DataLength(), -1);
    EXPECT_TRUE(desc->PlaneOffsets().empty());
    EXPECT_EQ(PitchesOf(*desc), WithReserved({0, 0, 0, 0}));

    EXPECT_EQ(desc->GetFrameSize(), row.size);
    EXPECT_EQ(desc->DataLength(), row.size);
    EXPECT_EQ(OffsetsOf(*desc), row.offsets);
    EXPECT_EQ(PitchesOf(*desc), WithReserved(row.pitches));
  }
}

// clang-format off
const LayoutCase kLayouts[] = {
    {"Gray", New<Gray>, {15000}, 1919, 1079, {0U}, 2088960, {1920, 0, 0, 0}},
    {"Gray", New<Gray>, {15000}, 101, 67, {0U}, 16384, {128, 0, 0, 0}},
    {"Yv12x", New<Yv12x>, {1}, 1919, 1079, {0U, 2088960U, 2611200U}, 3133440, {1920, 960, 960, 0}},
    {"Yv12x", New<Yv12x>, {1}, 101, 67, {0U, 16384U, 20480U}, 24576, {128, 64, 64, 0}},
    {"Yv12x", New<Yv12x>, {2, 3, 4, 5}, 1919, 1079, {0U, 4177920U, 5222400U}, 6266880, {3840, 1920, 1920, 0}},
    {"Yv12x", New<Yv12x>, {2, 3, 4, 5}, 101, 67, {0U, 32768U, 40960U}, 49152, {256, 128, 128, 0}},
    {"Yv16x", New<Yv16x>, {60}, 1919, 1079, {0U, 2088960U, 3133440U}, 4177920, {1920, 960, 960, 0}},
    {"Yv16x", New<Yv16x>, {60}, 101, 67, {0U, 16384U, 24576U}, 32768, {128, 64, 64, 0}},
    {"Yv16x", New<Yv16x>, {61, 62, 63, 64}, 1919, 1079, {0U, 4177920U, 6266880U}, 8355840, {3840, 1920, 1920, 0}},
    {"Yv16x", New<Yv16x>, {61, 62, 63, 64}, 101, 67, {0U, 32768U, 49152U}, 65536, {256, 128, 128, 0}},
    {"Yv16x with alpha", New<Yv16x>, {65}, 1919, 1079, {0U, 2088960U, 3133440U, 4177920U}, 6266880, {1920, 960, 960, 0}},
    {"Yv16x with alpha", New<Yv16x>, {65}, 101, 67, {0U, 16384U, 24576U, 32768U}, 49152, {128, 64, 64, 0}},
    {"Yv16x with alpha", New<Yv16x>, {66, 67, 68, 69}, 1919, 1079, {0U, 4177920U, 6266880U, 8355840U}, 12533760, {3840, 1920, 1920, 0}},
    {"Yv16x with alpha", New<Yv16x>, {66, 67, 68, 69}, 101, 67, {0U, 32768U, 49152U, 65536U}, 98304, {256, 128, 128, 0}},
    {"Yv24x", New<Yv24x>, {70}, 1919, 1079, {0U, 2088960U, 4177920U}, 6266880, {1920, 1920, 1920, 0}},
    {"Yv24x", New<Yv24x>, {70}, 101, 67, {0U, 16384U, 32768U}, 49152, {128, 128, 128, 0}},
    {"Yv24x", New<Yv24x>, {71, 72, 73, 74}, 1919, 1079, {0U, 4177920U, 8355840U}, 12533760, {3840, 3840, 3840, 0}},
    {"Yv24x", New<Yv24x>, {71, 72, 73, 74}, 101, 67, {0U, 32768U, 65536U}, 98304, {256, 256, 256, 0}},
    {"Yv24x with alpha", New<Yv24x>, {75}, 1919, 1079, {0U, 2088960U, 4177920U, 6266880U}, 8355840, {1920, 1920, 1920, 0}},
    {"Yv24x with alpha", New<Yv24x>, {75}, 101, 67, {0U, 16384U, 32768U, 49152U}, 65536, {128, 128, 128, 0}},
    {"Yv24x with alpha", New<Yv24x>, {76, 77, 78, 79}, 1919, 1079, {0U, 4177920U, 8355840U, 12533760U}, 16711680, {3840, 3840, 3840, 0}},
    {"Yv24x with alpha", New<Yv24x>, {76, 77, 78, 79}, 101, 67, {0U, 32768U, 65536U, 98304U}, 131072, {256, 256, 256, 0}},
    {"Nv12x", New<Nv12x>, {6}, 1919, 1079, {0U, 2088960U}, 3133440, {1920, 1920, 0, 0}},
    {"Nv12x", New<Nv12x>, {6}, 101, 67, {0U, 16384U}, 24576, {128, 128, 0, 0}},
    {"Nv12x", New<Nv12x>, {7, 8, 9, 10}, 1919, 1079, {0U, 4177920U}, 6266880, {3840, 3840, 0, 0}},
    {"Nv12x", New<Nv12x>, {7, 8, 9, 10}, 101, 67, {0U, 32768U}, 49152, {256, 256, 0, 0}},
    {"Nv12x with alpha", New<Nv12x>, {11}, 1919, 1079, {0U, 2088960U, 3133440U}, 5222400, {1920, 1920, 1920, 0}},
    {"Nv12x with alpha", New<Nv12x>, {11}, 101, 67, {0U, 16384U, 24576U}, 40960, {128, 128, 128, 0}},
    {"Nv12x with alpha", New<Nv12x>, {12, 13, 14, 15}, 1919, 1079, {0U, 4177920U, 6266880U}, 10444800, {3840, 3840, 3840, 0}},
    {"Nv12x with alpha", New<Nv12x>, {12, 13, 14, 15}, 101, 67, {0U, 32768U, 49152U}, 81920, {256, 256, 256, 0}},
    {"Nv16x", New<Nv16x>, {16, 26, 31}, 1919, 1079, {0U, 2088960U}, 4177920, {1920, 1920, 0, 0}},
    {"Nv16x", New<Nv16x>, {16, 26, 31}, 101, 67, {0U, 16384U}, 32768, {128, 128, 0, 0}},
    {"Nv16x", New<Nv16x>, {17, 18, 19, 20, 27, 35}, 1919, 1079, {0U, 4177920U}, 8355840, {3840, 3840, 0, 0}},
    {"Nv16x", New<Nv16x>, {17, 18, 19, 20, 27, 35}, 101, 67, {0U, 32768U}, 65536, {256, 256, 0, 0}},
    {"Nv16x with alpha", New<Nv16x>, {21}, 1919, 1079, {0U, 2088960U, 4177920U}, 6266880, {1920, 1920, 1920, 0}},
    {"Nv16x with alpha", New<Nv16x>, {21}, 101, 67, {0U, 16384U, 32768U}, 49152, {128, 128, 128, 0}},
    {"Nv16x with alpha", New<Nv16x>, {22, 23, 24, 25}, 1919, 1079, {0U, 4177920U, 8355840U}, 12533760, {3840, 3840, 3840, 0}},
    {"Nv16x with alpha", New<Nv16x>, {22, 23, 24, 25}, 101, 67, {0U, 32768U, 65536U}, 98304, {256, 256, 256, 0}},
    {"Nv24x", New<Nv24x>, {26}, 1919, 1079, {0U, 2088960U}, 6266880, {1920, 3840, 0, 0}},
    {"Nv24x", New<Nv24x>, {26}, 101, 67, {0U, 16384U}, 49152, {128, 256, 0, 0}},
    {"Nv24x", New<Nv24x>, {27, 28, 29, 30}, 1919, 1079, {0U, 4177920U}, 12533760, {3840, 7680, 0, 0}},
    {"Nv24x", New<Nv24x>, {27, 28, 29, 30}, 101, 67, {0U, 32768U}, 98304, {256, 512, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {31}, 1919, 1079, {0U, 2088960U, 6266880U}, 8355840, {1920, 3840, 1920, 0}},
    {"Nv24x with alpha", New<Nv24x>, {31}, 101, 67, {0U, 16384U, 49152U}, 65536, {128, 256, 128, 0}},
    {"Nv24x with alpha", New<Nv24x>, {32, 33, 34, 35}, 1919, 1079, {0U, 4177920U, 12533760U}, 16711680, {3840, 7680, 3840, 0}},
    {"Nv24x with alpha", New<Nv24x>, {32, 33, 34, 35}, 101, 67, {0U, 32768U, 98304U}, 131072, {256, 512, 256, 0}},
    {"Yuvax", New<Yuvax>, {55}, 1919, 1079, {0U, 2088960U, 2611200U, 3133440U}, 5222400, {1920, 960, 960, 0}},
    {"Yuvax", New<Yuvax>, {55}, 101, 67, {0U, 16384U, 20480U, 24576U}, 40960, {128, 64, 64, 0}},
    {"Yuvax", New<Yuvax>, {56, 57, 58, 59}, 1919, 1079, {0U, 4177920U, 5222400U, 6266880U}, 10444800, {3840, 1920, 1920, 0}},
    {"Yuvax", New<Yuvax>, {56, 57, 58, 59}, 101, 67, {0U, 32768U, 40960U, 49152U}, 81920, {256, 128, 128, 0}},
    {"Bgrax", New<Bgrax>, {44, 45, 47, 49, 50, 52}, 1919, 1079, {0U}, 8363520, {7680, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {44, 45, 47, 49, 50, 52}, 101, 67, {0U}, 66048, {512, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {46, 48, 51}, 1919, 1079, {0U}, 16727040, {15360, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {46, 48, 51}, 101, 67, {0U}, 132096, {1024, 0, 0, 0}},
};

// -101 rounds up to -64 and -5 to 0. 200000 is padded to 200000, a multiple of 64, and
// 200000 * 2 * 65536 bytes wrap to 444596224.
const LayoutCase kOddSizes[] = {
    {"Gray", New<Gray>, {15000}, -101, 67, {0U}, -8192, {-64, 0, 0, 0}},
    {"Gray", New<Gray>, {15000}, -5, 10, {0U}, 0, {0, 0, 0, 0}},
    {"Yv12x", New<Yv12x>, {1}, -101, 67, {0U, 4294959104U, 4294957056U}, -12288, {-64, -32, -32, 0}},
    {"Yv12x", New<Yv12x>, {1}, -5, 10, {0U, 0U, 0U}, 0, {0, 0, 0, 0}},
    {"Yv12x", New<Yv12x>, {2}, -101, 67, {0U, 4294950912U, 4294946816U}, -24576, {-128, -64, -64, 0}},
    {"Yv12x", New<Yv12x>, {2}, 200000, 65536, {0U, 444596224U, 555745280U}, 666894336, {400000, 200000, 200000, 0}},
    {"Yv16x", New<Yv16x>, {60}, -101, 67, {0U, 4294959104U, 4294955008U}, -16384, {-64, -32, -32, 0}},
    {"Yv16x", New<Yv16x>, {60}, -5, 10, {0U, 0U, 0U}, 0, {0, 0, 0, 0}},
    {"Yv16x", New<Yv16x>, {61}, -101, 67, {0U, 4294950912U, 4294942720U}, -32768, {-128, -64, -64, 0}},
    {"Yv16x", New<Yv16x>, {61}, 200000, 65536, {0U, 444596224U, 666894336U}, 889192448, {400000, 200000, 200000, 0}},
    {"Yv16x with alpha", New<Yv16x>, {65}, -101, 67, {0U, 4294959104U, 4294955008U, 4294950912U}, -24576, {-64, -32, -32, 0}},
    {"Yv16x with alpha", New<Yv16x>, {65}, -5, 10, {0U, 0U, 0U, 0U}, 0, {0, 0, 0, 0}},
    {"Yv16x with alpha", New<Yv16x>, {66}, -101, 67, {0U, 4294950912U, 4294942720U, 4294934528U}, -49152, {-128, -64, -64, 0}},
    {"Yv16x with alpha", New<Yv16x>, {66}, 200000, 65536, {0U, 444596224U, 666894336U, 889192448U}, 1333788672, {400000, 200000, 200000, 0}},
    {"Yv24x", New<Yv24x>, {70}, -101, 67, {0U, 4294959104U, 4294950912U}, -24576, {-64, -64, -64, 0}},
    {"Yv24x", New<Yv24x>, {70}, -5, 10, {0U, 0U, 0U}, 0, {0, 0, 0, 0}},
    {"Yv24x", New<Yv24x>, {71}, -101, 67, {0U, 4294950912U, 4294934528U}, -49152, {-128, -128, -128, 0}},
    {"Yv24x", New<Yv24x>, {71}, 200000, 65536, {0U, 444596224U, 889192448U}, 1333788672, {400000, 400000, 400000, 0}},
    {"Yv24x with alpha", New<Yv24x>, {75}, -101, 67, {0U, 4294959104U, 4294950912U, 4294942720U}, -32768, {-64, -64, -64, 0}},
    {"Yv24x with alpha", New<Yv24x>, {75}, -5, 10, {0U, 0U, 0U, 0U}, 0, {0, 0, 0, 0}},
    {"Yv24x with alpha", New<Yv24x>, {76}, -101, 67, {0U, 4294950912U, 4294934528U, 4294918144U}, -65536, {-128, -128, -128, 0}},
    {"Yv24x with alpha", New<Yv24x>, {76}, 200000, 65536, {0U, 444596224U, 889192448U, 1333788672U}, 1778384896, {400000, 400000, 400000, 0}},
    {"Nv12x", New<Nv12x>, {6}, -101, 67, {0U, 4294959104U}, -12288, {-64, -64, 0, 0}},
    {"Nv12x", New<Nv12x>, {6}, -5, 10, {0U, 0U}, 0, {0, 0, 0, 0}},
    {"Nv12x", New<Nv12x>, {7}, -101, 67, {0U, 4294950912U}, -24576, {-128, -128, 0, 0}},
    {"Nv12x", New<Nv12x>, {7}, 200000, 65536, {0U, 444596224U}, 666894336, {400000, 400000, 0, 0}},
    {"Nv12x with alpha", New<Nv12x>, {11}, -101, 67, {0U, 4294959104U, 4294955008U}, -20480, {-64, -64, -64, 0}},
    {"Nv12x with alpha", New<Nv12x>, {11}, -5, 10, {0U, 0U, 0U}, 0, {0, 0, 0, 0}},
    {"Nv12x with alpha", New<Nv12x>, {12}, -101, 67, {0U, 4294950912U, 4294942720U}, -40960, {-128, -128, -128, 0}},
    {"Nv12x with alpha", New<Nv12x>, {12}, 200000, 65536, {0U, 444596224U, 666894336U}, 1111490560, {400000, 400000, 400000, 0}},
    {"Nv16x", New<Nv16x>, {16}, -101, 67, {0U, 4294959104U}, -16384, {-64, -64, 0, 0}},
    {"Nv16x", New<Nv16x>, {16}, -5, 10, {0U, 0U}, 0, {0, 0, 0, 0}},
    {"Nv16x", New<Nv16x>, {17}, -101, 67, {0U, 4294950912U}, -32768, {-128, -128, 0, 0}},
    {"Nv16x", New<Nv16x>, {17}, 200000, 65536, {0U, 444596224U}, 889192448, {400000, 400000, 0, 0}},
    {"Nv16x with alpha", New<Nv16x>, {21}, -101, 67, {0U, 4294959104U, 4294950912U}, -24576, {-64, -64, -64, 0}},
    {"Nv16x with alpha", New<Nv16x>, {21}, -5, 10, {0U, 0U, 0U}, 0, {0, 0, 0, 0}},
    {"Nv16x with alpha", New<Nv16x>, {22}, -101, 67, {0U, 4294950912U, 4294934528U}, -49152, {-128, -128, -128, 0}},
    {"Nv16x with alpha", New<Nv16x>, {22}, 200000, 65536, {0U, 444596224U, 889192448U}, 1333788672, {400000, 400000, 400000, 0}},
    {"Nv24x", New<Nv24x>, {26}, -101, 67, {0U, 4294959104U}, -24576, {-64, -128, 0, 0}},
    {"Nv24x", New<Nv24x>, {26}, -5, 10, {0U, 0U}, 0, {0, 0, 0, 0}},
    {"Nv24x", New<Nv24x>, {27}, -101, 67, {0U, 4294950912U}, -49152, {-128, -256, 0, 0}},
    {"Nv24x", New<Nv24x>, {27}, 200000, 65536, {0U, 444596224U}, 1333788672, {400000, 800000, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {31}, -101, 67, {0U, 4294959104U, 4294942720U}, -32768, {-64, -128, -64, 0}},
    {"Nv24x with alpha", New<Nv24x>, {31}, -5, 10, {0U, 0U, 0U}, 0, {0, 0, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {32}, -101, 67, {0U, 4294950912U, 4294918144U}, -65536, {-128, -256, -128, 0}},
    {"Nv24x with alpha", New<Nv24x>, {32}, 200000, 65536, {0U, 444596224U, 1333788672U}, 1778384896, {400000, 800000, 400000, 0}},
    {"Yuvax", New<Yuvax>, {55}, -101, 67, {0U, 4294959104U, 4294957056U, 4294955008U}, -20480, {-64, -32, -32, 0}},
    {"Yuvax", New<Yuvax>, {55}, -5, 10, {0U, 0U, 0U, 0U}, 0, {0, 0, 0, 0}},
    {"Yuvax", New<Yuvax>, {56}, -101, 67, {0U, 4294950912U, 4294946816U, 4294942720U}, -40960, {-128, -64, -64, 0}},
    {"Yuvax", New<Yuvax>, {56}, 200000, 65536, {0U, 444596224U, 555745280U, 666894336U}, 1111490560, {400000, 200000, 200000, 0}},
    {"Bgrax", New<Bgrax>, {44}, -101, 67, {0U}, -33024, {-256, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {44}, -5, 10, {0U}, 0, {0, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {46}, -101, 67, {0U}, -66048, {-512, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {46}, 200000, 65536, {0U}, 1779984896, {1600000, 0, 0, 0}},
};
// clang-format on

TEST(Layout, OfEveryFormatFollowsThePaddedSize) {
  for (const LayoutCase& row : kLayouts) ExpectLayout(row);
}

TEST(Layout, WrapsForNegativeAndHugeSizes) {
  for (const LayoutCase& row : kOddSizes) ExpectLayout(row);
}

TEST(Yv12xLayout, Pads1920x1080To1088Rows) {
  Yv12x desc(1, 1);
  desc.SetWidthHeight(1920, 1080);
  EXPECT_EQ(desc.GetFrameSize(), 3133440);
  EXPECT_EQ(OffsetsOf(desc), (std::vector<uint32_t>{0, 2088960, 2611200}));
  EXPECT_EQ(PitchesOf(desc), WithReserved({1920, 960, 960, 0}));

  // The capacity is now 1920 x 1088: the visible size moves within it, the layout stays.
  LogCapture log;
  desc.SetWidthHeight(1920, 1088);
  EXPECT_EQ(desc.GetHeight(), 1088U);
  desc.SetWidthHeight(1921, 1080);
  desc.SetWidthHeight(1920, 1089);
  EXPECT_EQ(desc.GetWidth(), 1920U);
  EXPECT_EQ(desc.GetHeight(), 1088U);
  const std::vector<LogLine> expected = {
      {"mivare", 6,
       "error! mivare::desc::VideoDescBase::SetWidthHeight width[1921] x height[1080]"},
      {"mivare", 6,
       "error! mivare::desc::VideoDescBase::SetWidthHeight width[1920] x height[1089]"}};
  EXPECT_EQ(log.Lines(), expected);
  desc.SetWidthHeight(16, 16);
  EXPECT_EQ(desc.GetFrameSize(), 3133440);
  EXPECT_EQ(desc.PlaneOffsets().size(), 3U);
}

TEST(Nv12xLayout, TenBits1918x1080) {
  Nv12x desc(7, 1);
  desc.SetWidthHeight(1918, 1080);
  EXPECT_EQ(desc.GetFrameSize(), 6266880);
  EXPECT_EQ(OffsetsOf(desc), (std::vector<uint32_t>{0, 4177920}));
  EXPECT_EQ(PitchesOf(desc), WithReserved({3840, 3840, 0, 0}));
}

TEST(BgraxLayout, HasOneRowMoreThanThePadding) {
  Bgrax desc(44, 1);
  desc.SetWidthHeight(64, 64);
  EXPECT_EQ(desc.GetFrameSize(), 16640);  // 65 rows of 256 bytes
  EXPECT_EQ(OffsetsOf(desc), (std::vector<uint32_t>{0}));
}

TEST(Layout, OfADescriptionWithoutSizeIsEmptyAndClosesTheCapacity) {
  Yv12x desc(1, 1);
  EXPECT_EQ(desc.GetFrameSize(), 0);
  EXPECT_EQ(OffsetsOf(desc), (std::vector<uint32_t>{0, 0, 0}));
  LogCapture log;
  desc.SetWidthHeight(1, 1);
  EXPECT_EQ(desc.GetWidth(), 0U);
  EXPECT_EQ(log.CountContaining("width[1] x height[1]"), 1);
}

TEST(Layout, OfSizeBelow1IsComputedAgainAndReplacesTheOffsets) {
  Yv16x desc(65, 1);
  desc.SetWidthHeight(100, 100);
  EXPECT_EQ(desc.GetFrameSize(), 49152);
  const std::array<int32_t, 4> tight = {100, 50, 50, 100};
  ASSERT_EQ(desc.SetPitches(tight.data()), 0);
  EXPECT_EQ(desc.GetFrameSize(), 49152);
  EXPECT_EQ(PitchesOf(desc), WithReserved(tight)) << "a stored size keeps the pitches";

  desc.SetWidthHeight(60, 60);
  desc.SetDataLength(0);
  EXPECT_EQ(desc.GetFrameSize(), 12288);  // 64 * 64 * 3
  EXPECT_EQ(OffsetsOf(desc), (std::vector<uint32_t>{0, 4096, 6144, 8192}));
  EXPECT_EQ(PitchesOf(desc), WithReserved({64, 32, 32, 0}));
}

TEST(Layout, ComesWithTheFirstSizeQueryAndOverwritesPitches) {
  Gray desc(15000, 1);
  desc.SetWidthHeight(100, 100);
  const std::array<int32_t, 4> pitches = {100, 0, 0, 0};
  ASSERT_EQ(desc.SetPitches(pitches.data()), 0);
  EXPECT_EQ(PitchesOf(desc), WithReserved(pitches));
  desc.SetWidthHeight(1000, 1000);  // still free to grow
  EXPECT_EQ(desc.GetFrameSize(), 1024 * 1024);
  EXPECT_EQ(PitchesOf(desc), WithReserved({1024, 0, 0, 0}));
}

TEST(Layout, FollowsTheClassAndNotTheCode) {
  // An Nv16x of a 4:4:4 code with alpha has the 4:2:2 layout without it.
  Nv16x nv16(31, 1);
  nv16.SetWidthHeight(64, 64);
  EXPECT_EQ(nv16.GetFrameSize(), 2 * 4096);
  EXPECT_EQ(nv16.PlaneOffsets().size(), 2U);
  Nv24x nv24(31, 1);
  nv24.SetWidthHeight(64, 64);
  EXPECT_EQ(nv24.GetFrameSize(), 4 * 4096);
  EXPECT_EQ(nv24.PlaneOffsets().size(), 3U);
  // Codes of other families bring no alpha, negative ones included.
  for (const int32_t smt : {INT32_MIN, -1, 0, 10, 16, 64, 70}) {
    SCOPED_TRACE(smt);
    Nv12x nv12(smt, 1);
    nv12.GetFrameSize();
    EXPECT_EQ(nv12.PlaneOffsets().size(), 2U);
    Yv16x yv16(smt, 1);
    yv16.GetFrameSize();
    EXPECT_EQ(yv16.PlaneOffsets().size(), 3U);
  }
}

}  // namespace
}  // namespace mivare::test
