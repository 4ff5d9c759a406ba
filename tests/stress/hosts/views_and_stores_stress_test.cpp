// Lazy frames, samples and user data in the hands of many threads, and values whose own code comes
// back into the library.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mivare/helper.h"
#include "mivare/media_sample.h"
#include "stress/scenario.h"
#include "support/request.h"
#include "support/together.h"

// The thread sanitizer's hook for programs; unused without it. A value that requests a frame while
// its map is being copied has that map locked, and then those of pooled frames. The latter are in
// nobody's hands, so nobody waits for them, but to the sanitizer a frame is one mutex, pooled or
// out. NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer's own name
extern "C" const char* __tsan_default_suppressions();
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions() { return "deadlock:*Requesting::Request*\n"; }

namespace mivare::test {
namespace {

using LazyStress = Scenario;

TEST_F(LazyStress, OneFrameIsMadeAtTheFirstUseBySixteenThreads) {
  const Library library(&gpu_);
  const MediaDescPtr request = VideoRequest(45, 64, 16, 1);
  request->GetUserDataConfig()->Set("PlatformCompatible", 1);  // a hint that a copy loses
  std::vector<std::shared_ptr<IMediaBuffer>> used;
  for (int round = 1; round <= Rounds(25); ++round) {
    const auto lazy = Manager().AllocLazy(request.get());
    std::vector<void*> seen(16);
    Together(16, [&](int user) {
      At("the first use of a lazy frame");
      if (user % 4 == 0) lazy->Flush();
      if (user % 4 == 1) lazy->Unlock();
      if (user % 4 == 2) {
        EXPECT_NE(lazy->Clone(0), nullptr);
      }
      seen[static_cast<size_t>(user)] = lazy->QueryNative(0);
    });
    for (void* native : seen) EXPECT_EQ(native, seen[0]);
    EXPECT_EQ(gpu_.Count("Alloc"), round);
    used.push_back(lazy);  // so that each needs a frame of its own
  }
}

TEST_F(LazyStress, AFirstUseThatFailsIsMadeAgainUntilOneFrameIsThere) {
  const Library library(&gpu_);
  const MediaDescPtr request = VideoRequest(45, 64, 16, 1);
  std::atomic<int> refusals{0};
  gpu_.on_call = [&](const FakeGpu::Call& call) {
    if (call.name != "Alloc") return;
    const int left = refusals.fetch_sub(1);
    gpu_.alloc_mood = left <= 0       ? FakeGpu::Mood::kWorks
                      : left % 2 == 0 ? FakeGpu::Mood::kFails
                                      : FakeGpu::Mood::kThrows;
  };
  std::vector<std::shared_ptr<IMediaBuffer>> used;
  for (int round = 1; round <= Rounds(25); ++round) {
    const auto lazy = Manager().AllocLazy(request.get());
    refusals = 10;
    std::atomic<int> refused{0};
    std::vector<void*> seen(16);
    Together(16, [&](int user) {
      At("a first use that fails");
      void*& native = seen[static_cast<size_t>(user)];
      native = lazy->QueryNative(0);
      for (; native == nullptr; native = lazy->QueryNative(0)) ++refused;
    });
    EXPECT_EQ(refused, 10);
    for (void* native : seen) EXPECT_EQ(native, seen[0]);
    EXPECT_EQ(gpu_.lives(), round);
    used.push_back(lazy);
  }
}

// A value that a host stores in user data: each copy and each end requests a frame with a request
// of its own and drops it.
class Requesting {
 public:
  Requesting() = default;
  Requesting(const Requesting& other) : frame_(other.frame_) { Request("a value being copied"); }
  Requesting(Requesting&&) noexcept = default;
  Requesting& operator=(const Requesting&) = delete;
  Requesting& operator=(Requesting&&) = delete;
  ~Requesting() { Request("a value being destroyed"); }

  static std::atomic<int>& requests() {
    static std::atomic<int> count{0};
    return count;
  }

 private:
  void Request(const char* place) {
    At(place);
    static const MediaDescPtr video = VideoRequest(45, 64, 16);
    static const MediaDescPtr audio = AudioRequest();
    ++requests();
    Manager().Alloc(video.get(), nullptr, nullptr);
    frame_ = Manager().Alloc(audio.get(), nullptr, nullptr);  // the copied value's frame goes
  }

