#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mivare/buffer_views.h"
#include "mivare/helper.h"
#include "mivare/multi_camera.h"
#include "mivare/user_data.h"
#include "support/failing_new.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "support/recording_buffer.h"
#include "support/request.h"
#include "support/trovel_balance.h"

namespace mivare::test {
namespace {

class MediaBufferCropTest : public testing::Test {
 protected:
  using Rect = uint32_t[4];

  /// A crop of a frame that records, whose planes are `ground_` and what follows.
  std::shared_ptr<IMediaBuffer> Crop(IMediaDesc* desc, const Rect& rect) {
    frame_ = std::make_shared<RecordingBuffer>(desc);
    for (size_t i = 0; i < 8; ++i) {
      frame_->planes[i] = PlaneOf(i);
      frame_->pitches[i] = 100 + static_cast<int32_t>(i);
    }
    std::shared_ptr<IMediaBuffer> view;
    EXPECT_EQ(NUXMivareCreateMediaBufferCrop(frame_, rect, &view), 0);
    return view;
  }
  uint8_t* PlaneOf(size_t i) { return ground_ + 64 * i; }

  /// Where the planes of a lock are, in bytes behind those of the frame.
  std::vector<int64_t> Offsets(IMediaBuffer& view, size_t count) {
    uint8_t* planes[8] = {};
    int32_t pitches[8] = {};
    EXPECT_EQ(view.Lock(planes, pitches, nullptr, nullptr), 0);
    std::vector<int64_t> offsets;
    for (size_t i = 0; i < count; ++i) {
      offsets.push_back(static_cast<int64_t>(reinterpret_cast<uintptr_t>(planes[i]) -
                                             reinterpret_cast<uintptr_t>(PlaneOf(i))));
      EXPECT_EQ(pitches[i], frame_->pitches[i]) << "the frame's own";
    }
    for (size_t i = count; i < 8; ++i) EXPECT_EQ(planes[i], nullptr) << i;
    view.Unlock();
    return offsets;
  }
  static std::shared_ptr<IMediaBuffer> CropOf(const std::shared_ptr<IMediaBuffer>& frame,
                                              int32_t expected) {
    const Rect rect = {0, 0, 16, 16};
    std::shared_ptr<IMediaBuffer> view;
    EXPECT_EQ(NUXMivareCreateMediaBufferCrop(frame, rect, &view), expected);
    return view;
  }

  TrovelBalance balance_;
  LogCapture log_;
  uint8_t ground_[1024] = {};
  std::shared_ptr<RecordingBuffer> frame_;
};

TEST_F(MediaBufferCropTest, PassesOnWhatItsTableSays) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {0, 0, 16, 16});
  frame_->clone = std::make_shared<FakeBuffer>();
  EXPECT_EQ(Walk(*view, frame_.get()), (std::vector<Step>{{"Lock", "0", "Lock planes of its own"},
                                                          {"Unlock", "18", "Unlock"},
                                                          {"CopyFrom", "-1", ""},
                                                          {"SetData", "-1", ""},
                                                          {"Clone", "some", "Clone 7"},
                                                          {"GetDesc", "some", ""},
                                                          {"SetDataSize", "-1", ""},
                                                          {"QueryObject", "null", ""},
                                                          {"QueryNative", "null", ""},
                                                          {"IsDeviceMemory", "0", ""},
                                                          {"AppendData", "0", ""},
                                                          {"Flush", "", "Flush"}}));
  EXPECT_EQ(view->Clone(0), frame_->clone) << "the whole frame's clone";
}

TEST_F(MediaBufferCropTest, AtOneOneThePlanarChromaStaysInPlace) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  EXPECT_EQ(Offsets(*Crop(desc.get(), {1, 1, 16, 16}), 3), (std::vector<int64_t>{1 + 100, 0, 0}));
}

