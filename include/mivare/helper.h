// Short inline helpers, shared with hosts: owners for what the interfaces hand out raw, and a look
// at a frame's marks.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"
#include "mivare/user_data.h"
#include "orlo/log.h"
#include "orlo/val_any.h"

namespace mivare {

struct MediaDescDeleter {
  void operator()(IMediaDesc* desc) const { NUXMivareMediaDescDestroy(&desc); }
};

/// Owns a description made by NUXMivareMediaDescCreateEx or Clone.
using MediaDescPtr = std::unique_ptr<IMediaDesc, MediaDescDeleter>;

inline MediaDescPtr MakeMediaDesc(uint32_t mediaType, int32_t smt) {
  return MediaDescPtr(NUXMivareMediaDescCreateEx(mediaType, smt));
}

/// Whether a frame carries kIsOldKey in its user data. A missing frame, description or map is
/// logged (tag "helper", level 6) and counts as no.
inline bool IsMarkedOld(IMediaBuffer* frame) {
  const IMediaDesc* desc = frame != nullptr ? frame->GetDesc(0) : nullptr;
  IUserDataInquire* userData = desc != nullptr ? desc->GetUserDataInquire() : nullptr;
  if (userData == nullptr) {
    OrloLogPrint("helper", 6, "error! file[%s] line[%d]", "include/mivare/helper", __LINE__);
    return false;
  }
  try {
    orlo::ValAny value;
    return userData->Get(kIsOldKey, value) == 1;
  } catch (...) {  // a value that cannot be copied for lack of memory is there
    return true;
  }
}

/// Holds a buffer locked for a scope. Test ok() before use; the planes of a failed lock are null.
class LockedBuffer {
 public:
  explicit LockedBuffer(IMediaBuffer& buffer, bool willWrite = false)
      : buffer_(buffer),
        status_(buffer.Lock(planes_.data(), pitches_.data(),
                            // NOLINTNEXTLINE(performance-no-int-to-ptr): what Lock asks for
                            willWrite ? reinterpret_cast<void*>(uintptr_t{1}) : nullptr,
                            &capacity_)) {}
  ~LockedBuffer() {
    if (ok()) buffer_.Unlock();
  }
  LockedBuffer(const LockedBuffer&) = delete;
  LockedBuffer& operator=(const LockedBuffer&) = delete;

  bool ok() const { return status_ == 0; }
  int32_t status() const { return status_; }
  uint8_t* plane(size_t index) const { return planes_[index]; }
  /// Bytes from row to row; for linear buffers pitch(0) is the number of valid bytes.
  int32_t pitch(size_t index) const { return pitches_[index]; }
  /// Linear buffers: the block's size in bytes; 0 elsewhere.
  uint32_t capacity() const { return capacity_; }

 private:
  IMediaBuffer& buffer_;
  std::array<uint8_t*, 8> planes_{};
  std::array<int32_t, 8> pitches_{};
  uint32_t capacity_ = 0;
  int32_t status_;
};

}  // namespace mivare
