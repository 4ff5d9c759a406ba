// What the calling thread has asked of the heap and of the system's locks, whichever library of the
// process it was in.
#pragma once

#include <cstdint>

namespace mivare::bench {

struct Calls {
  uint64_t allocations = 0;  // malloc and its kin, which operator new goes to as well
  uint64_t locks = 0;        // mutexes and read-write locks taken or tried
};

Calls CallsOfThisThread();

}  // namespace mivare::bench
