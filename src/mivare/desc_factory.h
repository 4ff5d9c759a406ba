// Builds descriptions by code. The exported half is declared in mivare/media_desc.h.
#pragma once

#include <memory>

#include "mivare/media_desc.h"

namespace mivare {

/// Shares a new video description of the smt and size of `source`, whatever its media type. Empty
/// (logged) for an smt that this road does not serve, which are more than the exported factory
/// refuses, or a size beyond 200000 x 65536; empty when memory is short. Reentrant.
std::shared_ptr<IMediaDesc> CreateDescLike(const IMediaDesc& source);

}  // namespace mivare
