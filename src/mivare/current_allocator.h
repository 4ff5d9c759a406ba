// CurrentAllocator: the allocator that is up, lent to any number of threads at once.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "base/lock_order.h"
#include "base/mutex.h"

namespace mivare {

class IAllocator;

/// Lends the allocator for a call at the price of two atomic steps on a cache line that few threads
/// share, where a shared pointer would have all threads count on one. An allocator that has been
/// replaced lives until its last loan ends. Thread-safe.
class CurrentAllocator {
  struct Held;
  struct Slot;

 public:
  /// Keeps the allocator while it lives; empty when none is up.
  class Loan {
   public:
    ~Loan();
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;

    IAllocator* get() const { return allocator_; }
    /// Shares the allocator beyond the loan.
    std::shared_ptr<IAllocator> Share() const;

   private:
    friend class CurrentAllocator;
    explicit Loan(Slot& slot);

    Slot& slot_;
    Held* held_;
    IAllocator* allocator_;
  };

  /// What Replace needs memory for.
  class Room {
   public:
    /// Throws std::bad_alloc.
    Room();
    ~Room();
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

   private:
    friend class CurrentAllocator;
    std::unique_ptr<Held> held_;
  };

  CurrentAllocator() = default;
  CurrentAllocator(const CurrentAllocator&) = delete;
  CurrentAllocator& operator=(const CurrentAllocator&) = delete;

  Loan Borrow();

  /// Puts `next` up, in a room that is used up by it, and gives what was up before.
  std::shared_ptr<IAllocator> Replace(Room& room, std::shared_ptr<IAllocator> next);
  /// Leaves none up and gives what was up before.
  std::shared_ptr<IAllocator> Remove();

 private:
  static constexpr int kSlotBits = 6;

  std::shared_ptr<IAllocator> Exchange(Held* next) EXCLUDES(mutex_);

  /// An address, shifted up by 16 bits, and below it the number of loans through this slot that
  /// have not ended: one atomic step reads the one and counts the other.
  struct alignas(64) Slot {
    std::atomic<uint64_t> word{0};
  };

  std::array<Slot, 1U << kSlotBits> slots_;
  Mutex mutex_ ACQUIRED_AFTER(lock_order::allocators);  // one Exchange at a time
  Held* held_ GUARDED_BY(mutex_) = nullptr;
};

}  // namespace mivare
