// hybrid_frame_allocator: where every video and subtitle frame comes from while the library is up.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/allocator.h"

namespace mivare {

class BlankPool;
class FramePools;
class HybridBuffer;
class check_loop;

/// Serves video and subtitle requests as hybrid frames from pools of equal requests, audio from the
/// CPU allocator. Frames may outlive it. Thread-safe.
class hybrid_frame_allocator final : public IAllocator {
  struct Private {};  // only Create can make one

 public:
  /// Starts an allocator and its worker thread; `gpu` is lent and may be null. Empty (logged) on
  /// failure.
  static std::shared_ptr<IAllocator> Create(IGpuAllocator* gpu);

  explicit hybrid_frame_allocator(Private);
  /// Stops the worker and drops every pooled frame. On the worker itself (a frame's destructor may
  /// end the library) it only asks: the worker then finishes behind the caller's back.
  ~hybrid_frame_allocator() override;

  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                      void* reserved) override;
  int32_t GetMemoryStatus(uint64_t& all, uint64_t& free) override;
  void clear() override;
  void SetMemoryLimit(uint32_t megabytes) override;
  bool FillBlank(IMediaBuffer* frame) override;

  const std::shared_ptr<IAllocator>& cpu_allocator() const { return cpu_allocator_; }

 private:
  bool Init(IGpuAllocator* gpu);
  std::shared_ptr<IMediaBuffer> Serve(IMediaDesc* desc, IMediaBuffer* source);
  std::shared_ptr<IMediaBuffer> AllocPooled(IMediaDesc* desc, IMediaBuffer* source,
                                            const std::shared_ptr<BlankPool>& blank_pool,
                                            const std::shared_ptr<BlankPool>& given_home);
  std::shared_ptr<IMediaBuffer> AllocBlank(IMediaDesc* desc);
  void WatchGpuMemory(const IMediaDesc& desc);

  // Set once by Init.
  std::shared_ptr<IAllocator> cpu_allocator_;
  std::shared_ptr<IGpuAllocator> gpu_allocator_;  // owns nothing; frames hold it weakly
  std::shared_ptr<FramePools> pools_;
  std::unique_ptr<check_loop> worker_;
};

/// The CPU side of a hybrid_frame_allocator; any other allocator comes back as it is.
std::shared_ptr<IAllocator> CpuAllocatorOf(const std::shared_ptr<IAllocator>& allocator);

}  // namespace mivare
