// What a frame's description takes over from the request that the frame serves.
#pragma once

namespace mivare {

class IMediaDesc;

/// Copies the properties and extend data of `request` to `frame` and makes its user data those of
/// the request, without the six hint keys: hints never travel with a frame. Throws when memory is
/// short: a request gets a frame with all of its notes, or none.
void CarryRequest(IMediaDesc* request, IMediaDesc* frame);

/// The same through the interface alone, as descriptions of hosts' making need it; between two of
/// the library's own, CarryRequest goes by their fields and never copies the hints at all.
void CarryRequestOfAny(IMediaDesc& request, IMediaDesc& frame);

}  // namespace mivare
