// MediaBufferLazy: a frame that gets its memory at its first use.
#pragma once

#include <cstdint>
#include <memory>

#include "base/lock_order.h"
#include "base/mutex.h"
#include "forwarding_buffer.h"
#include "mivare/helper.h"

namespace mivare {

/// Asks the default allocator for a frame at the first operation, GetDesc included, and stands in
/// for it from then on; only Clone does without. A request that fails, by an exception as well, is
/// made again at the next operation. The first use is thread-safe: one frame is made.
class MediaBufferLazy final : public ForwardingBuffer<MediaBufferLazy> {
 public:
  /// Copies `desc`. Empty when it is null or cannot be copied.
  static std::shared_ptr<IMediaBuffer> Create(const IMediaDesc* desc);

  explicit MediaBufferLazy(MediaDescPtr desc);

  /// Shares the frame, after asking for it where there is none; empty when there still is none.
  std::shared_ptr<IMediaBuffer> Target() EXCLUDES(mutex_);

  /// Copies nothing: ends a Lock of the frame. Hosts rely on it.
  int32_t SetData(const uint8_t* data, int32_t size) override;
  /// Another one for the same description, without memory.
  std::shared_ptr<IMediaBuffer> Clone(uint32_t flags) override;

 private:
  const MediaDescPtr desc_;  // never null
  // Held during the request. The host's GPU allocator, which serves it, may come back to this
  // frame: it finds it without memory.
  RecursiveMutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  std::shared_ptr<IMediaBuffer> buffer_ GUARDED_BY(mutex_);
  bool allocating_ GUARDED_BY(mutex_) = false;
};

}  // namespace mivare
