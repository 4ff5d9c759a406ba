#include "support/failing_new.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <new>
#include <system_error>

// The linker sends the program's own calls here (see the build file), whatever the sanitizer has
// put in the place of the runtime's operators. Names are mangled; a size's letter is the
// platform's.
#define MIVARE_WRAP(name) __asm__("__wrap_" name)
#define MIVARE_REAL(name) __asm__("__real_" name)
#if __SIZEOF_SIZE_T__ == __SIZEOF_LONG__
#define MIVARE_TEST_SIZE "m"
#else
#define MIVARE_TEST_SIZE "y"
#endif
#define MIVARE_NEW "_Znw" MIVARE_TEST_SIZE
#define MIVARE_NEW_ARRAY "_Zna" MIVARE_TEST_SIZE
#define MIVARE_NOTHROW "RKSt9nothrow_t"
#define MIVARE_ALIGNED "St11align_val_t"
#define MIVARE_START_THREAD \
  "_ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE"

void* WrappedNew(size_t size) MIVARE_WRAP(MIVARE_NEW);
void* WrappedNewArray(size_t size) MIVARE_WRAP(MIVARE_NEW_ARRAY);
void* WrappedNothrowNew(size_t size, const std::nothrow_t& tag) noexcept
    MIVARE_WRAP(MIVARE_NEW MIVARE_NOTHROW);
void* WrappedNothrowNewArray(size_t size, const std::nothrow_t& tag) noexcept
    MIVARE_WRAP(MIVARE_NEW_ARRAY MIVARE_NOTHROW);
void* WrappedAlignedNew(size_t size, std::align_val_t alignment)
    MIVARE_WRAP(MIVARE_NEW MIVARE_ALIGNED);
void WrappedDelete(void* block) noexcept MIVARE_WRAP("_ZdlPv");
void WrappedSizedDelete(void* block, size_t size) noexcept MIVARE_WRAP("_ZdlPv" MIVARE_TEST_SIZE);
void WrappedDeleteArray(void* block) noexcept MIVARE_WRAP("_ZdaPv");
void WrappedAlignedDelete(void* block, std::align_val_t alignment) noexcept
    MIVARE_WRAP("_ZdlPv" MIVARE_ALIGNED);
void WrappedSizedAlignedDelete(void* block, size_t size, std::align_val_t alignment) noexcept
    MIVARE_WRAP("_ZdlPv" MIVARE_TEST_SIZE MIVARE_ALIGNED);
void WrappedStartThread(void* thread, void* state, void (*depend)())
    MIVARE_WRAP(MIVARE_START_THREAD);

void* RealNew(size_t size) MIVARE_REAL(MIVARE_NEW);
void* RealNewArray(size_t size) MIVARE_REAL(MIVARE_NEW_ARRAY);
void* RealNothrowNew(size_t size, const std::nothrow_t& tag) noexcept
    MIVARE_REAL(MIVARE_NEW MIVARE_NOTHROW);
void* RealNothrowNewArray(size_t size, const std::nothrow_t& tag) noexcept
    MIVARE_REAL(MIVARE_NEW_ARRAY MIVARE_NOTHROW);
void* RealAlignedNew(size_t size, std::align_val_t alignment)
    MIVARE_REAL(MIVARE_NEW MIVARE_ALIGNED);
void RealDelete(void* block) noexcept MIVARE_REAL("_ZdlPv");
void RealSizedDelete(void* block, size_t size) noexcept MIVARE_REAL("_ZdlPv" MIVARE_TEST_SIZE);
void RealDeleteArray(void* block) noexcept MIVARE_REAL("_ZdaPv");
void RealAlignedDelete(void* block, std::align_val_t alignment) noexcept
    MIVARE_REAL("_ZdlPv" MIVARE_ALIGNED);
void RealSizedAlignedDelete(void* block, size_t size, std::align_val_t alignment) noexcept
    MIVARE_REAL("_ZdlPv" MIVARE_TEST_SIZE MIVARE_ALIGNED);
// The state is passed by a hidden reference; the caller destroys it.
void RealStartThread(void* thread, void* state, void (*depend)()) MIVARE_REAL(MIVARE_START_THREAD);

