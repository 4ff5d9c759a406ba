#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "support/failing_new.h"
#include "support/fake_desc.h"
#include "support/host_frame.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/scratch_folder.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::Bytes;
using test::FailingNew;
using test::HostFrame;
using test::LogCapture;
using test::Said;
using test::ScratchFolder;
using test::VideoRequest;

constexpr uint8_t kPad = test::kPadding;

void Put(Bytes& file, size_t offset, uint32_t value, size_t size) {
  for (size_t i = 0; i < size; ++i) file.at(offset + i) = static_cast<uint8_t>(value >> (8 * i));
}

// The two headers, with something that no reader should look at wherever it should not.
Bytes Headers(uint32_t width, uint32_t height, uint32_t bits, uint32_t compression = 0) {
  Bytes file(54, 0xC3);
  Put(file, 18, width, 4);
  Put(file, 22, height, 4);
  Put(file, 28, bits, 2);
  Put(file, 30, compression, 4);
  return file;
}

// first, first + 1, ...
Bytes Counting(uint8_t first, size_t count) {
  Bytes bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(first + i);
  return bytes;
}

Bytes operator+(Bytes front, const Bytes& back) {
  front.insert(front.end(), back.begin(), back.end());
  return front;
}

// A frame whose rows hold padding everywhere, with nothing behind the last pixel.
std::shared_ptr<HostFrame> Blank(MediaDescPtr desc, int32_t pitch, size_t row_bytes, size_t rows) {
  auto frame = std::make_shared<HostFrame>(std::move(desc));
  frame->memory[0].assign(static_cast<size_t>(pitch) * (rows - 1) + row_bytes, kPad);
  frame->planes[0] = frame->memory[0].data();
  frame->pitches[0] = pitch;
  return frame;
}

// 2 x 2 pixels, and two bytes between the rows.
std::shared_ptr<HostFrame> SmallFrame(int32_t smt = 45) {
  return Blank(VideoRequest(smt, 2, 2), 10, 8, 2);
}

bool IsUntouched(const HostFrame& frame) {
  return frame.memory[0] == Bytes(frame.memory[0].size(), kPad);
}

bool Load(const Bytes& file, const std::shared_ptr<HostFrame>& frame) {
  const ScratchFolder folder;
  folder.Write("a.bmp", file);
  return NUXMivareLoadBMP(folder.File("a.bmp").c_str(), frame);
}

