#include "slot.h"

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "buffer_base.h"

namespace mivare {
namespace {

constexpr int64_t kRecentMicroseconds = 200'000;
constexpr size_t kFirstRoom = 8;

}  // namespace

Slot::Slot(std::shared_ptr<AwakePools> all)
    : wakefulness_(std::move(all)), last_take_time_(NowMicroseconds()) {}
Slot::~Slot() { Clear(); }

void Slot::Adopt(uint32_t bytes) {
  const MutexLock lock(mutex_);
  const size_t needed = size_t{count_.load(std::memory_order_relaxed)} + 1;
  if (free_list_.capacity() < needed) {
    free_list_.reserve(std::max({needed, free_list_.capacity() * 2, kFirstRoom}));
  }
  count_.fetch_add(1, std::memory_order_relaxed);
  if (unit_size_.load(std::memory_order_relaxed) == 0) {
    unit_size_.store(bytes, std::memory_order_relaxed);
  }
}

std::unique_ptr<BufferBase> Slot::Take() {
  std::unique_ptr<BufferBase> taken;
  {
    const MutexLock lock(mutex_);
    if (free_list_.empty()) return nullptr;
    taken = std::move(free_list_.back());
    free_list_.pop_back();
  }
  last_take_time_.store(NowMicroseconds(), std::memory_order_relaxed);
  return taken;
}

bool Slot::Put(std::unique_ptr<BufferBase> buffer) noexcept {
  if (buffer == nullptr) return false;
  const MutexLock lock(mutex_);
  if (free_list_.size() == free_list_.capacity()) return false;
  free_list_.push_back(std::move(buffer));
  wakefulness_.Wake();
  return true;
}

uint32_t Slot::Clear() noexcept {
  const MutexLock lock(mutex_);
  const auto destroyed = static_cast<uint32_t>(free_list_.size());
  free_list_.clear();
  wakefulness_.Sleep();
  count_.fetch_sub(destroyed, std::memory_order_relaxed);
  return destroyed;
}

int32_t Slot::Status(uint64_t& all, uint64_t& free) const {
  const MutexLock lock(mutex_);
  const uint64_t unit_size = unit_size_.load(std::memory_order_relaxed);
  all = count_.load(std::memory_order_relaxed) * unit_size;
  free = free_list_.size() * unit_size;
  return 0;
}

bool Slot::IsRecentlyUsed() const {
  const auto now = static_cast<uint64_t>(NowMicroseconds());
  const auto taken = static_cast<uint64_t>(last_take_time_.load(std::memory_order_relaxed));
  return static_cast<int64_t>(now - taken) < kRecentMicroseconds;
}

}  // namespace mivare