// At (7, 5): luma 7 columns and 5 rows of 100, chroma 3 columns and 2 rows of 101 and 102.
TEST_F(MediaBufferCropTest, MovesThePlanesOfEveryFormatItKnows) {
  const std::vector<int64_t> planar8 = {7 + 500, 3 + 202, 3 + 204};
  const std::vector<int64_t> planar16 = {14 + 500, 6 + 202, 6 + 204};
  const std::vector<int64_t> pairs8 = {7 + 500, 6 + 202};
  const std::vector<int64_t> pairs16 = {14 + 500, 12 + 202};
  const std::vector<int64_t> packed8 = {28 + 500};
  const std::vector<int64_t> packed16 = {56 + 500};
  const struct {
    int32_t smt;
    std::vector<int64_t> offsets;
  } cases[] = {
      {1, planar8},
      {2, planar16},
      {3, planar16},
      {6, pairs8},
      {7, pairs16},
      {8, pairs16},
      {45, packed8},
      {46, packed16},
      {47, packed8},
      {48, packed16},
      {50, packed8},
      {51, packed16},
      {55, {7 + 500, 3 + 202, 3 + 204, 7 + 515}},
      {56, {14 + 500, 6 + 202, 6 + 204, 14 + 515}},
      {15000, {7 + 500}},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE("smt " + std::to_string(row.smt));
    const MediaDescPtr desc = VideoRequest(row.smt, 64, 64);
    ASSERT_NE(desc, nullptr);
    const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {7, 5, 16, 16});
    EXPECT_EQ(Offsets(*view, row.offsets.size()), row.offsets);
  }
}

TEST_F(MediaBufferCropTest, OtherFormatsAreNotLockedAndLeaveTheFrameLocked) {
  for (const int32_t smt :
       {-1, 0, 4, 5, 9, 10, 11, 16, 44, 49, 52, 53, 54, 57, 58, 59, 60, 79, 10000, 14999, 15001}) {
    SCOPED_TRACE("smt " + std::to_string(smt));
    FakeDesc desc(1, smt);
    const std::shared_ptr<IMediaBuffer> view = Crop(&desc, {1, 1, 16, 16});
    uint8_t* planes[8] = {};
    int32_t pitches[8] = {};
    EXPECT_EQ(view->Lock(planes, pitches, nullptr, nullptr), -1);
    EXPECT_EQ(planes[0], nullptr);
    EXPECT_EQ(frame_->lock_reasons.size(), 1U);
    for (const std::string& call : frame_->calls) EXPECT_NE(call, "Unlock");
  }
}

TEST_F(MediaBufferCropTest, AnSmt10FrameIsMadeButNotLocked) {
  const MediaDescPtr desc = VideoRequest(10, 64, 64);
  const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {0, 0, 16, 16});
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  EXPECT_EQ(view->Lock(planes, pitches, nullptr, nullptr), -1);
}

TEST_F(MediaBufferCropTest, TheFramesFailureComesThroughWithThePlanesLeftAlone) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {1, 1, 16, 16});
  frame_->writes_when_refusing = true;
  for (const int32_t status : {-2, -1, 1}) {
    frame_->lock_status = status;
    uint8_t* planes[8] = {ground_};
    int32_t pitches[8] = {};
    EXPECT_EQ(view->Lock(planes, pitches, nullptr, nullptr), status);
    EXPECT_EQ(planes[0], ground_);
  }
}

TEST_F(MediaBufferCropTest, LockWithoutAnArrayIsRefused) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {1, 1, 16, 16});
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  EXPECT_EQ(view->Lock(nullptr, pitches, nullptr, nullptr), -1);
  EXPECT_EQ(view->Lock(planes, nullptr, nullptr, nullptr), -1);
  EXPECT_TRUE(frame_->lock_reasons.empty());
}

TEST_F(MediaBufferCropTest, PlanesThatTheFrameLacksStayNull) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {2, 2, 16, 16});
  frame_->planes[1] = nullptr;
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  EXPECT_EQ(view->Lock(planes, pitches, nullptr, nullptr), 0);
  EXPECT_NE(planes[0], nullptr);
  EXPECT_EQ(planes[1], nullptr);
}