  std::shared_ptr<IMediaBuffer> frame_;
};

using StoreStress = Scenario;

TEST_F(StoreStress, ValuesRequestAndDropFramesWhenTheyAreCopiedAndDestroyed) {
  Requesting::requests() = 0;
  Library library(&gpu_);
  MediaDescPtr requests[] = {VideoRequest(45, 64, 16), VideoRequest(45, 64, 16, 1), AudioRequest()};
  for (const MediaDescPtr& request : requests) {
    request->GetUserDataConfig()->Set("value", Requesting());
  }
  std::vector<std::shared_ptr<IMediaBuffer>> out(6);
  Together(6, [&](int thread) {
    for (int i = 0; i < Rounds(40); ++i) {
      IMediaDesc* request = requests[(thread + i) % 3].get();
      At("requesting with a value that requests");
      auto frame = Manager().Alloc(request, nullptr, nullptr);
      ASSERT_NE(frame, nullptr);
      orlo::ValAny value;
      EXPECT_EQ(frame->GetDesc(0)->GetUserDataInquire()->Get("value", value), 1);
      At("replacing a value that requests");
      frame->GetDesc(0)->GetUserDataConfig()->Set("value", i);
      frame->GetDesc(0)->GetUserDataConfig()->Set("other", value);
      At("cloning with a value that requests");
      frame->Clone(0);
      const MediaDescPtr copy(request->Clone());
      if (i % 8 == thread) Manager().clear();
      out[static_cast<size_t>(thread)] = std::move(frame);
    }
  });
  EXPECT_GT(Requesting::requests(), 6 * Rounds(40) * 3);
  At("Uninit with values that request out");
  library.Close();
  At("dropping values that request from a library that is down");
  out.clear();
  for (MediaDescPtr& request : requests) request.reset();
}

TEST_F(StoreStress, AHeldMapStopsOnlyThoseWhoRequestWithIt) {
  const MediaDescPtr held = VideoRequest(45, 64, 16);
  const MediaDescPtr other = VideoRequest(45, 64, 32);
  held->GetUserDataConfig()->Set("note", std::string("a text"));
  for (int round = 0; round < Rounds(10); ++round) {
    Library library(&gpu_);
    std::atomic<int> served{0};
    StartLine start(5);
    std::vector<std::thread> users;
    users.reserve(4);
    held->GetUserDataInquire()->Lock();
    for (int user = 0; user < 4; ++user) {
      users.emplace_back([&] {
        start.ArriveAndWait();
        At("requesting with a map that is held");
        const auto frame = Manager().Alloc(held.get(), nullptr, nullptr);
        ++served;
        if (frame == nullptr) return;  // asked only after Uninit
        orlo::ValAny note;
        EXPECT_EQ(frame->GetDesc(0)->GetUserDataInquire()->Get("note", note), 1);
      });
    }
    start.ArriveAndWait();
    At("working while a map is held");
    for (int i = 0; i < 50; ++i) {
      const auto frame = Manager().Alloc(other.get(), nullptr, nullptr);
      ASSERT_NE(frame, nullptr);
      EXPECT_NE(frame->Clone(0), nullptr);
      Manager().clear();
      uint64_t all = 0;
      uint64_t free = 0;
      EXPECT_EQ(Manager().GetMemoryStatus(all, free), 0);
    }
    EXPECT_EQ(served, 0);
    if (round % 2 == 0) library.Close();  // it does not wait for them
    held->GetUserDataInquire()->Unlock();
    for (std::thread& user : users) user.join();
  }
}

using SampleStress = Scenario;

TEST_F(SampleStress, TheListIsUsedByManyWhileItIsCloned) {
  const Library library(&gpu_);
  const MediaDescPtr request = VideoRequest(45, 64, 16);
  const auto sample = NUXMivareMediaSampleCreate(1, 2, 3, nullptr);
  Together(8, [&](int thread) {
    for (int i = 0; i < Rounds(150); ++i) {
      At("using a shared sample");
      auto frame = Manager().Alloc(request.get(), nullptr, nullptr);
      ASSERT_NE(frame, nullptr);
      Stamp(*frame, 77);
      sample->AddBuffer(std::move(frame));
      const uint32_t count = sample->GetBufferCount();
      if (const auto buffer = sample->GetBuffer(count / 2)) {
        EXPECT_TRUE(HasStamp(*buffer, 77));
      }
      if (i % 16 == 0) {
        const auto copy = sample->Clone();
        EXPECT_EQ(copy->GetParam3(), 3U);
        for (uint32_t k = 0; k < copy->GetBufferCount(); ++k) {
          EXPECT_TRUE(HasStamp(*copy->GetBuffer(k), 77));
        }
      }
      if (i % 16 == thread) sample->ClearBuffers();
    }
  });
  EXPECT_EQ(sample->ClearBuffers(), 0);
  EXPECT_EQ(sample->GetBufferCount(), 0U);
}

}  // namespace
}  // namespace mivare::test
