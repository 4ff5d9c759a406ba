// HybridBuffer: the frame that hosts get for video and subtitles, in host or in device memory.
#pragma once

#include <cstdint>
#include <memory>

#include "handle_cell.h"
#include "memory_block.h"
#include "mivare/media_buffer.h"

namespace mivare {

class BlankPool;
class IGpuAllocator;

/// Wraps one real buffer, the storage, whose description says where the memory is. Forwards to it,
/// downloads device frames on CopyFrom, and goes back to a pool when its last handle goes.
class HybridBuffer final : public IMediaBuffer, public BlockHolder {
 public:
  /// Wraps `storage`. `pool` takes the frame back, `blank_pool` does if the host has marked it
  /// "Blank" by then; both may be empty, and one that is closed counts as none. Empty (logged) when
  /// `storage` is null or there is no memory.
  static std::shared_ptr<IMediaBuffer> Create(std::shared_ptr<IMediaBuffer> storage,
                                              std::weak_ptr<IGpuAllocator> gpu_allocator,
                                              std::shared_ptr<BlankPool> blank_pool,
                                              std::shared_ptr<BlankPool> pool);

  struct PoolReturner {
    void operator()(HybridBuffer* frame) const noexcept;
  };
  /// Holds a frame that was taken from a pool and is not wrapped in a handle yet: it goes back.
  using Pooled = std::unique_ptr<HybridBuffer, PoolReturner>;

  /// Hands a pooled frame out again, with the properties and user data of `request`. Empty (logged)
  /// without a frame. When memory is short, an exception leaves and the frame is back in its pool.
  static std::shared_ptr<IMediaBuffer> Reissue(IMediaDesc* request, Pooled frame);

  /// Blackens the storage and, if that went well and no blank pool is attached, attaches `pool` as
  /// such. Returns 0 for failure. Host memory never fails.
  int32_t MakeBlank(const std::shared_ptr<BlankPool>& pool);

  /// When the frame was made or last left a pool, in wall-clock microseconds. Belongs to the pool's
  /// lock while the frame is in one.
  uint64_t created_at() const { return created_at_; }
  void StampNow();

  /// When a split pool got the frame back, in ticks of the processor. Belongs to its lock likewise.
  uint64_t returned_at() const { return returned_at_; }
  void set_returned_at(uint64_t when) { returned_at_ = when; }

  ~HybridBuffer() override = default;
  HybridBuffer(const HybridBuffer&) = delete;
  HybridBuffer& operator=(const HybridBuffer&) = delete;

  // IMediaBuffer
  int32_t Lock(uint8_t* planes[8], int32_t pitches[8], void* reserved,
               uint32_t* capacityOut) override;
  int32_t Unlock() override;
  int32_t CopyFrom(IMediaBuffer* source) override;
  int32_t SetData(const uint8_t* data, int32_t size) override;
  std::shared_ptr<IMediaBuffer> Clone(uint32_t flags) override;
  IMediaDesc* GetDesc(uint32_t flags) override;
  int32_t SetDataSize(int32_t size) override;
  std::shared_ptr<void> QueryObject(uint32_t kind, uint64_t value) override;
  void* QueryNative(uint32_t flags) override;
  bool IsDeviceMemory() override;
  bool AppendData(const uint8_t* data, uint32_t size) override;
  void Flush() override;

  std::optional<MemoryBlock> Block() override;

 private:
  friend class FrameList;  // links frames through next_

  HybridBuffer() = default;

  struct PoolingDeleter;
  struct DestroyingDeleter;

  bool Init(std::shared_ptr<IMediaBuffer> storage, std::weak_ptr<IGpuAllocator> gpu_allocator,
            std::shared_ptr<BlankPool> blank_pool, std::shared_ptr<BlankPool> pool);
  static void Recycle(std::unique_ptr<HybridBuffer> frame);
  bool ClearUserData(bool look_for_blank);
  bool FillOnDevice();

  std::weak_ptr<IGpuAllocator> gpu_allocator_;
  std::shared_ptr<IMediaBuffer> storage_;  // never null, never changes
  std::shared_ptr<BlankPool> blank_pool_;  // shared, so that a release finds its pool without
  std::shared_ptr<BlankPool> pool_;        // counting references; their owner closes them
  uint64_t created_at_ = 0;
  uint64_t returned_at_ = 0;
  HybridBuffer* next_ = nullptr;
  HandleCells cells_;
};

}  // namespace mivare