// Coordinates count as signed and round towards 0; the row term wraps at 32 bits, the columns do
// not.
TEST_F(MediaBufferCropTest, AnyRectangleIsComputedWithoutOverflow) {
  const struct {
    const char* name;
    uint32_t x, y;
    int32_t pitch;
    std::vector<int64_t> offsets;  // luma, then interleaved chroma with the same pitch
  } cases[] = {
      {"left and above", 0xFFFFFFFDU, 0xFFFFFFFBU, 10, {-3 - 50, -2 - 20}},
      {"rightmost", 0x7FFFFFFFU, 0, 10, {0x7FFFFFFF, 0x7FFFFFFE}},
      {"leftmost", 0x80000000U, 0, 10, {-0x80000000LL, -0x80000000LL}},
      // 2147483647 * 3 = 6442450941 wraps to 2147483645; 1073741823 * 3 = 3221225469 to -1073741827
      {"lowest", 0, 0x7FFFFFFFU, 3, {2147483645, -1073741827}},
      // -2^31 * 3 wraps to -2^31; -2^30 * 3 = -3221225472 wraps to 1073741824
      {"highest", 0, 0x80000000U, 3, {-0x80000000LL, 1073741824}},
      {"bottom up", 0, 4, -16, {-64, -32}},
      // -2^31 * -2^31 wraps to 0; -2^30 * -2^31 as well
      {"both smallest", 0, 0x80000000U, INT32_MIN, {0, 0}},
  };
  const MediaDescPtr desc = VideoRequest(6, 64, 64);
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {row.x, row.y, 16, 16});
    frame_->pitches[0] = frame_->pitches[1] = row.pitch;
    EXPECT_EQ(Offsets(*view, 2), row.offsets);
  }
}

TEST_F(MediaBufferCropTest, ColumnsOfWidePixelsLeave32Bits) {
  const MediaDescPtr desc = VideoRequest(48, 64, 64);
  EXPECT_EQ(Offsets(*Crop(desc.get(), {0x7FFFFFFFU, 0, 16, 16}), 1),
            (std::vector<int64_t>{0x7FFFFFFFLL * 8}));
}

TEST_F(MediaBufferCropTest, TheDescriptionIsACopyOfTheRectanglesSize) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  desc->SetRotation(90);
  const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {4, 4, 20, 10});
  EXPECT_NE(view->GetDesc(0), desc.get());
  EXPECT_EQ(view->GetDesc(0)->GetWidth(), 20U);
  EXPECT_EQ(view->GetDesc(0)->GetHeight(), 10U);
  EXPECT_EQ(view->GetDesc(0)->GetSmt(), 1);
  EXPECT_EQ(view->GetDesc(0)->GetRotation(), 90U);
  EXPECT_EQ(desc->GetWidth(), 64U);
}

TEST_F(MediaBufferCropTest, HintsAreLostWithTheCopyIsOldIncluded) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  desc->GetUserDataConfig()->Set("user_keys::IsOld", true);
  desc->GetUserDataConfig()->Set("note", 1);
  const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {0, 0, 20, 10});
  orlo::ValAny value;
  EXPECT_EQ(view->GetDesc(0)->GetUserDataInquire()->Get("user_keys::IsOld", value), 0);
  EXPECT_EQ(view->GetDesc(0)->GetUserDataInquire()->Get("note", value), 1);
}

TEST_F(MediaBufferCropTest, TheCopyDrainsTheFramesCameraQueue) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  void* store = nullptr;
  desc->QueryProperty(kMultiCameraKey, &store);
  auto* cameras = static_cast<IVideoMultiCameraFrameManger*>(store);
  cameras->GetFrameConfig()->AddFrame("angle", 1, 2, 3);
  ASSERT_NE(cameras->GetFrameInquire(), nullptr);
  Crop(desc.get(), {0, 0, 20, 10});
  EXPECT_EQ(cameras->GetFrameInquire(), nullptr);
}

// A frame of 60 x 60 that is laid out has room for 64 x 64.
TEST_F(MediaBufferCropTest, ARectangleLargerThanThePaddedFrameKeepsTheFramesSize) {
  const MediaDescPtr desc = VideoRequest(1, 60, 60);
  ASSERT_GT(desc->GetFrameSize(), 0);
  const struct {
    const char* name;
    uint32_t width, height;
    uint32_t got_width, got_height;
    int refusals;
  } cases[] = {
      {"as padded", 64, 64, 64, 64, 0}, {"too wide", 65, 64, 60, 60, 1},
      {"too high", 64, 65, 60, 60, 1},  {"no width", 0, 8, 60, 60, 1},
      {"no height", 8, 0, 60, 60, 1},   {"a negative height", 8, 0x80000000U, 60, 60, 1},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    log_.Clear();
    const std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {0, 0, row.width, row.height});
    EXPECT_EQ(view->GetDesc(0)->GetWidth(), row.got_width);
    EXPECT_EQ(view->GetDesc(0)->GetHeight(), row.got_height);
    EXPECT_EQ(log_.CountContaining("mivare::desc::VideoDescBase::SetWidthHeight"), row.refusals);
  }
}

