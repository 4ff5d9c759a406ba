// The program's own definitions of these functions come before the C library's for every library
// that it loads.
#include "counts/calls.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstddef>

namespace mivare::bench {
namespace {

thread_local Calls calls;

template <class Function>
Function* Next(Function* /*own*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

Calls CallsOfThisThread() { return calls; }

}  // namespace mivare::bench

using mivare::bench::calls;
using mivare::bench::Next;

// Hidden ones would not be found.
#pragma GCC visibility push(default)
extern "C" {

// The C library's own heap by the names that it keeps for those who replace the usual ones.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) noexcept {
  ++calls.allocations;
  return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) noexcept {
  ++calls.allocations;
  return __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) noexcept {
  ++calls.allocations;
  return __libc_realloc(block, size);
}

void* memalign(size_t alignment, size_t size) noexcept {
  ++calls.allocations;
  return __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** block, size_t alignment, size_t size) noexcept {
  *block = memalign(alignment, size);
  return *block != nullptr ? 0 : ENOMEM;
}

#define MIVARE_COUNT_LOCK(name, type)                        \
  int name(type* lock) noexcept {                            \
    static const auto next = Next<int(type*)>(&name, #name); \
    ++calls.locks;                                           \
    return next(lock);                                       \
  }

MIVARE_COUNT_LOCK(pthread_mutex_lock, pthread_mutex_t)
MIVARE_COUNT_LOCK(pthread_mutex_trylock, pthread_mutex_t)
MIVARE_COUNT_LOCK(pthread_rwlock_rdlock, pthread_rwlock_t)
MIVARE_COUNT_LOCK(pthread_rwlock_tryrdlock, pthread_rwlock_t)
MIVARE_COUNT_LOCK(pthread_rwlock_wrlock, pthread_rwlock_t)
MIVARE_COUNT_LOCK(pthread_rwlock_trywrlock, pthread_rwlock_t)
MIVARE_COUNT_LOCK(pthread_spin_lock, pthread_spinlock_t)
#undef MIVARE_COUNT_LOCK

}  // extern "C"
#pragma GCC visibility pop
