// BMP dumps, byte by byte.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "unit/image_files.h"

namespace mivare {
namespace {

using test::Bytes;
using test::Describe;
using test::Frame;
using test::HostFrame;
using test::Number;
using test::Said;
using test::ScratchFolder;
using test::SmallFrame;

Bytes operator+(Bytes front, const Bytes& back) {
  front.insert(front.end(), back.begin(), back.end());
  return front;
}

Bytes GreyPalette() {
  Bytes palette;
  for (int i = 0; i < 256; ++i) {
    const auto level = static_cast<uint8_t>(i);
    for (const uint8_t byte : {level, level, level, uint8_t{255}}) palette.push_back(byte);
  }
  return palette;
}

TEST(DumpBmp, WritesEightBitLumaWithTheGreyPalette) {
  const ScratchFolder folder;
  const auto frame = Frame(Describe(1, 1, 3, 2), 8, 4);
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
  const Bytes headers = {
      'B',  'M',  0x3E, 0x04, 0, 0,  // 1078 + 2 rows of 4
      0,    0,    0,    0,           //
      0x36, 0x04, 0,    0,           // 54 + 1024
      40,   0,    0,    0,           //
      3,    0,    0,    0,           //
      2,    0,    0,    0,           //
      1,    0,                       //
      8,    0,                       //
      0,    0,    0,    0,           //
      6,    0,    0,    0,           // 3 x 2
      0,    0,    0,    0,    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
  };
  const Bytes rows = {0x10, 0x11, 0x12, 0x13, 0x00, 0x01, 0x02, 0x03};
  EXPECT_EQ(folder.Read("a.bmp"), headers + GreyPalette() + rows);
  EXPECT_EQ(frame->locks, 1);
  EXPECT_EQ(frame->unlocks, 1);
  EXPECT_TRUE(frame->lock_was_for_reading);
}

TEST(DumpBmp, WritesDeepLumaAsOneBitField) {
  const ScratchFolder folder;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), Frame(Describe(1, 2, 3, 2), 10, 8)), 0);
  const Bytes expected = {
      'B',  'M',  82,   0,    0,    0,  // 66 + 2 rows of 8
      0,    0,    0,    0,              //
      66,   0,    0,    0,              // 54 + 12
      40,   0,    0,    0,              //
      3,    0,    0,    0,              //
      2,    0,    0,    0,              //
      1,    0,                          //
      16,   0,                          //
      3,    0,    0,    0,              // bit fields
      0,    0,    0,    0,              //
      0,    0,    0,    0,    0,    0,    0,    0,    0, 0,
      0,    0,    0,    0,    0,    0,    0,    0,    0, 0,  // the masks
      0xFF, 0xFF, 0,    0,                                   //
      0,    0,    0,    0,                                   //
      0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,        //
      0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07,
  };
  EXPECT_EQ(folder.Read("a.bmp"), expected);
}

TEST(DumpBmp, WritesPackedPixelsAsTheyAre) {
  for (const int32_t smt : {44, 45}) {
    SCOPED_TRACE(smt);
    const ScratchFolder folder;
    EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), Frame(Describe(1, smt, 3, 2), 20, 12)),
              0);
    const Bytes expected = {
        'B',  'M',  78,   0,    0,    0,  // 54 + 2 rows of 12
        0,    0,    0,    0,              //
        54,   0,    0,    0,              //
        40,   0,    0,    0,              //
        3,    0,    0,    0,              //
        2,    0,    0,    0,              //
        1,    0,                          //
        32,   0,                          //
        0,    0,    0,    0,              //
        0,    0,    0,    0,              //
        0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,
        0,    0,    0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B,  //
        0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B,
    };
    EXPECT_EQ(folder.Read("a.bmp"), expected);
  }
}

