#include "hybrid_frame.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "allocator.h"
#include "blank_pool.h"
#include "frame_list.h"
#include "mivare/extend_data.h"
#include "mivare/multi_camera.h"
#include "mivare/user_data.h"
#include "support/fake_clock.h"
#include "support/fake_gpu.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"

namespace mivare::test {
namespace {

constexpr char kPlainError[] = "error! file[mivare/hybrid_frame] line[";

class HybridFrameTest : public testing::Test {
 protected:
  HybridFrameTest() : gpu_(std::make_shared<FakeGpu>()) {}
  ~HybridFrameTest() override {
    End(*pool_);
    End(*blank_pool_);
  }

  std::shared_ptr<FakeFrame> Device(int32_t width = 64, int32_t height = 64) {
    return DeviceFrame(*gpu_, *VideoRequest(1, width, height));
  }
  /// A real host frame.
  std::shared_ptr<IMediaBuffer> Host(int32_t smt = 1, int32_t width = 64, int32_t height = 64) {
    return cpu_->Alloc(VideoRequest(smt, width, height).get(), nullptr, nullptr);
  }
  std::shared_ptr<IMediaBuffer> Wrap(std::shared_ptr<IMediaBuffer> storage) {
    return HybridBuffer::Create(std::move(storage), gpu_, blank_pool_, pool_);
  }
  static HybridBuffer& Inner(const std::shared_ptr<IMediaBuffer>& frame) {
    return static_cast<HybridBuffer&>(*frame);
  }
  /// How many frames the pool had; it is empty afterwards.
  static uint32_t Drain(BlankPool& pool) {
    FrameList out;
    pool.Release(true, 0, &out);
    return out.DestroyAll();
  }
  static void End(BlankPool& pool) {
    FrameList out;
    pool.Close(out);
  }
  static void Mark(const std::shared_ptr<IMediaBuffer>& frame, const char* key) {
    frame->GetDesc(0)->GetUserDataConfig()->Set(key, 1);
  }
  static bool Has(IMediaDesc* desc, const char* key) {
    orlo::ValAny value;
    return desc->GetUserDataInquire()->Get(key, value) == 1;
  }

  TrovelBalance balance_;
  FakeClock clock_;
  LogCapture log_;
  std::shared_ptr<FakeGpu> gpu_;
  std::shared_ptr<IAllocatorEx> cpu_ = MakeCpuAllocator();
  std::shared_ptr<BlankPool> pool_ = std::make_shared<BlankPool>();
  std::shared_ptr<BlankPool> blank_pool_ = std::make_shared<BlankPool>();
};

TEST_F(HybridFrameTest, IsRegisteredAsAVideoBufferUntilItsRelease) {
  const size_t before = trovel::CountResources("Video Buffer");
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  EXPECT_EQ(trovel::CountResources("Video Buffer"), before + 1);
  // The registration is under the address that hosts see.
  EXPECT_EQ(trovel::RemoveResource("Video Buffer", frame.get()), 0);
  EXPECT_EQ(trovel::AddResource("Video Buffer", frame.get()), 0);
  frame.reset();
  EXPECT_EQ(trovel::CountResources("Video Buffer"), before);
}

TEST_F(HybridFrameTest, AFrameAndItsHostStorageAreRegisteredEach) {
  const size_t before = trovel::CountResources("Video Buffer");
  const std::shared_ptr<IMediaBuffer> frame = Wrap(Host());
  EXPECT_EQ(trovel::CountResources("Video Buffer"), before + 2);
}

TEST_F(HybridFrameTest, IsStampedAtCreationInMicrosecondsOfAMillisecondClock) {
  clock_.StepWall(234);
  const std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  EXPECT_EQ(Inner(frame).created_at(), static_cast<uint64_t>(clock_.WallMs()) * 1000);
}

TEST_F(HybridFrameTest, CreateWithoutStorageIsLoggedAndLeavesNoRegistration) {
  EXPECT_EQ(Wrap(nullptr), nullptr);
  EXPECT_EQ(log_.CountContaining(kPlainError), 1);
  EXPECT_EQ(log_.AtLevel(6).size(), 1U);
}

TEST_F(HybridFrameTest, OnlyTheSizesThatVideoComesInArePooledWhenLarge) {
  const struct {
    int32_t width, height;
    bool pooled;
  } cases[] = {
      {1920, 1080, true},  {2048, 2048, true},  {4096, 2048, true},  {2048, 8192, true},
      {2049, 2049, false}, {2560, 2560, false}, {3840, 2160, true},  {4096, 2160, true},
      {7680, 4320, true},  {2160, 3840, true},  {2160, 4096, true},  {4320, 7680, true},
      {3840, 2161, false}, {3841, 2160, false}, {4320, 4320, false}, {30000, 64, true},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(std::to_string(row.width) + " x " + std::to_string(row.height));
    Wrap(Device(row.width, row.height)).reset();
    EXPECT_EQ(gpu_->lives(), row.pooled ? 1 : 0);
    EXPECT_EQ(Drain(*pool_), row.pooled ? 1U : 0U);
  }
}

TEST_F(HybridFrameTest, AReleasedFrameGoesToItsPoolWithoutUserData) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  IMediaDesc* desc = frame->GetDesc(0);
  Mark(frame, "note");
  frame.reset();
  EXPECT_FALSE(Has(desc, "note"));
  EXPECT_EQ(Drain(*blank_pool_), 0U);
  EXPECT_EQ(Drain(*pool_), 1U);
}

TEST_F(HybridFrameTest, ExtendDataSurviveTheRelease) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  void* store = nullptr;
  frame->GetDesc(0)->QueryProperty("ABA838FB-3F86-4B1E-A4EE-140330ED5FAA", &store);
  auto* extend = static_cast<IExtendData*>(store);
  const uint8_t byte = 5;
  ASSERT_TRUE(extend->SetExtendData("key", &byte, 1));
  frame.reset();
  EXPECT_EQ(extend->GetExtendDataLength("key"), 1U);
  Drain(*pool_);
}

