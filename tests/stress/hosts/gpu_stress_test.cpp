// A host's GPU side that comes back into the library from wherever it is called, or fails.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "mivare/helper.h"
#include "stress/scenario.h"
#include "support/request.h"
#include "support/together.h"

namespace mivare::test {
namespace {

class GpuStress : public Scenario {
 protected:
  // Every operation of the manager. What a request answers depends on whether the library is up;
  // what it must not do is wait for the caller.
  void CallEverything() {
    uint64_t all = 0;
    uint64_t free = 0;
    if (Manager().GetMemoryStatus(all, free) == 0) {
      EXPECT_LE(free, all);
    }
    Manager().SetMemoryLimit(64);
    Manager().clear();
    Manager().reduce_memory();
    EXPECT_EQ(Manager().GetGpuAvailableMemory(), 0);
    EXPECT_FALSE(Manager().FillBlank(nullptr));
    const auto frame = Manager().Alloc(host_.get(), nullptr, nullptr);
    if (frame != nullptr) frame->Clone(0);
    Manager().Alloc(device_.get(), nullptr, nullptr);
    Manager().Alloc(audio_.get(), nullptr, nullptr);
    if (const auto lazy = Manager().AllocLazy(device_.get())) lazy->GetDesc(0);
  }

  // With a pair of its own: should the others go meanwhile, its Uninit is the last.
  void CallEverythingInAPair() {
    const Library inner(&gpu_);
    CallEverything();
  }

  // Frames whose end calls everything, a limited number of times: each call leaves frames behind.
  void LetDeletersCallBack(int times) {
    budget_ = times;
    gpu_.prepare_frame = [this](FakeFrame& frame) {
      frame.on_destroy = [this] {
        ++running_;
        if (budget_.fetch_sub(1) > 0) {
          At("the deleter of a device frame");
          on_delete_();
          if (std::this_thread::get_id() != main_thread_) ++off_main_;
        }
        --running_;
      };
    };
  }

  // No deleter calls back any more, so that the test's own Uninit is the last.
  void QuietDeleters() {
    At("waiting for the last deleters");
    budget_ = 0;
    while (running_ > 0) std::this_thread::yield();
  }

  // Until that many deleters have called back from other threads than this one.
  void AwaitDeleters(int count) const {
    At("waiting for deleters");
    while (off_main_ < count) std::this_thread::yield();
  }

  const MediaDescPtr host_ = VideoRequest(45, 64, 16);
  const MediaDescPtr device_ = VideoRequest(45, 64, 16, 1);
  const MediaDescPtr audio_ = AudioRequest();
  std::function<void()> on_delete_ = [this] { CallEverything(); };
  std::atomic<int> off_main_{0};

