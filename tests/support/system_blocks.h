// The large blocks that the library has from the system.
#pragma once

#include <cstdint>

namespace mivare::test {

/// How many blocks of platform::AllocateBlock nobody has freed yet.
int64_t SystemBlocksAlive();

}  // namespace mivare::test
