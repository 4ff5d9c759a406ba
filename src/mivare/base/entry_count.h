// How many entries a store has, for those who only want to know whether there are any.
#pragma once

#include <atomic>
#include <cstddef>

namespace mivare {

/// Written by one thread at a time, as a rule under the store's lock, and read without it, so that
/// an empty store costs no lock. A reader that races with a writer sees either state, as with the
/// lock; who reads what a writer left (acquire, release) sees all that came before it too.
class EntryCount {
 public:
  bool IsZero() const { return count_.load(std::memory_order_acquire) == 0; }
  void Set(size_t count) { count_.store(count, std::memory_order_release); }

 private:
  std::atomic<size_t> count_{0};
};

}  // namespace mivare
