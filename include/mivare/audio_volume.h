// Audio volumes: per-track arrays of values that the mixing stages attach to a description.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mivare/export.h"

namespace mivare {

/// The reading face. All readers of one manager share its one position. Thread-safe call by call.
class MIVARE_INTERFACE IAudioVolumeInquire {
 public:
  virtual ~IAudioVolumeInquire() = default;

  /// Does nothing: the faces are parts of their manager.
  virtual void Release() = 0;

  /// Moves to the next track in key order. This face, or null when there is none (left).
  virtual IAudioVolumeInquire* NextVolume() = 0;

  /// Copies the track at the position. Returns 1; 0 at the end, with both outputs unchanged.
  virtual int32_t GetVolume(std::string& track, std::vector<uint64_t>& values) = 0;
};

/// The writing face. Thread-safe.
class MIVARE_INTERFACE IAudioVolumeConfig {
 public:
  virtual ~IAudioVolumeConfig() = default;

  /// Does nothing: the faces are parts of their manager.
  virtual void Release() = 0;

  /// Adds a track; one that is already there keeps its first values. The position returns to the
  /// smallest key. Returns true.
  virtual bool AddVolume(const std::string& track, const std::vector<uint64_t>& values) = 0;

  /// Removes every track; the position is at the end until the next AddVolume or GetVolumeInquire.
  /// Returns 0.
  virtual int32_t ClearVolumes() = 0;
};

/// Owns the tracks and lends the two faces, which live as long as it does. Thread-safe.
class MIVARE_INTERFACE ITrackAudioVolumeManager {
 public:
  virtual ~ITrackAudioVolumeManager() = default;

  /// Moves the position to the smallest key and lends the reading face; null when there is no
  /// track.
  virtual IAudioVolumeInquire* GetVolumeInquire() = 0;

  virtual IAudioVolumeConfig* GetVolumeConfig() = 0;
};

}  // namespace mivare

/// Adds every track of `source` to `destination`, which keeps its own values where both have a
/// track. Moves the source's position. Returns 0; -1 when either is null, both are the same, or the
/// source is empty, and when memory runs out on the way. Thread-safe call by call, not as a whole.
extern "C" MIVARE_API int32_t NUXMivareCopyAudioVolumeData(
    mivare::ITrackAudioVolumeManager* source, mivare::ITrackAudioVolumeManager* destination);
