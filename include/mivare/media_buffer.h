// IMediaBuffer: memory that holds media, in the process or on a GPU. What the memory means is said
// by its description (media_desc.h); where it comes from by an allocator (allocator.h).
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/export.h"

namespace mivare {

class IMediaDesc;

/// A frame, a block of audio, a packet or a subtitle. Status results are 0 for success, -1 for a
/// bad argument or an operation this kind of buffer does not have, -2 for one that was tried and
/// failed. Thread-bound; the last handle may be dropped on any thread.
///
/// Whatever a host does to a frame of the library (pitches, sizes, valid bytes) and whatever view
/// it is reached through, the library reads and writes within the frame's memory alone and leaves
/// out what would lie beyond. Of memory of others it knows no end: a host's own buffer must have
/// every byte of the rows that it reports, which are as many as its height says (half of them,
/// rounded up, in the chroma planes of 4:2:0) and each as long as the pitch or the picture's row,
/// whichever is longer, rounded up to 4 bytes for images; of a linear buffer, the valid bytes.
/// Hosts' own classes are looked at with dynamic_cast, so they are compiled with run-time type
/// information.
class MIVARE_INTERFACE IMediaBuffer {
 public:
  virtual ~IMediaBuffer() = default;

  /// Lends the plane pointers and pitches (bytes from row to row) of the whole buffer until Unlock.
  /// `planes`, `pitches`: arrays of 8. Planar frames write as many planes as they have and leave
  /// the rest alone. Linear buffers zero both arrays, then give the data as plane 0, its valid
  /// bytes as pitch 0 and, when `capacityOut` is not null, the block's size there. `reserved`:
  /// null, or 1 as a pointer from callers that will write; buffers outside the library may look at
  /// it. Returns 0; -1 when an array is null, with nothing written; -2 when there is no layout,
  /// with both arrays zeroed. Excludes nobody and may be nested.
  virtual int32_t Lock(uint8_t* planes[8], int32_t pitches[8], void* reserved,
                       uint32_t* capacityOut) = 0;

  /// Ends a Lock. Returns 0.
  virtual int32_t Unlock() = 0;

  /// Makes this buffer hold what `source` holds; nothing is converted or scaled. Planar frames: 0;
  /// -1 for a null source or a copy that failed; -2 when format, width or height differ. Linear
  /// buffers: -1 for a null source, else 0, whatever came of it. Hybrid frames downloading from a
  /// GPU: 1 for success, 0 for failure.
  virtual int32_t CopyFrom(IMediaBuffer* source) = 0;

  /// Linear buffers: replaces the contents by `size` bytes, growing as needed. 0; -1 when `data` is
  /// null, `size` is below 1 or there is no memory. Other buffers: -1.
  virtual int32_t SetData(const uint8_t* data, int32_t size) = 0;

  /// Shares a new buffer of the current default allocator with an equal description and a copy of
  /// the contents; empty on failure, and while no allocator is initialised. `flags`: 0.
  virtual std::shared_ptr<IMediaBuffer> Clone(uint32_t flags) = 0;

  /// Lends the buffer's own description. `flags`: 0.
  virtual IMediaDesc* GetDesc(uint32_t flags) = 0;

  /// Linear buffers: says how many bytes are valid, unchecked; 0. Other buffers: -1.
  virtual int32_t SetDataSize(int32_t size) = 0;

  /// For buffers outside the library, reached through hybrid frames and views as well; the
  /// library's own give an empty pointer.
  virtual std::shared_ptr<void> QueryObject(uint32_t kind, uint64_t value) = 0;

  /// Likewise: null from the library's own buffers. `flags`: 0.
  virtual void* QueryNative(uint32_t flags) = 0;

  /// Whether the memory is a device's. False from the library's own buffers, hybrid frames
  /// included.
  virtual bool IsDeviceMemory() = 0;

  /// Linear buffers: adds `size` bytes behind the valid ones, growing as needed; behind a negative
  /// number of them, those that lie in the block then. False when there is no memory, for null with
  /// a size, and when the sum is negative or leaves 31 bits. Other buffers: false.
  virtual bool AppendData(const uint8_t* data, uint32_t size) = 0;

  /// For buffers outside the library; the library's own do nothing.
  virtual void Flush() = 0;
};

}  // namespace mivare
