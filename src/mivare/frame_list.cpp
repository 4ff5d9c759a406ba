#include "frame_list.h"

#include <memory>

#include "hybrid_frame.h"

namespace mivare {

FrameList::~FrameList() { DestroyAll(); }

void FrameList::Append(HybridBuffer* frame) noexcept {
  frame->next_ = nullptr;
  if (last_ != nullptr) {
    last_->next_ = frame;
  } else {
    first_ = frame;
  }
  last_ = frame;
}

void FrameList::Append(FrameList& other) noexcept {
  if (other.empty()) return;
  if (last_ != nullptr) {
    last_->next_ = other.first_;
  } else {
    first_ = other.first_;
  }
  last_ = other.last_;
  other.first_ = other.last_ = nullptr;
}

HybridBuffer* FrameList::TakeFirst() noexcept {
  HybridBuffer* frame = first_;
  if (frame == nullptr) return nullptr;
  first_ = frame->next_;
  if (first_ == nullptr) last_ = nullptr;
  return frame;
}

uint32_t FrameList::DestroyAll() noexcept {
  uint32_t count = 0;
  while (HybridBuffer* frame = TakeFirst()) {
    delete frame;
    ++count;
  }
  return count;
}

}  // namespace mivare