TEST_F(HybridFrameTest, CameraRecordsSurviveTheRelease) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  void* store = nullptr;
  frame->GetDesc(0)->QueryProperty(kMultiCameraKey, &store);
  auto* cameras = static_cast<IVideoMultiCameraFrameManger*>(store);
  cameras->GetFrameConfig()->AddFrame("camera", 1, 2, 3);
  frame.reset();
  EXPECT_NE(cameras->GetFrameInquire(), nullptr);
  Drain(*pool_);
}

TEST_F(HybridFrameTest, AFrameMarkedBlankGoesToTheBlankPoolWithoutUserData) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  IMediaDesc* desc = frame->GetDesc(0);
  desc->GetUserDataConfig()->Set("Blank", false);  // the value does not count
  Mark(frame, "note");
  frame.reset();
  EXPECT_FALSE(Has(desc, "Blank"));
  EXPECT_FALSE(Has(desc, "note"));
  EXPECT_EQ(Drain(*pool_), 0U);
  EXPECT_EQ(Drain(*blank_pool_), 1U);
}

TEST_F(HybridFrameTest, BlankCountsOnlyWhileTheBlankPoolLives) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  Mark(frame, "Blank");
  End(*blank_pool_);
  frame.reset();
  EXPECT_EQ(Drain(*pool_), 1U);
}

TEST_F(HybridFrameTest, APlainFrameIsDestroyedWhenOnlyTheBlankPoolLives) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  End(*pool_);
  frame.reset();
  EXPECT_EQ(gpu_->lives(), 0);
  EXPECT_EQ(Drain(*blank_pool_), 0U);
}

TEST_F(HybridFrameTest, ABlankFrameOutlivesItsPlainPool) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  Mark(frame, "Blank");
  End(*pool_);
  frame.reset();
  EXPECT_EQ(Drain(*blank_pool_), 1U);
}

TEST_F(HybridFrameTest, WithoutAllocatorAndPoolsAFrameIsDestroyed) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  const std::weak_ptr<FakeGpu> gone = gpu_;
  const auto lives = gpu_->life_count();
  End(*pool_);
  End(*blank_pool_);
  gpu_.reset();
  ASSERT_TRUE(gone.expired());
  frame.reset();
  EXPECT_EQ(lives->load(), 0);
}

