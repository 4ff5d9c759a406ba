// Slot: one pool of released CPU buffers that are alike.
//
// A buffer is created for a slot (Adopt), taken from it any number of times (Take), comes back by
// its release path (Put) and ends in a Clear, or at its release when the slot is gone. Adopt makes
// room for the buffer's return, so a release never needs memory.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "awake_pools.h"
#include "base/lock_order.h"
#include "base/mutex.h"

namespace mivare {

class BufferBase;

/// Always held by shared pointer; its buffers hold it weakly. Thread-safe.
class Slot {
 public:
  /// Counts as used from now on. Throws std::bad_alloc without a count to share.
  explicit Slot(std::shared_ptr<AwakePools> all = std::make_shared<AwakePools>());
  ~Slot();
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;

  /// Counts one buffer more; the first one's `bytes` stand for every buffer of the slot. Throws
  /// std::bad_alloc, with nothing counted.
  void Adopt(uint32_t bytes) EXCLUDES(mutex_);

  /// Gives the buffer released last, or null.
  std::unique_ptr<BufferBase> Take() EXCLUDES(mutex_);

  /// Takes a released buffer of this slot. False for null, and for a buffer that was never adopted
  /// and finds no room. Allocates nothing.
  bool Put(std::unique_ptr<BufferBase> buffer) noexcept EXCLUDES(mutex_);

  /// Destroys every pooled buffer, under the lock, and returns how many.
  uint32_t Clear() noexcept EXCLUDES(mutex_);

  /// Bytes of all buffers of the slot and of the pooled ones. Returns 0.
  int32_t Status(uint64_t& all, uint64_t& free) const EXCLUDES(mutex_);

  /// Whether there is no buffer of this slot, live or pooled. Takes no lock.
  bool IsEmpty() const { return count_.load(std::memory_order_relaxed) == 0; }

  /// Whether a buffer may be pooled. Takes no lock.
  bool awake() const { return wakefulness_.awake(); }

  /// Whether a buffer was taken, or the slot made, less than 200 ms ago; true as well after the
  /// wall clock stepped back.
  bool IsRecentlyUsed() const;

 private:
  Wakefulness wakefulness_;
  std::atomic<uint32_t> count_{0};      // live and pooled; written under mutex_
  std::atomic<uint32_t> unit_size_{0};  // bytes of one; written under mutex_
  mutable Mutex mutex_ ACQUIRED_AFTER(lock_order::pools);
  std::vector<std::unique_ptr<BufferBase>> free_list_ GUARDED_BY(mutex_);  // capacity >= count_
  std::atomic<int64_t> last_take_time_;  // microseconds; relaxed, a time stamp orders nothing
};

}  // namespace mivare
