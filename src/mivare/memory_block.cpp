#include "memory_block.h"

#include "mivare/media_buffer.h"

namespace mivare {

std::optional<MemoryBlock> BlockBehind(IMediaBuffer& buffer) {
  auto* holder = dynamic_cast<BlockHolder*>(&buffer);
  return holder != nullptr ? holder->Block() : std::nullopt;
}

}  // namespace mivare
