#include "hybrid_frame.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/clock.h"
#include "base/log.h"
#include "blank_fill.h"
#include "blank_pool.h"
#include "extend_keys.h"
#include "media_types.h"
#include "mivare/gpu_allocator.h"
#include "mivare/media_desc.h"
#include "mivare/user_data.h"
#include "request_properties.h"
#include "trovel/trovel.h"

namespace mivare {
namespace {

constexpr char kKind[] = "Video Buffer";  // whatever the media type

// Frames beyond this in both directions are pooled only in the sizes that video comes in.
constexpr uint32_t kLarge = 2048;
constexpr struct {
  uint32_t width, height;
} kPooledLargeSizes[] = {
    {3840, 2160}, {4096, 2160}, {7680, 4320}, {2160, 3840}, {2160, 4096}, {4320, 7680},
};

bool IsPooledSize(const IMediaDesc* desc) {
  if (desc == nullptr) return true;
  const uint32_t width = desc->GetWidth();
  const uint32_t height = desc->GetHeight();
  if (width <= kLarge || height <= kLarge) return true;
  return std::any_of(
      std::begin(kPooledLargeSizes), std::end(kPooledLargeSizes),
      [&](const auto& size) { return size.width == width && size.height == height; });
}

// 0 is host memory, 1 a device's; a buffer that does not say is the host's.
uint32_t LocationOf(IMediaBuffer* buffer) {
  const IMediaDesc* desc = buffer != nullptr ? buffer->GetDesc(0) : nullptr;
  return desc != nullptr ? desc->GetMemoryLocation() : 0;
}

bool IsOpen(const std::shared_ptr<BlankPool>& pool) { return pool != nullptr && !pool->closed(); }

HybridBuffer::Pooled TakeFrom(const std::shared_ptr<BlankPool>& pool) {
  return HybridBuffer::Pooled(pool != nullptr ? pool->Take() : nullptr);
}

}  // namespace

void HybridBuffer::PoolReturner::operator()(HybridBuffer* frame) const noexcept {
  try {
    Recycle(std::unique_ptr<HybridBuffer>(frame));
  } catch (...) {  // the frame is gone already
    LogErrorAt(unit::kHybridFrame);
  }
}

struct HybridBuffer::PoolingDeleter {
  void operator()(HybridBuffer* frame) const noexcept {
    trovel::RemoveResource(kKind, frame);
    PoolReturner{}(frame);
  }
};

struct HybridBuffer::DestroyingDeleter {
  void operator()(HybridBuffer* frame) const noexcept {
    trovel::RemoveResource(kKind, frame);
    delete frame;
  }
};

std::shared_ptr<IMediaBuffer> HybridBuffer::Create(std::shared_ptr<IMediaBuffer> storage,
                                                   std::weak_ptr<IGpuAllocator> gpu_allocator,
                                                   std::shared_ptr<BlankPool> blank_pool,
                                                   std::shared_ptr<BlankPool> pool) {
  const bool pooled = storage == nullptr || IsPooledSize(storage->GetDesc(0));
  auto* frame = new (std::nothrow) HybridBuffer;
  if (frame == nullptr) {
    LogErrorAt(unit::kHybridFrame);
    return nullptr;
  }
  trovel::AddResource(kKind, frame);
  if (!frame->Init(std::move(storage), std::move(gpu_allocator), std::move(blank_pool),
                   std::move(pool))) {
    LogErrorAt(unit::kHybridFrame);
    DestroyingDeleter{}(frame);
    return nullptr;
  }
  try {
    // A handle that cannot be made runs its deleter first.
    if (pooled) return frame->cells_.Wrap(frame, PoolingDeleter{});
    return std::shared_ptr<HybridBuffer>(frame, DestroyingDeleter{});
  } catch (const std::bad_alloc&) {
    LogErrorAt(unit::kHybridFrame);
    return nullptr;
  }
}

std::shared_ptr<IMediaBuffer> HybridBuffer::Reissue(IMediaDesc* request, Pooled frame) {
  if (frame == nullptr) {
    LogErrorAt(unit::kHybridFrame);
    return nullptr;
  }
  CarryRequest(request, frame->GetDesc(0));
  trovel::AddResource(kKind, frame.get());
  // From here on the deleter owns the frame, also when the handle cannot be made.
  HybridBuffer* registered = frame.release();
  return registered->cells_.Wrap(registered, PoolingDeleter{});
}

bool HybridBuffer::Init(std::shared_ptr<IMediaBuffer> storage,
                        std::weak_ptr<IGpuAllocator> gpu_allocator,
                        std::shared_ptr<BlankPool> blank_pool, std::shared_ptr<BlankPool> pool) {
  if (storage == nullptr) return false;
  gpu_allocator_ = std::move(gpu_allocator);
  storage_ = std::move(storage);
  blank_pool_ = std::move(blank_pool);
  pool_ = std::move(pool);
  StampNow();
  return true;
}

void HybridBuffer::StampNow() { created_at_ = static_cast<uint64_t>(NowMicroseconds()); }

// A frame that no pool takes is destroyed by its parameter, here on the releasing thread.
void HybridBuffer::Recycle(std::unique_ptr<HybridBuffer> frame) {
  const bool has_blank_pool = IsOpen(frame->blank_pool_);
  if (!has_blank_pool && !IsOpen(frame->pool_)) return;
  const bool blank = frame->ClearUserData(has_blank_pool);
  BlankPool* home = blank ? frame->blank_pool_.get() : frame->pool_.get();
  // Once a pool has it, the frame may be out again at once on another thread, or gone with the
  // worker: the pool must not go with it.
  if (home != nullptr && home->Put(frame.get())) static_cast<void>(frame.release());
}

// Says whether the frame was marked "Blank", when asked to look.
bool HybridBuffer::ClearUserData(bool look_for_blank) {
  IMediaDesc* desc = GetDesc(0);
  if (desc == nullptr) return false;
  const bool blank = look_for_blank && HasHint(*desc, kBlankKey);
  if (IUserDataConfig* config = desc->GetUserDataConfig()) config->Clear();
  return blank;
}

int32_t HybridBuffer::MakeBlank(const std::shared_ptr<BlankPool>& pool) {
  const IMediaDesc* desc = GetDesc(0);
  if (desc == nullptr) {
    LogErrorAt(unit::kHybridFrame);
    return 0;
  }
  int32_t status = 1;
  if (desc->GetMemoryLocation() == 0) {
    BlankFill(storage_.get());
  } else {
    status = FillOnDevice() ? 1 : 0;
  }
  if (status != 0 && !IsOpen(blank_pool_)) blank_pool_ = pool;
  return status;
}

bool HybridBuffer::FillOnDevice() {
  const std::shared_ptr<IGpuAllocator> gpu = gpu_allocator_.lock();
  if (gpu == nullptr) return false;
  try {
    return gpu->FillBlank(storage_);
  } catch (...) {  // the host's own failure
    LogErrorAt(unit::kHybridFrame);
    return false;
  }
}

int32_t HybridBuffer::CopyFrom(IMediaBuffer* source) {
  if (LocationOf(storage_.get()) != 0 || LocationOf(source) != kDeviceMemory)
    return storage_->CopyFrom(source);
  const std::shared_ptr<IGpuAllocator> gpu = gpu_allocator_.lock();
  if (gpu == nullptr) return storage_->CopyFrom(source);
  try {
    return gpu->Download(source, storage_.get()) ? 1 : 0;
  } catch (...) {  // the host's own failure
    LogErrorAt(unit::kHybridFrame);
    return 0;
  }
}

std::shared_ptr<IMediaBuffer> HybridBuffer::Clone(uint32_t /*flags*/) {
  try {
    Pooled free = TakeFrom(pool_);
    if (free == nullptr) free = TakeFrom(blank_pool_);
    if (free != nullptr) {
      std::shared_ptr<IMediaBuffer> copy = Reissue(GetDesc(0), std::move(free));
      copy->CopyFrom(storage_.get());
      return copy;
    }
    std::shared_ptr<IMediaBuffer> storage = storage_->Clone(0);
    if (storage != nullptr) return Create(std::move(storage), gpu_allocator_, blank_pool_, pool_);
  } catch (...) {  // no memory, or the storage's own failure
  }
  LogErrorAt(unit::kHybridFrame);
  return nullptr;
}

int32_t HybridBuffer::Lock(uint8_t* planes[8], int32_t pitches[8], void* reserved,
                           uint32_t* capacityOut) {
  return storage_->Lock(planes, pitches, reserved, capacityOut);
}

int32_t HybridBuffer::Unlock() { return storage_->Unlock(); }

int32_t HybridBuffer::SetData(const uint8_t* /*data*/, int32_t /*size*/) {
  LogErrorAt(unit::kHybridFrame);
  return -1;
}

IMediaDesc* HybridBuffer::GetDesc(uint32_t /*flags*/) { return storage_->GetDesc(0); }

int32_t HybridBuffer::SetDataSize(int32_t /*size*/) {
  LogErrorAt(unit::kHybridFrame);
  return -1;
}

std::shared_ptr<void> HybridBuffer::QueryObject(uint32_t kind, uint64_t value) {
  return storage_->QueryObject(kind, value);
}

void* HybridBuffer::QueryNative(uint32_t /*flags*/) { return storage_->QueryNative(0); }

bool HybridBuffer::IsDeviceMemory() { return false; }

bool HybridBuffer::AppendData(const uint8_t* /*data*/, uint32_t /*size*/) {
  MIVARE_LOG(kLogStatus, "warn! should not call this! file[%s] line[%d]", unit::kHybridFrame,
             __LINE__);
  return false;
}

void HybridBuffer::Flush() { storage_->Flush(); }

std::optional<MemoryBlock> HybridBuffer::Block() { return BlockBehind(*storage_); }

}  // namespace mivare
