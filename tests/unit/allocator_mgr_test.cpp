#include "allocator_mgr.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <thread>

#include "hybrid_frame_allocator.h"
#include "mivare/user_data.h"
#include "orlo/event_bus.h"
#include "support/failing_new.h"
#include "support/fake_gpu.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

class AllocatorMgrTest : public testing::Test {
 protected:
  AllocatorMgrTest() { NUXMivareDefaultAllocatorAcquire(&manager_); }

  std::shared_ptr<IMediaBuffer> Alloc(const MediaDescPtr& desc) {
    return manager_->Alloc(desc.get(), nullptr, nullptr);
  }
  static std::shared_ptr<IAllocator> Current() {
    std::shared_ptr<IAllocator> current;
    EXPECT_EQ(GetCurrentAllocator(&current), 0);
    return current;
  }
  int Ends() const { return log_.CountContaining("check_loop end..."); }

  TrovelBalance balance_;
  WorkerClock clock_;
  LogCapture log_;
  FakeGpu gpu_;
  IAllocatorEx* manager_ = nullptr;
};

TEST_F(AllocatorMgrTest, AcquireLendsOneManagerForEver) {
  EXPECT_EQ(NUXMivareDefaultAllocatorAcquire(nullptr), -1);
  IAllocatorEx* again = nullptr;
  EXPECT_EQ(NUXMivareDefaultAllocatorAcquire(&again), 0);
  EXPECT_NE(again, nullptr);
  EXPECT_EQ(again, manager_);
}