 private:
  const std::thread::id main_thread_ = std::this_thread::get_id();
  std::atomic<int> budget_{0};
  std::atomic<int> running_{0};
};

TEST_F(GpuStress, DeletersOnTheWorkerCallBack) {
  on_delete_ = [this] { CallEverythingInAPair(); };
  LetDeletersCallBack(Rounds(60));
  const Library library(&gpu_);
  for (int done = 0; done < Rounds(40);) {
    std::vector<std::shared_ptr<IMediaBuffer>> frames(8);
    for (auto& frame : frames) frame = Manager().Alloc(device_.get(), nullptr, nullptr);
    frames.clear();
    Manager().clear();
    AwaitDeleters(++done);
  }
  QuietDeleters();
}

TEST_F(GpuStress, DeletersCallBackUnderLoad) {
  on_delete_ = [this] { CallEverythingInAPair(); };
  LetDeletersCallBack(Rounds(400));
  const Library library(&gpu_);
  Together(4, [&](int thread) {
    for (int i = 0; i < Rounds(100); ++i) {
      At("requesting while deleters call back");
      EXPECT_NE(Manager().Alloc(device_.get(), nullptr, nullptr), nullptr);
      if (i % 8 == thread) Manager().clear();
    }
  });
  QuietDeleters();
}

TEST_F(GpuStress, DeletersCallBackDuringUninit) {
  constexpr int kCalls = 6;
  for (int round = 0; round < Rounds(20); ++round) {
    LetDeletersCallBack(kCalls);
    Library library(&gpu_);
    std::vector<std::shared_ptr<IMediaBuffer>> frames(8);
    for (auto& frame : frames) frame = Manager().Alloc(device_.get(), nullptr, nullptr);
    const int before = off_main_;
    if (round % 2 == 0) {
      frames.clear();
      At("Uninit with frames pooled");
      library.Close();
      EXPECT_EQ(off_main_, before + kCalls) << "the worker drops them, before Uninit returns";
    } else {
      std::thread dropper([&] { frames.clear(); });
      At("Uninit while frames are dropped");
      library.Close();
      dropper.join();
    }
    EXPECT_EQ(gpu_.lives(), 0);
  }
}

TEST_F(GpuStress, ADeleterOnTheWorkerEndsTheLibraryAndBringsItUpAgain) {
  for (int round = 0; round < Rounds(20); ++round) {
    std::atomic<bool> ended{false};
    on_delete_ = [&] {
      At("Uninit on the worker");
      EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
      EXPECT_EQ(Manager().Alloc(host_.get(), nullptr, nullptr), nullptr);
      At("Init on the worker that has just ended");
      EXPECT_EQ(NUXMivareDefaultAllocatorInit(&gpu_), 0);
      ended = true;
    };
    EXPECT_EQ(NUXMivareDefaultAllocatorInit(&gpu_), 0);
    LetDeletersCallBack(1);
    Manager().Alloc(device_.get(), nullptr, nullptr);
    Manager().clear();
    At("waiting for the deleter to bring the library up");
    while (!ended) std::this_thread::yield();
    AwaitDeleters(round + 1);
    EXPECT_NE(Manager().Alloc(device_.get(), nullptr, nullptr), nullptr);
    At("Uninit behind the worker that ended");
    EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
  }
}

TEST_F(GpuStress, EveryCallbackComesBackIn) {
  std::atomic<int> inside{0};
  gpu_.on_call = [&](const FakeGpu::Call&) {
    thread_local bool coming_back = false;
    if (coming_back) return;
    coming_back = true;
    At("a callback of the GPU allocator");
    CallEverythingInAPair();
    ++inside;
    coming_back = false;
  };
  const Library library(&gpu_);
  const MediaDescPtr blank = VideoRequest(45, 64, 16, 1);
  blank->GetUserDataConfig()->Set("Blank", 1);
  Together(4, [&](int) {
    for (int i = 0; i < Rounds(25); ++i) {
      const auto frame = Manager().Alloc(device_.get(), nullptr, nullptr);
      ASSERT_NE(frame, nullptr);
      const auto black = Manager().Alloc(blank.get(), nullptr, nullptr);
      ASSERT_NE(black, nullptr);
      EXPECT_TRUE(HasStamp(*black, -1));
      const auto copy = Manager().Alloc(host_.get(), frame.get(), nullptr);
      ASSERT_NE(copy, nullptr);
      EXPECT_EQ(copy->CopyFrom(frame.get()), 1) << "downloaded";
    }
  });
  for (const char* name : {"Alloc", "FillBlank", "Download", "GetAvailableMemory"}) {
    EXPECT_GT(gpu_.Count(name), 0) << name;
  }
  EXPECT_GT(inside, Rounds(25));
}

TEST_F(GpuStress, EveryCallbackThrows) {
  std::atomic<int> angry{0};
  gpu_.on_call = [&](const FakeGpu::Call&) {
    if (angry == 1) throw std::runtime_error("the device is lost");
    if (angry == 2) throw 7;
  };
  const auto lost = DeviceFrame(gpu_, *device_);
  const MediaDescPtr blank = VideoRequest(45, 64, 16, 1);
  blank->GetUserDataConfig()->Set("Blank", 1);
  const Library library(&gpu_);
  for (int round = 0; round < Rounds(15); ++round) {
    const auto good = Manager().Alloc(device_.get(), nullptr, nullptr);
    const auto good_host = Manager().Alloc(host_.get(), nullptr, nullptr);
    const auto good_lazy = Manager().AllocLazy(device_.get());
    ASSERT_NE(good, nullptr);
    ASSERT_NE(good_host, nullptr);
    angry = 1 + round % 2;
    Together(6, [&](int) {
      At("requesting from a GPU allocator that throws");
      EXPECT_EQ(Manager().Alloc(device_.get(), nullptr, nullptr), nullptr);
      Manager().Alloc(blank.get(), nullptr, nullptr);  // a pooled frame serves, unfilled
      EXPECT_EQ(good_lazy->GetDesc(0), nullptr);
      const auto own = Manager().Alloc(host_.get(), nullptr, nullptr);
      ASSERT_NE(own, nullptr);
      EXPECT_EQ(own->CopyFrom(lost.get()), 0);
    });
    angry = 0;
    EXPECT_NE(Manager().Alloc(device_.get(), nullptr, nullptr), nullptr);
    EXPECT_NE(Manager().Alloc(blank.get(), nullptr, nullptr), nullptr);
    EXPECT_NE(good_lazy->GetDesc(0), nullptr);
    EXPECT_EQ(good_host->CopyFrom(lost.get()), 1);
  }
}

}  // namespace
}  // namespace mivare::test
