// The pools of a hybrid_frame_allocator, and the tasks that wait for its worker.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>

#include "awake_pools.h"
#include "base/lock_order.h"
#include "base/mutex.h"
#include "frame_key.h"
#include "pool_index.h"

namespace mivare {

class BlankPool;
class FrameList;

/// Shared by the allocator and its worker thread, so that either may be the last to let go.
/// Thread-safe. The lock may be held while a pool's is taken, never while frames are destroyed or
/// tasks run.
class FramePools {
 public:
  using Task = std::packaged_task<void()>;

  /// Throws std::bad_alloc.
  FramePools() = default;
  FramePools(const FramePools&) = delete;
  FramePools& operator=(const FramePools&) = delete;
  /// Closes the pools, should the worker not have come to it.
  ~FramePools() { Close(); }

  /// The pool of a key, made at its first request and kept as long as this object; empty when there
  /// is no memory for it. A pool that is there already is found without a lock.
  const std::shared_ptr<BlankPool>& GetOrCreate(const FrameKey& key) noexcept EXCLUDES(mutex_);

  /// Has the worker give every pooled frame back. A request for which there is no memory is lost
  /// (logged).
  void QueueReduction() noexcept EXCLUDES(mutex_);

  /// Has the worker run `work`, behind what is queued. Never waits.
  void Queue(std::function<void()> work) EXCLUDES(mutex_);

  /// Tells the worker to end.
  void Stop() EXCLUDES(mutex_);

  // For the worker.

  /// Waits for up to 100 ms, until Stop or a task; takes the task at the front, if there is one.
  /// False once stopped.
  bool WaitForTask(Task& task) EXCLUDES(mutex_);
  bool stopped() EXCLUDES(mutex_);

  /// Destroys the frames that have been idle for too long.
  void TrimIdle() EXCLUDES(mutex_);
  /// Destroys every pooled frame and, if there were any, logs how many.
  void ReduceByForce() EXCLUDES(mutex_);
  /// Destroys every pooled frame and refuses new ones from now on.
  void Close() EXCLUDES(mutex_);

 private:
  Mutex mutex_ ACQUIRED_AFTER(lock_order::allocators) ACQUIRED_BEFORE(lock_order::pools);
  const std::shared_ptr<BlankPool> none_;
  const std::shared_ptr<AwakePools> awake_ = std::make_shared<AwakePools>();
  PoolIndex index_;  // read without the lock, written under it
  std::map<std::string, PoolIndex::Entry> pools_ GUARDED_BY(mutex_);  // by FrameKey::Text
  std::deque<Task> tasks_ GUARDED_BY(mutex_);
  bool stop_ GUARDED_BY(mutex_) = false;
  std::condition_variable wake_;  // a task was queued, or stop_ was set
};

}  // namespace mivare
