// A host that uses the library for a long time and then looks at what that cost:
//
//     mivare_soak SECONDS
//
// Cycles of Init, four busy threads, Uninit; after each everything must be gone. In the end the
// resident memory is compared with that after a warm-up, and an idle library with a thousand pools
// is watched. Exit status 1 when anything is left, grows, or wastes time. Runs under a minute are
// too short to judge memory and time by: they only print them.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mivare/media_sample.h"
#include "mivare/mivare.h"
#include "support/fake_gpu.h"
#include "support/process.h"
#include "support/request.h"
#include "trovel/trovel.h"

namespace mivare::test {
namespace {

using std::chrono::seconds;
using Timer = std::chrono::steady_clock;

constexpr int kUsers = 4;
constexpr uint64_t kMiB = 1 << 20;
// What the process may hold at the end beyond what it held after the warm-up: the heap keeps pieces
// of its own for each thread.
constexpr uint64_t kTolerance = 16 * kMiB;
constexpr double kIdlePercent = 0.1;
// Each pass looks at each pool: a matter of the machine's caches, and of who else uses them.
constexpr double kIdlePercentWithMany = 1;
constexpr int kManyPools = 1024;

// Device frames without a diary.
class SoakGpu final : public IGpuAllocator {
 public:
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer*, void*) override {
    return std::make_shared<FakeFrame>(lives_, desc->CloneShared());
  }
  bool FillBlank(std::shared_ptr<IMediaBuffer>) override { return true; }
  bool Download(IMediaBuffer*, IMediaBuffer*) override { return true; }
  int64_t GetAvailableMemory() override {
    return readings_.fetch_add(1) % 1000 < 3 ? 300 * int64_t{kMiB} : 4096 * int64_t{kMiB};
  }
  int lives() const { return *lives_; }

 private:
  std::shared_ptr<std::atomic<int>> lives_ = std::make_shared<std::atomic<int>>(0);
  std::atomic<int> readings_{0};
};

IAllocatorEx& Manager() {
  IAllocatorEx* manager = nullptr;
  NUXMivareDefaultAllocatorAcquire(&manager);
  return *manager;
}

// One stage of an engine: requests what it needs, holds it for a while, passes copies on.
class User {
 public:
  explicit User(unsigned seed) : state_(seed * 2654435761U + 1) {
    constexpr int kSizes[][2] = {{64, 64}, {320, 240}, {640, 360}, {1280, 720}, {1920, 1080}};
    for (const auto& size : kSizes) {
      for (const int smt : {1, 2, 45}) {
        requests_.push_back(VideoRequest(smt, size[0], size[1]));
        requests_.push_back(VideoRequest(smt, size[0], size[1], 1));
      }
      requests_.push_back(VideoRequest(45, size[0], size[1]));
      requests_.back()->GetUserDataConfig()->Set("Blank", 1);
    }
    for (const int smt : {20001, 20006, 20005}) requests_.push_back(AudioRequest(smt));
    requests_.push_back(Describe(5, 31100, 0, 0));
    requests_.push_back(Describe(5, 45, 640, 120));
    for (const MediaDescPtr& request : requests_) {
      request->GetUserDataConfig()->Set("stage", "a name that is too long for its string");
    }
  }

  void Run(Timer::time_point end) {
    while (Timer::now() < end) {
      for (int i = 0; i < 64; ++i) Step();
      // Pauses in which frames grow old; seldom long ones.
      const int pause = Throw(50) == 0 ? 400 : Throw(3);
      std::this_thread::sleep_for(std::chrono::milliseconds(pause));
    }
    held_.fill(nullptr);
    sample_->ClearBuffers();
  }

  uint64_t served() const { return served_; }
  uint64_t refused() const { return refused_; }

 private:
  int Throw(size_t sides) {
    state_ = state_ * 1664525U + 1013904223U;
    return static_cast<int>((state_ >> 8U) % sides);
  }

