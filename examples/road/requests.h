// The host's end of the library: bringing it up, and asking for buffers while watching what each
// request costs.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>

#include "mivare/mivare.h"
#include "report.h"

namespace road {

/// Frames and blocks that are under way at a time, as in an engine that decodes ahead of the
/// display.
inline constexpr size_t kLookAhead = 8;

/// The time stamp of a frame travels in its user data.
inline constexpr char kTimeKey[] = "road::pts";

/// Keeps the library up. Buffers and descriptions must be gone before it goes.
class Library {
 public:
  Library();
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// A buffer for `desc` with the time stamp in its user data, counted as cold or warm. Throws
  /// Failure when there is none.
  std::shared_ptr<mivare::IMediaBuffer> Request(mivare::IMediaDesc& desc, int64_t time,
                                                RequestCounts& counts);

  /// Bytes in buffers, out and pooled.
  uint64_t HeldBytes();
  uint64_t peak_bytes() const { return peak_bytes_; }

 private:
  mivare::IAllocatorEx* allocator_ = nullptr;
  uint64_t peak_bytes_ = 0;
};

/// Writes a buffer's raw dump to `file`, which is `prefix` and the suffix that the library adds. An
/// older file goes first, so that what is there afterwards was written now.
void Dump(const std::filesystem::path& prefix, const std::filesystem::path& file,
          const std::shared_ptr<mivare::IMediaBuffer>& buffer);

/// Reads such a file back into a buffer of the same format and size; whether that worked.
bool Load(const std::filesystem::path& file, const std::shared_ptr<mivare::IMediaBuffer>& buffer);

/// The planes of a locked frame.
std::array<PlaneView, 3> Views(const mivare::LockedBuffer& lock, const PixelFormat& format);

/// The time stamp that a buffer was requested with; `missing` when it carries none.
int64_t TimeOf(mivare::IMediaBuffer& buffer, int64_t missing);

}  // namespace road
