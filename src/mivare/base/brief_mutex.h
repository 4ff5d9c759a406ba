// A mutex for a few instructions at a time: half the price of the standard one where nobody else is
// there, and gone with its last touch.
#pragma once

#include <emmintrin.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/mutex.h"

namespace mivare {

/// Not recursive, not fair. Whoever waits for it spins, then yields, then sleeps, so that a holder
/// that lost its processor gets it back whatever the priorities are. Giving it up is one store:
/// whoever has taken it since may destroy it.
class MIVARE_TSA(capability("mutex")) BriefMutex {
 public:
  BriefMutex() = default;
  BriefMutex(const BriefMutex&) = delete;
  BriefMutex& operator=(const BriefMutex&) = delete;

  /// Says whether somebody else held it.
  bool lock() noexcept ACQUIRE() {
    if (!taken_.exchange(true, std::memory_order_acquire)) return false;
    for (int tries = 0; !TryTake(); ++tries) {
      if (tries < kSpins) {
        _mm_pause();
      } else if (tries < kSpins + kYields) {
        std::this_thread::yield();
      } else {
        std::this_thread::sleep_for(std::chrono::microseconds(100));
      }
    }
    return true;
  }
  void unlock() noexcept RELEASE() { taken_.store(false, std::memory_order_release); }

 private:
  static constexpr int kSpins = 64;
  static constexpr int kYields = 64;

  bool TryTake() noexcept {
    return !taken_.load(std::memory_order_relaxed) &&
           !taken_.exchange(true, std::memory_order_acquire);
  }

  std::atomic<bool> taken_{false};
};

/// Holds a BriefMutex for a scope.
class MIVARE_TSA(scoped_lockable) BriefLock {
 public:
  explicit BriefLock(BriefMutex& mutex) noexcept ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~BriefLock() RELEASE() { mutex_.unlock(); }
  BriefLock(const BriefLock&) = delete;
  BriefLock& operator=(const BriefLock&) = delete;

 private:
  BriefMutex& mutex_;
};

}  // namespace mivare