  void Step() {
    std::shared_ptr<IMediaBuffer>& place = held_[static_cast<size_t>(Throw(held_.size()))];
    IMediaDesc* request = requests_[static_cast<size_t>(Throw(requests_.size()))].get();
    place =
        Throw(16) == 0 ? Manager().AllocLazy(request) : Manager().Alloc(request, nullptr, nullptr);
    ++(place != nullptr ? served_ : refused_);
    if (place == nullptr) return;
    place->GetDesc(0)->GetUserDataConfig()->Set("time", served_);
    if (request->GetMediaType() == 2) {
      const std::vector<uint8_t> bytes(static_cast<size_t>(1 + Throw(30'000)), 7);
      place->SetData(bytes.data(), static_cast<int32_t>(bytes.size()));
    } else if (request->GetMemoryLocation() == 0) {
      if (const LockedBuffer locked(*place, true); locked.ok()) locked.plane(0)[0] = 1;
      if (Throw(8) == 0) place->Clone(0);
    }
    switch (Throw(200)) {
      case 0: Manager().clear(); break;
      case 1: Manager().SetMemoryLimit(static_cast<uint32_t>(Throw(3) * 64)); break;
      case 2: sample_->ClearBuffers(); break;
      case 3: sample_->AddBuffer(place); break;
      case 4: {
        uint64_t all = 0;
        uint64_t free = 0;
        Manager().GetMemoryStatus(all, free);
        break;
      }
      default: break;
    }
  }

  uint32_t state_;
  std::vector<MediaDescPtr> requests_;
  std::array<std::shared_ptr<IMediaBuffer>, 8> held_;
  std::shared_ptr<IMediaSample> sample_ = NUXMivareMediaSampleCreate(nullptr);
  uint64_t served_ = 0;
  uint64_t refused_ = 0;
};

class Soak {
 public:
  explicit Soak(int duration)
      : total_(duration), cycle_(std::max(1, std::min(20, duration / 6))), start_(Timer::now()) {}

  int Run() {
    threads_before_ = CountThreads();
    RunCycle();  // warm-up: code, heaps, names
    RunCycle();
    const uint64_t resident_before = ResidentBytes();
    while (Timer::now() - start_ < seconds(total_)) RunCycle();
    const uint64_t resident_after = ResidentBytes();
    const double idle = MeasureIdle(1);
    const double idle_with_many = MeasureIdle(kManyPools);

    const auto mib = [](uint64_t bytes) { return static_cast<double>(bytes) / kMiB; };
    std::printf("requests served            %llu, refused %llu, in %d cycles of %d s\n",
                static_cast<unsigned long long>(served_), static_cast<unsigned long long>(refused_),
                cycles_, cycle_);
    std::printf("memory at its peak         %.1f MiB\n", mib(PeakResidentBytes()));
    std::printf("memory after the warm-up   %.1f MiB\n", mib(resident_before));
    std::printf("memory at the end          %.1f MiB\n", mib(resident_after));
    std::printf("threads                    %zu before, %zu while busy, %zu in the end\n",
                threads_before_, threads_busy_, AwaitThreads());
    std::printf("idle                       %.3f %% of a core, with %d pools %.3f %%\n", idle,
                kManyPools, idle_with_many);

    if (served_ == 0 || refused_ > 0) Fail("not every request was served");
    if (total_ >= 60) {
      if (resident_after > resident_before + kTolerance) Fail("the memory grows");
      if (idle > kIdlePercent || idle_with_many > kIdlePercentWithMany) {
        Fail("an idle library costs too much time");
      }
    }
    if (AwaitThreads() > threads_before_) Fail("threads are left");
    std::printf("%s\n", failed_ ? "FAILED" : "passed");
    return failed_ ? 1 : 0;
  }

 private:
  void Fail(const char* what) {
    std::printf("FAILED: %s\n", what);
    failed_ = true;
  }

  void RunCycle() {
    NUXMivareDefaultAllocatorInit(&gpu_);
    std::vector<std::unique_ptr<User>> users;
    std::vector<std::thread> threads;
    const Timer::time_point end = Timer::now() + seconds(cycle_);
    for (unsigned i = 0; i < kUsers; ++i) {
      users.push_back(std::make_unique<User>(static_cast<unsigned>(cycles_) * kUsers + i));
      threads.emplace_back([user = users.back().get(), end] { user->Run(end); });
    }
    threads_busy_ = std::max(threads_busy_, CountThreads());
    for (std::thread& thread : threads) thread.join();
    NUXMivareDefaultAllocatorUninit();
    for (const auto& user : users) {
      served_ += user->served();
      refused_ += user->refused();
    }
    ++cycles_;
    if (trovel::CountResources(nullptr) != 0) Fail(trovel::LeakReport().c_str());
    if (gpu_.lives() != 0) Fail("device frames are left");
  }

  // The processor time of a library that is up and has nothing to do.
  double MeasureIdle(int pools) {
    NUXMivareDefaultAllocatorInit(&gpu_);
    for (int i = 0; i < pools; ++i) {
      const MediaDescPtr request = VideoRequest(1, 64 + i % 32 * 64, 64 + i / 32 * 64);
      Manager().Alloc(request.get(), nullptr, nullptr);
    }
    std::this_thread::sleep_for(seconds(1));  // every frame grows old and goes, the pools stay
    const auto from = Timer::now();
    const double spent_before = CpuSeconds();
    std::this_thread::sleep_for(seconds(std::clamp(total_ / 6, 1, 20)));
    const double spent = CpuSeconds() - spent_before;
    const std::chrono::duration<double> elapsed = Timer::now() - from;
    NUXMivareDefaultAllocatorUninit();
    return 100 * spent / elapsed.count();
  }

  // Joined threads take a moment to go.
  size_t AwaitThreads() const {
    for (int i = 0; i < 1000 && CountThreads() > threads_before_; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return CountThreads();
  }

  const int total_;
  const int cycle_;
  const Timer::time_point start_;
  SoakGpu gpu_;
  int cycles_ = 0;
  uint64_t served_ = 0;
  uint64_t refused_ = 0;
  size_t threads_before_ = 0;
  size_t threads_busy_ = 0;
  bool failed_ = false;
};

}  // namespace
}  // namespace mivare::test

int main(int argc, char** argv) {
  const int duration = argc == 2 ? std::atoi(argv[1]) : 0;
  if (duration < 1) {
    std::fputs("mivare_soak SECONDS\n", stderr);
    return 2;
  }
  orlo::SetDefaultLogLevel(INT32_MAX);
  return mivare::test::Soak(duration).Run();
}
