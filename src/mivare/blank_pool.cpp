#include "blank_pool.h"

#include <x86intrin.h>

#include <algorithm>

#include "hybrid_frame.h"
#include "platform/platform.h"

namespace mivare {

/// Holds a lane for a request or a release; two of them that meet there split the pool. Whoever has
/// waited for the worker sees, by the lane's mutex, that a trimming began or ended meanwhile.
class MIVARE_TSA(scoped_lockable) BlankPool::Visit {
 public:
  Visit(BlankPool& pool, Lane& lane) ACQUIRE(lane.mutex) : lane_(lane) {
    const uint32_t trims = pool.trims_.load(std::memory_order_relaxed);
    const bool waited = lane_.mutex.lock();
    if (!waited || trims % 2 != 0) return;
    if (trims == pool.trims_.load(std::memory_order_relaxed)) pool.Split();
  }
  ~Visit() RELEASE() { lane_.mutex.unlock(); }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

 private:
  Lane& lane_;
};

/// Says for a scope that the one who holds lanes is the worker. One at a time.
class BlankPool::Trimming {
 public:
  explicit Trimming(BlankPool& pool) : pool_(pool) { Count(); }
  ~Trimming() { Count(); }
  Trimming(const Trimming&) = delete;
  Trimming& operator=(const Trimming&) = delete;

 private:
  void Count() { pool_.trims_.fetch_add(1, std::memory_order_relaxed); }

