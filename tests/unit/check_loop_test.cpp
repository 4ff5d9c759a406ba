#include "check_loop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "blank_pool.h"
#include "frame_pools.h"
#include "hybrid_frame.h"
#include "hybrid_frame_allocator.h"
#include "mivare/user_data.h"
#include "support/fake_gpu.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

constexpr char kStart[] = "mivare::hybrid_frame_allocator::check_loop start...";
constexpr char kEnd[] = "mivare::hybrid_frame_allocator::check_loop end...";

/// The CPU side of a worker under test: counts, and fails on demand.
class FakeCpu final : public IAllocatorEx {
 public:
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc*, IMediaBuffer*, void*) override {
    return nullptr;
  }
  int32_t GetMemoryStatus(uint64_t&, uint64_t&) override { return -1; }
  void clear() override {}
  void SetMemoryLimit(uint32_t) override {}
  bool FillBlank(IMediaBuffer*) override { return false; }
  std::shared_ptr<IMediaBuffer> AllocLazy(IMediaDesc*) override { return nullptr; }
  void reduce_memory() override {
    ++reductions;
    if (throws == 1) throw std::runtime_error("failed");
    if (throws == 2) throw 7;
  }
  int64_t GetGpuAvailableMemory() override {
    ++reports;
    if (throws != 0) throw std::runtime_error("failed");
    return 5 << 20;
  }

  std::atomic<int> reductions{0};
  std::atomic<int> reports{0};
  std::atomic<int> throws{0};
};

FrameKey Key(int32_t width) { return {*VideoRequest(1, width, 64), false}; }

class CheckLoopTest : public testing::Test {
 protected:
  CheckLoopTest() : loop_(std::make_unique<check_loop>(pools_, cpu_)) { clock_.Settle(); }

  int Reports() const { return log_.CountContaining("[SystemInfo] "); }

  WorkerClock clock_;
  LogCapture log_;
  std::shared_ptr<FramePools> pools_ = std::make_shared<FramePools>();
  std::shared_ptr<FakeCpu> cpu_ = std::make_shared<FakeCpu>();
  std::unique_ptr<check_loop> loop_;
};

TEST_F(CheckLoopTest, LogsItsStartAndItsEnd) {
  EXPECT_EQ(log_.Count(4, kStart), 1);
  EXPECT_EQ(log_.Count(4, kEnd), 0);
  loop_.reset();
  EXPECT_EQ(log_.Count(4, kEnd), 1);
}

TEST_F(CheckLoopTest, PassesEvery100Ms) {
  EXPECT_EQ(cpu_->reductions, 1);  // at once
  clock_.Advance(99);
  EXPECT_EQ(cpu_->reductions, 1);
  clock_.Pass(1);
  EXPECT_EQ(cpu_->reductions, 2);
  clock_.Pass();
  EXPECT_EQ(cpu_->reductions, 3);
}

