#include "blank_fill.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mivare/media_buffer.h"
#include "support/log_capture.h"
#include "support/request.h"

namespace mivare::test {
namespace {

constexpr uint8_t kOld = 0xEE;  // what every byte holds before

/// A host frame whose planes lie apart, each between two strips of `kGuard` bytes.
class PlaneFrame final : public IMediaBuffer {
 public:
  static constexpr size_t kGuard = 64;

  explicit PlaneFrame(MediaDescPtr desc) : desc_(std::move(desc)) {}

  /// Room for `rows` rows of |pitch| bytes; a negative pitch starts at the last one.
  void AddPlane(int32_t pitch, size_t rows) {
    Plane plane;
    plane.pitch = pitch;
    const size_t row = static_cast<size_t>(pitch < 0 ? -pitch : pitch);
    plane.bytes.assign(2 * kGuard + row * rows, kOld);
    plane.start = kGuard + (pitch < 0 ? row * (rows - 1) : 0);
    planes_.push_back(std::move(plane));
  }
  void AddNullPlane() { planes_.emplace_back(); }

  /// The plane's bytes between the guards, which must be as they were.
  std::vector<uint8_t> Bytes(size_t index) const {
    const std::vector<uint8_t>& all = planes_[index].bytes;
    for (size_t i = 0; i < kGuard; ++i) {
      EXPECT_EQ(all[i], kOld);
      EXPECT_EQ(all[all.size() - 1 - i], kOld);
    }
    return {all.begin() + kGuard, all.end() - kGuard};
  }

  int32_t Lock(uint8_t* planes[8], int32_t pitches[8], void*, uint32_t*) override {
    ++locks;
    for (int i = 0; i < 8; ++i) {
      EXPECT_EQ(planes[i], nullptr);
      EXPECT_EQ(pitches[i], 0);
    }
    if (lock_result != 0) return lock_result;
    for (size_t i = 0; i < planes_.size(); ++i) {
      pitches[i] = planes_[i].pitch;
      if (!planes_[i].bytes.empty()) planes[i] = planes_[i].bytes.data() + planes_[i].start;
    }
    return 0;
  }
  int32_t Unlock() override {
    ++unlocks;
    return 0;
  }
  IMediaDesc* GetDesc(uint32_t) override { return desc_.get(); }
  int32_t CopyFrom(IMediaBuffer*) override { return -1; }
  int32_t SetData(const uint8_t*, int32_t) override { return -1; }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t) override { return nullptr; }
  int32_t SetDataSize(int32_t) override { return -1; }
  std::shared_ptr<void> QueryObject(uint32_t, uint64_t) override { return nullptr; }
  void* QueryNative(uint32_t) override { return nullptr; }
  bool IsDeviceMemory() override { return false; }
  bool AppendData(const uint8_t*, uint32_t) override { return false; }
  void Flush() override {}

  int lock_result = 0;
  int locks = 0;
  int unlocks = 0;

 private:
  struct Plane {
    int32_t pitch = 0;
    size_t start = 0;
    std::vector<uint8_t> bytes;
  };
  MediaDescPtr desc_;
  std::vector<Plane> planes_;
};

std::vector<uint8_t> Repeat(uint8_t value, size_t count) {
  return std::vector<uint8_t>(count, value);
}

/// `rows` rows of `samples` little-endian words in `pitch` bytes, the rest as before.
std::vector<uint8_t> Words(uint8_t low, uint8_t high, size_t samples, size_t pitch, size_t rows) {
  std::vector<uint8_t> bytes(pitch * rows, kOld);
  for (size_t row = 0; row < rows; ++row) {
    for (size_t i = 0; i < samples; ++i) {
      bytes[row * pitch + 2 * i] = low;
      bytes[row * pitch + 2 * i + 1] = high;
    }
  }
  return bytes;
}

TEST(BlankFillTest, FillsPlanar420WithZeroAnd128AcrossThePadding) {
  for (const uint32_t range : {0U, 1U}) {  // makes no difference here
    PlaneFrame frame(VideoRequest(1, 5, 3));
    frame.GetDesc(0)->SetVideoSignalRange(range);
    frame.AddPlane(8, 3);
    frame.AddPlane(4, 2);
    frame.AddPlane(4, 2);
    BlankFill(&frame);
    EXPECT_EQ(frame.Bytes(0), Repeat(0, 24));
    EXPECT_EQ(frame.Bytes(1), Repeat(128, 8));
    EXPECT_EQ(frame.Bytes(2), Repeat(128, 8));
    EXPECT_EQ(frame.locks, 1);
    EXPECT_EQ(frame.unlocks, 1);
  }
}

TEST(BlankFillTest, LeavesRowsBelowThePictureAlone) {
  PlaneFrame frame(VideoRequest(1, 4, 2));
  frame.AddPlane(4, 4);
  frame.AddPlane(2, 4);
  BlankFill(&frame);
  EXPECT_EQ(frame.Bytes(0), (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 0, kOld, kOld, kOld, kOld,
                                                  kOld, kOld, kOld, kOld}));
  EXPECT_EQ(frame.Bytes(1), (std::vector<uint8_t>{128, 128, kOld, kOld, kOld, kOld, kOld, kOld}));
}

