#include "support/system_blocks.h"

#include <atomic>
#include <cstddef>

// The linker sends the program's own calls here (see the build file).
#if __SIZEOF_SIZE_T__ == __SIZEOF_LONG__
#define MIVARE_ALLOCATE_BLOCK "_ZN6mivare8platform13AllocateBlockEm"
#else
#define MIVARE_ALLOCATE_BLOCK "_ZN6mivare8platform13AllocateBlockEy"
#endif
#define MIVARE_FREE_BLOCK "_ZN6mivare8platform9FreeBlockEPv"

void* WrappedAllocateBlock(size_t size) noexcept __asm__("__wrap_" MIVARE_ALLOCATE_BLOCK);
void WrappedFreeBlock(void* block) noexcept __asm__("__wrap_" MIVARE_FREE_BLOCK);
void* RealAllocateBlock(size_t size) noexcept __asm__("__real_" MIVARE_ALLOCATE_BLOCK);
void RealFreeBlock(void* block) noexcept __asm__("__real_" MIVARE_FREE_BLOCK);

namespace {

constinit std::atomic<int64_t> alive{0};

}  // namespace

void* WrappedAllocateBlock(size_t size) noexcept {
  void* block = RealAllocateBlock(size);
  if (block != nullptr) alive.fetch_add(1);
  return block;
}

void WrappedFreeBlock(void* block) noexcept {
  if (block != nullptr) alive.fetch_sub(1);
  RealFreeBlock(block);
}

namespace mivare::test {

int64_t SystemBlocksAlive() { return alive.load(); }

}  // namespace mivare::test