TEST_F(HybridFrameTest, AFrameWithoutADescriptionIsPooledLikeAnyOther) {
  auto storage = std::make_shared<FakeFrame>(gpu_->life_count(), nullptr);
  std::shared_ptr<IMediaBuffer> frame = Wrap(std::move(storage));
  EXPECT_EQ(frame->GetDesc(0), nullptr);
  EXPECT_EQ(Inner(frame).MakeBlank(blank_pool_), 0);
  EXPECT_EQ(log_.CountContaining(kPlainError), 1);
  frame.reset();
  EXPECT_EQ(Drain(*pool_), 1U);
}

TEST_F(HybridFrameTest, ForwardsToItsStorage) {
  const std::shared_ptr<FakeFrame> storage = Device();
  const std::shared_ptr<IMediaBuffer> frame = Wrap(storage);
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  uint32_t capacity = 0;
  int reserved = 0;
  EXPECT_EQ(frame->Lock(planes, pitches, &reserved, &capacity), 17);
  EXPECT_EQ(storage->lock_arguments.planes, planes);
  EXPECT_EQ(storage->lock_arguments.pitches, pitches);
  EXPECT_EQ(storage->lock_arguments.reserved, &reserved);
  EXPECT_EQ(storage->lock_arguments.capacity, &capacity);
  EXPECT_EQ(frame->Unlock(), 18);
  EXPECT_EQ(*static_cast<uint64_t*>(frame->QueryObject(3, 40).get()), 43U);
  frame->Flush();
  EXPECT_EQ(storage->flushes, 1);
  EXPECT_EQ(frame->GetDesc(7), storage->GetDesc(0));
  frame->GetDesc(7);
  EXPECT_EQ(storage->desc_flags, 0U);
  EXPECT_EQ(frame->QueryNative(7), storage.get());
  EXPECT_EQ(storage->native_flags, 0U);
  EXPECT_FALSE(frame->IsDeviceMemory());
}

TEST_F(HybridFrameTest, HasNoLinearData) {
  const std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  const uint8_t byte = 1;
  EXPECT_EQ(frame->SetData(&byte, 1), -1);
  EXPECT_EQ(log_.AtLevel(6).size(), 1U);
  EXPECT_EQ(frame->SetDataSize(1), -1);
  EXPECT_EQ(log_.AtLevel(6).size(), 2U);
  EXPECT_EQ(log_.CountContaining(kPlainError), 2);
  EXPECT_FALSE(frame->AppendData(&byte, 1));
  EXPECT_EQ(log_.AtLevel(4).size(), 1U);
  EXPECT_EQ(log_.CountContaining("warn! should not call this! file[mivare/hybrid_frame] line["), 1);
}

TEST_F(HybridFrameTest, DeviceSourcesAreDownloadedIntoHostFramesWithABooleanResult) {
  const std::shared_ptr<IMediaBuffer> storage = Host();
  const std::shared_ptr<IMediaBuffer> frame = Wrap(storage);
  const std::shared_ptr<FakeFrame> source = Device();
  EXPECT_EQ(frame->CopyFrom(source.get()), 1);
  gpu_->download_mood = FakeGpu::Mood::kFails;
  EXPECT_EQ(frame->CopyFrom(source.get()), 0);
  gpu_->download_mood = FakeGpu::Mood::kThrows;
  EXPECT_EQ(frame->CopyFrom(source.get()), 0);
  ASSERT_EQ(gpu_->Count("Download"), 3);
  EXPECT_EQ(gpu_->Calls("Download")[0].first, source.get());
  EXPECT_EQ(gpu_->Calls("Download")[0].second, storage.get());
}

