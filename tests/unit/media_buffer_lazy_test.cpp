#include "media_buffer_lazy.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "mivare/allocator.h"
#include "mivare/gpu_allocator.h"
#include "mivare/helper.h"
#include "mivare/multi_camera.h"
#include "mivare/user_data.h"
#include "support/failing_new.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "support/recording_buffer.h"
#include "support/request.h"
#include "support/trovel_balance.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

/// Answers every request with one prepared buffer. Audio in device memory reaches it unwrapped.
class OneBufferGpu final : public IGpuAllocator {
 public:
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source, void*) override {
    ++requests;
    last_desc = desc;
    EXPECT_EQ(source, nullptr);
    if (on_request) on_request();
    return fails ? nullptr : buffer;
  }
  bool FillBlank(std::shared_ptr<IMediaBuffer>) override { return false; }
  bool Download(IMediaBuffer*, IMediaBuffer*) override { return false; }
  int64_t GetAvailableMemory() override { return 0; }

  std::shared_ptr<IMediaBuffer> buffer;
  std::atomic<int> requests{0};
  std::function<void()> on_request;
  bool fails = false;
  const IMediaDesc* last_desc = nullptr;
};

class MediaBufferLazyTest : public testing::Test {
 protected:
  MediaBufferLazyTest() {
    NUXMivareDefaultAllocatorAcquire(&manager_);
    desc_->SetMemoryLocation(1);
    behind_ = std::make_shared<RecordingBuffer>(behind_desc_.get());
    gpu_.buffer = behind_;
  }
  ~MediaBufferLazyTest() override { Uninit(); }

  void Init() {
    EXPECT_EQ(NUXMivareDefaultAllocatorInit(&gpu_), 0);
    initialised_ = true;
  }
  void Uninit() {
    if (initialised_) NUXMivareDefaultAllocatorUninit();
    initialised_ = false;
  }
  /// A lazy frame that gets `behind_`.
  std::shared_ptr<IMediaBuffer> Lazy() {
    std::shared_ptr<IMediaBuffer> lazy = manager_->AllocLazy(desc_.get());
    EXPECT_NE(lazy, nullptr);
    return lazy;
  }

  TrovelBalance balance_;
  WorkerClock clock_;
  LogCapture log_;
  OneBufferGpu gpu_;
  IAllocatorEx* manager_ = nullptr;
  MediaDescPtr desc_ = AudioRequest();
  MediaDescPtr behind_desc_ = AudioRequest();
  std::shared_ptr<RecordingBuffer> behind_;
  bool initialised_ = false;
};

TEST_F(MediaBufferLazyTest, ForwardsToTheFrameItMakes) {
  Init();
  const std::shared_ptr<IMediaBuffer> lazy = Lazy();
  lazy->Flush();
  behind_->lock_status = 17;
  EXPECT_EQ(Walk(*lazy, behind_.get()),
            (std::vector<Step>{{"Lock", "17", "Lock planes"},
                               {"Unlock", "18", "Unlock"},
                               {"CopyFrom", "19", "CopyFrom"},
                               {"SetData", "18", "Unlock"},
                               {"Clone", "some", ""},
                               {"GetDesc", "some", "GetDesc 8"},
                               {"SetDataSize", "21", "SetDataSize 3"},
                               {"QueryObject", "some", "QueryObject 5 6"},
                               {"QueryNative", "some", "QueryNative 9"},
                               {"IsDeviceMemory", "1", "IsDeviceMemory"},
                               {"AppendData", "1", "AppendData 2"},
                               {"Flush", "", "Flush"}}));
  EXPECT_EQ(gpu_.requests, 1);
}

