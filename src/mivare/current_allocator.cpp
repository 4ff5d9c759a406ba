#include "current_allocator.h"

#include <utility>

#include "mivare/allocator.h"
namespace mivare {
namespace {

constexpr int kCountBits = 16;
constexpr uint64_t kCountMask = (1U << kCountBits) - 1;
// More than there will ever be loans at once.
constexpr int64_t kMany = int64_t{1} << 40;

}  // namespace

/// Goes with the last of its users: the loans that had not ended when it was replaced, and, up to
/// then, this class.
struct CurrentAllocator::Held {
  std::shared_ptr<IAllocator> allocator;
  std::atomic<int64_t> users{kMany};

  /// Takes `count` users off.
  void Drop(int64_t count) {
    if (users.fetch_sub(count, std::memory_order_acq_rel) == count) delete this;
  }
};

CurrentAllocator::Room::Room() : held_(std::make_unique<Held>()) {}
CurrentAllocator::Room::~Room() = default;

CurrentAllocator::Loan::Loan(Slot& slot)
    : slot_(slot),
      held_(
          // Half of a word that also counts: NOLINTNEXTLINE(performance-no-int-to-ptr)
          reinterpret_cast<Held*>(slot.word.fetch_add(1, std::memory_order_acquire) >> kCountBits)),
      allocator_(held_ != nullptr ? held_->allocator.get() : nullptr) {}

// Unless what was lent has been replaced since: the loan was made a user of it then.
CurrentAllocator::Loan::~Loan() {
  uint64_t word = slot_.word.load(std::memory_order_relaxed);
  while (word >> kCountBits == reinterpret_cast<uintptr_t>(held_) && (word & kCountMask) != 0) {
    if (slot_.word.compare_exchange_weak(word, word - 1, std::memory_order_release,
                                         std::memory_order_relaxed)) {
      return;
    }
  }
  if (held_ != nullptr) held_->Drop(1);
}

std::shared_ptr<IAllocator> CurrentAllocator::Loan::Share() const {
  return held_ != nullptr ? held_->allocator : nullptr;
}

// Any slot will do. Stacks are a megabyte apart or more, so neighbours' addresses tell threads
// apart for less than asking for a number of theirs.
CurrentAllocator::Loan CurrentAllocator::Borrow() {
  const auto stack = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  return Loan(slots_[(stack >> 20U) * 0x9E3779B97F4A7C15U >> (64 - kSlotBits)]);
}

std::shared_ptr<IAllocator> CurrentAllocator::Replace(Room& room,
                                                      std::shared_ptr<IAllocator> next) {
  room.held_->allocator = std::move(next);
  return Exchange(room.held_.release());
}

std::shared_ptr<IAllocator> CurrentAllocator::Remove() { return Exchange(nullptr); }

std::shared_ptr<IAllocator> CurrentAllocator::Exchange(Held* next) {
  Held* gone = nullptr;
  uint64_t loans = 0;
  {
    const MutexLock lock(mutex_);
    gone = std::exchange(held_, next);
    for (Slot& slot : slots_) {
      const uint64_t up = reinterpret_cast<uintptr_t>(next) << kCountBits;
      loans += slot.word.exchange(up, std::memory_order_acq_rel) & kCountMask;
    }
  }
  if (gone == nullptr) return {};
  std::shared_ptr<IAllocator> allocator = gone->allocator;
  gone->Drop(kMany - static_cast<int64_t>(loans));
  return allocator;
}

}  // namespace mivare