TEST(DumpBmp, ReducesSixteenBitPixelsAndExchangesComponents0And2) {
  const ScratchFolder folder;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), Frame(Describe(1, 48, 2, 2), 24, 16)),
            0);
  const Bytes file = folder.Read("a.bmp");
  ASSERT_EQ(file.size(), 54u + 2 * 8);
  EXPECT_EQ(Number(file, 28, 2), 32u);
  EXPECT_EQ(Number(file, 30, 4), 0u);
  // The high bytes of the samples 2, 1, 0, 3 stand at 5, 3, 1, 7 of a pixel's eight.
  EXPECT_EQ(Bytes(file.begin() + 54, file.end()),
            (Bytes{0x15, 0x13, 0x11, 0x17, 0x1D, 0x1B, 0x19, 0x1F,  //
                   0x05, 0x03, 0x01, 0x07, 0x0D, 0x0B, 0x09, 0x0F}));
}

TEST(DumpBmp, ReducesEveryPixelOfAWideRow) {
  constexpr int32_t kWidth = 2500;
  const ScratchFolder folder;
  const auto frame = std::make_shared<HostFrame>(Describe(1, 48, kWidth, 1));
  for (int32_t i = 0; i < kWidth * 4; ++i) {
    frame->memory[0].push_back(0xEE);
    frame->memory[0].push_back(static_cast<uint8_t>(i % 251));
  }
  frame->planes[0] = frame->memory[0].data();
  frame->pitches[0] = kWidth * 8;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
  const Bytes file = folder.Read("a.bmp");
  ASSERT_EQ(file.size(), 54u + kWidth * 4);
  for (int32_t x = 0; x < kWidth; ++x) {
    SCOPED_TRACE(x);
    const uint8_t* pixel = file.data() + 54 + x * 4;
    ASSERT_EQ(pixel[0], (4 * x + 2) % 251);
    ASSERT_EQ(pixel[1], (4 * x + 1) % 251);
    ASSERT_EQ(pixel[2], (4 * x + 0) % 251);
    ASSERT_EQ(pixel[3], (4 * x + 3) % 251);
  }
}

TEST(DumpBmp, PadsRowsOfThreeComponentsToFourBytes) {
  struct Case {
    uint32_t media_type;
    int32_t smt;
  };
  for (const Case& row : {Case{5, 49}, Case{1, 50}, Case{5, 50}}) {
    SCOPED_TRACE(row.smt);
    const ScratchFolder folder;
    EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(),
                               Frame(Describe(row.media_type, row.smt, 3, 2), 16, 12)),
              0);
    const Bytes file = folder.Read("a.bmp");
    ASSERT_EQ(file.size(), 54u + 2 * 12);  // 9 bytes and the 3 that follow in memory
    EXPECT_EQ(Number(file, 28, 2), 24u);
    EXPECT_EQ(Number(file, 10, 4), 54u);
    EXPECT_EQ(Bytes(file.begin() + 54, file.end()),
              (Bytes{0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B,  //
                     0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B}));
  }
}

TEST(DumpBmp, WritesA100x50BgraFrameIn20054Bytes) {
  const ScratchFolder folder;
  const auto frame = std::make_shared<HostFrame>(Describe(1, 45, 100, 50));
  frame->memory[0].assign(512 * 50, 0x5A);
  frame->planes[0] = frame->memory[0].data();
  frame->pitches[0] = 512;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
  EXPECT_EQ(folder.Size("a.bmp"), 20054u);
}

TEST(DumpBmp, WritesTheSameBytesWhetherRowsTouchOrNot) {
  const ScratchFolder folder;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), Frame(Describe(1, 45, 3, 2), 12, 12)),
            0);
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("b.bmp").c_str(), Frame(Describe(1, 45, 3, 2), 256, 12)),
            0);
  EXPECT_EQ(folder.Read("a.bmp"), folder.Read("b.bmp"));
}

