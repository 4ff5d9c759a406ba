// HandleCell: where the control block of a frame's handle lives, reused from handle to handle.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>

namespace mivare {

/// Room for one control block. A frame owns cells, but a host's weak reference may keep a control
/// block longer than the frame lives, so a cell is memory of its own and the last to let go frees
/// it.
class HandleCell {
 public:
  /// Leaves the cell: with a control block in it the cell stays until that is gone.
  struct Leave {
    void operator()(HandleCell* cell) const noexcept {
      if (cell->state_.exchange(kAbandoned, std::memory_order_acq_rel) == kFree) delete cell;
    }
  };
  using Owner = std::unique_ptr<HandleCell, Leave>;

  HandleCell() = default;
  HandleCell(const HandleCell&) = delete;
  HandleCell& operator=(const HandleCell&) = delete;

  /// Whether no control block is in it. The owner's to ask, and to act on.
  bool IsFree() const noexcept { return state_.load(std::memory_order_acquire) == kFree; }

  /// What std::shared_ptr makes its control block with, in a free cell.
  template <class T>
  class Allocator {
   public:
    using value_type = T;

    explicit Allocator(HandleCell& cell) noexcept : cell_(&cell) {}
    template <class U>
    Allocator(const Allocator<U>& other) noexcept : cell_(other.cell_) {}

    T* allocate(size_t count) noexcept {
      static_assert(sizeof(T) <= kSize && alignof(T) <= alignof(std::max_align_t));
      static_cast<void>(count);  // shared_ptr asks for one
      cell_->state_.store(kTaken, std::memory_order_relaxed);
      return reinterpret_cast<T*>(cell_->room_);
    }
    void deallocate(T* /*block*/, size_t /*count*/) noexcept { cell_->Vacate(); }

    template <class U>
    bool operator==(const Allocator<U>& other) const noexcept {
      return cell_ == other.cell_;
    }

   private:
    template <class U>
    friend class Allocator;

    HandleCell* cell_;
  };

 private:
  enum State : unsigned char { kFree, kTaken, kAbandoned };
  static constexpr size_t kSize = 64;

  void Vacate() noexcept {
    State taken = kTaken;
    if (!state_.compare_exchange_strong(taken, kFree, std::memory_order_acq_rel)) delete this;
  }

  alignas(std::max_align_t) std::byte room_[kSize];
  std::atomic<State> state_{kFree};
};

}  // namespace mivare
