#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "support/host_desc.h"
#include "support/host_frame.h"
#include "support/log_capture.h"
#include "support/scratch_folder.h"

namespace mivare {
namespace {

using test::Bytes;
using test::HostDesc;
using test::HostFrame;
using test::LogCapture;
using test::ScratchFolder;

MediaDescPtr Describe(uint32_t media_type, int32_t smt, int32_t width, int32_t height) {
  MediaDescPtr desc = MakeMediaDesc(media_type, smt);
  if (desc) desc->SetWidthHeight(width, height);
  return desc;
}

// What no description of the library's would say.
MediaDescPtr Said(int32_t smt, uint32_t width, uint32_t height, uint32_t bit_depth) {
  auto desc = std::make_unique<HostDesc>();
  desc->smt = smt;
  desc->width = width;
  desc->height = height;
  desc->bit_depth = bit_depth;
  return MediaDescPtr(desc.release());
}

// A frame whose plane 0 has rows of `row_bytes` bytes, `pitch` bytes apart.
std::shared_ptr<HostFrame> Frame(MediaDescPtr desc, int32_t pitch, size_t row_bytes) {
  const size_t rows = desc->GetHeight();
  auto frame = std::make_shared<HostFrame>(std::move(desc));
  frame->AddPlane(0, pitch, row_bytes, rows);
  return frame;
}

// The ordinary one: 3 x 2 pixels of four bytes.
std::shared_ptr<HostFrame> SmallFrame() { return Frame(Describe(1, 45, 3, 2), 12, 12); }

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

uint32_t Number(const Bytes& file, size_t offset, size_t size) {
  uint32_t value = 0;
  for (size_t i = 0; i < size; ++i) value |= static_cast<uint32_t>(file.at(offset + i)) << (8 * i);
  return value;
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

struct DepthCase {
  uint32_t media_type;
  int32_t smt;
  uint32_t bmp_bits;
  uint32_t compression;
  uint32_t data_offset;
  uint32_t tga_bits;
};

constexpr DepthCase kDepths[] = {
    {1, 1, 8, 0, 1078, 8},      //
    {1, 2, 16, 3, 66, 16},      //
    {1, 3, 16, 3, 66, 16},      //
    {1, 4, 16, 3, 66, 16},      //
    {1, 5, 16, 3, 66, 16},      //
    {5, 1, 8, 0, 1078, 8},      //
    {1, 6, 8, 0, 1078, 8},      //
    {1, 7, 16, 3, 66, 16},      //
    {1, 11, 8, 0, 1078, 8},     //
    {1, 16, 8, 0, 1078, 8},     //
    {1, 17, 16, 3, 66, 16},     //
    {1, 22, 16, 3, 66, 16},     //
    {1, 26, 8, 0, 1078, 8},     //
    {1, 35, 16, 3, 66, 16},     //
    {1, 44, 32, 0, 54, 32},     //
    {1, 45, 32, 0, 54, 32},     //
    {1, 46, 16, 3, 66, 16},     //
    {1, 47, 8, 0, 1078, 8},     //
    {1, 48, 32, 0, 54, 64},     //
    {5, 49, 24, 0, 54, 24},     //
    {1, 50, 24, 0, 54, 24},     //
    {1, 51, 16, 3, 66, 16},     //
    {1, 52, 8, 0, 1078, 8},     //
    {1, 55, 8, 0, 1078, 8},     //
    {1, 56, 16, 3, 66, 16},     //
    {1, 60, 8, 0, 1078, 8},     //
    {1, 61, 16, 3, 66, 16},     //
    {1, 65, 8, 0, 1078, 8},     //
    {1, 70, 8, 0, 1078, 8},     //
    {1, 71, 16, 3, 66, 16},     //
    {1, 79, 16, 3, 66, 16},     //
    {1, 15000, 8, 0, 1078, 8},  //
    {5, 15000, 8, 0, 1078, 8},  //
};

TEST(DumpBmp, TakesItsDepthFromTheFormat) {
  const ScratchFolder folder;
  for (const DepthCase& row : kDepths) {
    SCOPED_TRACE(testing::Message() << "media type " << row.media_type << " smt " << row.smt);
    const auto frame = Frame(Describe(row.media_type, row.smt, 1, 2), 8, 8);
    ASSERT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
    const Bytes file = folder.Read("a.bmp");
    EXPECT_EQ(Number(file, 28, 2), row.bmp_bits);
    EXPECT_EQ(Number(file, 30, 4), row.compression);
    EXPECT_EQ(Number(file, 10, 4), row.data_offset);
    EXPECT_EQ(Number(file, 34, 4), row.bmp_bits == 8 ? 2u : 0u);
    EXPECT_EQ(file.size(), row.data_offset + 2 * 4);  // one pixel is a row of 4 in all of them
    EXPECT_EQ(Number(file, 2, 4), file.size());
  }
}

TEST(DumpTga, TakesItsDepthFromTheFormat) {
  const ScratchFolder folder;
  for (const DepthCase& row : kDepths) {
    SCOPED_TRACE(testing::Message() << "media type " << row.media_type << " smt " << row.smt);
    const auto frame = Frame(Describe(row.media_type, row.smt, 1, 2), 24, 24);
    ASSERT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
    const Bytes file = folder.Read("a.tga");
    EXPECT_EQ(Number(file, 16, 1), row.tga_bits);
    EXPECT_EQ(Number(file, 12, 2), 24 * 8 / row.tga_bits);
    EXPECT_EQ(file.size(), 18u + 2 * 24);
  }
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

struct Kind {
  const char* name;
  int32_t (*dump)(const char*, std::shared_ptr<IMediaBuffer>);
  const char* missing;
};

constexpr Kind kKinds[] = {
    {"BMP", NUXMivareDumpBMP, "error! mivare::NUXMivareDumpBMP line[104]: mb is nullptr!"},
    {"TGA", NUXMivareDumpTGA, "error! mivare::NUXMivareDumpTGA line[1392]: mb is nullptr!"},
};

TEST(DumpImage, RefusesAnEmptyBuffer) {
  const ScratchFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const LogCapture log;
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), nullptr), -1);
    EXPECT_EQ(log.Count(6, kind.missing), 1);
    EXPECT_EQ(log.Lines().size(), 1u);
    EXPECT_TRUE(folder.IsEmpty());
  }
}

