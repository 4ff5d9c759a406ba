#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "mivare/buffer_views.h"
#include "mivare/media_desc.h"
#include "support/failing_new.h"
#include "support/log_capture.h"
#include "support/recording_buffer.h"
#include "support/trovel_balance.h"

namespace mivare::test {
namespace {

class MediaBufferWraperTest : public testing::Test {
 protected:
  std::shared_ptr<IMediaBuffer> Wrap(uint32_t smt = 45, uint32_t width = 8, uint32_t height = 4,
                                     uint32_t pitch = 32) {
    std::shared_ptr<IMediaBuffer> view;
    EXPECT_EQ(NUXMivareCreateMediaBufferWraper(width, height, smt, data_, pitch, &view), 0);
    EXPECT_NE(view, nullptr);
    return view;
  }

  TrovelBalance balance_;
  LogCapture log_;
  uint8_t data_[128] = {};
};

TEST_F(MediaBufferWraperTest, AnswersEveryOperationByItself) {
  EXPECT_EQ(Walk(*Wrap(), nullptr), (std::vector<Step>{{"Lock", "0", ""},
                                                       {"Unlock", "0", ""},
                                                       {"CopyFrom", "-1", ""},
                                                       {"SetData", "-1", ""},
                                                       {"Clone", "null", ""},
                                                       {"GetDesc", "some", ""},
                                                       {"SetDataSize", "-1", ""},
                                                       {"QueryObject", "null", ""},
                                                       {"QueryNative", "null", ""},
                                                       {"IsDeviceMemory", "0", ""},
                                                       {"AppendData", "0", ""},
                                                       {"Flush", "", ""}}));
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(MediaBufferWraperTest, LockWritesPlaneZeroAndPitchZeroAlone) {
  const std::shared_ptr<IMediaBuffer> view = Wrap(45, 8, 4, 32);
  uint8_t other = 0;
  uint8_t* planes[8];
  int32_t pitches[8];
  for (int i = 0; i < 8; ++i) {
    planes[i] = &other;
    pitches[i] = 99;
  }
  uint32_t capacity = 5;
  EXPECT_EQ(view->Lock(planes, pitches, nullptr, &capacity), 0);
  EXPECT_EQ(planes[0], data_);
  EXPECT_EQ(pitches[0], 32);
  for (int i = 1; i < 8; ++i) {
    EXPECT_EQ(planes[i], &other) << i;
    EXPECT_EQ(pitches[i], 99) << i;
  }
  EXPECT_EQ(capacity, 5U);
}

TEST_F(MediaBufferWraperTest, LockTakesEitherArrayAloneOrNone) {
  const std::shared_ptr<IMediaBuffer> view = Wrap();
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  EXPECT_EQ(view->Lock(planes, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(planes[0], data_);
  EXPECT_EQ(view->Lock(nullptr, pitches, nullptr, nullptr), 0);
  EXPECT_EQ(pitches[0], 32);
  EXPECT_EQ(view->Lock(nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(MediaBufferWraperTest, APitchAboveTheSignedRangeKeepsItsBits) {
  int32_t pitches[8] = {};
  EXPECT_EQ(Wrap(45, 8, 4, 0xFFFFFFE0U)->Lock(nullptr, pitches, nullptr, nullptr), 0);
  EXPECT_EQ(pitches[0], -32);
}

TEST_F(MediaBufferWraperTest, MemoryIsTakenUnlookedAt) {
  std::shared_ptr<IMediaBuffer> view;
  EXPECT_EQ(NUXMivareCreateMediaBufferWraper(8, 4, 45, nullptr, 0, &view), 0);
  uint8_t* planes[8] = {data_};
  EXPECT_EQ(view->Lock(planes, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(planes[0], nullptr);
}

TEST_F(MediaBufferWraperTest, TheDescriptionIsAVideoOfTheGivenSize) {
  const std::shared_ptr<IMediaBuffer> view = Wrap(15000, 17, 9);
  const IMediaDesc* desc = view->GetDesc(0);
  EXPECT_EQ(desc->GetMediaType(), 1U);
  EXPECT_EQ(desc->GetSmt(), 15000);
  EXPECT_EQ(desc->GetWidth(), 17U);
  EXPECT_EQ(desc->GetHeight(), 9U);
  EXPECT_EQ(desc->GetMemoryLocation(), 0U);
}

TEST_F(MediaBufferWraperTest, AnSmtThatTheFactoryRefusesStillGivesAWrapper) {
  for (const uint32_t smt : {9999U, 0U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(smt);
    const std::shared_ptr<IMediaBuffer> view = Wrap(smt);
    EXPECT_EQ(view->GetDesc(0), nullptr);
    uint8_t* planes[8] = {};
    EXPECT_EQ(view->Lock(planes, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(planes[0], data_);
  }
}

TEST_F(MediaBufferWraperTest, ASizeThatTheDescriptionRefusesIsLoggedAndLeavesItUnsized) {
  const std::shared_ptr<IMediaBuffer> view = Wrap(45, 0, 4);
  EXPECT_EQ(view->GetDesc(0)->GetWidth(), 0U);
  EXPECT_EQ(view->GetDesc(0)->GetHeight(), 0U);
  EXPECT_EQ(
      log_.Count(6, "error! mivare::desc::VideoDescBase::SetWidthHeight width[0] x height[4]"), 1);
}

TEST_F(MediaBufferWraperTest, NowhereToPutItIsRefused) {
  EXPECT_EQ(NUXMivareCreateMediaBufferWraper(8, 4, 45, data_, 32, nullptr), -1);
}

TEST_F(MediaBufferWraperTest, IsNotRegistered) {
  const size_t before = trovel::CountResources(nullptr);
  const std::shared_ptr<IMediaBuffer> view = Wrap();
  EXPECT_EQ(trovel::CountResources(nullptr), before);
}

// A description that memory does not suffice for is one that could not be created.
TEST_F(MediaBufferWraperTest, FailsOnlyWhereTheWrapperItselfHasNoMemory) {
  bool fired = true;
  int refusals = 0;
  int undescribed = 0;
  for (uint64_t nth = 1; fired; ++nth) {
    std::shared_ptr<IMediaBuffer> view;
    int32_t status = 0;
    {
      const FailingNew failing(nth);
      status = NUXMivareCreateMediaBufferWraper(8, 4, 45, data_, 32, &view);
      fired = failing.fired();
    }
    ASSERT_EQ(status == 0, view != nullptr) << nth;
    if (status == -1) ++refusals;
    if (view != nullptr && view->GetDesc(0) == nullptr) ++undescribed;
    if (!fired) {
      EXPECT_NE(view->GetDesc(0), nullptr);
    }
  }
  EXPECT_EQ(refusals, 1);
  EXPECT_GT(undescribed, 0);
}

}  // namespace
}  // namespace mivare::test
