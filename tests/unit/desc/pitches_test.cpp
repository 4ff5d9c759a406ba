// Pitches that hosts set and reset. Tight rows of w columns and b bytes have w * b bytes, half
// planes (w + 1) / 2 * b.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
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
using Four = std::array<int32_t, 4>;

struct TightCase {
  const char* name;
  NewFamily make;
  std::vector<int32_t> codes;
  int32_t width;
  Four pitches;
};

// clang-format off
const TightCase kTight[] = {
    {"Gray", New<Gray>, {15000}, 101, {101, 0, 0, 0}},
    {"Gray", New<Gray>, {15000}, 7, {7, 0, 0, 0}},
    {"Gray", New<Gray>, {15000}, -101, {-101, 0, 0, 0}},
    {"Yv12x", New<Yv12x>, {1}, 101, {101, 51, 51, 0}},
    {"Yv12x", New<Yv12x>, {1}, 7, {7, 4, 4, 0}},
    {"Yv12x", New<Yv12x>, {1}, -101, {-101, -50, -50, 0}},
    {"Yv12x", New<Yv12x>, {2, 3, 4, 5}, 101, {202, 102, 102, 0}},
    {"Yv12x", New<Yv12x>, {2, 3, 4, 5}, 7, {14, 8, 8, 0}},
    {"Yv12x", New<Yv12x>, {2, 3, 4, 5}, -101, {-202, -100, -100, 0}},
    {"Yv16x", New<Yv16x>, {60}, 101, {101, 51, 51, 0}},
    {"Yv16x", New<Yv16x>, {60}, 7, {7, 4, 4, 0}},
    {"Yv16x", New<Yv16x>, {60}, -101, {-101, -50, -50, 0}},
    {"Yv16x", New<Yv16x>, {61, 62, 63, 64}, 101, {202, 102, 102, 0}},
    {"Yv16x", New<Yv16x>, {61, 62, 63, 64}, 7, {14, 8, 8, 0}},
    {"Yv16x", New<Yv16x>, {61, 62, 63, 64}, -101, {-202, -100, -100, 0}},
    {"Yv16x with alpha", New<Yv16x>, {65}, 101, {101, 51, 51, 101}},
    {"Yv16x with alpha", New<Yv16x>, {65}, 7, {7, 4, 4, 7}},
    {"Yv16x with alpha", New<Yv16x>, {65}, -101, {-101, -50, -50, -101}},
    {"Yv16x with alpha", New<Yv16x>, {66, 67, 68, 69}, 101, {202, 102, 102, 202}},
    {"Yv16x with alpha", New<Yv16x>, {66, 67, 68, 69}, 7, {14, 8, 8, 14}},
    {"Yv16x with alpha", New<Yv16x>, {66, 67, 68, 69}, -101, {-202, -100, -100, -202}},
    {"Yv24x", New<Yv24x>, {70}, 101, {101, 101, 101, 0}},
    {"Yv24x", New<Yv24x>, {70}, 7, {7, 7, 7, 0}},
    {"Yv24x", New<Yv24x>, {70}, -101, {-101, -101, -101, 0}},
    {"Yv24x", New<Yv24x>, {71, 72, 73, 74}, 101, {202, 202, 202, 0}},
    {"Yv24x", New<Yv24x>, {71, 72, 73, 74}, 7, {14, 14, 14, 0}},
    {"Yv24x", New<Yv24x>, {71, 72, 73, 74}, -101, {-202, -202, -202, 0}},
    {"Yv24x with alpha", New<Yv24x>, {75}, 101, {101, 101, 101, 101}},
    {"Yv24x with alpha", New<Yv24x>, {75}, 7, {7, 7, 7, 7}},
    {"Yv24x with alpha", New<Yv24x>, {75}, -101, {-101, -101, -101, -101}},
    {"Yv24x with alpha", New<Yv24x>, {76, 77, 78, 79}, 101, {202, 202, 202, 202}},
    {"Yv24x with alpha", New<Yv24x>, {76, 77, 78, 79}, 7, {14, 14, 14, 14}},
    {"Yv24x with alpha", New<Yv24x>, {76, 77, 78, 79}, -101, {-202, -202, -202, -202}},
    {"Nv12x", New<Nv12x>, {6}, 101, {101, 101, 0, 0}},
    {"Nv12x", New<Nv12x>, {6}, 7, {7, 7, 0, 0}},
    {"Nv12x", New<Nv12x>, {6}, -101, {-101, -101, 0, 0}},
    {"Nv12x", New<Nv12x>, {7, 8, 9, 10}, 101, {202, 202, 0, 0}},
    {"Nv12x", New<Nv12x>, {7, 8, 9, 10}, 7, {14, 14, 0, 0}},
    {"Nv12x", New<Nv12x>, {7, 8, 9, 10}, -101, {-202, -202, 0, 0}},
    {"Nv12x with alpha", New<Nv12x>, {11}, 101, {101, 101, 101, 0}},
    {"Nv12x with alpha", New<Nv12x>, {11}, 7, {7, 7, 7, 0}},
    {"Nv12x with alpha", New<Nv12x>, {11}, -101, {-101, -101, -101, 0}},
    {"Nv12x with alpha", New<Nv12x>, {12, 13, 14, 15}, 101, {202, 202, 202, 0}},
    {"Nv12x with alpha", New<Nv12x>, {12, 13, 14, 15}, 7, {14, 14, 14, 0}},
    {"Nv12x with alpha", New<Nv12x>, {12, 13, 14, 15}, -101, {-202, -202, -202, 0}},
    {"Nv16x", New<Nv16x>, {16, 26, 31}, 101, {101, 101, 0, 0}},
    {"Nv16x", New<Nv16x>, {16, 26, 31}, 7, {7, 7, 0, 0}},
    {"Nv16x", New<Nv16x>, {16, 26, 31}, -101, {-101, -101, 0, 0}},
    {"Nv16x", New<Nv16x>, {17, 18, 19, 20, 27, 35}, 101, {202, 202, 0, 0}},
    {"Nv16x", New<Nv16x>, {17, 18, 19, 20, 27, 35}, 7, {14, 14, 0, 0}},
    {"Nv16x", New<Nv16x>, {17, 18, 19, 20, 27, 35}, -101, {-202, -202, 0, 0}},
    {"Nv16x with alpha", New<Nv16x>, {21}, 101, {101, 101, 101, 0}},
    {"Nv16x with alpha", New<Nv16x>, {21}, 7, {7, 7, 7, 0}},
    {"Nv16x with alpha", New<Nv16x>, {21}, -101, {-101, -101, -101, 0}},
    {"Nv16x with alpha", New<Nv16x>, {22, 23, 24, 25}, 101, {202, 202, 202, 0}},
    {"Nv16x with alpha", New<Nv16x>, {22, 23, 24, 25}, 7, {14, 14, 14, 0}},
    {"Nv16x with alpha", New<Nv16x>, {22, 23, 24, 25}, -101, {-202, -202, -202, 0}},
    {"Nv24x", New<Nv24x>, {26}, 101, {101, 202, 0, 0}},
    {"Nv24x", New<Nv24x>, {26}, 7, {7, 14, 0, 0}},
    {"Nv24x", New<Nv24x>, {26}, 100, {100, 200, 0, 0}},
    {"Nv24x", New<Nv24x>, {26}, -101, {-101, -202, 0, 0}},
    {"Nv24x", New<Nv24x>, {27, 28, 29, 30}, 101, {202, 404, 0, 0}},
    {"Nv24x", New<Nv24x>, {27, 28, 29, 30}, 7, {14, 28, 0, 0}},
    {"Nv24x", New<Nv24x>, {27, 28, 29, 30}, 100, {200, 400, 0, 0}},
    {"Nv24x", New<Nv24x>, {27, 28, 29, 30}, -101, {-202, -404, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {31}, 101, {101, 101, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {31}, 7, {7, 7, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {31}, 100, {100, 100, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {31}, -101, {-101, -101, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {32, 33, 34, 35}, 101, {202, 202, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {32, 33, 34, 35}, 7, {14, 14, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {32, 33, 34, 35}, 100, {200, 200, 0, 0}},
    {"Nv24x with alpha", New<Nv24x>, {32, 33, 34, 35}, -101, {-202, -202, 0, 0}},
    {"Yuvax", New<Yuvax>, {55}, 101, {101, 51, 51, 101}},
    {"Yuvax", New<Yuvax>, {55}, 7, {7, 4, 4, 7}},
    {"Yuvax", New<Yuvax>, {55}, -101, {-101, -50, -50, -101}},
    {"Yuvax", New<Yuvax>, {56, 57, 58, 59}, 101, {202, 102, 102, 202}},
    {"Yuvax", New<Yuvax>, {56, 57, 58, 59}, 7, {14, 8, 8, 14}},
    {"Yuvax", New<Yuvax>, {56, 57, 58, 59}, -101, {-202, -100, -100, -202}},
    {"Bgrax", New<Bgrax>, {44, 45, 47, 49, 50, 52}, 101, {404, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {44, 45, 47, 49, 50, 52}, 7, {28, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {44, 45, 47, 49, 50, 52}, -101, {-404, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {46, 48, 51}, 101, {808, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {46, 48, 51}, 7, {56, 0, 0, 0}},
    {"Bgrax", New<Bgrax>, {46, 48, 51}, -101, {-808, 0, 0, 0}},
};

// At 101 columns the padded row has 128 columns: G = 128 at 8 bits, 256 above, and 512 or 1024
// where pixels are packed.
struct RefusalCase {
  NewFamily make;
  int32_t smt;
  Four pitches;
  const char* text;
};
const RefusalCase kRefusals[] = {
    {New<Gray>, 15000, {129, 0, 0, 0}, "error! file[mivare/desc/gray] line[36] wid[101] grand[128] pitch[129]"},

    {New<Yv12x>, 1, {129, 65, 65, 0}, "error! file[mivare/desc/yv12x] line[38] wid[101] grand[128] pitch[129]"},
    {New<Yv12x>, 1, {128, 65, 65, 0}, "error! file[mivare/desc/yv12x] line[44] wid[50] grand[64] pitch[65]"},
    {New<Yv12x>, 1, {128, 64, 65, 0}, "error! file[mivare/desc/yv12x] line[49] wid[50] grand[64] pitch[128]"},
    {New<Yv12x>, 2, {257, 129, 129, 0}, "error! file[mivare/desc/yv12x] line[38] wid[101] grand[256] pitch[257]"},
    {New<Yv12x>, 2, {256, 129, 129, 0}, "error! file[mivare/desc/yv12x] line[44] wid[50] grand[128] pitch[129]"},
    {New<Yv12x>, 2, {255, 128, 129, 0}, "error! file[mivare/desc/yv12x] line[49] wid[50] grand[128] pitch[255]"},

    {New<Yv16x>, 60, {129, 65, 65, 129}, "error! file[mivare/desc/yv12x] line[139] wid[101] grand[128] pitch[129]"},
    {New<Yv16x>, 60, {128, 65, 65, 129}, "error! file[mivare/desc/yv12x] line[152] wid[50] grand[64] pitch[65]"},
    {New<Yv16x>, 60, {127, 64, 65, 129}, "error! file[mivare/desc/yv12x] line[157] wid[50] grand[64] pitch[127]"},
    {New<Yv16x>, 65, {129, 65, 65, 130}, "error! file[mivare/desc/yv12x] line[139] wid[101] grand[128] pitch[129]"},
    {New<Yv16x>, 65, {128, 65, 65, 130}, "error! file[mivare/desc/yv12x] line[145] wid[101] grand[128] pitch[130]"},
    {New<Yv16x>, 65, {128, 65, 65, 128}, "error! file[mivare/desc/yv12x] line[152] wid[50] grand[64] pitch[65]"},
    {New<Yv16x>, 65, {127, 64, 65, 128}, "error! file[mivare/desc/yv12x] line[157] wid[50] grand[64] pitch[127]"},

    {New<Yv24x>, 70, {129, 130, 131, 132}, "error! file[mivare/desc/yv12x] line[255] wid[101] grand[128] pitch[129]"},
    {New<Yv24x>, 70, {127, 130, 131, 132}, "error! file[mivare/desc/yv12x] line[260] wid[101] grand[128] pitch[130]"},
    {New<Yv24x>, 70, {127, 128, 131, 132}, "error! file[mivare/desc/yv12x] line[265] wid[101] grand[128] pitch[127]"},
    {New<Yv24x>, 75, {127, 128, 131, 132}, "error! file[mivare/desc/yv12x] line[265] wid[101] grand[128] pitch[127]"},
    {New<Yv24x>, 75, {127, 128, 128, 132}, "error! file[mivare/desc/yv12x] line[271] wid[101] grand[128] pitch[132]"},

    {New<Nv12x>, 6, {129, 130, 0, 0}, "error! file[mivare/desc/nv12x] line[39] wid[101] grand[128] pitch[129]"},
    {New<Nv12x>, 6, {128, 130, 0, 0}, "error! file[mivare/desc/nv12x] line[44] wid[101] grand[128] pitch[130]"},
    {New<Nv16x>, 16, {129, 130, 0, 0}, "error! file[mivare/desc/nv12x] line[136] wid[101] grand[128] pitch[129]"},
    {New<Nv16x>, 16, {128, 130, 0, 0}, "error! file[mivare/desc/nv12x] line[141] wid[101] grand[128] pitch[130]"},
    {New<Nv24x>, 26, {129, 130, 0, 0}, "error! file[mivare/desc/nv12x] line[230] wid[101] grand[128] pitch[129]"},
    {New<Nv24x>, 26, {128, 130, 0, 0}, "error! file[mivare/desc/nv12x] line[235] wid[101] grand[128] pitch[130]"},

    {New<Yuvax>, 55, {129, 65, 65, 129}, "error! file[mivare/desc/yuvax] line[38] wid[101] grand[128] pitch[129]"},
    {New<Yuvax>, 55, {127, 65, 65, 129}, "error! file[mivare/desc/yuvax] line[43] wid[101] grand[128] pitch[127]"},
    {New<Yuvax>, 55, {127, 65, 66, 128}, "error! file[mivare/desc/yuvax] line[50] wid[50] grand[64] pitch[65]"},
    {New<Yuvax>, 55, {127, 64, 66, 128}, "error! file[mivare/desc/yuvax] line[55] wid[50] grand[64] pitch[127]"},

    {New<Bgrax>, 44, {513, 0, 0, 0}, "error! file[mivare/desc/rgbax] line[38] wid[101] grand[512]"},
    {New<Bgrax>, 44, {0, 0, 0, 0}, "error! file[mivare/desc/rgbax] line[38] wid[101] grand[512]"},
    {New<Bgrax>, 48, {1025, 0, 0, 0}, "error! file[mivare/desc/rgbax] line[38] wid[101] grand[1024]"},
};

// The largest pitches that pass, with values that nobody checks beside them.
struct AcceptedCase {
  NewFamily make;
  int32_t smt;
  Four pitches;
};
const AcceptedCase kAccepted[] = {
    {New<Gray>, 15000, {128, 999, 999, 999}},
    {New<Gray>, 15000, {0, 0, 0, 0}},
    {New<Gray>, 15000, {INT32_MIN, 0, 0, 0}},
    {New<Yv12x>, 1, {128, 64, 64, 999}},
    {New<Yv16x>, 60, {128, 64, 64, 999}},
    {New<Yv16x>, 65, {128, 64, 64, 128}},
    {New<Yv24x>, 70, {128, 128, 128, 999}},
    {New<Yv24x>, 75, {128, 128, 128, 128}},
    {New<Nv12x>, 11, {128, 128, 999, 999}},
    {New<Nv16x>, 21, {128, 128, 999, 999}},
    {New<Nv24x>, 31, {128, 128, 999, 999}},
    {New<Yuvax>, 55, {128, 64, 64, 128}},
    {New<Bgrax>, 44, {512, 999, 999, 999}},
    {New<Bgrax>, 44, {-1, 0, 0, 0}},
    {New<Bgrax>, 51, {1024, 0, 0, 0}},
};
// clang-format on

TEST(ResetPitches, StoresTightRows) {
  for (const TightCase& row : kTight) {
    for (const int32_t smt : row.codes) {
      SCOPED_TRACE(testing::Message() << row.name << " smt " << smt << " width " << row.width);
      const auto desc = row.make(smt);
      desc->SetWidthHeight(row.width, 64);
      EXPECT_TRUE(desc->ResetPitches());
      EXPECT_EQ(PitchesOf(*desc), WithReserved(row.pitches));
      EXPECT_EQ(desc->DataLength(), -1) << "a reset computes no layout";
    }
  }
}

TEST(ResetPitches, FollowsTheVisibleWidthAfterTheLayout) {
  Yv12x desc(1, 1);
  desc.SetWidthHeight(1920, 1080);
  desc.GetFrameSize();
  desc.SetWidthHeight(1001, 1080);
  EXPECT_TRUE(desc.ResetPitches());
  EXPECT_EQ(PitchesOf(desc), WithReserved({1001, 501, 501, 0}));
}

TEST(ResetPitches, OfNv24xHalvesTheChromaPitchWhenAlphaIsThere) {
  Nv24x with_alpha(31, 1);
  with_alpha.SetWidthHeight(100, 10);
  with_alpha.ResetPitches();
  EXPECT_EQ(PitchesOf(with_alpha), WithReserved({100, 100, 0, 0}));
  Nv24x without(26, 1);
  without.SetWidthHeight(100, 10);
  without.ResetPitches();
  EXPECT_EQ(PitchesOf(without), WithReserved({100, 200, 0, 0}));
}

TEST(SetPitches, RefusesWithTheLineOfTheFirstFailure) {
  for (const RefusalCase& row : kRefusals) {
    SCOPED_TRACE(testing::Message() << "smt " << row.smt << " expecting " << row.text);
    const auto desc = row.make(row.smt);
    desc->SetWidthHeight(101, 67);
    desc->GetFrameSize();
    const auto before = PitchesOf(*desc);
    LogCapture log;
    EXPECT_EQ(desc->SetPitches(row.pitches.data()), -1);
    EXPECT_EQ(PitchesOf(*desc), before);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{"mivare", 6, row.text}}));
    EXPECT_EQ(desc->ValidatePitches(row.pitches.data()), -1);
    EXPECT_EQ(log.Count(6, row.text), 2);
  }
}

TEST(SetPitches, AcceptsUpToThePaddedRows) {
  for (const AcceptedCase& row : kAccepted) {
    SCOPED_TRACE(testing::Message() << "smt " << row.smt << " pitch " << row.pitches[0]);
    const auto desc = row.make(row.smt);
    desc->SetWidthHeight(101, 67);
    LogCapture log;
    EXPECT_EQ(desc->ValidatePitches(row.pitches.data()), 0);
    EXPECT_EQ(desc->SetPitches(row.pitches.data()), 0);
    EXPECT_EQ(PitchesOf(*desc), WithReserved(row.pitches));
    EXPECT_TRUE(log.Lines().empty());
  }
}

TEST(SetPitches, OnYv12xLogsTheLumaPitchForTheThirdPlane) {
  Yv12x desc(1, 1);
  desc.SetWidthHeight(1920, 1080);
  const Four pitches = {1920, 960, 1000, 0};
  LogCapture log;
  EXPECT_EQ(desc.SetPitches(pitches.data()), -1);
  EXPECT_EQ(log.Count(6, "error! file[mivare/desc/yv12x] line[49] wid[960] grand[960] pitch[1920]"),
            1);
}

TEST(SetPitches, HalvesNegativeWidthsTowardZero) {
  Yv12x desc(1, 1);
  desc.SetWidthHeight(-101, 10);  // rounds up to -64
  const Four pitches = {-64, -31, -40, 0};
  LogCapture log;
  EXPECT_EQ(desc.SetPitches(pitches.data()), -1);
  EXPECT_EQ(log.Count(6, "error! file[mivare/desc/yv12x] line[44] wid[-50] grand[-32] pitch[-31]"),
            1);
}

TEST(SetPitches, ZeroesTheReservedFour) {
  Yv12x desc(1, 1);
  desc.SetWidthHeight(100, 100);
  const std::array<int32_t, 8> eight = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(desc.StorePitches(eight.data()), 0);
  EXPECT_EQ(PitchesOf(desc), eight);
  EXPECT_EQ(desc.SetPitches(eight.data()), 0);
  EXPECT_EQ(PitchesOf(desc), (std::array<int32_t, 8>{1, 2, 3, 4, 0, 0, 0, 0}));
}

TEST(SetPitches, RefusesNullQuietly) {
  Yv12x desc(1, 1);
  LogCapture log;
  EXPECT_EQ(desc.SetPitches(nullptr), -1);
  EXPECT_EQ(desc.GetPitches(nullptr), -1);
  EXPECT_EQ(desc.ValidatePitches(nullptr), -1);
  EXPECT_TRUE(log.Lines().empty());
}

}  // namespace
}  // namespace mivare::test
