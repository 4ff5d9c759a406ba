// The fake clock as the tests of the worker thread use it.
#pragma once

#include <cstdint>

#include "support/fake_clock.h"

namespace mivare::test {

/// Steps a hybrid allocator's worker pass by pass. Outlives the allocator.
class WorkerClock {
 public:
  /// The worker has done what it can and waits.
  void Settle() { clock_.AwaitWaiters(1); }

  /// Moves the time by at least the worker's 100 ms and returns when the pass that follows is done.
  void Pass(int64_t ms = 100) {
    Settle();
    const uint64_t waits = clock_.WaitsBegun();
    clock_.Advance(ms);
    clock_.AwaitWaits(waits + 1);
  }

  void Advance(int64_t ms) { clock_.Advance(ms); }
  void StepWall(int64_t ms) { clock_.StepWall(ms); }
  /// Each pass of the worker begins one wait, and each task ends one.
  uint64_t WaitsBegun() { return clock_.WaitsBegun(); }
  void AwaitWaits(uint64_t count) { clock_.AwaitWaits(count); }

 private:
  FakeClock clock_;
};

}  // namespace mivare::test
