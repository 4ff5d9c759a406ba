// PoolIndex: the pool of a key, found without a lock.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

#include "frame_key.h"

namespace mivare {

class BlankPool;

/// A hash table of entries that others own. It only grows: readers need no lock, and tables that
/// became too small stay for those who are reading them, which doubles its memory at most.
class PoolIndex {
 public:
  struct Entry {
    FrameKey key;
    std::shared_ptr<BlankPool> pool;
  };

  PoolIndex() = default;
  PoolIndex(const PoolIndex&) = delete;
  PoolIndex& operator=(const PoolIndex&) = delete;

  /// The entry of `key`, or null. Thread-safe.
  const Entry* Find(const FrameKey& key) const;

  /// Makes room for one entry more. Throws std::bad_alloc. One writer at a time.
  void Reserve();
  /// Adds an entry whose key is not there yet, behind a Reserve; it stays as long as the index. One
  /// writer at a time.
  void Insert(const Entry& entry);

 private:
  struct Table {
    explicit Table(size_t size) : slots(new std::atomic<const Entry*>[size]()), mask(size - 1) {}
    void Insert(const Entry& entry);

    std::unique_ptr<std::atomic<const Entry*>[]> slots;
    size_t mask;  // of a power of two; at least half of the slots are empty
    std::unique_ptr<Table> smaller;
  };

  std::atomic<const Table*> current_{nullptr};  // the largest one
  std::unique_ptr<Table> tables_;               // owns it, and the others through it
  size_t count_ = 0;
};

}  // namespace mivare
