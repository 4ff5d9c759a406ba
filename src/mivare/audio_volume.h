// The audio volume manager of a description.
#pragma once

#include <memory>

#include "mivare/audio_volume.h"

namespace mivare {

/// Shares a new manager without tracks. Throws std::bad_alloc.
std::shared_ptr<ITrackAudioVolumeManager> MakeAudioVolumeManager();

}  // namespace mivare