TEST(DumpImage, RefusesWhatItCannotOpenOrDescribe) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const ScratchFolder folder;
    const auto frame = SmallFrame();
    EXPECT_EQ(kind.dump(nullptr, frame), -1);
    EXPECT_EQ(kind.dump(folder.File("missing/a").c_str(), frame), -1);
    EXPECT_EQ(frame->locks, frame->unlocks);
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), std::make_shared<HostFrame>(nullptr)), -1);
    EXPECT_TRUE(folder.IsEmpty());
    // Each of them gave its turn back.
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), frame), 0);
  }
}

TEST(DumpImage, TakesUtf8Paths) {
  const ScratchFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const std::string name = std::string("t\xC3\xA4st_\xE5\xB8\xA7.") + kind.name;
    EXPECT_EQ(kind.dump(folder.File(name).c_str(), SmallFrame()), 0);
    EXPECT_TRUE(folder.Has(name));
  }
}

TEST(DumpImage, LetsNoExceptionOut) {
  const ScratchFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto frame = SmallFrame();
    frame->throws = true;
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), frame), -1);
    frame->throws = false;
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), frame), 0);
  }
}

TEST(DumpImage, GivesTheHandleBack) {
  const ScratchFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto frame = SmallFrame();
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), frame), 0);
    EXPECT_EQ(frame.use_count(), 1);
  }
}

