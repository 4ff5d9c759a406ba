// BlankPool: the released frames of one pool key, waiting for the next request or for their end.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/lock_order.h"
#include "base/mutex.h"
#include "frame_list.h"

namespace mivare {

class HybridBuffer;

/// Keeps up to 32 frames for reuse, the one returned first going out first, and any number of
/// further ones that only wait for the next Release. Frames refer to it weakly. Times are
/// wall-clock microseconds. Thread-safe; nothing here allocates.
class BlankPool {
 public:
  BlankPool() = default;
  BlankPool(const BlankPool&) = delete;
  BlankPool& operator=(const BlankPool&) = delete;
  /// Destroys what is left; the owner has closed the pool by then, so that nothing is.
  ~BlankPool() { Release(true, 0, nullptr); }

  /// Gives the frame that was returned first, stamped with the time; null when none is kept for
  /// reuse.
  HybridBuffer* Take() EXCLUDES(mutex_);

  /// Takes a frame. False, with the frame left to the caller, for null and once the pool is closed.
  bool Put(HybridBuffer* frame) EXCLUDES(mutex_);

  /// Whether Release has nothing to do: no surplus, and the first frame was handed out less than
  /// 300 ms before `now`.
  bool IsFresh(uint64_t now) EXCLUDES(mutex_);

  /// Moves the surplus to `out`, then the frames that were handed out 301 ms or more before `now`,
  /// up to the first younger one; all of them when `force` is set. Without `out` every frame is
  /// destroyed, whatever `force` and `now` are.
  void Release(bool force, uint64_t now, FrameList* out) EXCLUDES(mutex_);

  /// Refuses every Put from now on and moves all frames to `out`.
  void Close(FrameList& out) EXCLUDES(mutex_);

 private:
  static constexpr size_t kMainSize = 32;
  // 1 ms apart on purpose: a pool that is stale at one pass gives its first frame up at a later
  // one.
  static constexpr uint64_t kFreshMicroseconds = 300'000;
  static constexpr uint64_t kKeepMicroseconds = 301'000;

  HybridBuffer* PopFirst() REQUIRES(mutex_);

  Mutex mutex_ ACQUIRED_AFTER(lock_order::pools);
  std::array<HybridBuffer*, kMainSize> frames_ GUARDED_BY(mutex_){};  // a ring
  size_t first_ GUARDED_BY(mutex_) = 0;
  size_t count_ GUARDED_BY(mutex_) = 0;
  FrameList overflow_ GUARDED_BY(mutex_);
  bool closed_ GUARDED_BY(mutex_) = false;
};

}  // namespace mivare
