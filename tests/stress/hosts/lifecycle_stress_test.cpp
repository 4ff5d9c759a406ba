// The library goes up and down under its users.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "mivare/helper.h"
#include "mivare/media_sample.h"
#include "stress/scenario.h"
#include "support/request.h"
#include "support/together.h"
#include "trovel/trovel.h"

namespace mivare::test {
namespace {

using LifecycleStress = Scenario;

TEST_F(LifecycleStress, AThousandInitsAndUninitsUnderRequestCloneAndDrop) {
  BusProbe probe;
  const MediaDescPtr host = VideoRequest(45, 64, 16);
  const MediaDescPtr device = VideoRequest(45, 64, 16, 1);
  const MediaDescPtr audio = AudioRequest();
  std::atomic<bool> over{false};
  std::atomic<int> served{0};
  Together(4, [&](int thread) {
    if (thread == 0) {
      for (int i = 0; i < Rounds(1000); ++i) {
        At("Init");
        Library library(i % 4 == 3 ? nullptr : &gpu_);
        while (served < i / 8) std::this_thread::yield();  // now and then somebody gets through
        At("Uninit");
        library.Close();
      }
      over = true;
      return;
    }
    for (int i = 1; !over; ++i) {
      At("requesting while the library comes and goes");
      const auto frame = Manager().Alloc(i % 2 == 0 ? host.get() : device.get(), nullptr, nullptr);
      if (frame == nullptr) {
        std::this_thread::yield();
        continue;
      }
      ++served;
      Manager().Alloc(audio.get(), nullptr, nullptr);
      if (frame->GetDesc(0)->GetMemoryLocation() == 1 && frame->QueryNative(0) == nullptr) {
        continue;  // no GPU this time: its frames are the host's own
      }
      if (i % 2 != 0) continue;
      Stamp(*frame, i);
      if (const auto copy = frame->Clone(0)) {
        EXPECT_TRUE(HasStamp(*copy, i));
      }
      EXPECT_TRUE(HasStamp(*frame, i));
    }
  });
  EXPECT_TRUE(probe.IsHeard()) << "somebody gave the event bus back once too often";
}

TEST_F(LifecycleStress, InsideAHeldPairARequestIsNeverEmpty) {
  BusProbe probe;
  const MediaDescPtr host = VideoRequest(45, 64, 16);
  const MediaDescPtr device = VideoRequest(45, 64, 16, 1);
  Together(16, [&](int thread) {
    Dice dice(thread);
    for (int i = 0; i < Rounds(40); ++i) {
      At("Init among others");
      Library library(&gpu_);
      At("requesting inside a pair");
      auto frame = Manager().Alloc(thread % 2 == 0 ? host.get() : device.get(), nullptr, nullptr);
      ASSERT_NE(frame, nullptr);
      Stamp(*frame, thread);
      if (dice.Throw(3) == 0) {
        const Library inner(nullptr);
        EXPECT_NE(Manager().Alloc(host.get(), nullptr, nullptr), nullptr);
      }
      uint64_t all = 0;
      uint64_t free = 0;
      EXPECT_EQ(Manager().GetMemoryStatus(all, free), 0);
      EXPECT_LE(free, all);
      if (dice.Throw(2) == 0) frame.reset();
      At("Uninit among others");
      library.Close();
      if (frame != nullptr) {
        EXPECT_TRUE(HasStamp(*frame, thread));
      }
    }
  });
  EXPECT_EQ(Manager().Alloc(host.get(), nullptr, nullptr), nullptr);
  EXPECT_TRUE(probe.IsHeard()) << "somebody gave the event bus back once too often";
}

// A host's GPU side that holds the first call of each of its operations until it is told to go on.
class HeldGpu {
 public:
  explicit HeldGpu(FakeGpu& gpu) {
    gpu.on_call = [this](const FakeGpu::Call& call) {
      for (Gate& gate : gates_) {
        if (call.name != gate.name || gate.taken.exchange(true)) continue;
        At("inside the host's GPU allocator");
        gate.reached.set_value();
        opened_.wait();
      }
    };
  }
  void Await(const char* name) {
    for (Gate& gate : gates_) {
      if (std::string_view(gate.name) == name) gate.reached.get_future().wait();
    }
  }
  void Open() { open_.set_value(); }