TEST_F(MediaBufferLazyTest, EveryOperationButCloneAsksAgainWhileRequestsFail) {
  Init();
  gpu_.fails = true;
  const std::shared_ptr<IMediaBuffer> lazy = Lazy();
  EXPECT_EQ(gpu_.requests, 0);
  EXPECT_EQ(Walk(*lazy, behind_.get()), (std::vector<Step>{{"Lock", "-1", ""},
                                                           {"Unlock", "-1", ""},
                                                           {"CopyFrom", "-1", ""},
                                                           {"SetData", "-1", ""},
                                                           {"Clone", "some", ""},
                                                           {"GetDesc", "null", ""},
                                                           {"SetDataSize", "-1", ""},
                                                           {"QueryObject", "null", ""},
                                                           {"QueryNative", "null", ""},
                                                           {"IsDeviceMemory", "0", ""},
                                                           {"AppendData", "0", ""},
                                                           {"Flush", "", ""}}));
  EXPECT_EQ(gpu_.requests, 11);
  gpu_.fails = false;
  EXPECT_EQ(lazy->GetDesc(0), behind_desc_.get());
  EXPECT_EQ(gpu_.requests, 12);
  EXPECT_EQ(lazy->GetDesc(0), behind_desc_.get());
  EXPECT_EQ(gpu_.requests, 12);
}

// Each on a frame of its own, as the first use.
TEST_F(MediaBufferLazyTest, AnyOperationButCloneIsAFirstUse) {
  Init();
  using Operation = std::function<void(IMediaBuffer&)>;
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  const uint8_t byte = 1;
  const struct {
    const char* name;
    Operation call;
    int requests;
  } cases[] = {
      {"Lock", [&](IMediaBuffer& b) { b.Lock(planes, pitches, nullptr, nullptr); }, 1},
      {"Unlock", [](IMediaBuffer& b) { b.Unlock(); }, 1},
      {"CopyFrom", [](IMediaBuffer& b) { b.CopyFrom(nullptr); }, 1},
      {"SetData", [&](IMediaBuffer& b) { b.SetData(&byte, 1); }, 1},
      {"Clone", [](IMediaBuffer& b) { b.Clone(0); }, 0},
      {"GetDesc", [](IMediaBuffer& b) { b.GetDesc(0); }, 1},
      {"SetDataSize", [](IMediaBuffer& b) { b.SetDataSize(1); }, 1},
      {"QueryObject", [](IMediaBuffer& b) { b.QueryObject(1, 2); }, 1},
      {"QueryNative", [](IMediaBuffer& b) { b.QueryNative(0); }, 1},
      {"IsDeviceMemory", [](IMediaBuffer& b) { b.IsDeviceMemory(); }, 1},
      {"AppendData", [&](IMediaBuffer& b) { b.AppendData(&byte, 1); }, 1},
      {"Flush", [](IMediaBuffer& b) { b.Flush(); }, 1},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    gpu_.requests = 0;
    row.call(*Lazy());
    EXPECT_EQ(gpu_.requests, row.requests);
  }
}

TEST_F(MediaBufferLazyTest, GetDescAllocatesAndSetDataCopiesNothing) {
  Init();
  const MediaDescPtr desc = AudioRequest();
  const std::shared_ptr<IMediaBuffer> lazy = manager_->AllocLazy(desc.get());
  const size_t before = trovel::CountResources("Audio Buffer");
  const IMediaDesc* own = lazy->GetDesc(0);
  ASSERT_NE(own, nullptr);
  EXPECT_NE(own, desc.get());
  EXPECT_EQ(trovel::CountResources("Audio Buffer"), before + 1);
  const uint8_t bytes[4] = {1, 2, 3, 4};
  EXPECT_EQ(lazy->SetData(bytes, 4), 0);
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  ASSERT_EQ(lazy->Lock(planes, pitches, nullptr, nullptr), 0);
  EXPECT_EQ(pitches[0], 0);
  EXPECT_TRUE(lazy->AppendData(bytes, 4)) << "as the buffer behind";
}

