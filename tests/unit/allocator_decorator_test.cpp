#include "allocator_decorator.h"

#include <gtest/gtest.h>

#include "allocator.h"
#include "mivare/user_data.h"
#include "support/fake_gpu.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"

namespace mivare::test {
namespace {

constexpr const char* kHints[] = {
    "Blank",          "AllocHostMem",     "PlatformCompatible",
    "PlatformExpect", "user_keys::IsOld", "user_keys::adjustlayer-workmode"};

/// An allocator that notes what reaches it and forwards it.
class Recorder final : public IAllocatorEx {
 public:
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                      void* reserved) override {
    ++allocs;
    last_source = source;
    last_reserved = reserved;
    return fails ? nullptr : cpu_->Alloc(desc, nullptr, nullptr);
  }
  int32_t GetMemoryStatus(uint64_t& all, uint64_t& free) override {
    all = 11;
    free = 7;
    return 5;
  }
  void clear() override { ++clears; }
  void SetMemoryLimit(uint32_t megabytes) override { limit = megabytes; }
  bool FillBlank(IMediaBuffer*) override { return true; }
  std::shared_ptr<IMediaBuffer> AllocLazy(IMediaDesc*) override { return nullptr; }
  void reduce_memory() override { ++reductions; }
  int64_t GetGpuAvailableMemory() override { return 99; }

  int allocs = 0;
  int clears = 0;
  int reductions = 0;
  uint32_t limit = 0;
  bool fails = false;
  IMediaBuffer* last_source = nullptr;
  void* last_reserved = nullptr;

 private:
  std::shared_ptr<IAllocatorEx> cpu_ = MakeCpuAllocator();
};

class AllocatorDecoratorTest : public testing::Test {
 protected:
  static bool Has(IMediaDesc* desc, const char* key) {
    orlo::ValAny value;
    return desc->GetUserDataInquire()->Get(key, value) == 1;
  }

  TrovelBalance balance_;
  LogCapture log_;
  FakeGpu gpu_;
  std::shared_ptr<Recorder> inner_ = std::make_shared<Recorder>();
  allocator_decorator decorator_{inner_, &gpu_};
  allocator_decorator without_gpu_{inner_, nullptr};
  int reserved_ = 0;
};

TEST_F(AllocatorDecoratorTest, ANullRequestIsLogged) {
  EXPECT_EQ(decorator_.Alloc(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(log_.Count(6, "input param error! mivare::allocator_decorator::Alloc"), 1);
  EXPECT_EQ(inner_->allocs, 0);
}

TEST_F(AllocatorDecoratorTest, DeviceRequestsGoToTheGpuWithTheirSource) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64, 1);
  const std::shared_ptr<FakeFrame> source = DeviceFrame(gpu_, *desc);
  ASSERT_NE(decorator_.Alloc(desc.get(), source.get(), &reserved_), nullptr);
  ASSERT_EQ(gpu_.Count("Alloc"), 1);
  EXPECT_EQ(gpu_.Calls("Alloc")[0].first, desc.get());
  EXPECT_EQ(gpu_.Calls("Alloc")[0].second, source.get());
  EXPECT_EQ(gpu_.Calls("Alloc")[0].reserved, nullptr);
  EXPECT_EQ(inner_->allocs, 0);
  EXPECT_EQ(gpu_.Count("Download"), 0);
}

TEST_F(AllocatorDecoratorTest, OnlyLocationOneIsTheGpus) {
  for (const uint32_t location : {0U, 2U}) {
    decorator_.Alloc(VideoRequest(1, 64, 64, location).get(), nullptr, nullptr);
  }
  EXPECT_EQ(gpu_.Count("Alloc"), 0);
  EXPECT_EQ(inner_->allocs, 2);
}

TEST_F(AllocatorDecoratorTest, WithoutAGpuDeviceRequestsGoToTheCpu) {
  ASSERT_NE(without_gpu_.Alloc(VideoRequest(1, 64, 64, 1).get(), nullptr, nullptr), nullptr);
  EXPECT_EQ(inner_->allocs, 1);
}

TEST_F(AllocatorDecoratorTest, ADeviceSourceIsDownloadedIntoAHostFrameMadeWithoutIt) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const std::shared_ptr<FakeFrame> source = DeviceFrame(gpu_, *desc);
  const std::shared_ptr<IMediaBuffer> frame =
      decorator_.Alloc(desc.get(), source.get(), &reserved_);
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(inner_->last_source, nullptr);
  EXPECT_EQ(inner_->last_reserved, nullptr);
  ASSERT_EQ(gpu_.Count("Download"), 1);
  EXPECT_EQ(gpu_.Calls("Download")[0].first, source.get());
  EXPECT_EQ(gpu_.Calls("Download")[0].second, frame.get());
}