TEST(BlankFillTest, MakesTheAlphaOf55Zero) {
  PlaneFrame frame(VideoRequest(55, 4, 4));
  frame.AddPlane(4, 4);
  frame.AddPlane(2, 2);
  frame.AddPlane(2, 2);
  frame.AddPlane(4, 4);
  BlankFill(&frame);
  EXPECT_EQ(frame.Bytes(0), Repeat(0, 16));
  EXPECT_EQ(frame.Bytes(1), Repeat(128, 4));
  EXPECT_EQ(frame.Bytes(2), Repeat(128, 4));
  EXPECT_EQ(frame.Bytes(3), Repeat(0, 16));
}

TEST(BlankFillTest, TenBitLumaFollowsTheSignalRange) {
  const struct {
    uint32_t range;
    uint8_t luma;
  } cases[] = {{0, 64}, {1, 0}, {2, 0}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.range);
    PlaneFrame frame(VideoRequest(2, 5, 3));
    frame.GetDesc(0)->SetVideoSignalRange(row.range);
    frame.AddPlane(16, 3);
    frame.AddPlane(8, 2);
    frame.AddPlane(8, 2);
    BlankFill(&frame);
    EXPECT_EQ(frame.Bytes(0), Words(row.luma, 0, 5, 16, 3));
    EXPECT_EQ(frame.Bytes(1), Words(0, 2, 3, 8, 2));  // 512 = 0x0200, (5 + 1) / 2 samples
    EXPECT_EQ(frame.Bytes(2), Words(0, 2, 3, 8, 2));
  }
}

TEST(BlankFillTest, PackedAndGreyFramesAreZero) {
  for (const int32_t smt : {44, 45, 48, 15000}) {
    SCOPED_TRACE(smt);
    PlaneFrame frame(VideoRequest(smt, 4, 3));
    frame.AddPlane(20, 3);
    frame.AddPlane(20, 3);
    BlankFill(&frame);
    EXPECT_EQ(frame.Bytes(0), Repeat(0, 60));
    EXPECT_EQ(frame.Bytes(1), Repeat(kOld, 60));
  }
}

TEST(BlankFillTest, OtherFormatsAreLoggedAndLeftAlone) {
  for (const int32_t smt : {3, 6, 46, 50, 60, 70}) {
    SCOPED_TRACE(smt);
    const LogCapture log;
    PlaneFrame frame(VideoRequest(smt, 4, 2));
    frame.AddPlane(16, 2);
    BlankFill(&frame);
    EXPECT_EQ(log.Count(6, "error! file[mivare/hybrid_frame_allocator] line[331] fmt[" +
                               std::to_string(smt) + "]"),
              1);
    EXPECT_EQ(frame.Bytes(0), Repeat(kOld, 32));
  }
}

TEST(BlankFillTest, ANullFrameIsLogged) {
  const LogCapture log;
  BlankFill(nullptr);
  EXPECT_EQ(log.Count(6, "error! file[mivare/hybrid_frame_allocator] line[236]"), 1);
}

TEST(BlankFillTest, SkipsNullPlanes) {
  PlaneFrame frame(VideoRequest(1, 4, 2));
  frame.AddPlane(4, 2);
  frame.AddNullPlane();
  frame.AddPlane(2, 1);
  BlankFill(&frame);
  EXPECT_EQ(frame.Bytes(0), Repeat(0, 8));
  EXPECT_EQ(frame.Bytes(2), Repeat(128, 2));
}

TEST(BlankFillTest, AFrameThatCannotBeLockedIsLeftAlone) {
  PlaneFrame frame(VideoRequest(1, 4, 2));
  frame.AddPlane(4, 2);
  frame.lock_result = -2;
  BlankFill(&frame);
  EXPECT_EQ(frame.Bytes(0), Repeat(kOld, 8));
  EXPECT_EQ(frame.unlocks, 0);
}

TEST(BlankFillTest, RowsThatRunUpwardsStayInsideTheirPlane) {
  PlaneFrame bytes(VideoRequest(45, 4, 3));
  bytes.AddPlane(-16, 3);
  BlankFill(&bytes);
  EXPECT_EQ(bytes.Bytes(0), Repeat(0, 48));

  PlaneFrame words(VideoRequest(2, 4, 3));
  words.GetDesc(0)->SetVideoSignalRange(0);
  words.AddPlane(-8, 3);
  BlankFill(&words);
  EXPECT_EQ(words.Bytes(0), Words(64, 0, 4, 8, 3));
}

TEST(BlankFillTest, NeverWritesMoreOfARowThanThePitchHolds) {
  PlaneFrame frame(VideoRequest(2, 100, 3));
  frame.GetDesc(0)->SetVideoSignalRange(0);
  frame.AddPlane(7, 3);  // three samples and half of one
  frame.AddPlane(0, 2);
  BlankFill(&frame);
  EXPECT_EQ(frame.Bytes(0), Words(64, 0, 3, 7, 3));
  EXPECT_EQ(frame.Bytes(1), Repeat(kOld, 0));
}

TEST(BlankFillTest, FramesWithoutASizeStayAsTheyAre) {
  for (const int32_t smt : {1, 2, 45}) {
    SCOPED_TRACE(smt);
    PlaneFrame frame(MakeMediaDesc(1, smt));
    frame.AddPlane(16, 2);
    BlankFill(&frame);
    EXPECT_EQ(frame.Bytes(0), Repeat(kOld, 32));
  }
}

}  // namespace
}  // namespace mivare::test