TEST_F(MediaBufferLazyTest, IsAPictureLikeAnyOther) {
  Init();
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  const std::shared_ptr<IMediaBuffer> lazy = manager_->AllocLazy(desc.get());
  desc->SetWidthHeight(32, 32);  // the copy was taken before
  const LockedBuffer locked(*lazy, true);
  ASSERT_TRUE(locked.ok());
  for (size_t i = 0; i < 3; ++i) EXPECT_NE(locked.plane(i), nullptr) << i;
  EXPECT_EQ(lazy->GetDesc(0)->GetWidth(), 64U);
  EXPECT_EQ(trovel::CountResources("Video Buffer"), 2U) << "the frame and its storage";
}

TEST_F(MediaBufferLazyTest, IsNotRegisteredItself) {
  Init();
  const size_t before = trovel::CountResources(nullptr);
  const std::shared_ptr<IMediaBuffer> lazy = manager_->AllocLazy(VideoRequest(1, 64, 64).get());
  EXPECT_EQ(trovel::CountResources(nullptr), before);
}

TEST_F(MediaBufferLazyTest, IsMadeWithoutAnAllocatorAndWorksOnceThereIsOne) {
  const std::shared_ptr<IMediaBuffer> lazy = Lazy();
  EXPECT_EQ(lazy->GetDesc(0), nullptr);
  EXPECT_EQ(lazy->Unlock(), -1);
  Init();
  EXPECT_EQ(lazy->GetDesc(0), behind_desc_.get());
}

TEST_F(MediaBufferLazyTest, LivesOnWithItsFrameAfterTheAllocator) {
  Init();
  const std::shared_ptr<IMediaBuffer> lazy = manager_->AllocLazy(VideoRequest(1, 64, 64).get());
  ASSERT_NE(lazy->GetDesc(0), nullptr);
  Uninit();
  EXPECT_TRUE(LockedBuffer(*lazy).ok());
}

TEST_F(MediaBufferLazyTest, CloneIsAnotherOneWithoutMemory) {
  Init();
  const std::shared_ptr<IMediaBuffer> lazy = Lazy();
  lazy->Flush();
  EXPECT_EQ(gpu_.requests, 1);
  std::shared_ptr<IMediaBuffer> copy = lazy->Clone(0);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, lazy);
  EXPECT_EQ(gpu_.requests, 1);
  copy->Flush();
  EXPECT_EQ(gpu_.requests, 2);
}

TEST_F(MediaBufferLazyTest, AsksForACopyOfItsDescription) {
  Init();
  Lazy()->Flush();
  EXPECT_NE(gpu_.last_desc, nullptr);
  EXPECT_NE(gpu_.last_desc, desc_.get());
}