TEST_F(CheckLoopTest, ReportsWhenMoreThan10SecondsHavePassed) {
  clock_.Pass(10'000);
  EXPECT_EQ(Reports(), 0);
  clock_.Pass(100);
  EXPECT_EQ(Reports(), 1);
  EXPECT_EQ(log_.CountContaining("(GPU:5.00MB)"), 1);
  clock_.Pass(10'000);
  EXPECT_EQ(Reports(), 1);
  clock_.Pass(100);
  EXPECT_EQ(Reports(), 2);
}

TEST_F(CheckLoopTest, ReportsNothingOnceATaskHasEndedTheLibrary) {
  std::promise<void> done;
  pools_->Queue([&] {
    clock_.Advance(10'001);
    pools_->Stop();  // as the allocator's end on this thread does
    done.set_value();
  });
  done.get_future().wait();
  loop_.reset();
  EXPECT_EQ(cpu_->reports, 0);
}

// A clock that stands still: whoever waits on it is woken, or waits for ever.
class StoppedClock final : public Clock {
 public:
  StoppedClock() { SetClock(this); }
  ~StoppedClock() override { SetClock(nullptr); }
  int64_t WallMs() override { return 0; }
  int64_t SteadyMs() override { return 0; }
  void Wait(std::condition_variable& wake, std::unique_lock<std::mutex>& lock, int64_t,
            const std::function<bool()>& ready) override {
    if (!ready()) {
      waiting = true;
      wake.wait(lock, ready);
    }
  }

  std::atomic<bool> waiting{false};
};

TEST(CheckLoop, IsWokenForEachTaskAndForItsEnd) {
  const LogCapture quiet;
  StoppedClock clock;
  const auto pools = std::make_shared<FramePools>();
  check_loop loop(pools, std::make_shared<FakeCpu>());
  for (int i = 0; i < 3; ++i) {
    while (!clock.waiting) std::this_thread::yield();
    clock.waiting = false;
    std::promise<void> done;
    pools->Queue([&] { done.set_value(); });
    done.get_future().wait();
  }
}

TEST_F(CheckLoopTest, AStepOfTheWallClockCausesNoReport) {
  clock_.StepWall(60'000);
  clock_.Pass();
  EXPECT_EQ(Reports(), 0);
}

TEST_F(CheckLoopTest, RunsTasksInOrderOneAPassWithoutWaiting) {
  const uint64_t waits = clock_.WaitsBegun();
  const int reductions = cpu_->reductions;
  std::vector<int> order;
  std::promise<void> entered;
  std::promise<void> go;
  pools_->Queue([&] {
    entered.set_value();
    go.get_future().wait();
    order.push_back(0);
  });
  entered.get_future().wait();
  // Queuing does not wait for the task that is running.
  for (int i = 1; i < 4; ++i) pools_->Queue([&order, i] { order.push_back(i); });
  go.set_value();
  clock_.AwaitWaits(waits + 4);
  clock_.Settle();
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(cpu_->reductions, reductions + 4);
}

TEST_F(CheckLoopTest, TasksRunWithoutTheLock) {
  std::promise<bool> made;
  pools_->Queue([&] { made.set_value(pools_->GetOrCreate(Key(64)) != nullptr); });
  EXPECT_TRUE(made.get_future().get());
}

TEST_F(CheckLoopTest, SurvivesWhateverAPassThrows) {
  for (const int kind : {1, 2}) {
    cpu_->throws = kind;
    const int before = cpu_->reductions;
    clock_.Pass();
    clock_.Pass();
    EXPECT_EQ(cpu_->reductions, before + 2);
  }
  clock_.Pass(10'100);  // the report throws as well
  EXPECT_EQ(cpu_->reports, 1);
  const uint64_t waits = clock_.WaitsBegun();
  pools_->Queue([] { throw std::runtime_error("a task failed"); });
  pools_->Queue([] { throw 7; });
  clock_.AwaitWaits(waits + 2);
  cpu_->throws = 0;
  const int before = cpu_->reductions;
  clock_.Pass();
  EXPECT_GE(cpu_->reductions, before + 1);
}

TEST_F(CheckLoopTest, TasksLeftAtTheEndAreDroppedUnrun) {
  std::promise<void> entered;
  std::promise<void> go;
  bool ran = false;
  pools_->Queue([&] {
    entered.set_value();
    go.get_future().wait();
  });
  entered.get_future().wait();
  const auto witness = std::make_shared<int>(0);
  pools_->Queue([&ran, witness] { ran = true; });
  std::thread ender([&] { loop_.reset(); });
  while (!pools_->stopped()) std::this_thread::yield();
  go.set_value();
  ender.join();
  EXPECT_FALSE(ran);
  EXPECT_EQ(witness.use_count(), 2);
  pools_.reset();
  EXPECT_EQ(witness.use_count(), 1);
}

TEST_F(CheckLoopTest, ItsEndClosesThePools) {
  const FakeGpu gpu;
  const std::shared_ptr<BlankPool> pool = pools_->GetOrCreate(Key(64));
  const std::shared_ptr<IMediaBuffer> frame =
      HybridBuffer::Create(DeviceFrame(gpu, *VideoRequest(1, 64, 64)), {}, {}, {});
  loop_.reset();
  EXPECT_FALSE(pool->Put(static_cast<HybridBuffer*>(frame.get())));
  EXPECT_EQ(pool->Take(), nullptr);
}

TEST_F(CheckLoopTest, HoldsTheCpuAllocatorUntilItsEnd) {
  const std::weak_ptr<FakeCpu> cpu = cpu_;
  cpu_.reset();
  clock_.Pass();
  EXPECT_FALSE(cpu.expired());
  loop_.reset();
  EXPECT_TRUE(cpu.expired());
}

TEST_F(CheckLoopTest, AnAllocatorWithoutReductionsIsFine) {
  loop_.reset();
  pools_ = std::make_shared<FramePools>();
  loop_ = std::make_unique<check_loop>(pools_, nullptr);
  clock_.Pass(10'101);
  EXPECT_EQ(log_.CountContaining("(GPU:0.00MB)"), 1);
}

TEST_F(CheckLoopTest, EqualKeysShareAPoolThatLivesOn) {
  const std::shared_ptr<BlankPool> pool = pools_->GetOrCreate(Key(64));
  EXPECT_EQ(pools_->GetOrCreate(Key(64)), pool);
  EXPECT_NE(pools_->GetOrCreate(Key(65)), pool);
}

// --- through the allocator, with frames

class IdleFramesTest : public testing::Test {
 protected:
  IdleFramesTest() : allocator_(hybrid_frame_allocator::Create(&gpu_)) { clock_.Settle(); }

  std::shared_ptr<IMediaBuffer> Alloc(int32_t width = 64) {
    return allocator_->Alloc(VideoRequest(1, width, 64, 1).get(), nullptr, nullptr);
  }

  TrovelBalance balance_;
  WorkerClock clock_;
  LogCapture log_;
  FakeGpu gpu_;
  std::shared_ptr<IAllocator> allocator_;
};

TEST_F(IdleFramesTest, AreKeptFor300MsAfterTheirLastRequest) {
  Alloc().reset();
  clock_.Pass(300);
  EXPECT_EQ(gpu_.lives(), 1);
  clock_.Pass(100);
  EXPECT_EQ(gpu_.lives(), 0);
  EXPECT_EQ(log_.CountContaining("free buffers"), 0);  // trimming is silent
}

TEST_F(IdleFramesTest, GoAfter301Ms) {
  Alloc().reset();
  clock_.Pass(301);
  EXPECT_EQ(gpu_.lives(), 0);
}

TEST_F(IdleFramesTest, GiveTheirHostMemoryBackInTheSamePass) {
  allocator_->Alloc(VideoRequest(1, 64, 64).get(), nullptr, nullptr).reset();
  clock_.Pass(301);
  uint64_t all = 1;
  uint64_t free = 1;
  EXPECT_EQ(allocator_->GetMemoryStatus(all, free), 0);
  EXPECT_EQ(all, 0U);
}

TEST_F(IdleFramesTest, StayYoungByBeingUsed) {
  for (int i = 0; i < 5; ++i) {
    Alloc().reset();
    clock_.Pass(200);
    EXPECT_EQ(gpu_.lives(), 1);
  }
  EXPECT_EQ(gpu_.Count("Alloc"), 1);
}

TEST_F(IdleFramesTest, StayYoungByServingBlankRequests) {
  const MediaDescPtr blank = VideoRequest(1, 64, 64, 1);
  blank->GetUserDataConfig()->Set("Blank", 1);
  for (int i = 0; i < 5; ++i) {
    // Marked, it waits in the blank pool for the next one, else in the plain pool.
    std::shared_ptr<IMediaBuffer> frame = allocator_->Alloc(blank.get(), nullptr, nullptr);
    if (i % 2 != 0) frame->GetDesc(0)->GetUserDataConfig()->Set("Blank", 1);
    frame.reset();
    clock_.Pass(200);
    EXPECT_EQ(gpu_.lives(), 1);
  }
  EXPECT_EQ(gpu_.Count("Alloc"), 1);
}

TEST_F(IdleFramesTest, GoInTheOrderOfTheirPoolsKeyTexts) {
  std::vector<uint32_t> gone;
  gpu_.prepare_frame = [&](FakeFrame& frame) {
    frame.on_destroy = [&gone, width = frame.GetDesc(0)->GetWidth()] { gone.push_back(width); };
  };
  for (const bool forced : {false, true}) {
    SCOPED_TRACE(forced);
    gone.clear();
    for (const int32_t width : {640, 96, 1280}) Alloc(width).reset();
    if (forced) {
      const uint64_t waits = clock_.WaitsBegun();
      allocator_->clear();
      clock_.AwaitWaits(waits + 1);
    } else {
      clock_.Pass(301);
    }
    // As the texts "1280x64", "640x64" and "96x64" compare, neither the numbers nor the requests.
    EXPECT_EQ(gone, (std::vector<uint32_t>{1280, 640, 96}));
  }
}

TEST_F(IdleFramesTest, SurplusGoesAtTheNextPass) {
  std::vector<std::shared_ptr<IMediaBuffer>> frames;
  frames.reserve(35);
  for (int i = 0; i < 35; ++i) frames.push_back(Alloc());
  frames.clear();
  EXPECT_EQ(gpu_.lives(), 35);
  clock_.Pass();
  EXPECT_EQ(gpu_.lives(), 32);
}

TEST_F(IdleFramesTest, ClearEmptiesThePoolsOnTheWorkerAndTheCpuAllocatorAtOnce) {
  Alloc().reset();
  Alloc(128).reset();
  const std::shared_ptr<IMediaBuffer> held = Alloc(192);
  const uint64_t waits = clock_.WaitsBegun();
  allocator_->clear();
  EXPECT_EQ(log_.CountContaining("mivare::allocator::clear before status"), 1);
  clock_.AwaitWaits(waits + 1);
  EXPECT_EQ(gpu_.lives(), 1);
  EXPECT_EQ(
      log_.Count(4, "mivare::hybrid_frame_allocator::__reducememoryforce free buffers = 2 ..."), 1);
  allocator_->clear();
  clock_.AwaitWaits(waits + 2);
  EXPECT_EQ(log_.CountContaining("free buffers"), 1);  // nothing to say
}

TEST_F(IdleFramesTest, TheAllocatorsEndDestroysPooledFramesAndLaterTheOnesThatAreOut) {
  Alloc(128).reset();
  Alloc(192).reset();
  std::shared_ptr<IMediaBuffer> out = Alloc();
  allocator_.reset();
  EXPECT_EQ(gpu_.lives(), 1);
  EXPECT_EQ(
      log_.Count(4, "mivare::hybrid_frame_allocator::__reducememoryforce free buffers = 2 ..."), 1);
  EXPECT_EQ(log_.Count(4, kEnd), 1);
  EXPECT_EQ(out->GetDesc(0)->GetWidth(), 64U);  // still good
  out.reset();
  EXPECT_EQ(gpu_.lives(), 0);
}

TEST_F(IdleFramesTest, TheWorkersLastWordsComeBehindTheEndOfThePooledFrames) {
  int ends = -1;
  gpu_.prepare_frame = [&](FakeFrame& frame) {
    frame.on_destroy = [&] { ends = log_.Count(4, kEnd); };
  };
  Alloc().reset();
  allocator_.reset();
  EXPECT_EQ(ends, 0);
  EXPECT_EQ(log_.Count(4, kEnd), 1);
}

TEST_F(IdleFramesTest, HostFramesThatAreOutSurviveTheAllocatorToo) {
  std::shared_ptr<IMediaBuffer> out =
      allocator_->Alloc(VideoRequest(1, 64, 64).get(), nullptr, nullptr);
  allocator_.reset();
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  ASSERT_EQ(out->Lock(planes, pitches, nullptr, nullptr), 0);
  planes[0][0] = 1;
}

TEST_F(IdleFramesTest, AFrameReleasedAfterTheLastReductionIsDestroyedByItsReleaser) {
  // Dropped in the middle of the end: by another frame's destructor, on the worker.
  std::shared_ptr<IMediaBuffer> out;
  gpu_.prepare_frame = [&](FakeFrame& frame) { frame.on_destroy = [&] { out.reset(); }; };
  std::shared_ptr<IMediaBuffer> pooled = Alloc(128);
  gpu_.prepare_frame = nullptr;
  out = Alloc();
  pooled.reset();
  allocator_.reset();
  EXPECT_EQ(gpu_.lives(), 0);
}

TEST_F(IdleFramesTest, ALastReferenceDroppedOnTheWorkerEndsItInPeace) {
  gpu_.prepare_frame = [&](FakeFrame& frame) { frame.on_destroy = [&] { allocator_.reset(); }; };
  std::shared_ptr<IMediaBuffer> fatal = Alloc(128);
  gpu_.prepare_frame = nullptr;
  Alloc().reset();
  fatal.reset();
  clock_.Advance(301);
  // The thread is on its own now: wait for its last words.
  while (log_.Count(4, kEnd) == 0) std::this_thread::yield();
  EXPECT_EQ(allocator_, nullptr);
  EXPECT_EQ(gpu_.lives(), 0);
}

}  // namespace
}  // namespace mivare::test
