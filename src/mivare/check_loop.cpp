#include "check_loop.h"

#include <atomic>
#include <cstdint>
#include <utility>

#include "base/clock.h"
#include "base/log.h"
#include "frame_pools.h"
#include "mivare/allocator.h"
#include "system_info.h"

namespace mivare {
namespace {

constexpr char kName[] = "mivare::hybrid_frame_allocator::check_loop";
constexpr int64_t kReportMs = 10'000;

// Frames and allocators run foreign code: what fails there must not take the thread with it.
template <class Step>
void Survive(Step step) noexcept {
  try {
    step();
  } catch (...) {
    LogErrorAt(unit::kHybridFrameAllocator);
  }
}

void Run(FramePools& pools, const std::shared_ptr<IAllocator>& allocator) {
  MIVARE_LOG(kLogStatus, "%s start...", kName);
  int64_t reported = CurrentClock().SteadyMs();
  const auto cpu = std::dynamic_pointer_cast<IAllocatorEx>(allocator);
  while (!pools.stopped()) {
    Survive([&] { pools.TrimIdle(); });
    Survive([&] {
      if (cpu != nullptr) cpu->reduce_memory();
    });
    FramePools::Task task;
    if (!pools.WaitForTask(task)) break;
    if (task.valid()) Survive([&] { task(); });
    const int64_t now = CurrentClock().SteadyMs();
    // A task may have ended the library, and the host's GPU allocator may be gone with it.
    if (pools.stopped()) break;
    if (now - reported > kReportMs) {
      reported = now;
      Survive([&] { LogSystemInfo(cpu); });
    }
  }
  Survive([&] { pools.ReduceByForce(); });
  MIVARE_LOG(kLogStatus, "%s end...", kName);
  // Frames that come back from now on are destroyed by whoever drops them.
  Survive([&] { pools.Close(); });
}

}  // namespace

check_loop::check_loop(std::shared_ptr<FramePools> pools, std::shared_ptr<IAllocator> cpu_allocator)
    : module_(platform::ReferenceModule()), pools_(std::move(pools)) {
  std::atomic<bool> running{false};  // the thread's last touch of it is the store
  thread_ =
      std::thread([this, &running, shared = pools_, cpu = std::move(cpu_allocator)]() mutable {
        platform::ModuleReference alone;
        alone_ = &alone;
        running.store(true, std::memory_order_release);
        Run(*shared, cpu);
        if (alone == nullptr) return;
        shared.reset();  // leaving destroys nothing
        cpu.reset();
        platform::LeaveThread(std::move(alone));
      });
  while (!running.load(std::memory_order_acquire) || thread_.get_id() == std::thread::id()) {
    std::this_thread::yield();
  }
}

check_loop::~check_loop() {
  pools_->Stop();
  if (thread_.get_id() == std::this_thread::get_id()) {
    *alone_ = std::move(module_);
    thread_.detach();
  } else {
    thread_.join();
  }
}

}  // namespace mivare
