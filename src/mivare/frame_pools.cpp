#include "frame_pools.h"

#include <cstdint>
#include <utility>

#include "base/clock.h"
#include "base/log.h"
#include "blank_pool.h"
#include "frame_list.h"

namespace mivare {
namespace {

constexpr int64_t kPassMs = 100;

uint64_t Now() { return static_cast<uint64_t>(NowMicroseconds()); }

}  // namespace

const std::shared_ptr<BlankPool>& FramePools::GetOrCreate(const FrameKey& key) noexcept {
  if (const PoolIndex::Entry* known = index_.Find(key)) return known->pool;
  try {
    std::string text = key.Text();
    auto pool = std::make_shared<BlankPool>(awake_);
    const MutexLock lock(mutex_);
    if (const PoolIndex::Entry* known = index_.Find(key)) return known->pool;
    index_.Reserve();
    PoolIndex::Entry made{key, std::move(pool)};
    const auto entry = pools_.emplace(std::move(text), std::move(made)).first;
    index_.Insert(entry->second);
    return entry->second.pool;
  } catch (...) {  // the caller logs what its request lost
    return none_;
  }
}

void FramePools::QueueReduction() noexcept {
  try {
    // Tasks run on a worker that shares this object, or not at all.
    Queue([this] { ReduceByForce(); });
  } catch (...) {
    LogErrorAt(unit::kHybridFrameAllocator);
  }
}

void FramePools::Queue(std::function<void()> work) {
  Task task(std::move(work));
  static_cast<void>(task.get_future());  // nobody waits for it
  {
    const MutexLock lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_one();
}

void FramePools::Stop() {
  {
    const MutexLock lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
}

bool FramePools::WaitForTask(Task& task) {
  MutexLock lock(mutex_);
  CurrentClock().Wait(wake_, lock.native(), kPassMs,
                      [this]() REQUIRES(mutex_) { return stop_ || !tasks_.empty(); });
  if (stop_) return false;
  if (!tasks_.empty()) {
    task = std::move(tasks_.front());
    tasks_.pop_front();
  }
  return true;
}

bool FramePools::stopped() {
  const MutexLock lock(mutex_);
  return stop_;
}

void FramePools::TrimIdle() {
  if (!awake_->any()) return;
  FrameList idle;  // destroyed after the lock
  const MutexLock lock(mutex_);
  const uint64_t now = Now();
  for (const auto& [text, entry] : pools_) {
    if (entry.pool->awake() && !entry.pool->IsFresh(now)) entry.pool->Release(false, now, &idle);
  }
}

void FramePools::ReduceByForce() {
  FrameList all;
  {
    const MutexLock lock(mutex_);
    const uint64_t now = Now();
    for (const auto& [text, entry] : pools_) entry.pool->Release(true, now, &all);
  }
  const uint32_t count = all.DestroyAll();
  if (count > 0) {
    MIVARE_LOG(kLogStatus, "%s free buffers = %d ...",
               "mivare::hybrid_frame_allocator::__reducememoryforce", static_cast<int32_t>(count));
  }
}

void FramePools::Close() {
  FrameList all;  // destroyed after the lock
  const MutexLock lock(mutex_);
  for (const auto& [text, entry] : pools_) entry.pool->Close(all);
}

}  // namespace mivare
