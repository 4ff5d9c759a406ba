// Where the memory of buffers comes from. Tests put sources that fail in place.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mivare {

struct BlockSource {
  /// Freed by delete[]. Throws std::bad_alloc.
  uint8_t* (*new_bytes)(size_t size);
  /// Freed by std::free. Null on failure.
  void* (*heap)(size_t size);
  /// Freed by platform::FreeBlock. Null on failure.
  void* (*system)(size_t size);
};

/// The process's own sources: new[], malloc, platform::AllocateBlock.
extern const BlockSource kProcessBlockSource;

/// The sources in use. Thread-safe.
const BlockSource& CurrentBlockSource() noexcept;

/// Puts sources in place, lent until they are replaced; null brings the process's own back.
void SetBlockSource(const BlockSource* source) noexcept;

}  // namespace mivare
