// What the CPU buffers have in common: a description of their own, a weak link to the pool they
// came from, and the way back to it.
#pragma once

#include <cstdint>
#include <memory>

#include "handle_cell.h"
#include "mivare/media_buffer.h"

namespace mivare {

class DescBase;
class Slot;

/// The base of linear and planar CPU buffers. Operations that a kind of buffer lacks answer -1,
/// false or empty here. Thread-bound.
class BufferBase : public IMediaBuffer {
 public:
  /// `owner` is the pool that gets the buffer back; it may be empty and is never kept alive.
  explicit BufferBase(const std::shared_ptr<Slot>& owner);
  ~BufferBase() override;
  BufferBase(const BufferBase&) = delete;
  BufferBase& operator=(const BufferBase&) = delete;

  int32_t Unlock() override;
  int32_t SetData(const uint8_t* data, int32_t size) override;
  IMediaDesc* GetDesc(uint32_t flags) override;
  int32_t SetDataSize(int32_t size) override;
  std::shared_ptr<void> QueryObject(uint32_t kind, uint64_t value) override;
  void* QueryNative(uint32_t flags) override;
  bool IsDeviceMemory() override;
  bool AppendData(const uint8_t* data, uint32_t size) override;
  void Flush() override;

  // Behind the interface's operations, in this order.
  virtual IMediaDesc* GetDescRaw();
  /// Called when a user is done with the memory.
  virtual void Refresh();
  /// The only reset between two users of a pooled buffer.
  virtual void OnRecycle();

  /// Shares the description; empty before Init.
  const std::shared_ptr<IMediaDesc>& SharedDesc() const { return desc_; }
  const std::weak_ptr<Slot>& Owner() const { return owner_; }
  HandleCells& Cells() { return cells_; }

 protected:
  void SetDesc(std::shared_ptr<IMediaDesc> desc);
  /// The description as the library's own kind, which knows plane offsets and the data length; null
  /// for one of a host's making.
  DescBase* LibraryDesc() const { return library_desc_; }

 private:
  std::shared_ptr<IMediaDesc> desc_;
  std::weak_ptr<Slot> owner_;
  HandleCells cells_;
  DescBase* library_desc_ = nullptr;  // desc_, cast once
};

/// The name under which buffers of a media type are registered with the resource monitor.
const char* KindName(uint32_t media_type) noexcept;

/// Empties the user data, audio volumes and multi-camera records of a frame that goes back to a
/// pool, so that its next user finds nothing of them. Null is ignored.
void ResetFrameMetadata(IMediaDesc* desc) noexcept;

/// Ends one use of a buffer: resets its metadata and gives it back to its pool, or destroys it when
/// the pool is gone. Takes `buffer`; null is ignored. Allocates nothing.
void RecycleBuffer(BufferBase* buffer) noexcept;

/// Holds a pooled buffer that is not wrapped in a handle yet.
struct BufferRecycler {
  void operator()(BufferBase* buffer) const noexcept { RecycleBuffer(buffer); }
};
using PooledBuffer = std::unique_ptr<BufferBase, BufferRecycler>;

/// Registers the buffer under the kind of `media_type` and wraps it in a handle whose last release
/// takes the registration back and recycles the buffer. A null buffer is registered and wrapped
/// like any other. Throws std::bad_alloc, after which nothing is registered and the buffer is
/// recycled.
std::shared_ptr<IMediaBuffer> WrapBuffer(PooledBuffer buffer, uint32_t media_type);

}  // namespace mivare
