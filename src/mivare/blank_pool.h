// BlankPool: the released frames of one pool key, waiting for the next request or for their end.
//
//   open     from its making: releases put frames in, requests take them out, the one returned
//            first going out first
//   trimmed  by the worker, which collects surplus and idle frames
//   split    when threads meet at its lock: each returns frames to a lane of its own from then on,
//            and takes from there
//   joined   by the worker again, when none have met since its last look: one queue, in the order
//            of the frames' return
//   closed   by its owner: frames that come back from then on are left to whoever drops them
//
// While it is split, the first frame is each lane's first. A thread that goes on alone sees its own
// frames in the order of their return throughout, those of others from the joining on. Split or
// not, 32 frames are kept in all.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "awake_pools.h"
#include "base/brief_mutex.h"
#include "base/lock_order.h"
#include "frame_list.h"

namespace mivare {

class HybridBuffer;

/// Keeps up to 32 frames for reuse and any number of further ones that only wait for the next
/// Release. Shared by its owner, who closes it in the end, and by its frames. A frame that is put
/// in may take the pool with it at once: to the last step of Put, its lane's mutex is what the pool
/// is needed for. Times are wall-clock microseconds. Thread-safe; nothing here allocates.
class BlankPool {
 public:
  /// Throws std::bad_alloc without a count to share.
  explicit BlankPool(std::shared_ptr<AwakePools> all = std::make_shared<AwakePools>())
      : wakefulness_(std::move(all)) {}
  BlankPool(const BlankPool&) = delete;
  BlankPool& operator=(const BlankPool&) = delete;

  /// Gives the frame that was returned first, stamped with the time; null when none is kept for
  /// reuse.
  HybridBuffer* Take();

  /// Takes a frame. False, with the frame left to the caller, for null and once the pool is closed.
  bool Put(HybridBuffer* frame);

  /// Whether Release has nothing to do: no surplus, and the first frame was handed out less than
  /// 300 ms before `now`. Joins the pool where no threads have met since the last call.
  bool IsFresh(uint64_t now);
  /// Whether there may be frames. Takes no lock.
  bool awake() const { return wakefulness_.awake(); }

  /// Moves the surplus to `out`, then the frames that were handed out 301 ms or more before `now`,
  /// up to the first younger one; all of them when `force` is set. Without `out` every frame is
  /// destroyed, whatever `force` and `now` are.
  void Release(bool force, uint64_t now, FrameList* out);

  /// Refuses every Put from now on and moves all frames to `out`.
  void Close(FrameList& out);

  /// What threads do by themselves when they meet here: gives each a lane of its own.
  void Split() {
    met_.store(true, std::memory_order_relaxed);
    split_.store(true, std::memory_order_relaxed);
  }
  bool split() const { return split_.load(std::memory_order_relaxed); }

  /// Whether Put takes nothing any more.
  bool closed() const { return closed_.load(std::memory_order_acquire); }

 private:
  static constexpr uint32_t kThreadLanes = 8;
  static constexpr uint32_t kPlaces = 32;
  // 1 ms apart on purpose: a pool that is stale at one pass gives its first frame up at a later
  // one.
  static constexpr uint64_t kFreshMicroseconds = 300'000;
  static constexpr uint64_t kKeepMicroseconds = 301'000;

  /// One queue of frames, on a cache line of its own.
  struct alignas(64) Lane {
    BriefMutex mutex ACQUIRED_AFTER(lock_order::pools);
    FrameList frames GUARDED_BY(mutex);
    std::atomic<uint32_t> count{0};         // of frames; written under mutex, a hint without it
    uint32_t places GUARDED_BY(mutex) = 0;  // of the pool's 32, those that are this lane's to fill

    HybridBuffer* TakeFirst() REQUIRES(mutex);
  };

  class Visit;
  class Trimming;

  Lane& LaneFor(bool split);
  HybridBuffer* TakeFrom(Lane& lane);
  HybridBuffer* TakeFromThreads();
  void Join();
  bool TakeSparePlace();
  bool ReclaimAPlace();
  void SleepIfEmpty();

  // The first is everybody's; while the pool is split it only runs empty. The others are empty,
  // and have no places, while it is not.
  std::array<Lane, 1 + kThreadLanes> lanes_;
  Wakefulness wakefulness_;
  std::atomic<bool> split_{false};               // put down under the first lane's mutex; see Put
  std::atomic<bool> met_{false};                 // threads have met since the last IsFresh
  std::atomic<uint32_t> next_lane_{0};           // where to look for others' frames first; a hint
  std::atomic<uint32_t> trims_{0};               // begun and ended, hence odd during one; see Visit
  std::atomic<bool> closed_{false};              // stored before the lanes are emptied
  std::atomic<uint32_t> spare_places_{kPlaces};  // of no lane; relaxed: a number on its own
  std::atomic<bool> has_surplus_{false};         // written under surplus_mutex_
  BriefMutex surplus_mutex_ ACQUIRED_AFTER(lock_order::pools);
  FrameList surplus_ GUARDED_BY(surplus_mutex_);
};

}  // namespace mivare
