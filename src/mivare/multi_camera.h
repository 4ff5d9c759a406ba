// The multi-camera manager of a description.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/multi_camera.h"

namespace mivare {

/// Shares a new manager with an empty queue. Throws std::bad_alloc.
std::shared_ptr<IVideoMultiCameraFrameManger> MakeMultiCameraManager();

/// NUXMivareCopyVideoMultiCameraFrame for callers that must know when memory was short: throws what
/// the managers throw. Records that were moved until then stay moved.
int32_t MoveMultiCameraFrames(IVideoMultiCameraFrameManger* source,
                              IVideoMultiCameraFrameManger* destination);

}  // namespace mivare