// Notes the most threads that were ever between Lock and Unlock of such frames at once.
class CountingFrame final : public HostFrame {
 public:
  CountingFrame(MediaDescPtr description, std::atomic<int>& inside, std::atomic<int>& most)
      : HostFrame(std::move(description)), inside_(inside), most_(most) {}

  int32_t Lock(uint8_t* out_planes[8], int32_t out_pitches[8], void* reserved,
               uint32_t* capacity_out) override {
    const int now = ++inside_;
    if (now > most_) most_ = now;
    std::this_thread::yield();
    return HostFrame::Lock(out_planes, out_pitches, reserved, capacity_out);
  }
  int32_t Unlock() override {
    --inside_;
    return HostFrame::Unlock();
  }

 private:
  std::atomic<int>& inside_;
  std::atomic<int>& most_;
};

TEST(DumpImage, DumpsOfAKindTakeTurns) {
  constexpr int kRounds = 40;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const ScratchFolder folder;
    const std::string shared = folder.File("shared");
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    const auto run = [&](uint8_t value, const std::string& own) {
      const auto frame = std::make_shared<CountingFrame>(Describe(1, 45, 200, 100), inside, most);
      frame->memory[0].assign(size_t{800} * 100, value);
      frame->planes[0] = frame->memory[0].data();
      frame->pitches[0] = 800;
      for (int i = 0; i < kRounds; ++i) {
        kind.dump(shared.c_str(), frame);
        kind.dump(own.c_str(), frame);
      }
    };
    std::thread other(run, uint8_t{0xA1}, folder.File("one"));
    run(0xB2, folder.File("two"));
    other.join();
    EXPECT_EQ(most, 1);
    const Bytes one = folder.Read("one");
    const Bytes two = folder.Read("two");
    EXPECT_EQ(std::count(one.begin(), one.end(), 0xA1), 80000);
    EXPECT_EQ(std::count(two.begin(), two.end(), 0xB2), 80000);
    EXPECT_EQ(std::count(one.begin(), one.end(), 0xB2), 0);
    const Bytes last = folder.Read("shared");
    EXPECT_TRUE(last == one || last == two);
  }
}

// While it is locked itself, another thread dumps a frame as TGA.
class NestingFrame final : public HostFrame {
 public:
  NestingFrame(MediaDescPtr description, std::string path)
      : HostFrame(std::move(description)), path_(std::move(path)) {}

  int32_t nested_result = 1;

  int32_t Lock(uint8_t* out_planes[8], int32_t out_pitches[8], void* reserved,
               uint32_t* capacity_out) override {
    std::thread([this] { nested_result = NUXMivareDumpTGA(path_.c_str(), SmallFrame()); }).join();
    return HostFrame::Lock(out_planes, out_pitches, reserved, capacity_out);
  }

 private:
  std::string path_;
};

TEST(DumpImage, TheKindsDoNotWaitForEachOther) {
  const ScratchFolder folder;
  const auto frame =
      std::make_shared<NestingFrame>(Describe(1, 45, 3, 2), folder.File("inner.tga"));
  frame->AddPlane(0, 12, 12, 2);
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("outer.bmp").c_str(), frame), 0);
  EXPECT_EQ(frame->nested_result, 0);
  EXPECT_EQ(folder.Size("inner.tga"), 18u + 24);
  EXPECT_EQ(folder.Size("outer.bmp"), 54u + 24);
}

TEST(DumpTga, WritesRowsTopFirstAsWideAsThePitch) {
  const ScratchFolder folder;
  const auto frame = Frame(Describe(1, 45, 3, 2), 16, 16);
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
  const Bytes expected = {
      0,    0,    2,    0,    0,    0,    0,    0,    0, 0, 0, 0,  //
      4,    0,                                                     // 16 * 8 / 32
      2,    0,                                                     //
      32,   0x20,                                                  //
      0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07,              //
      0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,              //
      0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,              //
      0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F,
  };
  EXPECT_EQ(folder.Read("a.tga"), expected);
  EXPECT_EQ(frame->locks, 1);
  EXPECT_EQ(frame->unlocks, 1);
  EXPECT_TRUE(frame->lock_was_for_reading);
}