  BlankPool& pool_;
};

HybridBuffer* BlankPool::Lane::TakeFirst() {
  HybridBuffer* frame = frames.TakeFirst();
  if (frame == nullptr) return nullptr;
  count.store(count.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
  return frame;
}

BlankPool::Lane& BlankPool::LaneFor(bool split) {
  return lanes_[split ? 1 + platform::ThreadNumber() % kThreadLanes : 0];
}

HybridBuffer* BlankPool::TakeFrom(Lane& lane) {
  if (lane.count.load(std::memory_order_relaxed) == 0) return nullptr;
  const Visit visit(*this, lane);
  return lane.TakeFirst();
}

HybridBuffer* BlankPool::Take() {
  HybridBuffer* frame = TakeFrom(lanes_[0]);
  if (frame == nullptr) frame = TakeFromThreads();
  if (frame != nullptr) frame->StampNow();
  return frame;
}

HybridBuffer* BlankPool::TakeFromThreads() {
  HybridBuffer* own = TakeFrom(LaneFor(split()));
  if (own != nullptr) return own;
  // The others in turn: none of them shall lie there until it is too old.
  const uint32_t start = next_lane_.load(std::memory_order_relaxed);
  for (uint32_t i = start; i != start + kThreadLanes; ++i) {
    HybridBuffer* frame = TakeFrom(lanes_[1 + i % kThreadLanes]);
    if (frame == nullptr) continue;
    next_lane_.store(i + 1, std::memory_order_relaxed);
    return frame;
  }
  // Whatever was on its way from lane to lane has arrived once the joining gives this mutex up.
  const BriefLock lock(lanes_[0].mutex);
  return lanes_[0].TakeFirst();
}

// A thread that finds the pool split or joined since it chose a lane chooses again: the joining has
// emptied that lane, or will, before or after this thread holds its mutex.
bool BlankPool::Put(HybridBuffer* frame) {
  if (frame == nullptr) return false;
  for (;;) {
    const bool split = this->split();
    Lane& lane = LaneFor(split);
    {
      const Visit visit(*this, lane);
      if (closed()) return false;
      if (split != this->split()) continue;
      const uint32_t count = lane.count.load(std::memory_order_relaxed);
      if (count == lane.places && TakeSparePlace()) ++lane.places;
      if (count < lane.places) {
        if (split) frame->set_returned_at(__rdtsc());
        lane.frames.Append(frame);
        lane.count.store(count + 1, std::memory_order_relaxed);
        wakefulness_.Wake();
        return true;
      }
    }
    if (!ReclaimAPlace() && split == this->split()) break;
  }
  const BriefLock lock(surplus_mutex_);
  if (closed()) return false;
  surplus_.Append(frame);
  has_surplus_.store(true, std::memory_order_relaxed);
  wakefulness_.Wake();
  return true;
}

// Whoever looks for a frame meanwhile waits for the first lane in the end; the frames in the others
// were all returned after those in it.
void BlankPool::Join() {
  Lane& whole = lanes_[0];
  const BriefLock whole_lock(whole.mutex);
  split_.store(false, std::memory_order_relaxed);
  std::array<FrameList, 1 + kThreadLanes> returned;
  uint32_t count = whole.count.load(std::memory_order_relaxed);
  for (size_t i = 1; i < lanes_.size(); ++i) {
    Lane& lane = lanes_[i];
    const BriefLock lock(lane.mutex);
    returned[i].Append(lane.frames);
    count += lane.count.exchange(0, std::memory_order_relaxed);
    whole.places += std::exchange(lane.places, 0U);
  }
  const auto when = [](const FrameList& list) {
    return list.empty() ? UINT64_MAX : list.first()->returned_at();
  };
  for (;;) {
    FrameList& next = *std::min_element(
        returned.begin(), returned.end(),
        [&](const FrameList& a, const FrameList& b) { return when(a) < when(b); });
    if (next.empty()) break;
    whole.frames.Append(next.TakeFirst());
  }
  whole.count.store(count, std::memory_order_relaxed);
}

bool BlankPool::TakeSparePlace() {
  uint32_t spare = spare_places_.load(std::memory_order_relaxed);
  while (spare > 0) {
    if (spare_places_.compare_exchange_weak(spare, spare - 1, std::memory_order_relaxed)) {
      return true;
    }
  }
  return false;
}

// Lanes keep their places when frames leave. Where one is full, others may have some to spare.
bool BlankPool::ReclaimAPlace() {
  if (!split()) return false;
  for (Lane& lane : lanes_) {
    const BriefLock lock(lane.mutex);
    if (lane.count.load(std::memory_order_relaxed) == lane.places) continue;
    --lane.places;
    spare_places_.fetch_add(1, std::memory_order_relaxed);
    return true;
  }
  return false;
}

bool BlankPool::IsFresh(uint64_t now) {
  const Trimming trimming(*this);
  if (!met_.exchange(false, std::memory_order_relaxed) && split()) Join();
  if (has_surplus_.load(std::memory_order_relaxed)) return false;
  bool empty = true;
  for (Lane& lane : lanes_) {
    if (lane.count.load(std::memory_order_relaxed) == 0) continue;
    const BriefLock lock(lane.mutex);
    const HybridBuffer* first = lane.frames.first();
    if (first == nullptr) continue;
    if (now - first->created_at() >= kFreshMicroseconds) return false;
    empty = false;
  }
  if (empty) SleepIfEmpty();
  return true;
}

void BlankPool::Release(bool force, uint64_t now, FrameList* out) {
  FrameList unwanted;  // destroyed after the locks
  const Trimming trimming(*this);
  FrameList& target = out != nullptr ? *out : unwanted;
  {
    const BriefLock lock(surplus_mutex_);
    target.Append(surplus_);
    has_surplus_.store(false, std::memory_order_relaxed);
  }
  for (Lane& lane : lanes_) {
    const BriefLock lock(lane.mutex);
    while (const HybridBuffer* first = lane.frames.first()) {
      const bool keep = now - first->created_at() < kKeepMicroseconds;
      if (out != nullptr && !force && keep) break;
      target.Append(lane.TakeFirst());
    }
  }
  SleepIfEmpty();
}

void BlankPool::SleepIfEmpty() {
  wakefulness_.Sleep();
  bool empty = true;
  for (Lane& lane : lanes_) {
    const BriefLock lock(lane.mutex);
    empty = empty && lane.frames.empty();
  }
  const BriefLock lock(surplus_mutex_);
  if (!empty || !surplus_.empty()) wakefulness_.Wake();
}

// Whoever put a frame in before its lane was emptied was seen; whoever comes later sees the flag.
void BlankPool::Close(FrameList& out) {
  closed_.store(true, std::memory_order_release);
  Release(true, 0, &out);
}

}  // namespace mivare