TEST(DumpBmp, FollowsRowsThatLieUpsideDownInMemory) {
  const ScratchFolder folder;
  const auto frame = SmallFrame();
  frame->planes[0] += 12;
  frame->pitches[0] = -12;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
  const Bytes file = folder.Read("a.bmp");
  EXPECT_EQ(Bytes(file.begin() + 54, file.end()), frame->memory[0]);
}

TEST(DumpBmp, AnnouncesNoBitFieldForADeepSingleGreyPlane) {
  const ScratchFolder folder;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), Frame(Said(15000, 2, 2, 10), 4, 4)), 0);
  const Bytes file = folder.Read("a.bmp");
  EXPECT_EQ(Number(file, 28, 2), 16u);
  EXPECT_EQ(Number(file, 30, 4), 0u);
  EXPECT_EQ(Number(file, 10, 4), 54u);
}

TEST(DumpBmp, WithoutABitDepthWritesTheHeadersAlone) {
  const ScratchFolder folder;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), Frame(Said(1, 3, 2, 0), 4, 4)), 0);
  const Bytes file = folder.Read("a.bmp");
  EXPECT_EQ(file.size(), 54u);
  EXPECT_EQ(Number(file, 28, 2), 0u);
}

TEST(DumpBmp, WritesNoRowsForSizesBelowOne) {
  constexpr int32_t kLeast = INT32_MIN;
  struct Case {
    int32_t width;
    int32_t height;
  };
  for (const Case& row :
       {Case{-5, 2}, Case{0, 2}, Case{2, 0}, Case{2, -3}, Case{kLeast, 1}, Case{1, kLeast}}) {
    SCOPED_TRACE(testing::Message() << row.width << " x " << row.height);
    const ScratchFolder folder;
    const auto width = static_cast<uint32_t>(row.width);
    const auto height = static_cast<uint32_t>(row.height);
    const auto frame = std::make_shared<HostFrame>(Said(45, width, height, 8));
    frame->AddPlane(0, 8, 8, 2);
    EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
    const Bytes file = folder.Read("a.bmp");
    EXPECT_EQ(file.size(), 54u);
    EXPECT_EQ(Number(file, 18, 4), width);
    EXPECT_EQ(Number(file, 22, 4), height);
  }
}

TEST(DumpBmp, CutsHeaderNumbersThatDoNotFit) {
  const ScratchFolder folder;
  const auto frame = std::make_shared<HostFrame>(Said(1, INT32_MAX, INT32_MAX, 8));
  frame->lock_status = -2;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
  const Bytes file = folder.Read("a.bmp");
  // R is 0x80000000, and R x 0x7FFFFFFF ends in 0x80000000.
  EXPECT_EQ(Number(file, 2, 4), 0x80000000U + 1078);
  EXPECT_EQ(Number(file, 34, 4), 1u);  // (2^31 - 1) squared
}

TEST(DumpBmp, KeepsTheHeadersOfAFrameThatCannotBeLocked) {
  const ScratchFolder folder;
  const auto frame = Frame(Describe(1, 1, 3, 2), 4, 4);
  frame->lock_status = -2;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
  EXPECT_EQ(folder.Size("a.bmp"), 1078u);
  EXPECT_EQ(frame->unlocks, 0);
}

TEST(DumpBmp, WritesNoRowsOfAPlaneThatIsNotThere) {
  const ScratchFolder folder;
  const auto frame = std::make_shared<HostFrame>(Describe(1, 45, 3, 2));
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
  EXPECT_EQ(folder.Size("a.bmp"), 54u);
  EXPECT_EQ(frame->unlocks, 1);
}

TEST(DumpBmp, TruncatesWhatWasThere) {
  const ScratchFolder folder;
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), Frame(Describe(1, 1, 3, 2), 4, 4)), 0);
  EXPECT_EQ(folder.Size("a.bmp"), 1086u);
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), SmallFrame()), 0);
  EXPECT_EQ(folder.Size("a.bmp"), 78u);
}

}  // namespace
}  // namespace mivare
