#include "media_buffer_lazy.h"

#include <utility>

#include "mivare/allocator.h"
#include "mivare/media_desc.h"

namespace mivare {
namespace {

std::shared_ptr<IMediaBuffer> Allocate(IMediaDesc* desc) noexcept try {
  IAllocatorEx* allocator = nullptr;
  if (NUXMivareDefaultAllocatorAcquire(&allocator) != 0) return {};
  return allocator->Alloc(desc, nullptr, nullptr);
} catch (...) {  // no memory, or a hint of a host's description that is no number
  return {};
}

}  // namespace

std::shared_ptr<IMediaBuffer> MediaBufferLazy::Create(const IMediaDesc* desc) try {
  MediaDescPtr copy(desc != nullptr ? desc->Clone() : nullptr);
  if (copy == nullptr) return {};
  return std::make_shared<MediaBufferLazy>(std::move(copy));
} catch (...) {  // no memory, or the description's own failure
  return {};
}

MediaBufferLazy::MediaBufferLazy(MediaDescPtr desc) : desc_(std::move(desc)) {}

std::shared_ptr<IMediaBuffer> MediaBufferLazy::Target() {
  const RecursiveMutexLock lock(mutex_);
  if (buffer_ == nullptr && !allocating_) {
    allocating_ = true;
    buffer_ = Allocate(desc_.get());
    allocating_ = false;
  }
  return buffer_;
}

int32_t MediaBufferLazy::SetData(const uint8_t*, int32_t) { return Unlock(); }

std::shared_ptr<IMediaBuffer> MediaBufferLazy::Clone(uint32_t) { return Create(desc_.get()); }

}  // namespace mivare
