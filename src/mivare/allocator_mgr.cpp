#include "allocator_mgr.h"

#include <new>
#include <utility>

#include "base/log.h"
#include "base/never_destroyed.h"
#include "hybrid_frame_allocator.h"
#include "mivare/media_buffer.h"
#include "orlo/event_bus.h"
#include "platform/platform.h"

namespace mivare {
namespace {

// The manager itself is never destroyed: static destructors elsewhere may still drop frames or ask.
struct ExitGuard {
  AllocatorMgrDecoImpl& manager;
  ~ExitGuard() { manager.WarnAndClear(); }
};

}  // namespace

AllocatorMgrDecoImpl& AllocatorMgrDecoImpl::Instance() {
  static NeverDestroyed<AllocatorMgrDecoImpl> manager;
  static const ExitGuard guard{manager.get()};
  return manager.get();
}

int32_t AllocatorMgrDecoImpl::Init(IGpuAllocator* gpu) {
  std::shared_ptr<IAllocator> stale;  // there is none, unless process exit came in between
  const MutexLock lock(init_mutex_);
  if (init_count_++ != 0) return 0;
  try {
    CurrentAllocator::Room room;
    std::shared_ptr<IAllocator> made = hybrid_frame_allocator::Create(gpu);
    if (made == nullptr) {
      LogErrorAt(unit::kAllocatorMgr, 216);
      return 0;
    }
    stale = current_.Replace(room, std::move(made));
  } catch (const std::bad_alloc&) {  // no room
    LogErrorAt(unit::kAllocatorMgr, 216);
    return 0;
  }
  is_up_.store(true, std::memory_order_relaxed);
  holds_bus_ = orlo::GetGlobalEventBus() != nullptr;
  return 0;
}

int32_t AllocatorMgrDecoImpl::Uninit() {
  std::shared_ptr<IAllocator> dropped;
  bool release_bus = false;
  if (platform::OtherThreadsKilled()) {
    ForgetAtExit();
    return 0;
  }
  {
    const MutexLock lock(init_mutex_);
    if (init_count_-- != 1) return 0;
    is_up_.store(false, std::memory_order_relaxed);
    dropped = current_.Remove();
    release_bus = std::exchange(holds_bus_, false);
  }
  // Without a lock: dropping the allocator waits for its worker, which may be in the host's code.
  dropped.reset();
  if (release_bus) orlo::ReleaseGlobalEventBus();
  return 0;
}

// A host's static destructor, after the worker was killed: its locks cannot be taken, what is up
// goes with the process.
void AllocatorMgrDecoImpl::ForgetAtExit() {
  if (init_count_-- == 1) is_up_.store(false, std::memory_order_relaxed);
}

// Comes at the process's exit and when the library is unloaded; on Windows both are under the
// loader's lock, where no lock is taken and no thread waited for:
//   unloading   nothing is up, since its worker would have kept the library loaded
//   exit        where the other threads are killed first, what is up goes with the process;
//               elsewhere the worker may hold the last reference on the library: it must not take
//               this very code with it
void AllocatorMgrDecoImpl::WarnAndClear() {
  if (!is_up_.load(std::memory_order_relaxed)) return;
  MIVARE_LOG(kLogStatus, "warning! file[%s] line[%d]", unit::kAllocatorMgr, 250);
  if (platform::OtherThreadsKilled()) return;
  static_cast<void>(platform::ReferenceModule().release());
  is_up_.store(false, std::memory_order_relaxed);
  current_.Remove();
}

std::shared_ptr<IMediaBuffer> AllocatorMgrDecoImpl::Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                                          void* reserved) {
  const CurrentAllocator::Loan current = current_.Borrow();
  return current.get() != nullptr ? current.get()->Alloc(desc, source, reserved) : nullptr;
}

int32_t AllocatorMgrDecoImpl::GetMemoryStatus(uint64_t& all, uint64_t& free) {
  const CurrentAllocator::Loan current = current_.Borrow();
  return current.get() != nullptr ? current.get()->GetMemoryStatus(all, free) : -1;
}

void AllocatorMgrDecoImpl::clear() {
  const CurrentAllocator::Loan current = current_.Borrow();
  if (current.get() != nullptr) current.get()->clear();
}

void AllocatorMgrDecoImpl::SetMemoryLimit(uint32_t megabytes) {
  const CurrentAllocator::Loan current = current_.Borrow();
  if (current.get() != nullptr) current.get()->SetMemoryLimit(megabytes);
}

bool AllocatorMgrDecoImpl::FillBlank(IMediaBuffer* /*frame*/) { return false; }

void AllocatorMgrDecoImpl::reduce_memory() {}

int64_t AllocatorMgrDecoImpl::GetGpuAvailableMemory() { return 0; }

int32_t GetCurrentAllocator(std::shared_ptr<IAllocator>* out) {
  if (out == nullptr) return -1;
  *out = AllocatorMgrDecoImpl::Instance().Current();
  return 0;
}

}  // namespace mivare

int32_t NUXMivareDefaultAllocatorInit(mivare::IGpuAllocator* gpu) {
  return mivare::AllocatorMgrDecoImpl::Instance().Init(gpu);
}

int32_t NUXMivareDefaultAllocatorUninit() {
  return mivare::AllocatorMgrDecoImpl::Instance().Uninit();
}

int32_t NUXMivareDefaultAllocatorAcquire(mivare::IAllocatorEx** out) {
  if (out == nullptr) return -1;
  *out = &mivare::AllocatorMgrDecoImpl::Instance();
  return 0;
}
