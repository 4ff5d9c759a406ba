#include "mivare/allocator.h"

namespace mivare {

int32_t NUXMivareFrameMemoryManagerInit(unsigned int) { return 0; }
int32_t NUXMivareFrameMemoryManagerUnInit() { return 0; }
int32_t NUXMivareFrameMemoryManagerAcquire(IFrameMemoryManager**) { return -1; }

}  // namespace mivare