namespace {

using mivare::test::keeps_ledger;
using mivare::test::requests_to_failure;

bool FailsNow() { return requests_to_failure > 0 && --requests_to_failure == 0; }

/// Addresses, without a heap of its own: a table that is searched from where an address belongs.
class Ledger {
 public:
  void Open() {
    const std::lock_guard lock(mutex_);
    addresses_.fill(nullptr);
    alive_ = 0;
    open_.store(true, std::memory_order_relaxed);
  }
  void Close() { open_.store(false, std::memory_order_relaxed); }
  void Note(void* block) {
    if (!keeps_ledger || block == nullptr) return;
    const std::lock_guard lock(mutex_);
    for (size_t i = 0; i < kRoom; ++i) {
      void*& place = Place(block, i);
      if (place != nullptr && place != kGone) continue;
      place = block;
      ++alive_;
      return;
    }
    std::abort();  // more than any test of ours
  }
  void Strike(void* block) {
    if (block == nullptr || !open_.load(std::memory_order_relaxed)) return;
    const std::lock_guard lock(mutex_);
    for (size_t i = 0; i < kRoom; ++i) {
      void*& place = Place(block, i);
      if (place == nullptr) return;
      if (place != block) continue;
      place = kGone;
      --alive_;
      return;
    }
  }
  size_t Alive() {
    const std::lock_guard lock(mutex_);
    return alive_;
  }

 private:
  static constexpr size_t kRoom = 8192;
  static constexpr char kMark = 0;
  static inline void* const kGone = const_cast<char*>(&kMark);

  void*& Place(void* block, size_t i) {
    return addresses_[((reinterpret_cast<uintptr_t>(block) >> 4) + i) % kRoom];
  }

  std::mutex mutex_;
  std::atomic<bool> open_{false};
  std::array<void*, kRoom> addresses_{};
  size_t alive_ = 0;
};

Ledger ledger;
constinit thread_local bool no_threads = false;
constinit thread_local int refused_threads = 0;

}  // namespace

void* WrappedNew(size_t size) {
  if (FailsNow()) throw std::bad_alloc();
  void* block = RealNew(size);
  ledger.Note(block);
  return block;
}

void* WrappedNewArray(size_t size) {
  if (FailsNow()) throw std::bad_alloc();
  void* block = RealNewArray(size);
  ledger.Note(block);
  return block;
}

void* WrappedNothrowNew(size_t size, const std::nothrow_t& tag) noexcept {
  void* block = FailsNow() ? nullptr : RealNothrowNew(size, tag);
  ledger.Note(block);
  return block;
}

void* WrappedNothrowNewArray(size_t size, const std::nothrow_t& tag) noexcept {
  void* block = FailsNow() ? nullptr : RealNothrowNewArray(size, tag);
  ledger.Note(block);
  return block;
}

void* WrappedAlignedNew(size_t size, std::align_val_t alignment) {
  if (FailsNow()) throw std::bad_alloc();
  void* block = RealAlignedNew(size, alignment);
  ledger.Note(block);
  return block;
}

void WrappedAlignedDelete(void* block, std::align_val_t alignment) noexcept {
  ledger.Strike(block);
  RealAlignedDelete(block, alignment);
}

void WrappedSizedAlignedDelete(void* block, size_t size, std::align_val_t alignment) noexcept {
  ledger.Strike(block);
  RealSizedAlignedDelete(block, size, alignment);
}

void WrappedDelete(void* block) noexcept {
  ledger.Strike(block);
  RealDelete(block);
}

void WrappedSizedDelete(void* block, size_t size) noexcept {
  ledger.Strike(block);
  RealSizedDelete(block, size);
}

void WrappedDeleteArray(void* block) noexcept {
  ledger.Strike(block);
  RealDeleteArray(block);
}

void WrappedStartThread(void* thread, void* state, void (*depend)()) {
  if (no_threads) {
    ++refused_threads;
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  }
  RealStartThread(thread, state, depend);
}

namespace mivare::test {

HeapLedger::HeapLedger() {
  ledger.Open();
  keeps_ledger = true;
}
HeapLedger::~HeapLedger() {
  keeps_ledger = false;
  ledger.Close();
}
size_t HeapLedger::Alive() const { return ledger.Alive(); }

NoThreads::NoThreads() {
  no_threads = true;
  refused_threads = 0;
}
NoThreads::~NoThreads() { no_threads = false; }
int NoThreads::refused() const { return refused_threads; }

}  // namespace mivare::test
