// Which requests may share pooled buffers.
#pragma once

#include <cstdint>

namespace mivare {

class IMediaDesc;

/// The key of the pool that serves `desc`. Formats without a key of their own, and null, share
/// pool 0. Sizes are rounded up to 64, so frames that differ less share a pool.
uint64_t GetPoolKey(const IMediaDesc* desc);

}  // namespace mivare