TEST(LoadBmp, ReadsRowsFromTheBottomUp) {
  const auto frame = SmallFrame();
  const LogCapture log;
  EXPECT_TRUE(Load(Headers(2, 2, 32) + Counting(0, 16), frame));
  EXPECT_EQ(frame->memory[0], Counting(8, 8) + Bytes(2, kPad) + Counting(0, 8));
  EXPECT_EQ(frame->locks, 1);
  EXPECT_EQ(frame->unlocks, 1);
  EXPECT_FALSE(frame->lock_was_for_reading);
  EXPECT_EQ(frame.use_count(), 1);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(LoadBmp, TakesFourBytesAPixelAlsoFromRowsOfThree) {
  const auto frame = SmallFrame();
  EXPECT_TRUE(Load(Headers(2, 2, 24) + Counting(0, 16), frame));
  // Each row is 8 bytes of the file, of which the pixels are the first 6.
  EXPECT_EQ(frame->memory[0], (Bytes{8, 9, 10, 255, 11, 12, 13, 255, kPad, kPad,  //
                                     0, 1, 2, 255, 3, 4, 5, 255}));
}

TEST(LoadBmp, FollowsRowsThatLieUpsideDownInMemory) {
  const auto frame = SmallFrame();
  frame->planes[0] += 10;
  frame->pitches[0] = -10;
  EXPECT_TRUE(Load(Headers(2, 2, 32) + Counting(0, 16), frame));
  EXPECT_EQ(frame->memory[0], Counting(0, 8) + Bytes(2, kPad) + Counting(8, 8));
}

TEST(LoadBmp, ReadsOverTheMasksOfBitFields) {
  const auto frame = SmallFrame();
  EXPECT_TRUE(Load(Headers(2, 2, 32, 3) + Bytes(12, 0xAA) + Counting(0, 16), frame));
  EXPECT_EQ(frame->memory[0], Counting(8, 8) + Bytes(2, kPad) + Counting(0, 8));
}

TEST(LoadBmp, ReadsOverNothingForOtherCompressions) {
  for (const uint32_t compression : {0U, 1U, 2U, 4U, 6U, 0x103U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(compression);
    const auto frame = SmallFrame();
    EXPECT_TRUE(Load(Headers(2, 2, 32, compression) + Counting(0, 16), frame));
    EXPECT_EQ(frame->memory[0], Counting(8, 8) + Bytes(2, kPad) + Counting(0, 8));
  }
}

TEST(LoadBmp, WritesZerosWhereMasksAreAllThatAFileHas) {
  for (size_t masks = 0; masks <= 12; ++masks) {
    SCOPED_TRACE(masks);
    const auto frame = SmallFrame();
    EXPECT_TRUE(Load(Headers(2, 2, 32, 3) + Bytes(masks, 0xAA), frame));
    EXPECT_EQ(frame->memory[0], Bytes(8, 0) + Bytes(2, kPad) + Bytes(8, 0));
  }
}

TEST(LoadBmp, KeepsWhatItReadLastInTheRowsThatAFileLacks) {
  const auto frame = Blank(VideoRequest(45, 2, 3), 8, 8, 3);
  EXPECT_TRUE(Load(Headers(2, 3, 32) + Counting(1, 8) + Bytes{91, 92, 93}, frame));
  const Bytes last = {91, 92, 93, 4, 5, 6, 7, 8};
  EXPECT_EQ(frame->memory[0], last + last + Counting(1, 8));
}

TEST(LoadBmp, WritesOpaqueBlackForA24BitFileWithoutPixels) {
  const auto frame = SmallFrame();
  EXPECT_TRUE(Load(Headers(2, 2, 24), frame));
  const Bytes row = {0, 0, 0, 255, 0, 0, 0, 255};
  EXPECT_EQ(frame->memory[0], row + Bytes(2, kPad) + row);
}

TEST(LoadBmp, TakesRowsOfTheFileAsWideAsTheDepthSays) {
  struct Case {
    uint32_t depth;
    Bytes memory;
  };
  for (const Case& row : {
           Case{0, Bytes(4, 0) + Bytes(4, 0)},           // nothing is read
           Case{8, Counting(4, 4) + Counting(0, 4)},     //
           Case{9, Counting(8, 4) + Counting(0, 4)},     // 16 bits a component
           Case{16, Counting(8, 4) + Counting(0, 4)},    //
           Case{17, Counting(12, 4) + Counting(0, 4)},   // 24
           Case{UINT32_MAX, Bytes(4, 0) + Bytes(4, 0)},  // wraps to 0
       }) {
    SCOPED_TRACE(row.depth);
    const auto frame = Blank(Said(45, 1, 2, row.depth), 4, 4, 2);
    EXPECT_TRUE(Load(Headers(1, 2, 32) + Counting(0, 24), frame));
    EXPECT_EQ(frame->memory[0], row.memory);
  }
}

TEST(LoadBmp, RefusesAnythingButSmt45WithoutReadingPixels) {
  for (const int32_t smt : {44, 46, 47, 48, 50, 51, 1, 15000}) {
    SCOPED_TRACE(smt);
    const auto frame = SmallFrame(smt);
    EXPECT_FALSE(Load(Headers(2, 2, 32) + Counting(0, 16), frame));
    EXPECT_TRUE(IsUntouched(*frame));
    EXPECT_EQ(frame->locks, 0);
  }
}

TEST(LoadBmp, CopiesNothingOfOtherDepths) {
  for (const uint32_t bits :
       {0U, 1U, 4U, 8U, 15U, 16U, 23U, 25U, 31U, 33U, 48U, 64U, 0x118U, 0x120U, 65535U}) {
    SCOPED_TRACE(bits);
    const auto frame = SmallFrame();
    EXPECT_FALSE(Load(Headers(2, 2, bits) + Counting(0, 64), frame));
    EXPECT_TRUE(IsUntouched(*frame));
    EXPECT_EQ(frame->unlocks, frame->locks);
  }
}

TEST(LoadBmp, RefusesOtherSizes) {
  constexpr uint32_t kLeast = 0x80000000;
  constexpr uint32_t kSides[] = {0,      1,          3,       0xFFFFFFFF, 0xFFFFFFFE,
                                 kLeast, 0x7FFFFFFF, 0x20002, 0x40000000, 0x80000002};
  for (const uint32_t side : kSides) {
    SCOPED_TRACE(side);
    for (const uint32_t bits : {24U, 32U}) {
      const auto frame = SmallFrame();
      EXPECT_FALSE(Load(Headers(side, 2, bits) + Counting(0, 16), frame));
      EXPECT_FALSE(Load(Headers(2, side, bits) + Counting(0, 16), frame));
      EXPECT_FALSE(Load(Headers(side, side, bits) + Counting(0, 16), frame));
      EXPECT_TRUE(IsUntouched(*frame));
      EXPECT_EQ(frame->locks, 0);
    }
  }
}

// A file that agrees with a description that no frame has.
TEST(LoadBmp, RefusesSizesBelowOneThatAreTheFramesOwn) {
  struct Case {
    uint32_t width;
    uint32_t height;
  };
  for (const Case& row : {Case{0, 2},
                          {2, 0},
                          {0, 0},
                          {0xFFFFFFFE, 2},
                          {2, 0xFFFFFFFE},
                          {0x80000000, 1},
                          {1, 0x80000000},
                          {0x80000000, 0x80000000}}) {
    SCOPED_TRACE(testing::Message() << row.width << " x " << row.height);
    const auto frame = Blank(Said(45, row.width, row.height), 8, 8, 2);
    EXPECT_FALSE(Load(Headers(row.width, row.height, 32) + Counting(0, 16), frame));
    EXPECT_TRUE(IsUntouched(*frame));
  }
}

TEST(LoadBmp, RefusesHeadersCutShort) {
  const Bytes headers = Headers(2, 2, 32);
  for (size_t length = 0; length < headers.size(); ++length) {
    SCOPED_TRACE(length);
    const auto frame = SmallFrame();
    EXPECT_FALSE(
        Load(Bytes(headers.begin(), headers.begin() + static_cast<ptrdiff_t>(length)), frame));
    EXPECT_TRUE(IsUntouched(*frame));
  }
  const auto frame = SmallFrame();
  EXPECT_TRUE(Load(headers, frame));
}

TEST(LoadBmp, RefusesFramesThatCannotBeWritten) {
  const Bytes file = Headers(2, 2, 32) + Counting(0, 16);
  const auto unlockable = SmallFrame();
  unlockable->lock_status = -2;
  EXPECT_FALSE(Load(file, unlockable));
  EXPECT_TRUE(IsUntouched(*unlockable));
  EXPECT_EQ(unlockable->unlocks, 0);

  const auto without_plane = SmallFrame();
  without_plane->planes[0] = nullptr;
  EXPECT_FALSE(Load(file, without_plane));
  EXPECT_EQ(without_plane->unlocks, 1);
}

TEST(LoadBmp, RefusesWhatItCannotOpenOrDescribe) {
  const ScratchFolder folder;
  const LogCapture log;
  const auto frame = SmallFrame();
  EXPECT_FALSE(NUXMivareLoadBMP(nullptr, frame));
  EXPECT_FALSE(NUXMivareLoadBMP(folder.File("missing.bmp").c_str(), frame));
  EXPECT_TRUE(folder.IsEmpty()) << "nothing is created";
  EXPECT_FALSE(Load(Headers(2, 2, 32), std::make_shared<HostFrame>(nullptr)));
  EXPECT_EQ(frame->locks, 0);
  EXPECT_EQ(frame.use_count(), 1);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(LoadBmp, RefusesAnEmptyBuffer) {
  const LogCapture log;
  EXPECT_FALSE(NUXMivareLoadBMP("a.bmp", nullptr));
  EXPECT_FALSE(NUXMivareLoadBMP(nullptr, nullptr));
  EXPECT_EQ(log.Count(6, "error! mivare::NUXMivareLoadBMP line[963]: mb is nullptr!"), 2);
  EXPECT_EQ(log.Lines().size(), 2U);
}

TEST(LoadBmp, LetsNoExceptionOut) {
  const auto frame = SmallFrame();
  frame->throws = true;
  EXPECT_FALSE(Load(Headers(2, 2, 32) + Counting(0, 16), frame));
  EXPECT_EQ(frame.use_count(), 1);
}

TEST(LoadBmp, FailsWithoutMemoryForARow) {
  const ScratchFolder folder;
  folder.Write("a.bmp", Headers(2, 2, 32) + Counting(0, 16));
  const std::string path = folder.File("a.bmp");
  const auto frame = SmallFrame();
  {
    const FailingNew no_memory(1);
    EXPECT_FALSE(NUXMivareLoadBMP(path.c_str(), frame));
    EXPECT_TRUE(no_memory.fired());
  }
  EXPECT_TRUE(IsUntouched(*frame));
  EXPECT_EQ(frame->unlocks, frame->locks);
}

TEST(LoadBmp, GivesBackEveryPixelThatWasDumped) {
  const test::TrovelBalance balance;
  const ScratchFolder folder;
  const std::string path = folder.File("a.bmp");
  const auto allocator = MakeCpuAllocator();
  struct Size {
    int32_t width;
    int32_t height;
  };
  for (const Size& size : {Size{1, 1}, {3, 5}, {64, 64}, {101, 35}, {640, 2}}) {
    SCOPED_TRACE(testing::Message() << size.width << " x " << size.height);
    const MediaDescPtr desc = VideoRequest(45, size.width, size.height);
    const auto frame = allocator->Alloc(desc.get(), nullptr, nullptr);
    const auto loaded = allocator->Alloc(desc.get(), nullptr, nullptr);
    ASSERT_TRUE(frame && loaded);
    const LockedBuffer from(*frame, true);
    const LockedBuffer to(*loaded, true);
    const auto row_bytes = 4 * static_cast<size_t>(size.width);
    for (int32_t y = 0; y < size.height; ++y) {
      const Bytes row = Counting(static_cast<uint8_t>(31 * y + 7), row_bytes);
      std::copy(row.begin(), row.end(), from.plane(0) + y * from.pitch(0));
    }
    ASSERT_EQ(NUXMivareDumpBMP(path.c_str(), frame), 0);
    ASSERT_TRUE(NUXMivareLoadBMP(path.c_str(), loaded));
    for (int32_t y = 0; y < size.height; ++y) {
      const uint8_t* row = to.plane(0) + y * to.pitch(0);
      EXPECT_EQ(Bytes(row, row + row_bytes), Counting(static_cast<uint8_t>(31 * y + 7), row_bytes));
    }
  }
}

}  // namespace
}  // namespace mivare