TEST_F(HybridFrameTest, DeviceFramesAndHostSourcesCopyByTheStorage) {
  const std::shared_ptr<FakeFrame> device = Device();
  const std::shared_ptr<FakeFrame> other = Device();
  EXPECT_EQ(Wrap(device)->CopyFrom(other.get()), 19);
  EXPECT_EQ(device->copied_from, std::vector<IMediaBuffer*>{other.get()});

  auto host =
      std::make_shared<FakeFrame>(gpu_->life_count(), VideoRequest(1, 64, 64)->CloneShared());
  const std::shared_ptr<IMediaBuffer> frame = Wrap(host);
  auto nameless = std::make_shared<FakeFrame>(gpu_->life_count(), nullptr);
  const std::shared_ptr<IMediaBuffer> plain = Host();
  const std::shared_ptr<FakeFrame> odd = Device();
  odd->GetDesc(0)->SetMemoryLocation(2);  // only 1 is downloaded
  for (IMediaBuffer* source :
       {plain.get(), static_cast<IMediaBuffer*>(nameless.get()),
        static_cast<IMediaBuffer*>(odd.get()), static_cast<IMediaBuffer*>(nullptr)}) {
    EXPECT_EQ(frame->CopyFrom(source), 19);
    EXPECT_EQ(host->copied_from.back(), source);
  }
  EXPECT_EQ(gpu_->Count("Download"), 0);
}

TEST_F(HybridFrameTest, AnyLocationButTheHostsIsADevices) {
  const std::shared_ptr<FakeFrame> storage = Device();
  storage->GetDesc(0)->SetMemoryLocation(2);
  const std::shared_ptr<IMediaBuffer> frame = Wrap(storage);
  const std::shared_ptr<FakeFrame> source = Device();
  EXPECT_EQ(frame->CopyFrom(source.get()), 19) << "nothing to download into";
  EXPECT_EQ(gpu_->Count("Download"), 0);
  EXPECT_EQ(Inner(frame).MakeBlank(blank_pool_), 1);
  EXPECT_EQ(storage->picture, -1);
}

TEST_F(HybridFrameTest, WithoutItsGpuAllocatorAHostFrameCopiesByItsStorage) {
  auto host =
      std::make_shared<FakeFrame>(gpu_->life_count(), VideoRequest(1, 64, 64)->CloneShared());
  const std::shared_ptr<IMediaBuffer> frame = Wrap(host);
  const std::shared_ptr<FakeFrame> source = Device();
  gpu_.reset();
  EXPECT_EQ(frame->CopyFrom(source.get()), 19);
  EXPECT_EQ(host->copied_from.back(), source.get());
}

TEST_F(HybridFrameTest, AGpuAllocatorThatIsNullIsAsGoodAsNone) {
  auto host =
      std::make_shared<FakeFrame>(gpu_->life_count(), VideoRequest(1, 64, 64)->CloneShared());
  const std::shared_ptr<IGpuAllocator> nobody(nullptr, [](IGpuAllocator*) {});
  ASSERT_EQ(nobody.use_count(), 1);  // counted, and still nobody
  const std::shared_ptr<FakeFrame> device = Device();
  EXPECT_EQ(HybridBuffer::Create(host, nobody, {}, {})->CopyFrom(device.get()), 19);
  const std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Create(device, nobody, {}, {});
  EXPECT_EQ(Inner(frame).MakeBlank(blank_pool_), 0);
}

TEST_F(HybridFrameTest, ReissueCarriesTheRequestWithoutItsHints) {
  Wrap(Device()).reset();
  const MediaDescPtr request = VideoRequest(1, 64, 64);
  request->SetRotation(90);
  request->SetVideoMatrix(9);
  for (const char* key : {"Blank", "AllocHostMem", "PlatformCompatible", "PlatformExpect",
                          "user_keys::IsOld", "user_keys::adjustlayer-workmode", "note"}) {
    request->GetUserDataConfig()->Set(key, 1);
  }
  const std::shared_ptr<IMediaBuffer> frame =
      HybridBuffer::Reissue(request.get(), HybridBuffer::Pooled(pool_->Take()));
  ASSERT_NE(frame, nullptr);
  IMediaDesc* desc = frame->GetDesc(0);
  EXPECT_EQ(desc->GetRotation(), 90U);
  EXPECT_EQ(desc->GetVideoMatrix(), 9U);
  EXPECT_TRUE(Has(desc, "note"));
  for (const char* key : {"Blank", "AllocHostMem", "PlatformCompatible", "PlatformExpect",
                          "user_keys::IsOld", "user_keys::adjustlayer-workmode"}) {
    EXPECT_FALSE(Has(desc, key)) << key;
    EXPECT_TRUE(Has(request.get(), key)) << key;
  }
  EXPECT_EQ(trovel::RemoveResource("Video Buffer", frame.get()), 0);
  trovel::AddResource("Video Buffer", frame.get());
}