TEST_F(AllocatorDecoratorTest, TheDownloadIsAskedForEvenWithoutAFrame) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const std::shared_ptr<FakeFrame> source = DeviceFrame(gpu_, *desc);
  inner_->fails = true;
  EXPECT_EQ(decorator_.Alloc(desc.get(), source.get(), nullptr), nullptr);
  ASSERT_EQ(gpu_.Count("Download"), 1);
  EXPECT_EQ(gpu_.Calls("Download")[0].second, nullptr);
}

TEST_F(AllocatorDecoratorTest, OtherSourcesGoAlongToTheCpu) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const std::shared_ptr<FakeFrame> device = DeviceFrame(gpu_, *desc);
  const auto nameless = std::make_shared<FakeFrame>(gpu_.life_count(), nullptr);
  const std::shared_ptr<IMediaBuffer> host = decorator_.Alloc(desc.get(), nullptr, nullptr);
  decorator_.Alloc(desc.get(), host.get(), &reserved_);
  EXPECT_EQ(inner_->last_source, host.get());
  EXPECT_EQ(inner_->last_reserved, nullptr);
  decorator_.Alloc(desc.get(), nameless.get(), nullptr);
  EXPECT_EQ(inner_->last_source, nameless.get());
  without_gpu_.Alloc(desc.get(), device.get(), nullptr);  // nobody to download it
  EXPECT_EQ(inner_->last_source, device.get());
  EXPECT_EQ(gpu_.Count("Download"), 0);
}

TEST_F(AllocatorDecoratorTest, FramesTakeOverTheRequestButNeverItsHints) {
  for (const uint32_t location : {0U, 1U}) {
    SCOPED_TRACE(location);
    const MediaDescPtr desc = VideoRequest(1, 64, 64, location);
    desc->SetRotation(270);
    desc->SetColorPrimary(4);
    desc->GetUserDataConfig()->Set("note", 8);
    for (const char* hint : kHints) desc->GetUserDataConfig()->Set(hint, 1);
    const std::shared_ptr<IMediaBuffer> frame = decorator_.Alloc(desc.get(), nullptr, nullptr);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->GetDesc(0)->GetRotation(), 270U);
    EXPECT_EQ(frame->GetDesc(0)->GetColorPrimary(), 4U);
    EXPECT_TRUE(Has(frame->GetDesc(0), "note"));
    for (const char* hint : kHints) {
      EXPECT_FALSE(Has(frame->GetDesc(0), hint)) << hint;
      EXPECT_TRUE(Has(desc.get(), hint)) << hint;
    }
  }
}

TEST_F(AllocatorDecoratorTest, AFramesOldUserDataDoNotSurvive) {
  gpu_.prepare_frame = [](FakeFrame& frame) {
    frame.GetDesc(0)->GetUserDataConfig()->Set("stale", 1);
  };
  const MediaDescPtr desc = VideoRequest(1, 64, 64, 1);
  const std::shared_ptr<IMediaBuffer> frame = decorator_.Alloc(desc.get(), nullptr, nullptr);
  EXPECT_FALSE(Has(frame->GetDesc(0), "stale"));
}

