// The worker thread under storms of tasks, low memory and deleters. Time is the test's own.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "stress/scenario.h"
#include "support/request.h"
#include "support/together.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

constexpr int64_t kMiB = 1 << 20;
constexpr char kLowLine[] = "GPU Available 300MB Memory < 512MB,releae pool!!";

class WorkerStress : public Scenario {
 protected:
  void TearDown() override {
    library_.Close();
    Scenario::TearDown();
  }
  std::shared_ptr<IMediaBuffer> Request() {
    return Manager().Alloc(device_.get(), nullptr, nullptr);
  }
  // Whatever ran before: no episode of low memory is on.
  void EndEpisode() {
    gpu_.available = 0;
    Request();
  }

  const MediaDescPtr host_ = VideoRequest(45, 64, 16);
  const MediaDescPtr device_ = VideoRequest(45, 64, 16, 1);
  WorkerClock clock_;
  Library library_{&gpu_};
};

TEST_F(WorkerStress, LowGpuMemoryIsLoggedOnceAnEpisodeWhateverTheThreads) {
  EndEpisode();
  const int episodes = Rounds(60);
  MeetingPoint meeting(8);
  Together(8, [&](int thread) {
    for (int episode = 0; episode < episodes; ++episode) {
      for (const int64_t reading : {300 * kMiB, episode % 2 == 0 ? 0 : 1024 * kMiB}) {
        if (thread == 0) gpu_.available = reading;
        meeting.Meet();
        At("requesting at one reading");
        for (int i = 0; i < 4; ++i) EXPECT_NE(Request(), nullptr);
        meeting.Meet();
      }
      if (thread == 0) {
        EXPECT_EQ(log_.Count(4, kLowLine), episode + 1);
      }
      meeting.Meet();
    }
  });
  EXPECT_EQ(log_.Count(4, kLowLine), episodes);
}

// Every other reading is low, whoever asks.
class FlappingGpu final : public IGpuAllocator {
 public:
  explicit FlappingGpu(FakeGpu& frames) : frames_(frames) {}
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                      void* reserved) override {
    return frames_.Alloc(desc, source, reserved);
  }
  bool FillBlank(std::shared_ptr<IMediaBuffer>) override { return true; }
  bool Download(IMediaBuffer*, IMediaBuffer*) override { return true; }
  int64_t GetAvailableMemory() override {
    return readings_.fetch_add(1) % 2 == 0 ? 300 * kMiB : 512 * kMiB;
  }
  int high() const { return readings_ / 2; }

 private:
  FakeGpu& frames_;
  std::atomic<int> readings_{0};
};

TEST_F(WorkerStress, FlappingReadingsLogNoMoreOftenThanTheyRise) {
  EndEpisode();
  FlappingGpu flapping(gpu_);
  library_.Close();
  library_.Open(&flapping);
  Together(8, [&](int) {
    for (int i = 0; i < Rounds(150); ++i) {
      At("requesting while readings flap");
      EXPECT_NE(Request(), nullptr);
    }
  });
  EXPECT_EQ(flapping.high(), Rounds(150) * 4);
  EXPECT_GE(log_.Count(4, kLowLine), 1);
  EXPECT_LE(log_.Count(4, kLowLine), flapping.high() + 1);
  library_.Close();
}

TEST_F(WorkerStress, AThousandQueuedClearsRunOneAPassWithoutWaiting) {
  { const auto pooled = Request(); }
  clock_.Settle();
  const uint64_t passes = clock_.WaitsBegun();
  const int clears = Rounds(250);
  Together(4, [&](int) {
    for (int i = 0; i < clears; ++i) {
      At("queuing a clear");
      Manager().clear();
    }
  });
  At("waiting for the queued clears");
  // Time stands still: it is the tasks that end the worker's waits.
  clock_.AwaitWaits(passes + static_cast<uint64_t>(clears) * 4);
  clock_.Settle();
  EXPECT_EQ(clock_.WaitsBegun(), passes + static_cast<uint64_t>(clears) * 4);
  EXPECT_EQ(gpu_.lives(), 0);
}

TEST_F(WorkerStress, UninitWithAFullQueueDropsEveryFrame) {
  for (int round = 0; round < Rounds(10); ++round) {
    std::promise<void> entered;
    std::promise<void> leave;
    gpu_.prepare_frame = [&](FakeFrame& frame) {
      frame.on_destroy = [&] {
        entered.set_value();
        leave.get_future().wait();
      };
    };
    { const auto pooled = Request(); }
    gpu_.prepare_frame = nullptr;
    Manager().clear();
    At("waiting for the worker to be held");
    entered.get_future().wait();
    std::vector<std::shared_ptr<IMediaBuffer>> frames(40);
    for (auto& frame : frames) frame = Request();
    frames.clear();
    for (int i = 0; i < 1000; ++i) Manager().clear();
    // Whoever asks the manager now may be the last to hold the allocator, and then waits for the
    // worker: this thread, which lets the worker go, must not.
    std::atomic<bool> ending{false};
    std::thread uninit([&] {
      At("Uninit with a full queue");
      ending = true;
      library_.Close();
    });
    while (!ending) std::this_thread::yield();
    leave.set_value();
    uninit.join();
    EXPECT_EQ(gpu_.lives(), 0);
    library_.Open(&gpu_);
  }
}

TEST_F(WorkerStress, DuringUninitDeletersFindTheLibraryDown) {
  for (int round = 0; round < Rounds(5); ++round) {
    std::atomic<int> called{0};
    gpu_.prepare_frame = [&](FakeFrame& frame) {
      frame.on_destroy = [&] {
        At("a deleter during Uninit");
        ++called;
        uint64_t all = 0;
        uint64_t free = 0;
        EXPECT_EQ(Manager().GetMemoryStatus(all, free), -1);
        EXPECT_EQ(Manager().Alloc(device_.get(), nullptr, nullptr), nullptr);
        Manager().clear();
        const auto lazy = Manager().AllocLazy(device_.get());
        ASSERT_NE(lazy, nullptr);
        EXPECT_EQ(lazy->GetDesc(0), nullptr);
        const Library next(nullptr);  // beside the one that ends
        EXPECT_NE(Manager().Alloc(host_.get(), nullptr, nullptr), nullptr);
      };
    };
    {
      std::vector<std::shared_ptr<IMediaBuffer>> frames(40);
      for (auto& frame : frames) frame = Request();
    }
    At("Uninit with frames pooled");
    library_.Close();
    EXPECT_EQ(called, 40);
    EXPECT_EQ(gpu_.lives(), 0);
    library_.Open(&gpu_);
  }
}

TEST_F(WorkerStress, TheReportsReadingComesBackIntoTheLibrary) {
  std::atomic<int> readings{0};
  gpu_.on_call = [&](const FakeGpu::Call& call) {
    if (call.name != "GetAvailableMemory") return;
    At("the worker's reading of GPU memory");
    uint64_t all = 0;
    uint64_t free = 0;
    EXPECT_EQ(Manager().GetMemoryStatus(all, free), 0);
    Manager().clear();
    EXPECT_NE(Manager().Alloc(host_.get(), nullptr, nullptr), nullptr);
    if (++readings % 2 == 0) throw 7;
  };
  for (int i = 1; i <= Rounds(10); ++i) {
    clock_.Pass(10'001);
    clock_.Settle();
    while (readings < i) clock_.Pass();
  }
}

}  // namespace
}  // namespace mivare::test
