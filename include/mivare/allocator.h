// The allocators: where every buffer comes from and goes back to.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/export.h"

namespace mivare {

class IFrameMemoryManager;  // declared for callers; nothing implements it
class IGpuAllocator;
class IMediaBuffer;
class IMediaDesc;

/// Gives buffers and takes them back when their last handle goes. Thread-safe.
class MIVARE_INTERFACE IAllocator {
 public:
  virtual ~IAllocator() = default;

  /// Gives a buffer for `desc`, reusing a pooled one where there is one. `desc` is lent for the
  /// call and copied; one description may serve many threads at once. `source`, if not null, is
  /// copied into the buffer. `reserved`: null. The buffer carries the properties, user data and
  /// extend data of `desc`, without the six hint keys. Test the pointer: a failed request is null.
  /// The memory is not cleared.
  ///
  /// Hints in the user data of `desc`: "Blank" (whatever its value) asks for a black frame;
  /// "AllocHostMem" and "PlatformCompatible" tell kinds of device frames apart. Throws
  /// orlo::AnyBadAccess when "PlatformCompatible" is not a number that fits an int32.
  virtual std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                              void* reserved) = 0;

  /// Bytes of host memory in buffers, in use and pooled (`all`) and pooled alone (`free`). Returns
  /// 0; -1 without an allocator behind it, with both left alone.
  virtual int32_t GetMemoryStatus(uint64_t& all, uint64_t& free) = 0;

  /// Gives pooled memory back; device frames follow on the library's worker thread.
  virtual void clear() = 0;

  /// The host memory in buffers, in megabytes, above which idle ones are given back about every
  /// 100 ms. Computed in 32 bits: 4096 counts as 0. 0, the default, gives them back always.
  virtual void SetMemoryLimit(uint32_t megabytes) = 0;

  /// Blackens a frame. False for null, and where the allocator behind does not fill.
  virtual bool FillBlank(IMediaBuffer* frame) = 0;
};

/// What the process-wide allocator can do besides. Thread-safe.
class MIVARE_INTERFACE IAllocatorEx : public IAllocator {
 public:
  /// Shares a frame for a copy of `desc` that gets its memory from the default allocator at its
  /// first use, whichever operation that is, GetDesc included; Clone alone gives another such frame
  /// instead. Several threads may meet at the first use: one frame is made. As long as the request
  /// fails, the operations answer -1, false, null or empty, and each makes it again. SetData copies
  /// nothing and ends a Lock. The copy loses the hints, so the frame is never a black one. Empty
  /// when `desc` is null or cannot be copied.
  virtual std::shared_ptr<IMediaBuffer> AllocLazy(IMediaDesc* desc) = 0;

  /// One pass of the periodic trimming.
  virtual void reduce_memory() = 0;

  /// Free memory of the host's GPU in bytes; 0 without a GPU allocator.
  virtual int64_t GetGpuAvailableMemory() = 0;
};

/// Reserved for hosts that link them: Init and UnInit return 0, Acquire returns -1 and leaves `out`
/// alone. Reentrant.
MIVARE_API int32_t NUXMivareFrameMemoryManagerInit(unsigned int flags);
MIVARE_API int32_t NUXMivareFrameMemoryManagerUnInit();
MIVARE_API int32_t NUXMivareFrameMemoryManagerAcquire(IFrameMemoryManager** out);

}  // namespace mivare

/// Brings the library up; calls are counted and only the first does anything. `gpu` is lent until
/// the last frame made through it is gone, and may be null. Returns 0, also when bringing up failed
/// (logged): requests are then empty until a later Uninit and Init. Thread-safe; a log sink must
/// not call it, or Uninit, for what a first Init says.
extern "C" MIVARE_API int32_t NUXMivareDefaultAllocatorInit(mivare::IGpuAllocator* gpu);

/// Takes one Init back; the last one stops the worker thread and drops every pooled buffer. Frames
/// still out stay valid, while the library is loaded, and are destroyed at their last handle.
/// Returns 0. Thread-safe.
extern "C" MIVARE_API int32_t NUXMivareDefaultAllocatorUninit();

/// Lends the process-wide allocator, for the life of the process: never delete it. It may be asked
/// before Init and after Uninit; its requests are empty then. Returns 0; -1 when `out` is null.
/// Thread-safe.
extern "C" MIVARE_API int32_t NUXMivareDefaultAllocatorAcquire(mivare::IAllocatorEx** out);
