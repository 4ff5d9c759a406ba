#include "blank_pool.h"

#include "hybrid_frame.h"

namespace mivare {

HybridBuffer* BlankPool::Take() {
  const MutexLock lock(mutex_);
  if (count_ == 0) return nullptr;
  HybridBuffer* frame = PopFirst();
  frame->StampNow();
  return frame;
}

bool BlankPool::Put(HybridBuffer* frame) {
  const MutexLock lock(mutex_);
  if (frame == nullptr || closed_) return false;
  if (count_ < kMainSize) {
    frames_[(first_ + count_) % kMainSize] = frame;
    ++count_;
  } else {
    overflow_.Append(frame);
  }
  return true;
}

bool BlankPool::IsFresh(uint64_t now) {
  const MutexLock lock(mutex_);
  if (!overflow_.empty()) return false;
  return count_ == 0 || now - frames_[first_]->created_at() < kFreshMicroseconds;
}

void BlankPool::Release(bool force, uint64_t now, FrameList* out) {
  FrameList unwanted;  // destroyed after the lock
  const MutexLock lock(mutex_);
  FrameList& target = out != nullptr ? *out : unwanted;
  target.Append(overflow_);
  while (count_ > 0) {
    const bool keep = now - frames_[first_]->created_at() < kKeepMicroseconds;
    if (out != nullptr && !force && keep) break;
    target.Append(PopFirst());
  }
}

void BlankPool::Close(FrameList& out) {
  const MutexLock lock(mutex_);
  closed_ = true;
  out.Append(overflow_);
  while (count_ > 0) out.Append(PopFirst());
}

HybridBuffer* BlankPool::PopFirst() {
  HybridBuffer* frame = frames_[first_];
  first_ = (first_ + 1) % kMainSize;
  --count_;
  return frame;
}

}  // namespace mivare
