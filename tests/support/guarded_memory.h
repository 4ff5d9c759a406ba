// Memory with a stretch on both sides that nobody may touch, for the library's own buffers and for
// frames that tests make.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "base/block_source.h"
#include "memory_block.h"
#include "support/host_frame.h"

namespace mivare::test {

inline constexpr uint8_t kContent = 0x11;  ///< what blocks start with
inline constexpr uint8_t kGuard = 0xDB;    ///< what lies around them, or kOtherGuard
inline constexpr uint8_t kOtherGuard = 0xDC;

/// Whether something that lay around a block has come along.
inline bool HasGuardBytes(std::span<const uint8_t> bytes) {
  return std::any_of(bytes.begin(), bytes.end(),
                     [](uint8_t byte) { return byte == kGuard || byte == kOtherGuard; });
}

/// A frame that counts as one of the library's: it says which block its planes lie in, and they
/// may be set anywhere.
class OwnedFrame final : public HostFrame, public BlockHolder {
 public:
  OwnedFrame(MediaDescPtr description, size_t size, uint8_t guard = kGuard)
      : HostFrame(std::move(description)), guard_(guard), bytes_(2 * kAround + size, guard) {
    std::fill_n(data(), size, kContent);
  }

  uint8_t* data() { return bytes_.data() + kAround; }
  size_t size() const { return bytes_.size() - 2 * kAround; }
  std::span<const uint8_t> block() const { return std::span(bytes_).subspan(kAround, size()); }
  std::optional<MemoryBlock> Block() override { return MemoryBlock{data(), size()}; }

  /// The address `offset` bytes into the block, which may lie anywhere.
  uint8_t* At(int64_t offset) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(data()) +
                                      static_cast<uintptr_t>(offset));
  }
  void SetPlane(size_t index, int64_t offset, int32_t pitch) {
    planes[index] = At(offset);
    pitches[index] = pitch;
  }

  /// Whether nothing was written around the block.
  bool IsIntact() const {
    const auto is_guard = [this](uint8_t byte) { return byte == guard_; };
    const auto kSide = static_cast<ptrdiff_t>(kAround);
    return std::all_of(bytes_.begin(), bytes_.begin() + kSide, is_guard) &&
           std::all_of(bytes_.end() - kSide, bytes_.end(), is_guard);
  }

 private:
  static constexpr size_t kAround = 4096;

  uint8_t guard_;
  std::vector<uint8_t> bytes_;
};

/// Lets buffers of the library have blocks with guard bytes behind them, for a scope, and refuses
/// large ones. One at a time.
class GuardedBlocks {
 public:
  static constexpr size_t kLargest = size_t{24} << 20;

  GuardedBlocks() {
    Given().clear();
    SetBlockSource(&kSource);
  }
  ~GuardedBlocks() { SetBlockSource(nullptr); }
  GuardedBlocks(const GuardedBlocks&) = delete;
  GuardedBlocks& operator=(const GuardedBlocks&) = delete;

  /// Whether nothing was written behind a block that is in use. A block of memory that is not from
  /// here does not count as intact.
  static bool IsIntact(const MemoryBlock& block) {
    const std::lock_guard lock(GivenMutex());
    const uint8_t* end = block.data + block.size;
    for (auto given = Given().rbegin(); given != Given().rend(); ++given) {
      const uint8_t* given_end = given->data + given->size;
      if (block.data < given->data || end > given_end) continue;
      return given_end - end >= static_cast<ptrdiff_t>(kBehind) &&
             std::all_of(end, given_end, [](uint8_t byte) { return byte == kGuard; });
    }
    return false;
  }

 private:
  static constexpr size_t kBehind = 4096;

  static std::mutex& GivenMutex() {
    static std::mutex mutex;
    return mutex;
  }
  static std::vector<MemoryBlock>& Given() {
    static std::vector<MemoryBlock> given;
    return given;
  }
  static void* Guard(void* block, size_t size) {
    if (block == nullptr) return nullptr;
    std::fill_n(static_cast<uint8_t*>(block), size + kBehind, kGuard);
    const std::lock_guard lock(GivenMutex());
    Given().push_back({static_cast<uint8_t*>(block), size + kBehind});
    return block;
  }
  static uint8_t* NewBytes(size_t size) {
    if (size > kLargest) throw std::bad_alloc();
    uint8_t* bytes = kProcessBlockSource.new_bytes(size + kBehind);
    Guard(bytes, size);
    std::fill_n(bytes, size, kContent);
    return bytes;
  }
  static void* Heap(size_t size) {
    return size > kLargest ? nullptr : Guard(kProcessBlockSource.heap(size + kBehind), size);
  }
  static void* System(size_t size) {
    return size > kLargest ? nullptr : Guard(kProcessBlockSource.system(size + kBehind), size);
  }

  static constexpr BlockSource kSource{&NewBytes, &Heap, &System};
};

}  // namespace mivare::test
