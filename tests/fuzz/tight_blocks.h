// Buffers' blocks as targets want them: none large, and nothing behind their ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "base/block_source.h"

#if defined(__SANITIZE_ADDRESS__)
#define MIVARE_FUZZ_POISONS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MIVARE_FUZZ_POISONS 1
#endif
#endif
#ifdef MIVARE_FUZZ_POISONS
#include <sanitizer/asan_interface.h>
#endif

namespace mivare::fuzz {

/// Replaces where buffers get their memory for a scope: blocks above kMost bytes are refused, and
/// the address sanitizer learns where the blocks of the aligned heap end. One at a time.
class TightBlocks {
 public:
  static constexpr size_t kMost = size_t{1} << 20;

  TightBlocks() { SetBlockSource(&kSource); }
  ~TightBlocks() { SetBlockSource(nullptr); }
  TightBlocks(const TightBlocks&) = delete;
  TightBlocks& operator=(const TightBlocks&) = delete;

 private:
  static uint8_t* NewBytes(size_t size) {
    if (size > kMost) throw std::bad_alloc();
    return kProcessBlockSource.new_bytes(size);
  }
  static void* System(size_t size) {
    return size > kMost ? nullptr : kProcessBlockSource.system(size);
  }
  static void* Heap(size_t size) {
    void* raw = size > kMost ? nullptr : kProcessBlockSource.heap(size);
#ifdef MIVARE_FUZZ_POISONS
    // The heap asks for 80 bytes more, and hands out the last multiple of 64 within those.
    if (raw != nullptr && size >= 80) {
      const auto address = reinterpret_cast<uintptr_t>(raw);
      const uintptr_t end = ((address + 80) & ~uintptr_t{63}) + (size - 80);
      __asan_poison_memory_region(reinterpret_cast<void*>(end), address + size - end);
    }
#endif
    return raw;
  }

  static constexpr BlockSource kSource{&NewBytes, &Heap, &System};
};

}  // namespace mivare::fuzz
