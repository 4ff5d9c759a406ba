// Buffer2d: a video frame in one block, its planes where its description says.
#pragma once

#include <cstdint>
#include <memory>

#include "buffer_base.h"
#include "memory_block.h"

namespace mivare {

/// A frame's block: from the aligned heap below kVirtualAllocThreshold, else straight from the
/// system, so that large frames give their pages back and leave no holes in the heap.
struct FrameBlockDeleter {
  bool virtual_alloc = false;
  void operator()(uint8_t* block) const noexcept;
};
using FrameBlock = std::unique_ptr<uint8_t, FrameBlockDeleter>;

/// A planar or packed video frame. The block never changes size after Init. Thread-bound.
class Buffer2d : public BufferBase, public BlockHolder {
 public:
  static constexpr uint32_t kVirtualAllocThreshold = 2U << 20;
  /// The largest width x height.
  static constexpr uint32_t kMaxPixels = 30720U * 17280U;

  /// The frame as one plain image, for whoever inspects a buffer in a debugger or a dump. Kept
  /// current; the library itself never reads it.
  struct View {
    uint32_t bit_depth = 8;
    uint32_t channels = 4;
    uint32_t width = 0;
    uint32_t height = 0;
    uint8_t* pixels = nullptr;
    uint32_t pitch = 0;

    friend bool operator==(const View&, const View&) = default;
  };

  using BufferBase::BufferBase;

  int32_t Lock(uint8_t* planes[8], int32_t pitches[8], void* reserved,
               uint32_t* capacityOut) override;
  int32_t CopyFrom(IMediaBuffer* source) override;
  std::shared_ptr<IMediaBuffer> Clone(uint32_t flags) override;
  void Refresh() override;
  std::optional<MemoryBlock> Block() override;

  /// Clones `desc` and allocates the frame it lays out. False (logged) on failure.
  bool Init(IMediaDesc* desc);

  const View& CachedView() const { return view_; }
  uint8_t* Data() const { return data_.get(); }
  bool IsVirtualAlloc() const { return data_.get_deleter().virtual_alloc; }

 private:
  bool AllocMemory(uint32_t size);

  FrameBlock data_;
  uint32_t size_ = 0;
  View view_;
};

/// Gives a frame for `desc`, or null. Leaves a creation trace in the log either way.
std::unique_ptr<Buffer2d> _CreateMediaBuffer2D(IMediaDesc* desc,
                                               const std::shared_ptr<Slot>& owner);

}  // namespace mivare
