// Frames in a row, linked through themselves: queuing one needs no memory.
#pragma once

#include <cstdint>

namespace mivare {

class HybridBuffer;

/// Owns its frames, first in first out. Thread-bound.
class FrameList {
 public:
  FrameList() = default;
  FrameList(const FrameList&) = delete;
  FrameList& operator=(const FrameList&) = delete;
  /// Destroys what is left.
  ~FrameList();

  bool empty() const noexcept { return first_ == nullptr; }
  /// The frame that came first, lent; null when there is none.
  const HybridBuffer* first() const noexcept { return first_; }

  /// Takes a frame, which must not be null or in a list already.
  void Append(HybridBuffer* frame) noexcept;

  /// Takes every frame of `other`, behind its own.
  void Append(FrameList& other) noexcept;

  /// Gives the frame that came first; null when there is none.
  HybridBuffer* TakeFirst() noexcept;

  /// Destroys every frame, each when the list is already without it, and says how many.
  uint32_t DestroyAll() noexcept;

 private:
  HybridBuffer* first_ = nullptr;
  HybridBuffer* last_ = nullptr;
};

}  // namespace mivare
