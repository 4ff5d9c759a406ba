#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "allocator.h"
#include "base/block_source.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "orlo/md5.h"
#include "support/failing_blocks.h"
#include "support/fake_desc.h"
#include "support/host_frame.h"
#include "support/request.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::FailingBlocks;
using test::HostFrame;
using test::Said;
using test::VideoRequest;
using Bytes = std::vector<uint8_t>;

constexpr char kDigestOfAbc[] = "900150983cd24fb0d6963f7d28e17f72";      // RFC 1321
constexpr char kDigestOfNothing[] = "d41d8cd98f00b204e9800998ecf8427e";  // RFC 1321

// Scratch blocks come filled with `kOld` for a scope.
constexpr uint8_t kOld = 0xA5;
class FilledBlocks {
 public:
  FilledBlocks() { SetBlockSource(&kSource); }
  ~FilledBlocks() { SetBlockSource(nullptr); }
  FilledBlocks(const FilledBlocks&) = delete;
  FilledBlocks& operator=(const FilledBlocks&) = delete;

 private:
  static uint8_t* NewBytes(size_t size) {
    uint8_t* block = kProcessBlockSource.new_bytes(size);
    std::memset(block, kOld, size);
    return block;
  }
  static constexpr BlockSource kSource{&NewBytes, nullptr, nullptr};
};

std::shared_ptr<HostFrame> Holding(MediaDescPtr desc, int32_t pitch, Bytes memory) {
  auto frame = std::make_shared<HostFrame>(std::move(desc));
  frame->memory[0] = std::move(memory);
  frame->planes[0] = frame->memory[0].data();
  frame->pitches[0] = pitch;
  return frame;
}

std::string DigestOf(const Bytes& bytes) {
  return orlo::md5::MD5String(bytes.data(), bytes.size());
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

TEST(BufferMd5, HashesTheVisibleBytesOfSmt1AndNoOthers) {
  const auto frame = Holding(VideoRequest(1, 1, 3), 4, {'a', 9, 9, 9, 'b', 9, 9, 9, 'c'});
  frame->AddPlane(1, 4, 4, 1);
  std::string digest = "old";
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), 0);
  EXPECT_EQ(digest, kDigestOfAbc);
  EXPECT_EQ(frame->locks, 1);
  EXPECT_EQ(frame->unlocks, 1);
  EXPECT_TRUE(frame->lock_was_for_reading);
}

TEST(BufferMd5, HashesASingleRowOfEachFormatByteByByte) {
  struct Case {
    int32_t smt;
    size_t pixel_bytes;
  };
  for (const Case& row : {Case{1, 1}, {2, 2}, {45, 4}, {46, 8}}) {
    SCOPED_TRACE(row.smt);
    const Bytes bytes = Counting(1, 3 * row.pixel_bytes);
    const auto frame = Holding(VideoRequest(row.smt, 3, 1), 256, bytes);
    std::string digest;
    EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), 0);
    EXPECT_EQ(digest, DigestOf(bytes));
  }
}

// Two pixels a row: each row starts 2 bytes behind the one above and overwrites its tail; what no
// row has reached stays.
TEST(BufferMd5, LaysWiderRowsOverOneAnother) {
  const FilledBlocks blocks;
  struct Case {
    int32_t smt;
    size_t row_bytes;
    Bytes block;
  };
  for (const Case& row : {
           Case{1, 2, Counting(0, 2) + Counting(20, 2) + Counting(40, 2)},
           Case{2, 4, Counting(0, 2) + Counting(20, 2) + Counting(40, 4) + Bytes(4, kOld)},
           Case{45, 8, Counting(0, 2) + Counting(20, 2) + Counting(40, 8) + Bytes(12, kOld)},
           Case{46, 16, Counting(0, 2) + Counting(20, 2) + Counting(40, 16) + Bytes(28, kOld)},
       }) {
    SCOPED_TRACE(row.smt);
    const auto frame =
        Holding(VideoRequest(row.smt, 2, 3), 20, Counting(0, 2 * 20 + row.row_bytes));
    std::string digest;
    EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), 0);
    EXPECT_EQ(digest, DigestOf(row.block));
  }
}

TEST(BufferMd5, ReadsWholeRowsWhateverThePitch) {
  // Rows that overlap in memory, rows that lie upside down, one row again and again.
  const auto overlapping = Holding(VideoRequest(1, 4, 2), 1, Counting(0, 5));
  const auto upside_down = Holding(VideoRequest(1, 4, 2), -4, Counting(0, 8));
  upside_down->planes[0] += 4;
  const auto repeated = Holding(VideoRequest(1, 4, 2), 0, Counting(0, 4));
  std::string digest;
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(overlapping.get(), &digest), 0);
  EXPECT_EQ(digest, DigestOf(Counting(0, 4) + Counting(1, 4)));
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(upside_down.get(), &digest), 0);
  EXPECT_EQ(digest, DigestOf(Counting(4, 4) + Counting(0, 4)));
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(repeated.get(), &digest), 0);
  EXPECT_EQ(digest, DigestOf(Counting(0, 4) + Counting(0, 4)));
}

