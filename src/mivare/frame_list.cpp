#include "frame_list.h"

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

uint32_t FrameList::DestroyAll() noexcept {
  uint32_t count = 0;
  while (first_ != nullptr) {
    const std::unique_ptr<HybridBuffer> frame(first_);
    first_ = frame->next_;
    if (first_ == nullptr) last_ = nullptr;
    ++count;
  }
  return count;
}

}  // namespace mivare
