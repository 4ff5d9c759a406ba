// Tells the library's own descriptions from those of a host's making.
#pragma once

#include "desc.h"
#include "desc/video_desc.h"

namespace mivare {

/// The object behind the interface when it is of exactly one of the library's classes, whose
/// operations are known and whose fields may be used instead; null otherwise, also for a class that
/// a host derived from them. Costs less than calling one operation.
DescBase* OwnDesc(IMediaDesc& desc);
const DescBase* OwnDesc(const IMediaDesc& desc);

/// The same, of the picture classes alone.
desc::VideoDescBase* OwnVideoDesc(IMediaDesc& desc);

}  // namespace mivare
