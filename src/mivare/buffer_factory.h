// Which class of buffer holds which format.
#pragma once

#include <memory>

#include "buffer_base.h"

namespace mivare {

/// Gives a new buffer for `desc` that goes back to `owner`; null when the format has no buffer or
/// memory is short.
std::unique_ptr<BufferBase> CreateBuffer(IMediaDesc* desc, const std::shared_ptr<Slot>& owner);

}  // namespace mivare
