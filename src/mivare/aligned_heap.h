// Heap blocks for rows that are processed as vectors.
//
//     | ... | requested size | raw address | block ... |
//     ^ raw                                ^ multiple of 64
//
// The two words below a block are 8 bytes each. The first is the owner's to fill in.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mivare {

/// Gives a block of `size` bytes at a multiple of 64, not cleared. Null when memory is short, which
/// is logged and reported to the engine. Free it with _free. Thread-safe.
void* _malloc(size_t size) noexcept;

/// Takes a block of _malloc; null is ignored. Thread-safe.
void _free(void* block) noexcept;

/// The word below a block that holds its requested size.
void SetBlockSize(void* block, uint64_t size) noexcept;
uint64_t BlockSize(const void* block) noexcept;

}  // namespace mivare
