// allocator_decorator: the CPU allocator and the host's GPU allocator behind one face.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/allocator.h"

namespace mivare {

/// Sends device requests to the GPU allocator and the rest to the CPU allocator, downloads device
/// sources into host frames, and gives every frame the properties of its request. Thread-safe.
class allocator_decorator : public IAllocatorEx {
 public:
  /// Shares a decorator around a new CPU allocator; `gpu` is lent and may be null. Empty (logged)
  /// on failure.
  static std::shared_ptr<IAllocatorEx> Create(IGpuAllocator* gpu);

  explicit allocator_decorator(std::shared_ptr<IAllocatorEx> inner = nullptr,
                               IGpuAllocator* gpu = nullptr);

  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                      void* reserved) override;
  int32_t GetMemoryStatus(uint64_t& all, uint64_t& free) override;
  void clear() override;
  void SetMemoryLimit(uint32_t megabytes) override;
  bool FillBlank(IMediaBuffer* frame) override;
  std::shared_ptr<IMediaBuffer> AllocLazy(IMediaDesc* desc) override;
  void reduce_memory() override;
  int64_t GetGpuAvailableMemory() override;

 private:
  std::shared_ptr<IAllocatorEx> inner_;
  IGpuAllocator* gpu_;
};

}  // namespace mivare
