#include "aligned_heap.h"

#include <cstdlib>
#include <cstring>

#include "base/block_source.h"
#include "base/log.h"
#include "system_info.h"

namespace mivare {
namespace {

constexpr size_t kAlignment = 64;
constexpr size_t kOverhead = 80;  // up to 63 bytes of alignment and the two words
constexpr size_t kWord = 8;

uint8_t* RawWord(void* block) { return static_cast<uint8_t*>(block) - kWord; }

}  // namespace

void* _malloc(size_t size) noexcept {
  void* raw = size <= SIZE_MAX - kOverhead ? CurrentBlockSource().heap(size + kOverhead) : nullptr;
  if (raw == nullptr) {
    MIVARE_LOG(kLogMemory, "%s try malloc[%d] memory!", "mivare::_malloc",
               static_cast<int32_t>(size));
    ReportMemoryExhausted();
    return nullptr;
  }
  const auto address = reinterpret_cast<uintptr_t>(raw);
  const uintptr_t aligned = (address + kOverhead) & ~uintptr_t{kAlignment - 1};
  uint8_t* block = static_cast<uint8_t*>(raw) + (aligned - address);
  std::memcpy(RawWord(block), &raw, sizeof(raw));
  return block;
}

void _free(void* block) noexcept {
  if (block == nullptr) return;
  void* raw = nullptr;
  std::memcpy(&raw, RawWord(block), sizeof(raw));
  std::free(raw);
}

void SetBlockSize(void* block, uint64_t size) noexcept {
  std::memcpy(RawWord(block) - kWord, &size, sizeof(size));
}

uint64_t BlockSize(const void* block) noexcept {
  uint64_t size = 0;
  std::memcpy(&size, static_cast<const uint8_t*>(block) - 2 * kWord, sizeof(size));
  return size;
}

}  // namespace mivare
