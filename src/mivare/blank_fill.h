// Black pictures in host memory.
#pragma once

namespace mivare {

class IMediaBuffer;

/// Blackens a host frame of one of the formats that blank frames come in; others are logged and
/// left alone. Fills whole rows, padding included, where samples are bytes.
void BlankFill(IMediaBuffer* frame);

}  // namespace mivare
