// AllocatorMgrDecoImpl: the one allocator that hosts see, in front of the one that is in use.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "allocator_decorator.h"
#include "base/lock_order.h"
#include "base/mutex.h"
#include "current_allocator.h"

namespace mivare {

/// Forwards to the current allocator, without a lock held, so that one that is replaced during a
/// call lives until the call ends. Answers emptily without one. Thread-safe.
class AllocatorMgrDecoImpl final : public allocator_decorator {
 public:
  /// The process's manager, made at the first call and never destroyed: static destructors of the
  /// host may still ask it.
  static AllocatorMgrDecoImpl& Instance();

  /// A counted copy of the current allocator; empty before the first Init and after the last
  /// Uninit.
  std::shared_ptr<IAllocator> Current() { return current_.Borrow().Share(); }

  /// The exports of the same names: the first Init makes an allocator, the last Uninit drops it.
  int32_t Init(IGpuAllocator* gpu) EXCLUDES(init_mutex_);
  int32_t Uninit() EXCLUDES(init_mutex_);

  /// What process exit does: warns about a missing Uninit and drops the allocator it left, unless
  /// the system has killed its worker already.
  void WarnAndClear();

  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                      void* reserved) override;
  int32_t GetMemoryStatus(uint64_t& all, uint64_t& free) override;
  void clear() override;
  void SetMemoryLimit(uint32_t megabytes) override;
  bool FillBlank(IMediaBuffer* frame) override;
  void reduce_memory() override;
  int64_t GetGpuAvailableMemory() override;

  // Three slots kept behind those of IAllocatorEx.
  virtual int32_t Reserved0() { return 0; }
  virtual int32_t Reserved1() { return 0; }
  virtual int32_t Reserved2() { return 0; }

 private:
  void ForgetAtExit() NO_THREAD_SAFETY_ANALYSIS;

  CurrentAllocator current_;
  // Whether there is one, for process exit, which may not lock. Relaxed: it guards no data.
  std::atomic<bool> is_up_{false};

  // Puts Inits and Uninits in a row; never held while an allocator goes.
  Mutex init_mutex_ ACQUIRED_AFTER(lock_order::objects) ACQUIRED_BEFORE(lock_order::allocators);
  uint64_t init_count_ GUARDED_BY(init_mutex_) = 0;  // wraps
  bool holds_bus_ GUARDED_BY(init_mutex_) = false;
};

/// Copies the manager's current allocator to `out`. Returns 0; -1 for null.
int32_t GetCurrentAllocator(std::shared_ptr<IAllocator>* out);

}  // namespace mivare
