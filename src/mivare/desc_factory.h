// Builds descriptions by code. The exported half is declared in mivare/media_desc.h.
#pragma once

#include <memory>

#include "mivare/media_desc.h"

namespace mivare {

/// Shares a new video description of the smt and size of `source`, whatever its media type. Empty
/// (logged) for a size beyond 200000 x 65536 or an smt outside its table, which is narrower than
/// the exported factory's and the only one with Nv24x; empty when memory is short. Reentrant.
std::shared_ptr<IMediaDesc> CreateDescLike(const IMediaDesc& source);

}  // namespace mivare
