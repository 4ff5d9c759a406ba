// What one description takes over from another of any class, hosts' own included: the exports of
// these names for callers that must know when memory was short.
#pragma once

namespace mivare {

class IMediaDesc;

/// NUXMivareCopyMediaExtraProperty. Throws what the stores throw; the blocks copied until then
/// stay.
void CopyExtraProperty(IMediaDesc* destination, IMediaDesc* source);

/// NUXMivareCopyUserData. Throws what the maps throw; `destination` has no user data then.
void CopyUserData(IMediaDesc* destination, IMediaDesc* source);

}  // namespace mivare
