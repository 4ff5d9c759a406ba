// What a host does with views and samples, through the library's exports alone.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mivare/mivare.h"
#include "orlo/log.h"

namespace mivare {
namespace {

class ViewsAndSamples : public testing::Test {
 protected:
  ViewsAndSamples() {
    EXPECT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
    EXPECT_EQ(NUXMivareDefaultAllocatorAcquire(&allocator_), 0);
  }
  ~ViewsAndSamples() override { EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0); }

  static MediaDescPtr Picture(int32_t smt) {
    MediaDescPtr desc = MakeMediaDesc(1, smt);
    desc->SetWidthHeight(64, 64);
    return desc;
  }
  std::shared_ptr<IMediaBuffer> Frame(int32_t smt) {
    std::shared_ptr<IMediaBuffer> frame = allocator_->Alloc(Picture(smt).get(), nullptr, nullptr);
    EXPECT_NE(frame, nullptr);
    return frame;
  }

  IAllocatorEx* allocator_ = nullptr;
};

TEST_F(ViewsAndSamples, WrappedMemoryIsCroppedAndCopiedNowhere) {
  std::vector<uint8_t> memory(16 * 8);
  std::shared_ptr<IMediaBuffer> wrapped;
  ASSERT_EQ(NUXMivareCreateMediaBufferWraper(16, 8, 15000, memory.data(), 16, &wrapped), 0);
  const uint32_t rect[4] = {3, 2, 4, 4};
  std::shared_ptr<IMediaBuffer> crop;
  ASSERT_EQ(NUXMivareCreateMediaBufferCrop(wrapped, rect, &crop), 0);
  EXPECT_EQ(crop->GetDesc(0)->GetWidth(), 4U);
  const LockedBuffer locked(*crop, true);
  ASSERT_TRUE(locked.ok());
  EXPECT_EQ(locked.plane(0), memory.data() + 2 * 16 + 3);
  EXPECT_EQ(locked.pitch(0), 16);
}

TEST_F(ViewsAndSamples, ACropOfAFrameLooksIntoItsPlanes) {
  const std::shared_ptr<IMediaBuffer> frame = Frame(1);
  const uint32_t rect[4] = {9, 5, 32, 32};
  std::shared_ptr<IMediaBuffer> crop;
  ASSERT_EQ(NUXMivareCreateMediaBufferCrop(frame, rect, &crop), 0);
  const LockedBuffer whole(*frame);
  const LockedBuffer part(*crop);
  ASSERT_TRUE(whole.ok() && part.ok());
  EXPECT_EQ(part.plane(0), whole.plane(0) + 5 * whole.pitch(0) + 9);
  EXPECT_EQ(part.plane(1), whole.plane(1) + 2 * whole.pitch(1) + 4);
  EXPECT_EQ(part.plane(2), whole.plane(2) + 2 * whole.pitch(2) + 4);
}

TEST_F(ViewsAndSamples, AProxyIsCopiedFromLikeItsFrame) {
  const std::shared_ptr<IMediaBuffer> frame = Frame(45);
  frame->GetDesc(0)->GetUserDataConfig()->Set(kIsOldKey, 1);
  EXPECT_TRUE(IsMarkedOld(frame.get()));
  LockedBuffer(*frame, true).plane(0)[0] = 200;
  std::shared_ptr<IMediaBuffer> proxy;
  ASSERT_EQ(NUXMivareCreateMediaBufferProxy(frame, &proxy), 0);
  EXPECT_TRUE(IsMarkedOld(proxy.get()));
  const std::shared_ptr<IMediaBuffer> copy = Frame(45);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(copy.get(), proxy.get()), 0);
  EXPECT_EQ(LockedBuffer(*copy).plane(0)[0], 200);
  EXPECT_FALSE(IsMarkedOld(copy.get()));
}

TEST_F(ViewsAndSamples, ALazyFrameIsWrittenAtItsFirstUse) {
  const std::shared_ptr<IMediaBuffer> lazy = allocator_->AllocLazy(Picture(6).get());
  ASSERT_NE(lazy, nullptr);
  EXPECT_EQ(lazy->CopyFrom(Frame(6).get()), 0);
  EXPECT_EQ(lazy->GetDesc(0)->GetSmt(), 6);
}

TEST_F(ViewsAndSamples, ASampleCarriesFramesAndSoundAsACopy) {
  int error = 5;
  const std::shared_ptr<IMediaSample> empty = NUXMivareMediaSampleCreate(&error);
  EXPECT_EQ(empty->GetBufferCount(), 0U);
  const std::shared_ptr<IMediaSample> sample = NUXMivareMediaSampleCreate(7, 8, 9, &error);
  EXPECT_EQ(error, 5);
  const MediaDescPtr sound = MakeMediaDesc(2, 20002);
  const std::shared_ptr<IMediaBuffer> audio = allocator_->Alloc(sound.get(), nullptr, nullptr);
  ASSERT_NE(audio, nullptr);
  const std::vector<uint8_t> bytes(4096);
  ASSERT_EQ(audio->SetData(bytes.data(), 4096), 0);
  EXPECT_EQ(NUXMivareGetAudioSampleCount(audio.get()), 1024.0F);
  EXPECT_EQ(sample->AddBuffer(Frame(1)), 0);
  EXPECT_EQ(sample->AddBuffer(audio), 0);
  const std::shared_ptr<IMediaSample> copy = sample->Clone();
  sample->ClearBuffers();
  ASSERT_EQ(copy->GetBufferCount(), 2U);
  EXPECT_EQ(copy->GetParam2(), 8U);
  EXPECT_EQ(NUXMivareGetAudioSampleCount(copy->GetBuffer(1).get()), 1024.0F);
  EXPECT_EQ(NUXMivareGetAudioSampleCount(copy->GetBuffer(0).get()), -1.0F);
}

struct Line {
  std::string tag;
  int32_t level = 0;
  std::string text;
};

void Collect(void* context, const char* tag, int32_t level, const char* text) {
  static_cast<std::vector<Line>*>(context)->push_back({tag, level, text});
}

TEST(IsMarkedOld, LogsAFrameThatIsMissing) {
  std::vector<Line> lines;
  const uint64_t sink = orlo::AddLogSink(&Collect, &lines);
  const bool old = IsMarkedOld(nullptr);
  orlo::RemoveLogSink(sink);
  EXPECT_FALSE(old);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].tag, "helper");
  EXPECT_EQ(lines[0].level, 6);
  EXPECT_EQ(lines[0].text.rfind("error! file[include/mivare/helper] line[", 0), 0U);
}

}  // namespace
}  // namespace mivare
