// A clock that stands still until a test moves it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "base/clock.h"

namespace mivare::test {

/// Replaces the library's clocks for a scope. Waits end when the fake time passes them or their
/// condition comes true; real time plays no part. Thread-safe.
class FakeClock final : public Clock {
 public:
  explicit FakeClock(int64_t wall_ms = 1'000'000, int64_t steady_ms = 5'000)
      : wall_ms_(wall_ms), steady_ms_(steady_ms) {
    SetClock(this);
  }
  ~FakeClock() override { SetClock(nullptr); }
  FakeClock(const FakeClock&) = delete;
  FakeClock& operator=(const FakeClock&) = delete;

  int64_t WallMs() override {
    const std::lock_guard lock(mutex_);
    return wall_ms_;
  }
  int64_t SteadyMs() override {
    const std::lock_guard lock(mutex_);
    return steady_ms_;
  }

  /// Moves both clocks and wakes whoever waits for it.
  void Advance(int64_t ms) {
    const std::lock_guard lock(mutex_);
    wall_ms_ += ms;
    steady_ms_ += ms;
    moved_.notify_all();
  }
  /// Sets the wall clock alone, as somebody at the machine might.
  void StepWall(int64_t ms) {
    const std::lock_guard lock(mutex_);
    wall_ms_ += ms;
  }

  /// Blocks until `count` threads wait on this clock: everything before their wait is then done.
  void AwaitWaiters(size_t count) {
    std::unique_lock lock(mutex_);
    moved_.wait(lock, [&] { return waiters_ >= count; });
  }
  /// Blocks until `count` waits have begun since the clock was made.
  void AwaitWaits(uint64_t count) {
    std::unique_lock lock(mutex_);
    moved_.wait(lock, [&] { return waits_begun_ >= count; });
  }
  uint64_t WaitsBegun() {
    const std::lock_guard lock(mutex_);
    return waits_begun_;
  }

  void Wait(std::condition_variable& wake, std::unique_lock<std::mutex>& caller, int64_t ms,
            const std::function<bool()>& ready) override {
    int64_t deadline = 0;
    {
      const std::lock_guard lock(mutex_);
      deadline = steady_ms_ + ms;
      ++waiters_;
      ++waits_begun_;
      moved_.notify_all();
    }
    // The caller's condition variable cannot be woken by the clock, so the real wait is short and
    // repeated; what ends it is the fake time alone.
    while (!ready() && SteadyMs() < deadline) {
      wake.wait_for(caller, std::chrono::milliseconds(1));
    }
    const std::lock_guard lock(mutex_);
    --waiters_;
    moved_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable moved_;
  int64_t wall_ms_;
  int64_t steady_ms_;
  size_t waiters_ = 0;
  uint64_t waits_begun_ = 0;
};

}  // namespace mivare::test
