#include "support/failing_new.h"

#include <cstdlib>
#include <new>

namespace {

// 0: memory never fails.
thread_local uint64_t requests_to_failure = 0;

bool FailsNow() { return requests_to_failure > 0 && --requests_to_failure == 0; }

}  // namespace

namespace mivare::test {

FailingNew::FailingNew(uint64_t nth) { requests_to_failure = nth; }
FailingNew::~FailingNew() { requests_to_failure = 0; }
bool FailingNew::fired() const { return requests_to_failure == 0; }

}  // namespace mivare::test

// The array and nothrow forms of the runtime call these two.
void* operator new(size_t size) {
  if (!FailsNow()) {
    if (void* block = std::malloc(size > 0 ? size : 1)) return block;
  }
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, size_t) noexcept { std::free(block); }