TEST(DumpTga, WritesOneBlockEvenWhenPixelsDoNotFillThePitch) {
  const ScratchFolder folder;
  // 16 * 8 / 24 = 5 pixels a row: 2 rows are the first 30 bytes of memory.
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), Frame(Describe(1, 50, 3, 2), 16, 16)),
            0);
  const Bytes file = folder.Read("a.tga");
  ASSERT_EQ(file.size(), 18u + 30);
  EXPECT_EQ(Number(file, 12, 2), 5u);
  EXPECT_EQ(file[18 + 15], 0x0F);
  EXPECT_EQ(file[18 + 16], 0x10);
  EXPECT_EQ(file[18 + 29], 0x1D);
}

TEST(DumpTga, A1920WideBgraFrameIs1920Or2048WideByItsPitch) {
  const ScratchFolder folder;
  for (const int32_t pitch : {7680, 8192}) {
    SCOPED_TRACE(pitch);
    const auto frame = std::make_shared<HostFrame>(Describe(1, 45, 1920, 3));
    frame->memory[0].assign(static_cast<size_t>(pitch) * 3, 1);
    frame->planes[0] = frame->memory[0].data();
    frame->pitches[0] = pitch;
    EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
    EXPECT_EQ(Number(folder.Read("a.tga"), 12, 2), pitch == 7680 ? 1920u : 2048u);
    EXPECT_EQ(folder.Size("a.tga"), 18u + static_cast<size_t>(pitch) * 3);
  }
}

TEST(DumpTga, CutsAWidthBeyond16Bits) {
  const ScratchFolder folder;
  const auto frame = std::make_shared<HostFrame>(Describe(1, 1, 70000, 1));
  frame->memory[0].assign(70016, 1);
  frame->planes[0] = frame->memory[0].data();
  frame->pitches[0] = 70016;
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
  EXPECT_EQ(Number(folder.Read("a.tga"), 12, 2), 70016u - 65536);
  EXPECT_EQ(folder.Size("a.tga"), 18u + 70016);
}

TEST(DumpTga, FailsWithoutAFileWhenTheFrameCannotBeLocked) {
  const ScratchFolder folder;
  const auto frame = SmallFrame();
  frame->lock_status = -2;
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), -1);
  EXPECT_TRUE(folder.IsEmpty());
  EXPECT_EQ(frame->unlocks, 0);
}

TEST(DumpTga, FailsWithoutAFileWhenAPixelHasNoBits) {
  const ScratchFolder folder;
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), Frame(Said(1, 3, 2, 0), 4, 4)), -1);
  EXPECT_TRUE(folder.IsEmpty());
}

TEST(DumpTga, WritesNoRowsWithoutAPitchAHeightOrAPlane) {
  struct Case {
    const char* name;
    int32_t pitch;
    uint32_t height;
    bool plane;
  };
  for (const Case& row :
       {Case{"no pitch", 0, 2, true}, Case{"negative pitch", -16, 2, true},
        Case{"no height", 16, 0, true}, Case{"negative height", 16, 0xFFFFFFFE, true},
        Case{"no plane", 16, 2, false}}) {
    SCOPED_TRACE(row.name);
    const ScratchFolder folder;
    const auto frame = std::make_shared<HostFrame>(Said(45, 3, row.height, 8));
    frame->AddPlane(0, 16, 16, 2);
    frame->pitches[0] = row.pitch;
    if (!row.plane) frame->planes[0] = nullptr;
    EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
    EXPECT_EQ(folder.Size("a.tga"), 18u);
  }
}

}  // namespace
}  // namespace mivare