TEST_F(HybridFrameTest, ReissueWithoutAFrameIsLogged) {
  EXPECT_EQ(HybridBuffer::Reissue(VideoRequest(1, 64, 64).get(), nullptr), nullptr);
  EXPECT_EQ(log_.CountContaining(kPlainError), 1);
}

TEST_F(HybridFrameTest, MakeBlankFillsHostMemoryAndAttachesThePool) {
  const std::shared_ptr<IMediaBuffer> storage = Host();
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  ASSERT_EQ(storage->Lock(planes, pitches, nullptr, nullptr), 0);
  planes[0][0] = 77;
  std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Create(storage, gpu_, {}, pool_);
  EXPECT_EQ(Inner(frame).MakeBlank(blank_pool_), 1);
  EXPECT_EQ(planes[0][0], 0);
  EXPECT_EQ(planes[1][0], 128);
  Mark(frame, "Blank");
  frame.reset();
  EXPECT_EQ(Drain(*blank_pool_), 1U);
}

TEST_F(HybridFrameTest, MakeBlankSucceedsForHostFormatsThatItCannotFill) {
  std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Create(Host(3), gpu_, {}, pool_);
  EXPECT_EQ(Inner(frame).MakeBlank(blank_pool_), 1);
  EXPECT_EQ(log_.Count(6, "error! file[mivare/hybrid_frame_allocator] line[331] fmt[3]"), 1);
}

TEST_F(HybridFrameTest, MakeBlankFillsDeviceMemoryThroughTheGpuAllocator) {
  const std::shared_ptr<FakeFrame> storage = Device();
  std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Create(storage, gpu_, {}, pool_);
  EXPECT_EQ(Inner(frame).MakeBlank(blank_pool_), 1);
  EXPECT_EQ(storage->picture, -1);
  EXPECT_EQ(gpu_->Calls("FillBlank")[0].first, storage.get());
}

TEST_F(HybridFrameTest, AFailedFillAttachesNothing) {
  for (const FakeGpu::Mood mood : {FakeGpu::Mood::kFails, FakeGpu::Mood::kThrows}) {
    gpu_->fill_mood = mood;
    std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Create(Device(), gpu_, {}, pool_);
    EXPECT_EQ(Inner(frame).MakeBlank(blank_pool_), 0);
    Mark(frame, "Blank");
    frame.reset();
    EXPECT_EQ(Drain(*blank_pool_), 0U);
    EXPECT_EQ(Drain(*pool_), 1U);
  }
}

TEST_F(HybridFrameTest, WithoutItsGpuAllocatorADeviceFrameCannotBeBlackened) {
  std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Create(Device(), gpu_, {}, pool_);
  gpu_.reset();
  EXPECT_EQ(Inner(frame).MakeBlank(blank_pool_), 0);
}

TEST_F(HybridFrameTest, MakeBlankKeepsABlankPoolThatLives) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  const auto other = std::make_shared<BlankPool>();
  EXPECT_EQ(Inner(frame).MakeBlank(other), 1);
  Mark(frame, "Blank");
  frame.reset();
  EXPECT_EQ(Drain(*other), 0U);
  EXPECT_EQ(Drain(*blank_pool_), 1U);
}

TEST_F(HybridFrameTest, MakeBlankReplacesABlankPoolThatIsClosed) {
  std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  End(*blank_pool_);
  const auto other = std::make_shared<BlankPool>();
  EXPECT_EQ(Inner(frame).MakeBlank(other), 1);
  Mark(frame, "Blank");
  frame.reset();
  EXPECT_EQ(Drain(*pool_), 0U);
  EXPECT_EQ(Drain(*other), 1U);
  End(*other);
}

