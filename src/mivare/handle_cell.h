// HandleCell: where the control block of a pooled buffer's handle lives, reused from handle to
// handle.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <new>

namespace mivare {

/// Room for one control block. A buffer owns cells, but a host's weak reference may keep a control
/// block longer than the buffer lives, so a cell is memory of its own and the last to let go frees
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
      static_assert(sizeof(T) <= kSize);
      static_assert(alignof(T) <= alignof(std::max_align_t));
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

/// The cells of one buffer. Two: it may be out again before the handle whose release brought it
/// back is all gone.
class HandleCells {
 public:
  /// Wraps `object`, whose buffer owns these cells, in a handle with this deleter, which has the
  /// object also when std::bad_alloc leaves. While hosts keep weak references to earlier handles in
  /// all cells, the control block comes from the heap.
  template <class T, class Deleter>
  std::shared_ptr<T> Wrap(T* object, Deleter deleter) {
    std::unique_ptr<T, Deleter> owned(object, deleter);
    HandleCell* cell = FreeOne();
    if (cell == nullptr) return std::shared_ptr<T>(owned.release(), deleter);
    return std::shared_ptr<T>(owned.release(), deleter, HandleCell::Allocator<T>(*cell));
  }

 private:
  HandleCell* FreeOne() {
    for (HandleCell::Owner& cell : cells_) {
      if (cell == nullptr) cell.reset(new HandleCell);
      if (cell->IsFree()) return cell.get();
    }
    return nullptr;
  }

  std::array<HandleCell::Owner, 2> cells_;
};

}  // namespace mivare
