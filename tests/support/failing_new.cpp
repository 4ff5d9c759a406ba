#include "support/failing_new.h"

#include <cstddef>
#include <new>

// The linker sends the program's own calls of operator new here (see the build file), whatever the
// sanitizer has put in the place of the runtime's.
void* WrappedNew(size_t size) __asm__("__wrap_" MIVARE_TEST_NEW);
void* WrappedNothrowNew(size_t size, const std::nothrow_t& tag) noexcept
    __asm__("__wrap_" MIVARE_TEST_NEW "RKSt9nothrow_t");
void* RealNew(size_t size) __asm__("__real_" MIVARE_TEST_NEW);
void* RealNothrowNew(size_t size, const std::nothrow_t& tag) noexcept
    __asm__("__real_" MIVARE_TEST_NEW "RKSt9nothrow_t");

namespace {

// 0: memory never fails.
thread_local uint64_t requests_to_failure = 0;

bool FailsNow() { return requests_to_failure > 0 && --requests_to_failure == 0; }

}  // namespace

void* WrappedNew(size_t size) {
  if (FailsNow()) throw std::bad_alloc();
  return RealNew(size);
}

void* WrappedNothrowNew(size_t size, const std::nothrow_t& tag) noexcept {
  return FailsNow() ? nullptr : RealNothrowNew(size, tag);
}

namespace mivare::test {

FailingNew::FailingNew(uint64_t nth) { requests_to_failure = nth; }
FailingNew::~FailingNew() { requests_to_failure = 0; }
bool FailingNew::fired() const { return requests_to_failure == 0; }

}  // namespace mivare::test
