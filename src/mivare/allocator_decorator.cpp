#include "allocator_decorator.h"

#include <utility>

#include "allocator.h"
#include "base/log.h"
#include "media_buffer_lazy.h"
#include "media_types.h"
#include "mivare/gpu_allocator.h"
#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"
#include "request_properties.h"

namespace mivare {
namespace {

bool IsDeviceFrame(IMediaBuffer* buffer) {
  const IMediaDesc* desc = buffer != nullptr ? buffer->GetDesc(0) : nullptr;
  return desc != nullptr && desc->GetMemoryLocation() == kDeviceMemory;
}

}  // namespace

std::shared_ptr<IAllocatorEx> allocator_decorator::Create(IGpuAllocator* gpu) {
  try {
    std::shared_ptr<IAllocatorEx> inner = MakeCpuAllocator();
    if (inner != nullptr) return std::make_shared<allocator_decorator>(std::move(inner), gpu);
  } catch (...) {  // no memory
  }
  LogErrorAt(unit::kAllocatorMgr, 205);
  return nullptr;
}

allocator_decorator::allocator_decorator(std::shared_ptr<IAllocatorEx> inner, IGpuAllocator* gpu)
    : inner_(std::move(inner)), gpu_(gpu) {}

std::shared_ptr<IMediaBuffer> allocator_decorator::Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                                         void* /*reserved*/) {
  if (desc == nullptr) {
    MIVARE_LOG(kLogError, "input param error! %s", "mivare::allocator_decorator::Alloc");
    return nullptr;
  }
  std::shared_ptr<IMediaBuffer> result;
  if (gpu_ != nullptr && desc->GetMemoryLocation() == kDeviceMemory) {
    result = gpu_->Alloc(desc, source, nullptr);
  } else if (gpu_ != nullptr && IsDeviceFrame(source)) {
    result = inner_->Alloc(desc, nullptr, nullptr);
    gpu_->Download(source, result.get());
  } else {
    result = inner_->Alloc(desc, source, nullptr);
  }
  if (result != nullptr) CarryRequest(desc, result->GetDesc(0));
  return result;
}

int32_t allocator_decorator::GetMemoryStatus(uint64_t& all, uint64_t& free) {
  return inner_ != nullptr ? inner_->GetMemoryStatus(all, free) : -1;
}

void allocator_decorator::clear() {
  if (inner_ != nullptr) inner_->clear();
}

void allocator_decorator::SetMemoryLimit(uint32_t megabytes) {
  if (inner_ != nullptr) inner_->SetMemoryLimit(megabytes);
}

bool allocator_decorator::FillBlank(IMediaBuffer* /*frame*/) { return false; }

std::shared_ptr<IMediaBuffer> allocator_decorator::AllocLazy(IMediaDesc* desc) {
  return MediaBufferLazy::Create(desc);
}

void allocator_decorator::reduce_memory() {
  if (inner_ != nullptr) inner_->reduce_memory();
}

int64_t allocator_decorator::GetGpuAvailableMemory() {
  return gpu_ != nullptr ? gpu_->GetAvailableMemory() : 0;
}

}  // namespace mivare
