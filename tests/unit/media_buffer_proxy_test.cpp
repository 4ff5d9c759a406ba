#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mivare/buffer_views.h"
#include "mivare/helper.h"
#include "mivare/user_data.h"
#include "support/failing_new.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "support/recording_buffer.h"
#include "support/request.h"
#include "support/trovel_balance.h"

namespace mivare::test {
namespace {

class MediaBufferProxyTest : public testing::Test {
 protected:
  std::shared_ptr<IMediaBuffer> Proxy() { return Proxy(frame_); }
  static std::shared_ptr<IMediaBuffer> Proxy(const std::shared_ptr<IMediaBuffer>& frame) {
    std::shared_ptr<IMediaBuffer> view;
    EXPECT_EQ(NUXMivareCreateMediaBufferProxy(frame, &view), 0);
    EXPECT_NE(view, nullptr);
    return view;
  }
  static bool IsOld(const IMediaDesc* desc) {
    orlo::ValAny value;
    return desc->GetUserDataInquire()->Get("user_keys::IsOld", value) == 1 && value.Get<bool>();
  }

  TrovelBalance balance_;
  LogCapture log_;
  MediaDescPtr desc_ = VideoRequest(1, 64, 64);
  std::shared_ptr<RecordingBuffer> frame_ = std::make_shared<RecordingBuffer>(desc_.get());
};

TEST_F(MediaBufferProxyTest, ForwardsAllButItsDescription) {
  const std::shared_ptr<IMediaBuffer> view = Proxy();
  frame_->lock_status = 17;
  EXPECT_EQ(Walk(*view, frame_.get()),
            (std::vector<Step>{{"Lock", "17", "Lock planes"},
                               {"Unlock", "18", "Unlock"},
                               {"CopyFrom", "19", "CopyFrom"},
                               {"SetData", "20", "SetData 4"},
                               {"Clone", "null", "Clone 0"},
                               {"GetDesc", "some", ""},
                               {"SetDataSize", "21", "SetDataSize 3"},
                               {"QueryObject", "some", "QueryObject 5 6"},
                               {"QueryNative", "some", "QueryNative 9"},
                               {"IsDeviceMemory", "1", "IsDeviceMemory"},
                               {"AppendData", "1", "AppendData 2"},
                               {"Flush", "", "Flush"}}));
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(MediaBufferProxyTest, HandsTheFramesOwnAnswersOn) {
  const std::shared_ptr<IMediaBuffer> view = Proxy();
  uint8_t byte = 0;
  frame_->planes[2] = &byte;
  frame_->pitches[2] = 5;
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  EXPECT_EQ(view->Lock(planes, pitches, nullptr, nullptr), 0);
  EXPECT_EQ(planes[2], &byte);
  EXPECT_EQ(pitches[2], 5);
  EXPECT_EQ(view->QueryNative(0), frame_.get());
}

TEST_F(MediaBufferProxyTest, TheDescriptionIsACopy) {
  desc_->SetRotation(180);
  const std::shared_ptr<IMediaBuffer> view = Proxy();
  ASSERT_NE(view->GetDesc(0), desc_.get());
  EXPECT_EQ(view->GetDesc(0)->GetSmt(), 1);
  EXPECT_EQ(view->GetDesc(0)->GetWidth(), 64U);
  EXPECT_EQ(view->GetDesc(0)->GetRotation(), 180U);
  view->GetDesc(0)->SetRotation(90);
  EXPECT_EQ(desc_->GetRotation(), 180U);
}

TEST_F(MediaBufferProxyTest, DeviceMemoryIsNotedInTheDescriptionOnceAsked) {
  const std::shared_ptr<IMediaBuffer> view = Proxy();
  EXPECT_EQ(view->GetDesc(0)->GetMemoryLocation(), 0U);
  frame_->device = false;
  EXPECT_FALSE(view->IsDeviceMemory());
  EXPECT_EQ(view->GetDesc(0)->GetMemoryLocation(), 0U);
  frame_->device = true;
  EXPECT_TRUE(view->IsDeviceMemory());
  EXPECT_EQ(view->GetDesc(0)->GetMemoryLocation(), 1U);
  EXPECT_EQ(desc_->GetMemoryLocation(), 0U);
}

TEST_F(MediaBufferProxyTest, TheMarkOfAnOldFrameIsKeptAsTrueWhateverItsValue) {
  const orlo::ValAny values[] = {true, false, 0, "text", {}};
  for (const orlo::ValAny& value : values) {
    SCOPED_TRACE(value.GetTag());
    desc_->GetUserDataConfig()->Set("user_keys::IsOld", value);
    EXPECT_TRUE(IsOld(Proxy()->GetDesc(0)));
  }
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(MediaBufferProxyTest, OtherHintsAreLostAndNotesGoAlong) {
  desc_->GetUserDataConfig()->Set("Blank", 1);
  desc_->GetUserDataConfig()->Set("note", 1);
  const std::shared_ptr<IMediaBuffer> view = Proxy();
  IUserDataInquire* user_data = view->GetDesc(0)->GetUserDataInquire();
  orlo::ValAny value;
  EXPECT_EQ(user_data->Get("user_keys::IsOld", value), 0);
  EXPECT_EQ(user_data->Get("Blank", value), 0);
  EXPECT_EQ(user_data->Get("note", value), 1);
}

TEST_F(MediaBufferProxyTest, AFrameWithoutADescriptionGetsAProxyWithoutOne) {
  frame_->desc = nullptr;
  const std::shared_ptr<IMediaBuffer> view = Proxy();
  EXPECT_EQ(view->GetDesc(0), nullptr);
  EXPECT_EQ(log_.CountContaining("error! file[include/mivare/helper] line["), 1);
  EXPECT_EQ(log_.Lines().at(0).tag, "helper");
  EXPECT_EQ(log_.Lines().at(0).level, 6);
  EXPECT_TRUE(view->IsDeviceMemory()) << "with nothing to note it in";
  EXPECT_EQ(view->Unlock(), 18);
  frame_->clone = std::make_shared<FakeBuffer>();
  const std::shared_ptr<IMediaBuffer> copy = view->Clone(0);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->GetDesc(0), nullptr);
}

TEST_F(MediaBufferProxyTest, ADescriptionWithoutAMapIsLoggedAndCopied) {
  FakeDesc bare(1, 45);
  frame_->desc = &bare;
  const std::shared_ptr<IMediaBuffer> view = Proxy();
  EXPECT_NE(view->GetDesc(0), nullptr);
  EXPECT_EQ(log_.CountContaining("error! file[include/mivare/helper] line["), 1);
}

TEST_F(MediaBufferProxyTest, ADescriptionThatCannotBeCopiedIsDoneWithout) {
  FakeDesc bare(1, 45);
  bare.cloneable = false;
  frame_->desc = &bare;
  EXPECT_EQ(Proxy()->GetDesc(0), nullptr);
}

TEST_F(MediaBufferProxyTest, AnEmptyPointerIsRefusedWithoutALine) {
  const std::shared_ptr<IMediaBuffer> old = std::make_shared<FakeBuffer>();
  std::shared_ptr<IMediaBuffer> view = old;
  EXPECT_EQ(NUXMivareCreateMediaBufferProxy(nullptr, &view), -1);
  EXPECT_EQ(view, old);
  EXPECT_EQ(NUXMivareCreateMediaBufferProxy(frame_, nullptr), -1);
  EXPECT_EQ(NUXMivareCreateMediaBufferProxy(nullptr, nullptr), -1);
  EXPECT_TRUE(log_.Lines().empty());
  EXPECT_TRUE(frame_->calls.empty());
}

TEST_F(MediaBufferProxyTest, AThrowingDescriptionIsAFailure) {
  FakeDesc desc(1, 1);
  desc.throws_at_clone = true;
  frame_->desc = &desc;
  std::shared_ptr<IMediaBuffer> view;
  EXPECT_EQ(NUXMivareCreateMediaBufferProxy(frame_, &view), -1);
  EXPECT_EQ(view, nullptr);
}

TEST_F(MediaBufferProxyTest, CloneStandsInForTheFramesClone) {
  desc_->GetUserDataConfig()->Set("user_keys::IsOld", true);
  const std::shared_ptr<IMediaBuffer> view = Proxy();
  view->GetDesc(0)->SetRotation(270);
  const auto behind = std::make_shared<RecordingBuffer>();
  frame_->clone = behind;
  const std::shared_ptr<IMediaBuffer> copy = view->Clone(0);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->QueryNative(0), behind.get());
  EXPECT_NE(copy->GetDesc(0), view->GetDesc(0));
  EXPECT_EQ(copy->GetDesc(0)->GetRotation(), 270U) << "the proxy's description, not the frame's";
  EXPECT_FALSE(IsOld(copy->GetDesc(0))) << "marked at creation alone";
  EXPECT_TRUE(IsOld(view->GetDesc(0)));
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(MediaBufferProxyTest, CloneIsEmptyWhereTheFramesIs) {
  EXPECT_EQ(Proxy()->Clone(0), nullptr);
}

TEST_F(MediaBufferProxyTest, IsNotRegisteredAndKeepsItsFrameAlive) {
  const size_t before = trovel::CountResources(nullptr);
  std::shared_ptr<IMediaBuffer> view = Proxy();
  EXPECT_EQ(trovel::CountResources(nullptr), before);
  const std::weak_ptr<RecordingBuffer> frame = frame_;
  frame_.reset();
  EXPECT_FALSE(frame.expired());
  view.reset();
  EXPECT_TRUE(frame.expired());
}

// A copy of the description that memory does not suffice for is one that cannot be made.
TEST_F(MediaBufferProxyTest, RunsOutOfMemoryCleanly) {
  desc_->GetUserDataConfig()->Set("user_keys::IsOld", "a text that is too long for its string");
  frame_->clone = std::make_shared<FakeBuffer>();
  bool fired = true;
  for (uint64_t nth = 1; fired; ++nth) {
    std::shared_ptr<IMediaBuffer> view;
    int32_t status = 0;
    {
      const FailingNew failing(nth);
      status = NUXMivareCreateMediaBufferProxy(frame_, &view);
      fired = failing.fired();
    }
    ASSERT_EQ(status == 0, view != nullptr) << nth;
    if (view != nullptr && view->GetDesc(0) != nullptr) {
      EXPECT_TRUE(IsOld(view->GetDesc(0)));
    }
    if (!fired) {
      EXPECT_NE(view->GetDesc(0), nullptr);
    }
    view.reset();
    EXPECT_EQ(frame_.use_count(), 1);
  }
  const std::shared_ptr<IMediaBuffer> view = Proxy();
  fired = true;
  for (uint64_t nth = 1; fired; ++nth) {
    const FailingNew failing(nth);
    const std::shared_ptr<IMediaBuffer> copy = view->Clone(0);
    fired = failing.fired();
    if (!fired) {
      EXPECT_NE(copy, nullptr);
    }
  }
}

}  // namespace
}  // namespace mivare::test
