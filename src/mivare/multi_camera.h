// The multi-camera manager of a description.
#pragma once

#include <memory>

#include "mivare/multi_camera.h"

namespace mivare {

/// Shares a new manager with an empty queue. Throws std::bad_alloc.
std::shared_ptr<IVideoMultiCameraFrameManger> MakeMultiCameraManager();

}  // namespace mivare