TEST_F(AllocatorDecoratorTest, WhatTheRequestSaysWinsOverWhatADownloadWrites) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  desc->SetRotation(270);
  desc->GetUserDataConfig()->Set("note", 8);
  gpu_.on_call = [](const FakeGpu::Call& call) {
    ASSERT_EQ(call.name, "Download");
    auto* frame = static_cast<IMediaBuffer*>(const_cast<void*>(call.second));
    frame->GetDesc(0)->SetRotation(90);
    for (const char* key : {"note", "stale", "Blank"}) {
      frame->GetDesc(0)->GetUserDataConfig()->Set(key, 1);
    }
  };
  const std::shared_ptr<FakeFrame> source = DeviceFrame(gpu_, *desc);
  const std::shared_ptr<IMediaBuffer> frame = decorator_.Alloc(desc.get(), source.get(), nullptr);
  ASSERT_EQ(gpu_.Count("Download"), 1);
  EXPECT_EQ(frame->GetDesc(0)->GetRotation(), 270U);
  orlo::ValAny value;
  ASSERT_EQ(frame->GetDesc(0)->GetUserDataInquire()->Get("note", value), 1);
  EXPECT_EQ(value.ToInt32(), 8);
  EXPECT_FALSE(Has(frame->GetDesc(0), "stale"));
  EXPECT_FALSE(Has(frame->GetDesc(0), "Blank"));
}

TEST_F(AllocatorDecoratorTest, ForwardsTheRestToTheCpuAllocator) {
  uint64_t all = 0;
  uint64_t free = 0;
  EXPECT_EQ(decorator_.GetMemoryStatus(all, free), 5);
  EXPECT_EQ(all, 11U);
  EXPECT_EQ(free, 7U);
  decorator_.clear();
  EXPECT_EQ(inner_->clears, 1);
  decorator_.SetMemoryLimit(42);
  EXPECT_EQ(inner_->limit, 42U);
  decorator_.reduce_memory();
  EXPECT_EQ(inner_->reductions, 1);
}

TEST_F(AllocatorDecoratorTest, NeitherFillsNorKnowsMoreGpuMemoryThanTheGpu) {
  const std::shared_ptr<IMediaBuffer> frame =
      decorator_.Alloc(VideoRequest(1, 64, 64).get(), nullptr, nullptr);
  EXPECT_FALSE(decorator_.FillBlank(frame.get()));
  EXPECT_EQ(gpu_.Count("FillBlank"), 0);
  gpu_.available = -3;
  EXPECT_EQ(decorator_.GetGpuAvailableMemory(), -3);
  EXPECT_EQ(without_gpu_.GetGpuAvailableMemory(), 0);
}

TEST_F(AllocatorDecoratorTest, LazyFramesAreNeverItsOwnButTheDefaultAllocators) {
  EXPECT_EQ(decorator_.AllocLazy(nullptr), nullptr);
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const std::shared_ptr<IMediaBuffer> lazy = decorator_.AllocLazy(desc.get());
  ASSERT_NE(lazy, nullptr);
  EXPECT_EQ(lazy->GetDesc(0), nullptr) << "while no allocator is initialised";
  EXPECT_EQ(inner_->allocs, 0);
}

TEST_F(AllocatorDecoratorTest, AnswersEmptilyWithoutACpuAllocator) {
  allocator_decorator empty;
  uint64_t all = 3;
  uint64_t free = 4;
  EXPECT_EQ(empty.GetMemoryStatus(all, free), -1);
  EXPECT_EQ(all, 3U);
  EXPECT_EQ(free, 4U);
  empty.clear();
  empty.SetMemoryLimit(1);
  empty.reduce_memory();
  EXPECT_EQ(empty.GetGpuAvailableMemory(), 0);
  EXPECT_EQ(empty.AllocLazy(nullptr), nullptr);
}

TEST_F(AllocatorDecoratorTest, CreateMakesACpuAllocatorOfItsOwn) {
  const std::shared_ptr<IAllocatorEx> made = allocator_decorator::Create(nullptr);
  ASSERT_NE(made, nullptr);
  const std::shared_ptr<IMediaBuffer> frame =
      made->Alloc(VideoRequest(1, 64, 64).get(), nullptr, nullptr);
  ASSERT_NE(frame, nullptr);
  uint64_t all = 0;
  uint64_t free = 0;
  EXPECT_EQ(made->GetMemoryStatus(all, free), 0);
  EXPECT_GT(all, 0U);
}

}  // namespace
}  // namespace mivare::test