TEST_F(AllocatorMgrTest, AnswersEmptilyBeforeInit) {
  uint64_t all = 3;
  uint64_t free = 4;
  EXPECT_EQ(Alloc(VideoRequest(1, 64, 64)), nullptr);
  EXPECT_EQ(manager_->GetMemoryStatus(all, free), -1);
  EXPECT_EQ(all, 3U);
  EXPECT_EQ(free, 4U);
  manager_->clear();
  manager_->SetMemoryLimit(1);
  manager_->reduce_memory();
  EXPECT_EQ(manager_->GetGpuAvailableMemory(), 0);
  EXPECT_FALSE(manager_->FillBlank(nullptr));
  EXPECT_EQ(manager_->AllocLazy(nullptr), nullptr);
  EXPECT_EQ(Current(), nullptr);
  EXPECT_EQ(GetCurrentAllocator(nullptr), -1);
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(AllocatorMgrTest, InitMakesAHybridAllocatorAndUninitDropsIt) {
  EXPECT_EQ(NUXMivareDefaultAllocatorInit(&gpu_), 0);
  EXPECT_NE(dynamic_cast<hybrid_frame_allocator*>(Current().get()), nullptr);
  EXPECT_NE(Alloc(VideoRequest(1, 64, 64, 1)), nullptr);
  EXPECT_EQ(gpu_.Count("Alloc"), 1);
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
  EXPECT_EQ(Current(), nullptr);
  EXPECT_EQ(Ends(), 1);
  EXPECT_EQ(gpu_.lives(), 0);
}

TEST_F(AllocatorMgrTest, OnlyTheOutermostPairCounts) {
  EXPECT_EQ(NUXMivareDefaultAllocatorInit(&gpu_), 0);
  const IAllocator* first = Current().get();
  EXPECT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
  EXPECT_EQ(Current().get(), first);
  clock_.Settle();  // the worker says its line after Init has returned
  EXPECT_EQ(log_.CountContaining("check_loop start..."), 1);
  EXPECT_EQ(log_.CountContaining("IGpuAllocator is nullptr"), 0);
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
  EXPECT_EQ(Current().get(), first);
  EXPECT_EQ(Ends(), 0);
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
  EXPECT_EQ(Current(), nullptr);
  EXPECT_EQ(Ends(), 1);
}

TEST_F(AllocatorMgrTest, ComesUpAgainAfterItsEnd) {
  for (int i = 0; i < 3; ++i) {
    NUXMivareDefaultAllocatorInit(&gpu_);
    EXPECT_NE(Alloc(VideoRequest(1, 64, 64)), nullptr);
    NUXMivareDefaultAllocatorUninit();
    EXPECT_EQ(Alloc(VideoRequest(1, 64, 64)), nullptr);
  }
}

TEST_F(AllocatorMgrTest, AnUninitTooManySwallowsTheNextInit) {
  NUXMivareDefaultAllocatorUninit();  // the count wraps
  NUXMivareDefaultAllocatorInit(&gpu_);
  EXPECT_EQ(Current(), nullptr);
  NUXMivareDefaultAllocatorInit(&gpu_);
  EXPECT_NE(Current(), nullptr);
  NUXMivareDefaultAllocatorUninit();
  EXPECT_EQ(Current(), nullptr);
}

TEST_F(AllocatorMgrTest, HoldsTheEventBusFromInitToUninit) {
  // Without other holders, a bus that is got again is a new one unless somebody kept the old.
  NUXMivareDefaultAllocatorInit(&gpu_);
  orlo::AsyncEventBus* bus = orlo::GetGlobalEventBus();
  int received = 0;
  bus->Subscribe<orlo::SystemEvent>([&](const orlo::SystemEvent&) { ++received; });
  orlo::ReleaseGlobalEventBus();
  bus = orlo::GetGlobalEventBus();  // the subscription is still there
  bus->Post(orlo::SystemEvent{1, ""});
  bus->Flush();
  EXPECT_EQ(received, 1);
  orlo::ReleaseGlobalEventBus();
  NUXMivareDefaultAllocatorUninit();
  bus = orlo::GetGlobalEventBus();
  bus->Post(orlo::SystemEvent{1, ""});
  bus->Flush();
  EXPECT_EQ(received, 1);
  orlo::ReleaseGlobalEventBus();
}

TEST_F(AllocatorMgrTest, UninitReleasesTheEventBusBehindTheLastFrame) {
  NUXMivareDefaultAllocatorInit(&gpu_);
  int received = 0;
  orlo::GetGlobalEventBus()->Subscribe<orlo::SystemEvent>(
      [&](const orlo::SystemEvent&) { ++received; });
  orlo::ReleaseGlobalEventBus();
  gpu_.prepare_frame = [](FakeFrame& frame) {
    frame.on_destroy = [] {
      orlo::AsyncEventBus* bus = orlo::GetGlobalEventBus();  // the subscription is still there
      bus->Post(orlo::SystemEvent{1, ""});
      bus->Flush();
      orlo::ReleaseGlobalEventBus();
    };
  };
  Alloc(VideoRequest(1, 64, 64, 1)).reset();
  EXPECT_EQ(received, 0);
  NUXMivareDefaultAllocatorUninit();
  EXPECT_EQ(received, 1);
}

TEST_F(AllocatorMgrTest, AnInitThatFailedGivesNoEventBusBack) {
  NUXMivareDefaultAllocatorInit(&gpu_);
  NUXMivareDefaultAllocatorUninit();
  int received = 0;
  orlo::GetGlobalEventBus()->Subscribe<orlo::SystemEvent>(
      [&](const orlo::SystemEvent&) { ++received; });
  {
    const FailingNew no_memory(1);
    NUXMivareDefaultAllocatorInit(&gpu_);
    EXPECT_TRUE(no_memory.fired());
  }
  EXPECT_EQ(Current(), nullptr);
  NUXMivareDefaultAllocatorUninit();
  orlo::AsyncEventBus* bus = orlo::GetGlobalEventBus();  // the subscription is still there
  bus->Post(orlo::SystemEvent{1, ""});
  bus->Flush();
  EXPECT_EQ(received, 1);
  orlo::ReleaseGlobalEventBus();
  orlo::ReleaseGlobalEventBus();
}

TEST_F(AllocatorMgrTest, ForwardsToTheCurrentAllocator) {
  NUXMivareDefaultAllocatorInit(&gpu_);
  clock_.Settle();
  {
    const std::shared_ptr<IMediaBuffer> frame = Alloc(VideoRequest(1, 64, 64));
    uint64_t all = 0;
    uint64_t free = 0;
    EXPECT_EQ(manager_->GetMemoryStatus(all, free), 0);
    EXPECT_EQ(all, 64U * 64 * 3 / 2);
    manager_->clear();
    EXPECT_EQ(log_.CountContaining("mivare::allocator::clear done."), 1);
    // What the manager keeps to itself, allocator or not:
    gpu_.available = 1 << 20;
    EXPECT_FALSE(manager_->FillBlank(frame.get()));
    EXPECT_EQ(manager_->GetGpuAvailableMemory(), 0);
    EXPECT_EQ(manager_->AllocLazy(nullptr), nullptr);
  }
  NUXMivareDefaultAllocatorUninit();
}

TEST_F(AllocatorMgrTest, ABadCompatibleValueLeavesTheManagersAlloc) {
  NUXMivareDefaultAllocatorInit(&gpu_);
  const MediaDescPtr desc = VideoRequest(1, 64, 64, 1);
  desc->GetUserDataConfig()->Set("PlatformCompatible", "no number");
  EXPECT_THROW(Alloc(desc), orlo::AnyBadAccess);
  NUXMivareDefaultAllocatorUninit();
}

TEST_F(AllocatorMgrTest, ABufferOutlivesUninit) {
  NUXMivareDefaultAllocatorInit(&gpu_);
  std::shared_ptr<IMediaBuffer> device = Alloc(VideoRequest(1, 64, 64, 1));
  std::shared_ptr<IMediaBuffer> host = Alloc(VideoRequest(1, 64, 64));
  std::shared_ptr<IMediaBuffer> audio = Alloc(AudioRequest());
  NUXMivareDefaultAllocatorUninit();
  EXPECT_EQ(gpu_.lives(), 1);
  device.reset();
  host.reset();
  audio.reset();
  EXPECT_EQ(gpu_.lives(), 0);
}

TEST_F(AllocatorMgrTest, AFramesDestructorMayEndTheLibraryOnTheWorker) {
  NUXMivareDefaultAllocatorInit(&gpu_);
  clock_.Settle();
  gpu_.prepare_frame = [](FakeFrame& frame) {
    frame.on_destroy = [] { NUXMivareDefaultAllocatorUninit(); };
  };
  Alloc(VideoRequest(1, 64, 64, 1)).reset();
  clock_.Advance(301);
  while (Ends() == 0) std::this_thread::yield();
  EXPECT_EQ(Current(), nullptr);
}

TEST_F(AllocatorMgrTest, InitWhileTheOldAllocatorIsStillDroppingMakesANewOne) {
  NUXMivareDefaultAllocatorInit(&gpu_);
  // The pooled frame's destructor runs within the last Uninit, on the old worker.
  gpu_.prepare_frame = [this](FakeFrame& frame) {
    frame.on_destroy = [this] { NUXMivareDefaultAllocatorInit(&gpu_); };
  };
  Alloc(VideoRequest(1, 64, 64, 1)).reset();
  gpu_.prepare_frame = nullptr;
  NUXMivareDefaultAllocatorUninit();
  EXPECT_NE(Current(), nullptr);
  EXPECT_EQ(Ends(), 1);
  EXPECT_NE(Alloc(VideoRequest(1, 64, 64)), nullptr);
  NUXMivareDefaultAllocatorUninit();
  EXPECT_EQ(Ends(), 2);
}

TEST_F(AllocatorMgrTest, AnAllocatorDroppedDuringACallLivesUntilTheCallEnds) {
  NUXMivareDefaultAllocatorInit(&gpu_);
  std::promise<void> entered;
  std::promise<void> go;
  gpu_.on_call = [&](const FakeGpu::Call& call) {
    if (call.name != "Alloc") return;
    entered.set_value();
    go.get_future().wait();
  };
  std::shared_ptr<IMediaBuffer> frame;
  std::thread caller([&] { frame = Alloc(VideoRequest(1, 64, 64, 1)); });
  entered.get_future().wait();
  NUXMivareDefaultAllocatorUninit();
  EXPECT_EQ(Current(), nullptr);
  EXPECT_EQ(Ends(), 0);
  go.set_value();
  caller.join();
  EXPECT_EQ(Ends(), 1);
  ASSERT_NE(frame, nullptr);
  frame.reset();
  EXPECT_EQ(gpu_.lives(), 0);
}

TEST_F(AllocatorMgrTest, TheGpuAllocatorMayCallBack) {
  NUXMivareDefaultAllocatorInit(&gpu_);
  const MediaDescPtr host = VideoRequest(1, 128, 64);
  int calls = 0;
  gpu_.on_call = [&](const FakeGpu::Call&) {
    uint64_t all = 0;
    uint64_t free = 0;
    EXPECT_EQ(manager_->GetMemoryStatus(all, free), 0);
    EXPECT_NE(Alloc(host), nullptr);
    NUXMivareDefaultAllocatorInit(nullptr);
    NUXMivareDefaultAllocatorUninit();
    ++calls;
  };
  const MediaDescPtr blank = VideoRequest(1, 64, 64, 1);
  blank->GetUserDataConfig()->Set("Blank", 1);
  EXPECT_NE(Alloc(blank), nullptr);
  EXPECT_EQ(calls, 3);  // GetAvailableMemory, Alloc, FillBlank
  gpu_.on_call = nullptr;
  NUXMivareDefaultAllocatorUninit();
}

TEST_F(AllocatorMgrTest, ProcessExitWarnsAndClearsWhatUninitWouldHave) {
  AllocatorMgrDecoImpl& manager = AllocatorMgrDecoImpl::Instance();
  manager.WarnAndClear();
  EXPECT_TRUE(log_.Lines().empty());
  NUXMivareDefaultAllocatorInit(&gpu_);
  manager.WarnAndClear();
  EXPECT_EQ(log_.Count(4, "warning! file[mivare/allocator_mgr] line[250]"), 1);
  EXPECT_EQ(Current(), nullptr);
  EXPECT_EQ(Ends(), 1);
  NUXMivareDefaultAllocatorUninit();
}

TEST_F(AllocatorMgrTest, TheThreeSlotsBehindTheInterfaceDoNothing) {
  AllocatorMgrDecoImpl& manager = AllocatorMgrDecoImpl::Instance();
  EXPECT_EQ(manager.Reserved0(), 0);
  EXPECT_EQ(manager.Reserved1(), 0);
  EXPECT_EQ(manager.Reserved2(), 0);
}

}  // namespace
}  // namespace mivare::test
