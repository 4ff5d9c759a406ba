#include "pool_index.h"

#include <utility>

namespace mivare {
namespace {

constexpr size_t kFirstSize = 64;

}  // namespace

const PoolIndex::Entry* PoolIndex::Find(const FrameKey& key) const {
  const Table* table = current_.load(std::memory_order_acquire);
  if (table == nullptr) return nullptr;
  for (size_t slot = key.Hash();; ++slot) {
    const Entry* entry = table->slots[slot & table->mask].load(std::memory_order_acquire);
    if (entry == nullptr || entry->key == key) return entry;
  }
}

void PoolIndex::Reserve() {
  const size_t size = tables_ != nullptr ? tables_->mask + 1 : 0;
  if (2 * (count_ + 1) <= size) return;
  auto larger = std::make_unique<Table>(size == 0 ? kFirstSize : 2 * size);
  for (size_t i = 0; i < size; ++i) {
    if (const Entry* entry = tables_->slots[i].load(std::memory_order_relaxed)) {
      larger->Insert(*entry);
    }
  }
  larger->smaller = std::move(tables_);
  tables_ = std::move(larger);
  current_.store(tables_.get(), std::memory_order_release);
}

void PoolIndex::Insert(const Entry& entry) {
  tables_->Insert(entry);
  ++count_;
}

void PoolIndex::Table::Insert(const Entry& entry) {
  size_t slot = entry.key.Hash();
  while (slots[slot & mask].load(std::memory_order_relaxed) != nullptr) ++slot;
  slots[slot & mask].store(&entry, std::memory_order_release);
}

}  // namespace mivare
