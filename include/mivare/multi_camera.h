// Multi-camera records: which source frames, one a camera angle, make up the current frame.
#pragma once

#include <cstdint>
#include <string>

#include "mivare/export.h"

namespace mivare {

/// The reading face of the queue. Reading looks at the newest record, stepping on drops the oldest.
/// Thread-safe call by call.
class MIVARE_INTERFACE IVideoMultiCameraFrameInquire {
 public:
  virtual ~IVideoMultiCameraFrameInquire() = default;

  /// Does nothing: the faces are parts of their manager.
  virtual void Release() = 0;

  /// Drops the oldest record. This face, also when that was the last one; null when there was none.
  virtual IVideoMultiCameraFrameInquire* NextFrame() = 0;

  /// Copies the newest record, which stays. Returns 1; 0 when there is none, with the outputs
  /// unchanged.
  virtual int32_t GetFrame(std::string& name, uint32_t& value1, uint32_t& value2,
                           uint64_t& data) = 0;
};

/// The writing face. Thread-safe.
class MIVARE_INTERFACE IVideoMultiCameraFrameConfig {
 public:
  virtual ~IVideoMultiCameraFrameConfig() = default;

  /// Does nothing: the faces are parts of their manager.
  virtual void Release() = 0;

  /// Appends a record as the newest; equal names are fine. `data` is stored and returned as it is.
  /// Returns true.
  virtual bool AddFrame(const std::string& name, const uint32_t& value1, const uint32_t& value2,
                        const uint64_t& data) = 0;

  /// Drops every record. Returns 0.
  virtual int32_t ClearFrames() = 0;
};

/// Owns the queue and lends the two faces, which live as long as it does. Thread-safe.
class MIVARE_INTERFACE IVideoMultiCameraFrameManger {
 public:
  virtual ~IVideoMultiCameraFrameManger() = default;

  /// Lends the reading face; null when the queue is empty.
  virtual IVideoMultiCameraFrameInquire* GetFrameInquire() = 0;

  virtual IVideoMultiCameraFrameConfig* GetFrameConfig() = 0;
};

}  // namespace mivare

/// Moves the queue of `source` over: n records there become n copies of the newest one at
/// `destination`, then one more with an empty name and the newest one's numbers, and the source is
/// left empty. Returns 0; -1 when either is null, both are the same, or the source is empty, and
/// when memory runs out on the way. Thread-safe call by call, not as a whole.
extern "C" MIVARE_API int32_t
NUXMivareCopyVideoMultiCameraFrame(mivare::IVideoMultiCameraFrameManger* source,
                                   mivare::IVideoMultiCameraFrameManger* destination);
