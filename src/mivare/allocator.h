// allocator: the CPU allocator, which pools buffers by a key of their description.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

#include "awake_pools.h"
#include "base/lock_order.h"
#include "base/mutex.h"
#include "buffer_base.h"
#include "mivare/allocator.h"

namespace mivare {

/// Lock order: mutex_ before any slot's lock. Buffers are made, taken and put without mutex_.
/// Thread-safe.
class allocator : public IAllocatorEx {
 public:
  allocator() = default;
  ~allocator() override;
  allocator(const allocator&) = delete;
  allocator& operator=(const allocator&) = delete;

  /// A failed request is a null handle that is registered and unregistered like any other.
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                      void* reserved) override EXCLUDES(mutex_);
  int32_t GetMemoryStatus(uint64_t& all, uint64_t& free) override EXCLUDES(mutex_);
  void clear() override EXCLUDES(mutex_);
  void SetMemoryLimit(uint32_t megabytes) override;
  /// False: the fill belongs to the hybrid allocator.
  bool FillBlank(IMediaBuffer* frame) override;
  /// Empty: lazy buffers are made by the decorator.
  std::shared_ptr<IMediaBuffer> AllocLazy(IMediaDesc* desc) override;
  /// Clears the slots that nobody took from for 200 ms, then all of them when the buffers still
  /// hold more than the limit.
  void reduce_memory() override EXCLUDES(mutex_);
  /// 0.
  int64_t GetGpuAvailableMemory() override;

 private:
  struct Status {
    uint64_t all = 0;
    uint64_t free = 0;
  };

  std::shared_ptr<Slot> SlotFor(uint64_t key) EXCLUDES(mutex_);
  PooledBuffer Obtain(IMediaDesc* desc, IMediaBuffer* source) EXCLUDES(mutex_);
  Status SumOverSlots() const REQUIRES(mutex_);

  Mutex mutex_ ACQUIRED_AFTER(lock_order::allocators) ACQUIRED_BEFORE(lock_order::pools);
  std::map<uint64_t, std::shared_ptr<Slot>> pools_ GUARDED_BY(mutex_);
  const std::shared_ptr<AwakePools> awake_ = std::make_shared<AwakePools>();
  std::atomic<uint64_t> limit_bytes_{0};  // relaxed: a setting on its own
};

/// Shares a new CPU allocator; empty when memory is short.
std::shared_ptr<IAllocatorEx> MakeCpuAllocator() noexcept;

}  // namespace mivare
