// How much of a linear buffer may be touched.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "mivare/helper.h"

namespace mivare {

/// The valid bytes of a locked linear buffer. Their number is whatever a host has said; the block's
/// size, where the buffer tells it, is not.
inline size_t ValidBytes(const LockedBuffer& lock) {
  if (lock.plane(0) == nullptr || lock.pitch(0) < 1) return 0;
  const auto count = static_cast<uint32_t>(lock.pitch(0));
  return lock.capacity() != 0 ? std::min(count, lock.capacity()) : count;
}

}  // namespace mivare
