// A number written all over a host frame, to see whether anybody else writes there.
#pragma once

#include <cstdint>

#include "mivare/media_buffer.h"

namespace mivare::test {

/// Into every row of plane 0.
void StampRows(IMediaBuffer& frame, int32_t stamp);
bool RowsHoldStamp(IMediaBuffer& frame, int32_t stamp);

}  // namespace mivare::test
