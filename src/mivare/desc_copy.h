// What one description takes over from another of any class, hosts' own included: the exports of
// these names for callers that must know when memory was short.
#pragma once

namespace mivare {

class IMediaDesc;
namespace desc {
class VideoDescBase;
}

/// NUXMivareCopyMediaExtraProperty. Throws what the stores throw; the blocks copied until then
/// stay.
void CopyExtraProperty(IMediaDesc* destination, IMediaDesc* source);

/// The same between two pictures of the library's own, by their fields. Not for one and itself: its
/// preset would come between.
void CopyExtraProperty(desc::VideoDescBase& destination, const desc::VideoDescBase& source);

/// The same through the interface alone, as descriptions of hosts' making need it.
void CopyExtraPropertyOfAny(IMediaDesc& destination, IMediaDesc& source);

/// NUXMivareCopyUserData. Throws what the maps throw; `destination` has no user data then.
void CopyUserData(IMediaDesc* destination, IMediaDesc* source);

}  // namespace mivare
