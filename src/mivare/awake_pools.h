// Which pools have something to trim: a worker that looks at all pools ten times a second, and at a
// thousand idle ones, would find nothing at some cost.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

namespace mivare {

/// How many pools are awake. Shared by the pools and by whoever trims them. Thread-safe.
class AwakePools {
 public:
  bool any() const { return count_.load(std::memory_order_relaxed) != 0; }

 private:
  friend class Wakefulness;
  std::atomic<uint32_t> count_{0};
};

/// Of one pool. A pool wakes when something comes in, and goes to sleep when its trimmer finds it
/// empty. Both happen under the lock of what comes in: the pool puts, then calls Wake; the trimmer
/// calls Sleep, then looks whether the pool is empty and wakes it if it is not. Thread-safe.
class Wakefulness {
 public:
  explicit Wakefulness(std::shared_ptr<AwakePools> all) : all_(std::move(all)) {}
  Wakefulness(const Wakefulness&) = delete;
  Wakefulness& operator=(const Wakefulness&) = delete;
  ~Wakefulness() { Sleep(); }

  bool awake() const { return awake_.load(std::memory_order_relaxed); }

  void Wake() noexcept {
    if (!awake() && !awake_.exchange(true, std::memory_order_relaxed)) {
      all_->count_.fetch_add(1, std::memory_order_relaxed);
    }
  }
  void Sleep() noexcept {
    if (awake() && awake_.exchange(false, std::memory_order_relaxed)) {
      all_->count_.fetch_sub(1, std::memory_order_relaxed);
    }
  }

 private:
  const std::shared_ptr<AwakePools> all_;
  std::atomic<bool> awake_{false};  // relaxed: it goes with the pool's locks
};

}  // namespace mivare
