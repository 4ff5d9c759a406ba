// Buffer1d: media that is one run of bytes, in a block that is replaced when it gets too small.
#pragma once

#include <cstdint>
#include <memory>

#include "buffer_base.h"
#include "memory_block.h"

namespace mivare {

struct RowPart;

/// A block of bytes. Shared, so that it stays valid for whoever still reads it after its buffer has
/// moved on to a bigger one.
struct MemoryData {
  /// Allocates `size` bytes, not cleared. False (logged) when `size` is below 1 or there is no
  /// memory.
  bool Init(int32_t size);

  std::unique_ptr<uint8_t[]> data;
  int32_t capacity = 0;
};

/// Bitstream packets, text subtitles, PCM audio. Grows exactly as far as it must. Thread-bound.
class Buffer1d : public BufferBase, public BlockHolder {
 public:
  /// Every linear buffer starts with this many bytes, whatever its description says.
  static constexpr int32_t kInitialCapacity = 20000;

  using BufferBase::BufferBase;

  int32_t Lock(uint8_t* planes[8], int32_t pitches[8], void* reserved,
               uint32_t* capacityOut) override;
  int32_t CopyFrom(IMediaBuffer* source) override;
  int32_t SetData(const uint8_t* data, int32_t size) override;
  std::shared_ptr<IMediaBuffer> Clone(uint32_t flags) override;
  int32_t SetDataSize(int32_t size) override;
  bool AppendData(const uint8_t* data, uint32_t size) override;
  void OnRecycle() override;
  std::optional<MemoryBlock> Block() override;

  /// Clones `desc` and allocates the first block. False (logged) on failure.
  virtual bool Init(IMediaDesc* desc);

  /// Shares the block; empty before Init.
  const std::shared_ptr<MemoryData>& Memory() const { return memory_; }

 private:
  int32_t Capacity() const { return memory_ != nullptr ? memory_->capacity : 0; }
  /// What is there of `size` bytes at `data` that a caller hands in.
  RowPart OwnPart(const uint8_t* data, int64_t size);
  /// SetData with the part that is there.
  int32_t Replace(const uint8_t* data, const RowPart& part, int32_t size);

  int32_t size_ = 0;  // the host's word, unchecked: may be negative or beyond the capacity
  std::shared_ptr<MemoryData> memory_;
};

namespace audio {

/// A linear buffer of audio samples.
class AudioBuffer : public Buffer1d {
 public:
  using Buffer1d::Buffer1d;
  ~AudioBuffer() override;
  int32_t SetData(const uint8_t* data, int32_t size) override;
  int32_t SetDataSize(int32_t size) override;
};

}  // namespace audio
}  // namespace mivare
