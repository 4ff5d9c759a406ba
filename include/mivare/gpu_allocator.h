// IGpuAllocator: what the host engine gives the library so that frames can live on its GPU.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/export.h"

namespace mivare {

class IMediaBuffer;
class IMediaDesc;

/// Implemented by the host, which keeps it alive from NUXMivareDefaultAllocatorInit until the last
/// frame that came through it is gone. Called on any thread that requests, fills or copies frames,
/// and on the library's own, several at a time; it may call back into the library. No lock is held
/// meanwhile but that of the one object in use: a lazy buffer at its first use, a sample while it
/// is cloned. Another thread that needs the same one waits.
class MIVARE_INTERFACE IGpuAllocator {
 public:
  virtual ~IGpuAllocator() = default;

  /// Gives a device frame for `desc`, filled from `source` unless that is null; empty on failure.
  /// `reserved`: null. Both arguments are lent for the call.
  virtual std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                              void* reserved) = 0;

  /// Blackens a device frame. The handle lends: it must not be kept.
  virtual bool FillBlank(std::shared_ptr<IMediaBuffer> frame) = 0;

  /// Copies a device frame into a host frame. `destination` may be null where its allocation
  /// failed.
  virtual bool Download(IMediaBuffer* source, IMediaBuffer* destination) = 0;

  /// Free memory of the device in bytes; 0 when unknown.
  virtual int64_t GetAvailableMemory() = 0;
};

}  // namespace mivare