 private:
  struct Gate {
    const char* name;
    std::atomic<bool> taken;
    std::promise<void> reached;
  };
  std::promise<void> open_;
  const std::shared_future<void> opened_ = open_.get_future().share();
  Gate gates_[4] = {{.name = "GetAvailableMemory", .taken{}, .reached{}},
                    {.name = "Alloc", .taken{}, .reached{}},
                    {.name = "FillBlank", .taken{}, .reached{}},
                    {.name = "Download", .taken{}, .reached{}}};
};

TEST_F(LifecycleStress, UninitReturnsWhileRequestsAreBlockedInsideTheGpuAllocator) {
  const MediaDescPtr host = VideoRequest(45, 64, 16);
  const MediaDescPtr device = VideoRequest(45, 64, 16, 1);
  const MediaDescPtr blank = VideoRequest(45, 64, 16, 1);
  blank->GetUserDataConfig()->Set("Blank", 1);
  for (int round = 0; round < Rounds(10); ++round) {
    FakeGpu gpu;
    FakeGpu next_gpu;
    HeldGpu held(gpu);
    Library library(&gpu);
    const auto source = DeviceFrame(gpu, *device);
    // Each is held at the first call that nobody is held in yet.
    const struct {
      const char* place;
      IMediaDesc* request;
      IMediaBuffer* source;
    } requests[] = {
        {"GetAvailableMemory", device.get(), nullptr},
        {"Alloc", device.get(), nullptr},
        {"FillBlank", blank.get(), nullptr},
        {"Download", host.get(), source.get()},
    };
    std::vector<std::shared_ptr<IMediaBuffer>> frames(std::size(requests));
    std::vector<std::thread> threads;
    for (size_t i = 0; i < std::size(requests); ++i) {
      threads.emplace_back([&, i] {
        frames[i] = Manager().Alloc(requests[i].request, requests[i].source, nullptr);
      });
      held.Await(requests[i].place);
    }
    At("Uninit while requests are blocked");
    library.Close();
    EXPECT_EQ(Manager().Alloc(device.get(), nullptr, nullptr), nullptr);
    {
      const Library next(&next_gpu);
      EXPECT_NE(Manager().Alloc(device.get(), nullptr, nullptr), nullptr);
      EXPECT_EQ(next_gpu.Count("Alloc"), 1);
    }
    EXPECT_EQ(next_gpu.lives(), 0);
    At("waiting for the blocked requests");
    held.Open();
    for (std::thread& thread : threads) thread.join();
    for (const auto& frame : frames) EXPECT_NE(frame, nullptr);
    EXPECT_TRUE(HasStamp(*frames[2], -1));
    frames.clear();
    EXPECT_EQ(gpu.lives(), 1) << "the source alone";
  }
}

// What a host may hold when it calls Uninit: every kind of frame, and what holds frames.
std::vector<std::shared_ptr<IMediaBuffer>> EveryKind(const IMediaDesc& device_desc) {
  const MediaDescPtr device(device_desc.Clone());
  const MediaDescPtr blank_device = VideoRequest(45, 64, 16, 1);
  blank_device->GetUserDataConfig()->Set("Blank", 1);
  const MediaDescPtr blank = VideoRequest(1, 64, 16);
  blank->GetUserDataConfig()->Set("Blank", 1);
  const MediaDescPtr requests[] = {
      VideoRequest(1, 64, 16),     VideoRequest(5, 64, 16), AudioRequest(),
      AudioRequest(20005),         Describe(5, 45, 64, 16), Describe(5, 31100, 0, 0),
      VideoRequest(1, 2560, 2560),
  };
  std::vector<std::shared_ptr<IMediaBuffer>> frames;
  const auto add = [&](IMediaDesc* request) {
    frames.push_back(Manager().Alloc(request, nullptr, nullptr));
    EXPECT_NE(frames.back(), nullptr);
  };
  for (const MediaDescPtr& request : requests) add(request.get());
  for (IMediaDesc* request : {device.get(), blank_device.get(), blank.get()}) {
    add(request);
    add(request);
    frames.back()->GetDesc(0)->GetUserDataConfig()->Set("Blank", 1);
    frames.push_back(frames.back()->Clone(0));
  }
  frames.push_back(Manager().AllocLazy(device.get()));
  EXPECT_NE(frames.back()->GetDesc(0), nullptr);
  return frames;
}

TEST_F(LifecycleStress, FramesOfAnEarlierCycleNeverEnterANewPoolAndAreRemovedOnce) {
  const MediaDescPtr device = VideoRequest(45, 64, 16, 1);
  for (int round = 0; round < Rounds(8); ++round) {
    FakeGpu old_gpu;
    FakeGpu new_gpu;
    Library old_library(&old_gpu);
    std::vector<std::shared_ptr<IMediaBuffer>> frames = EveryKind(*device);
    const auto unused_lazy = Manager().AllocLazy(device.get());
    old_library.Close();

    const Library new_library(&new_gpu);
    // A second registration of each: a removal too many would take it along.
    const std::vector<trovel::Resource> out = trovel::Snapshot();
    ASSERT_GE(out.size(), frames.size());
    for (const trovel::Resource& one : out) trovel::AddResource(one.name.c_str(), one.object);
    {
      // Half of them go through samples.
      const auto sample = NUXMivareMediaSampleCreate(1, 2, 3, nullptr);
      for (size_t i = 0; i < frames.size(); i += 2) sample->AddBuffer(std::move(frames[i]));
      Together(4, [&](int thread) {
        At("dropping frames of an earlier cycle");
        for (size_t i = static_cast<size_t>(thread); i < frames.size(); i += 4) frames[i].reset();
        if (thread == 0) sample->ClearBuffers();
      });
    }
    EXPECT_EQ(old_gpu.lives(), 0);
    const std::vector<trovel::Resource> left = trovel::Snapshot();
    ASSERT_EQ(left.size(), out.size());
    for (size_t i = 0; i < left.size(); ++i) {
      EXPECT_EQ(left[i].object, out[i].object);
      EXPECT_EQ(left[i].count, out[i].count) << out[i].name;
      for (size_t n = 0; n < left[i].count; ++n) {
        trovel::RemoveResource(left[i].name.c_str(), left[i].object);
      }
    }

    uint64_t all = 1;
    uint64_t free = 1;
    EXPECT_EQ(Manager().GetMemoryStatus(all, free), 0);
    EXPECT_EQ(all, 0U) << "the new cycle has host buffers that it never made";
    EXPECT_EQ(EveryKind(*device).size(), frames.size());
    EXPECT_EQ(new_gpu.Count("Alloc") + new_gpu.Count("Clone"), old_gpu.Count("Alloc"));
    EXPECT_NE(unused_lazy->GetDesc(0), nullptr) << "asks the library that is up now";
    EXPECT_EQ(old_gpu.lives(), 0);
  }
}

}  // namespace
}  // namespace mivare::test