TEST_F(MediaBufferCropTest, ADeviceFrameIsRefused) {
  for (const uint32_t location : {1U, 2U}) {
    const MediaDescPtr desc = VideoRequest(1, 64, 64, location);
    EXPECT_EQ(CropOf(std::make_shared<FakeBuffer>(desc.get()), -1), nullptr);
  }
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(MediaBufferCropTest, OnlyVideoIsCropped) {
  for (const uint32_t type : {0U, 2U, 5U}) {
    FakeDesc desc(type, 1);
    EXPECT_EQ(CropOf(std::make_shared<FakeBuffer>(&desc), -1), nullptr) << type;
  }
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(MediaBufferCropTest, AFrameWithoutADescriptionOrACopyOfItIsRefused) {
  EXPECT_EQ(CropOf(std::make_shared<FakeBuffer>(), -1), nullptr);
  FakeDesc desc(1, 1);
  desc.cloneable = false;
  EXPECT_EQ(CropOf(std::make_shared<FakeBuffer>(&desc), -1), nullptr);
  desc.throws_at_clone = true;
  EXPECT_EQ(CropOf(std::make_shared<FakeBuffer>(&desc), -1), nullptr);
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(MediaBufferCropTest, ANullFrameIsLogged) {
  EXPECT_EQ(CropOf(nullptr, -1), nullptr);
  const std::vector<LogLine> lines = log_.Lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].tag, "mivare");
  EXPECT_EQ(lines[0].level, 6);
  const std::string& text = lines[0].text;
  EXPECT_EQ(text.rfind("error! mivare::NUXMivareCreateMediaBufferCrop line[", 0), 0U) << text;
  EXPECT_NE(text.find("]: mb is nullptr!"), std::string::npos) << text;
}

TEST_F(MediaBufferCropTest, WithoutARectangleOrAPlaceForTheViewNothingIsDone) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const auto frame = std::make_shared<FakeBuffer>(desc.get());
  const std::shared_ptr<IMediaBuffer> old = std::make_shared<FakeBuffer>();
  std::shared_ptr<IMediaBuffer> view = old;
  EXPECT_EQ(NUXMivareCreateMediaBufferCrop(frame, nullptr, &view), -1);
  EXPECT_EQ(view, old);
  const Rect rect = {0, 0, 16, 16};
  EXPECT_EQ(NUXMivareCreateMediaBufferCrop(frame, rect, nullptr), -1);
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(MediaBufferCropTest, KeepsItsFrameAlive) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  std::shared_ptr<IMediaBuffer> view = Crop(desc.get(), {0, 0, 16, 16});
  const std::weak_ptr<RecordingBuffer> frame = frame_;
  frame_.reset();
  EXPECT_FALSE(frame.expired());
  view.reset();
  EXPECT_TRUE(frame.expired());
}

TEST_F(MediaBufferCropTest, ACropOfACropAddsUp) {
  const MediaDescPtr desc = VideoRequest(45, 64, 64);
  const std::shared_ptr<IMediaBuffer> outer = Crop(desc.get(), {2, 3, 32, 32});
  const Rect rect = {1, 1, 8, 8};
  std::shared_ptr<IMediaBuffer> inner;
  ASSERT_EQ(NUXMivareCreateMediaBufferCrop(outer, rect, &inner), 0);
  EXPECT_EQ(Offsets(*inner, 1), (std::vector<int64_t>{3 * 4 + 4 * 100}));
}

TEST_F(MediaBufferCropTest, RunsOutOfMemoryCleanly) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const auto frame = std::make_shared<FakeBuffer>(desc.get());
  const Rect rect = {0, 0, 16, 16};
  bool fired = true;
  for (uint64_t nth = 1; fired; ++nth) {
    std::shared_ptr<IMediaBuffer> view;
    int32_t status = 0;
    {
      const FailingNew failing(nth);
      status = NUXMivareCreateMediaBufferCrop(frame, rect, &view);
      fired = failing.fired();
    }
    ASSERT_EQ(status, fired ? -1 : 0) << nth;
    ASSERT_EQ(view == nullptr, fired) << nth;
    view.reset();
    EXPECT_EQ(frame.use_count(), 1);
  }
}

}  // namespace
}  // namespace mivare::test
