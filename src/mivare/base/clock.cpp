#include "base/clock.h"

#include <atomic>
#include <chrono>

#include "base/never_destroyed.h"
#include "platform/platform.h"

namespace mivare {
namespace {

class PlatformClock final : public Clock {
 public:
  int64_t WallMs() override { return platform::WallClockMs(); }
  int64_t SteadyMs() override { return platform::SteadyClockMs(); }
  void Wait(std::condition_variable& wake, std::unique_lock<std::mutex>& lock, int64_t ms,
            const std::function<bool()>& ready) override {
    wake.wait_for(lock, std::chrono::milliseconds(ms), ready);
  }
};

std::atomic<Clock*> replacement{nullptr};

}  // namespace

Clock& CurrentClock() noexcept {
  static NeverDestroyed<PlatformClock> platform_clock;
  Clock* replaced = replacement.load(std::memory_order_acquire);
  return replaced != nullptr ? *replaced : platform_clock.get();
}

void SetClock(Clock* clock) noexcept { replacement.store(clock, std::memory_order_release); }

}  // namespace mivare
