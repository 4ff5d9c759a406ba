// The library's two clocks, which tests replace by one they move.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace mivare {

/// Thread-safe.
class Clock {
 public:
  virtual ~Clock() = default;
  /// Milliseconds since 1970-01-01 UTC; may step either way.
  virtual int64_t WallMs() = 0;
  /// Milliseconds of a clock that never steps.
  virtual int64_t SteadyMs() = 0;
  /// Waits on `wake` until `ready` holds or `ms` milliseconds have passed; `lock` is held before,
  /// after, and whenever `ready` is asked.
  virtual void Wait(std::condition_variable& wake, std::unique_lock<std::mutex>& lock, int64_t ms,
                    const std::function<bool()>& ready) = 0;
};

/// The clock in use: the platform's, unless a test has put its own in place.
Clock& CurrentClock() noexcept;

/// Puts a clock in place, lent until it is replaced; null brings the platform's back.
void SetClock(Clock* clock) noexcept;

/// The time stamp of pools and frames: wall-clock microseconds with millisecond resolution.
/// Unsigned arithmetic, so that no reading of the clock overflows.
inline int64_t NowMicroseconds() {
  return static_cast<int64_t>(static_cast<uint64_t>(CurrentClock().WallMs()) * 1000U);
}

}  // namespace mivare