TEST_F(MediaBufferLazyTest, NeedsADescriptionThatCanBeCopied) {
  EXPECT_EQ(manager_->AllocLazy(nullptr), nullptr);
  FakeDesc desc(1, 1);
  desc.cloneable = false;
  EXPECT_EQ(manager_->AllocLazy(&desc), nullptr);
  desc.throws_at_clone = true;
  EXPECT_EQ(manager_->AllocLazy(&desc), nullptr);
  EXPECT_EQ(desc.Alive(), 1);
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(MediaBufferLazyTest, DestroysItsCopyOfTheDescription) {
  FakeDesc desc(2, 20001);
  std::shared_ptr<IMediaBuffer> lazy = manager_->AllocLazy(&desc);
  EXPECT_EQ(desc.Alive(), 2);
  std::shared_ptr<IMediaBuffer> copy = lazy->Clone(0);
  EXPECT_EQ(desc.Alive(), 3);
  lazy.reset();
  copy.reset();
  EXPECT_EQ(desc.Alive(), 1);
}

TEST_F(MediaBufferLazyTest, IsNeverBlackAsItsCopyHasLostTheHint) {
  Init();
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  {
    // Leaves a frame that is not black in the pool.
    const auto dirty = manager_->Alloc(desc.get(), nullptr, nullptr);
    LockedBuffer(*dirty, true).plane(0)[0] = 77;
  }
  desc->GetUserDataConfig()->Set("Blank", 1);
  const std::shared_ptr<IMediaBuffer> lazy = manager_->AllocLazy(desc.get());
  const LockedBuffer locked(*lazy);
  ASSERT_TRUE(locked.ok());
  EXPECT_EQ(locked.plane(0)[0], 77);
}

TEST_F(MediaBufferLazyTest, TheCopyDrainsTheCameraQueue) {
  void* store = nullptr;
  desc_->QueryProperty(kMultiCameraKey, &store);
  auto* cameras = static_cast<IVideoMultiCameraFrameManger*>(store);
  cameras->GetFrameConfig()->AddFrame("angle", 1, 2, 3);
  Lazy();
  EXPECT_EQ(cameras->GetFrameInquire(), nullptr);
}

TEST_F(MediaBufferLazyTest, AnExceptionOfARequestCountsAsItsFailureAndLeavesNoLockBehind) {
  Init();
  const std::shared_ptr<IMediaBuffer> lazy = Lazy();
  gpu_.on_request = [] { throw std::runtime_error("the device is lost"); };
  EXPECT_EQ(lazy->Unlock(), -1);
  gpu_.on_request = [] { throw orlo::AnyBadAccess(); };
  EXPECT_EQ(lazy->GetDesc(0), nullptr);
  gpu_.on_request = nullptr;
  std::thread([&] { EXPECT_EQ(lazy->GetDesc(0), behind_desc_.get()); }).join();
}

TEST_F(MediaBufferLazyTest, AnExceptionOfTheFrameBehindComesOutWithNoLockHeld) {
  Init();
  const std::shared_ptr<IMediaBuffer> lazy = Lazy();
  behind_->throws = true;
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  EXPECT_THROW(lazy->Lock(planes, pitches, nullptr, nullptr), int);
  behind_->throws = false;
  std::thread([&] { EXPECT_EQ(lazy->Unlock(), 18); }).join();
}

TEST_F(MediaBufferLazyTest, AnAllocatorThatComesBackFindsNoMemoryYetAndMakesOneFrame) {
  Init();
  const std::shared_ptr<IMediaBuffer> lazy = Lazy();
  const IMediaDesc* found = desc_.get();
  std::shared_ptr<IMediaBuffer> copy;
  gpu_.on_request = [&] {
    found = lazy->GetDesc(0);
    copy = lazy->Clone(0);
  };
  EXPECT_EQ(lazy->GetDesc(0), behind_desc_.get());
  EXPECT_EQ(found, nullptr);
  EXPECT_NE(copy, nullptr);
  EXPECT_EQ(gpu_.requests, 1);
}

TEST_F(MediaBufferLazyTest, SixteenThreadsOnFirstUseMakeOneFrame) {
  Init();
  const std::shared_ptr<IMediaBuffer> lazy = Lazy();
  std::promise<void> start;
  const std::shared_future<void> started = start.get_future().share();
  std::vector<std::thread> threads;
  threads.reserve(16);
  for (int i = 0; i < 16; ++i) {
    threads.emplace_back([&] {
      started.wait();
      EXPECT_NE(lazy->Clone(0), nullptr);
      EXPECT_NE(static_cast<MediaBufferLazy&>(*lazy).Target(), nullptr);
    });
  }
  start.set_value();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(gpu_.requests, 1);
}

TEST_F(MediaBufferLazyTest, RunsOutOfMemoryCleanly) {
  FakeDesc desc(2, 20001);
  bool fired = true;
  for (uint64_t nth = 1; fired; ++nth) {
    std::shared_ptr<IMediaBuffer> lazy;
    {
      const FailingNew failing(nth);
      lazy = manager_->AllocLazy(&desc);
      fired = failing.fired();
    }
    // The copy of a host's description is the test's own to make.
    ASSERT_EQ(lazy == nullptr, fired) << nth;
    lazy.reset();
    EXPECT_EQ(desc.Alive(), 1);
  }
}

}  // namespace
}  // namespace mivare::test
