// The memory behind a buffer, whichever way the buffer is reached: through crops, proxies, lazy and
// hybrid frames as well.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace mivare {

class IMediaBuffer;

/// All that a buffer owns. Its planes should lie there; what its description and its host say of
/// them may lead elsewhere.
struct MemoryBlock {
  const uint8_t* data = nullptr;
  size_t size = 0;
};

/// What the library's buffers are beside IMediaBuffer. Those that own memory answer with it, those
/// that stand for another buffer with that one's.
class BlockHolder {
 public:
  /// Nothing for memory of others.
  virtual std::optional<MemoryBlock> Block() = 0;

 protected:
  ~BlockHolder() = default;
};

/// The block of a locked buffer, until it is unlocked or grows. Nothing for memory of others, a
/// wraper's included: its owner alone knows where it ends.
std::optional<MemoryBlock> BlockBehind(IMediaBuffer& buffer);

}  // namespace mivare