// Rows without a gap in between, 64 pixels wide.
TEST(BufferMd5, OfAFrameOfTheLibraryIsThatOfItsLaidRows) {
  const auto allocator = MakeCpuAllocator();
  struct Case {
    int32_t smt;
    size_t row_bytes;
  };
  for (const Case& row : {Case{1, 64}, {2, 128}, {45, 256}, {46, 512}}) {
    SCOPED_TRACE(row.smt);
    const MediaDescPtr desc = VideoRequest(row.smt, 64, 64);
    const auto frame = allocator->Alloc(desc.get(), nullptr, nullptr);
    ASSERT_NE(frame, nullptr);
    Bytes laid(row.row_bytes * 64, kOld);
    {
      const LockedBuffer locked(*frame, false);
      ASSERT_EQ(locked.pitch(0), static_cast<int32_t>(row.row_bytes));
      for (size_t y = 0; y < 64; ++y) {
        const Bytes bytes = Counting(static_cast<uint8_t>(y * 3), row.row_bytes);
        std::copy(bytes.begin(), bytes.end(), locked.plane(0) + y * row.row_bytes);
        std::copy(bytes.begin(), bytes.end(), laid.begin() + static_cast<std::ptrdiff_t>(y * 64));
      }
    }
    const FilledBlocks blocks;
    std::string digest;
    EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), 0);
    EXPECT_EQ(digest, DigestOf(laid));
  }
}

// Whatever pitch a host may give a frame of the library, the rows are inside its block.
TEST(BufferMd5, StaysInsideFramesOfTheLibrary) {
  const test::TrovelBalance balance;
  const auto allocator = MakeCpuAllocator();
  for (const int32_t smt : {1, 2, 45, 46}) {
    SCOPED_TRACE(smt);
    const MediaDescPtr desc = VideoRequest(smt, 64, 64);
    const auto frame = allocator->Alloc(desc.get(), nullptr, nullptr);
    ASSERT_NE(frame, nullptr);
    std::string digest;
    for (const int32_t pitch : {1, 3, 63, 64, 127, 128, 255, 256, 511, 512}) {
      int32_t pitches[8] = {pitch, 32, 32};
      frame->GetDesc(0)->SetPitches(pitches);
      digest.clear();
      EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), 0);
      EXPECT_EQ(digest.size(), 32U);
    }
  }
}

TEST(BufferMd5, OfAnEmptyPictureIsThatOfNothing) {
  for (const auto& [width, height] : {std::pair(0, 2), std::pair(2, 0), std::pair(0, 0)}) {
    const auto frame =
        Holding(Said(45, static_cast<uint32_t>(width), static_cast<uint32_t>(height)), 8, {0});
    std::string digest;
    EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), 0);
    EXPECT_EQ(digest, kDigestOfNothing);
  }
}

TEST(BufferMd5, RefusesEveryOtherFormat) {
  for (const int32_t smt : {0, 3, 5, 6, 7, 11, 16, 26, 44, 47, 48, 49, 50, 55, 60, 70, 15000}) {
    SCOPED_TRACE(smt);
    const auto frame = Holding(Said(smt, 2, 1), 64, Bytes(64));
    std::string digest = "old";
    EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), -1);
    EXPECT_EQ(digest, "old");
    EXPECT_EQ(frame->locks, 0);
  }
}

TEST(BufferMd5, RefusesWhatIsMissing) {
  std::string digest = "old";
  const auto frame = Holding(VideoRequest(1, 2, 1), 2, Bytes(2));
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(nullptr, &digest), -1);
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(nullptr, nullptr), -1);
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), nullptr), -1);
  HostFrame bare(nullptr);
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(&bare, &digest), -1);
  EXPECT_EQ(frame->locks + bare.locks, 0);
  frame->planes[0] = nullptr;
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), -1);
  EXPECT_EQ(frame->unlocks, 1);
  EXPECT_EQ(digest, "old");
}

TEST(BufferMd5, RefusesABufferThatCannotBeLocked) {
  const auto frame = Holding(VideoRequest(1, 2, 1), 2, Bytes(2));
  frame->lock_status = -2;
  std::string digest = "old";
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), -1);
  EXPECT_EQ(frame->unlocks, 0);
  EXPECT_EQ(digest, "old");
}

TEST(BufferMd5, FailsWithoutMemory) {
  const auto frame = Holding(VideoRequest(1, 2, 1), 2, Bytes(2));
  std::string digest = "old";
  const FailingBlocks no_memory;
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), -1);
  EXPECT_EQ(frame->unlocks, 1);
  EXPECT_EQ(digest, "old");
}

TEST(BufferMd5, RefusesSizesThatNoBlockHas) {
  struct Case {
    int32_t smt;
    uint32_t width;
    uint32_t height;
  };
  for (const Case& row : {
           Case{46, INT32_MAX, INT32_MAX},  // 2^65 bytes, less some
           Case{1, 0xFFFFFFFF, 1},
           Case{1, 1, 0xFFFFFFFF},
           Case{45, 0x80000000, 0x80000000},
       }) {
    SCOPED_TRACE(testing::Message() << row.smt << ", " << row.width << " x " << row.height);
    const auto frame = Holding(Said(row.smt, row.width, row.height), 0, Bytes(8));
    std::string digest = "old";
    EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), -1);
    EXPECT_EQ(frame->unlocks, frame->locks);
    EXPECT_EQ(digest, "old");
  }
}

TEST(BufferMd5, LetsNoExceptionOut) {
  const auto frame = Holding(VideoRequest(1, 2, 1), 2, Bytes(2));
  frame->throws = true;
  std::string digest;
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(frame.get(), &digest), -1);
}

}  // namespace
}  // namespace mivare