TEST_F(HybridFrameTest, ACloneUsesAFrameOfThePool) {
  const std::shared_ptr<FakeFrame> storage = Device();
  const std::shared_ptr<FakeFrame> spare = Device();
  const std::shared_ptr<IMediaBuffer> frame = Wrap(storage);
  frame->GetDesc(0)->SetRotation(180);
  Mark(frame, "note");
  Mark(frame, "Blank");
  Wrap(spare).reset();
  std::shared_ptr<IMediaBuffer> copy = frame->Clone(3);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->GetDesc(0), spare->GetDesc(0));
  EXPECT_EQ(copy->GetDesc(0)->GetRotation(), 180U);
  EXPECT_TRUE(Has(copy->GetDesc(0), "note"));
  EXPECT_FALSE(Has(copy->GetDesc(0), "Blank"));
  EXPECT_EQ(spare->copied_from, std::vector<IMediaBuffer*>{storage.get()});
  EXPECT_TRUE(storage->clone_flags.empty());
  copy.reset();
  EXPECT_EQ(Drain(*pool_), 1U);
}

TEST_F(HybridFrameTest, ACloneAsksTheBlankPoolWhenThePoolHasNone) {
  const std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  const std::shared_ptr<FakeFrame> spare = Device();
  std::shared_ptr<IMediaBuffer> blank = Wrap(spare);
  Mark(blank, "Blank");
  blank.reset();
  EXPECT_EQ(frame->Clone(0)->GetDesc(0), spare->GetDesc(0));
}

TEST_F(HybridFrameTest, ACloneWithoutPooledFramesClonesTheStorage) {
  const std::shared_ptr<FakeFrame> storage = Device();
  storage->picture = 42;
  const std::shared_ptr<IMediaBuffer> frame = Wrap(storage);
  std::shared_ptr<IMediaBuffer> copy = frame->Clone(9);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(storage->clone_flags, std::vector<uint32_t>{0});
  EXPECT_EQ(static_cast<FakeFrame*>(copy->QueryNative(0))->picture, 42);
  Mark(copy, "Blank");
  copy.reset();
  EXPECT_EQ(Drain(*blank_pool_), 1U);
}

TEST_F(HybridFrameTest, ACloneLeavesBlackFramesForThoseWhoAskForThem) {
  const std::shared_ptr<IMediaBuffer> frame = Wrap(Device());
  const std::shared_ptr<FakeFrame> plain = Device();
  std::shared_ptr<IMediaBuffer> blank = Wrap(Device());
  Mark(blank, "Blank");
  blank.reset();
  Wrap(plain).reset();
  EXPECT_EQ(frame->Clone(0)->GetDesc(0), plain->GetDesc(0));
  EXPECT_EQ(Drain(*blank_pool_), 1U);
}

TEST_F(HybridFrameTest, ACloneOfTheStorageHasTheSameAllocatorAndPools) {
  const std::shared_ptr<IMediaBuffer> frame =
      Wrap(std::make_shared<FakeFrame>(gpu_->life_count(), VideoRequest(1, 64, 64)->CloneShared()));
  std::shared_ptr<IMediaBuffer> plain = frame->Clone(0);
  std::shared_ptr<IMediaBuffer> blank = frame->Clone(0);
  const std::shared_ptr<FakeFrame> device = Device();
  EXPECT_EQ(plain->CopyFrom(device.get()), 1) << "a download";
  Mark(blank, "Blank");
  plain.reset();
  EXPECT_EQ(Drain(*pool_), 1U);
  blank.reset();
  EXPECT_EQ(Drain(*blank_pool_), 1U);
}

TEST_F(HybridFrameTest, AStorageThatCannotBeClonedLeavesNoClone) {
  const std::shared_ptr<FakeFrame> storage = Device();
  storage->can_clone = false;
  const std::shared_ptr<IMediaBuffer> frame = Wrap(storage);
  EXPECT_EQ(frame->Clone(0), nullptr);
  EXPECT_EQ(log_.CountContaining(kPlainError), 1);
}

TEST_F(HybridFrameTest, ACloneOfALargeOddFrameIsDestroyedOnRelease) {
  const std::shared_ptr<IMediaBuffer> frame = Wrap(Device(2560, 2560));
  frame->Clone(0).reset();
  EXPECT_EQ(gpu_->lives(), 1);
  EXPECT_EQ(Drain(*pool_), 0U);
}

}  // namespace
}  // namespace mivare::test
