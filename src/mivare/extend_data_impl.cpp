#include "extend_data_impl.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/log.h"

namespace mivare {
namespace {

void LogPlace(int32_t level, int line = __builtin_LINE()) {
  MIVARE_LOG(level, "%s[%d]", unit::kExtendData, line);
}

// Both roads by which a key may come in say so from the same place.
void LogNewKey() { LogPlace(kLogTrace); }

/// What a refused block says as text. A block need not end with a NUL, so nothing is read beyond
/// the length that came with it; a length below 1 vouches for nothing, and the text is empty.
std::string BlockAsText(const uint8_t* block, int32_t length) {
  if (block == nullptr) return "(null)";
  const auto* text = reinterpret_cast<const char*>(block);
  return {text, std::find(text, text + std::max(length, 0), '\0')};
}

// The place of a well-known key, or kExtendKeyCount.
size_t PlaceOf(std::string_view key) {
  static constexpr auto kKeys = [] {
    std::array<std::string_view, kExtendKeyCount> keys;
    std::copy_n(kKeyTable.begin() + kReservedKeyCount, keys.size(), keys.begin());
    return keys;
  }();
  return static_cast<size_t>(std::find(kKeys.begin(), kKeys.end(), key) - kKeys.begin());
}

// Memory that a small block may take over, whatever was there before.
constexpr size_t kSmall = 4096;

bool Fits(const std::vector<uint8_t>& memory, size_t length) {
  return length <= memory.capacity() && memory.capacity() <= std::max(kSmall, 2 * length);
}

}  // namespace

ExtendDataStore::ExtendDataStore(const ExtendDataStore& source) {
  if (source.count_.IsZero()) return;
  const MutexLock lock(source.mutex_);
  well_known_ = source.well_known_;
  others_ = source.others_;
  blocks_ = source.blocks_;
  count_.Set(blocks_);
}

ExtendDataStore::Block* ExtendDataStore::Find(std::string_view key) {
  const size_t place = PlaceOf(key);
  if (place < kExtendKeyCount) {
    Block& block = well_known_[place];
    return !block.empty() ? &block : nullptr;
  }
  const auto entry = others_.find(key);
  return entry != others_.end() ? &entry->second : nullptr;
}

uint32_t ExtendDataStore::GetExtendDataLength(const char* key) {
  if (key == nullptr) {
    LogPlace(kLogStatus);
    return 0;
  }
  if (count_.IsZero()) return 0;
  const MutexLock lock(mutex_);
  const Block* block = Find(key);
  return block != nullptr ? static_cast<uint32_t>(block->size()) : 0;
}

bool ExtendDataStore::GetExtendData(const char* key, uint8_t* destination, int32_t* length) {
  if (key == nullptr || destination == nullptr || *length < 1) {
    LogPlace(kLogError);
    return false;
  }
  const int32_t room = *length;
  bool found = false;
  {
    const MutexLock lock(mutex_);
    const Block* block = Find(key);
    found = block != nullptr;
    if (found && static_cast<int32_t>(block->size()) <= room) {
      std::memcpy(destination, block->data(), block->size());
      *length = static_cast<int32_t>(block->size());
      return true;
    }
  }
  if (!found) {
    MIVARE_LOG(kLogError, "%s[%d] no key[%s]!", unit::kExtendData, __LINE__, key);
  } else {
    MIVARE_LOG(kLogError, "%s[%d] key[%s]dst_length[%d] is not enough", unit::kExtendData, __LINE__,
               key, room);
  }
  return false;
}

bool ExtendDataStore::ReplaceInPlace(std::string_view key, const uint8_t* source, size_t length) {
  if (count_.IsZero()) return false;
  const MutexLock lock(mutex_);
  Block* block = Find(key);
  if (block == nullptr || !Fits(*block, length)) return false;
  block->assign(source, source + length);
  return true;
}

bool ExtendDataStore::SetExtendData(const char* key, const uint8_t* source, int32_t length) {
  if (key == nullptr || source == nullptr || length < 1) {
    MIVARE_LOG(kLogError, "%s[%d] param error! key[%s] buf[%s] buf_length[%d]", unit::kExtendData,
               __LINE__, key != nullptr ? key : "(null)", BlockAsText(source, length).c_str(),
               length);
    return false;
  }
  if (ReplaceInPlace(key, source, static_cast<size_t>(length))) return true;
  Block block(source, source + length);  // leaves with what it replaces, after the lock
  {
    const MutexLock lock(mutex_);
    if (Block* old = Find(key)) {
      old->swap(block);
      return true;
    }
    const size_t place = PlaceOf(key);
    if (place < kExtendKeyCount) {
      well_known_[place].swap(block);
    } else {
      others_.emplace(key, std::move(block));
    }
    count_.Set(++blocks_);
  }
  LogNewKey();
  return true;
}

void ExtendDataStore::RemoveExtendData(const char* key) {
  if (key == nullptr || count_.IsZero()) return;
  Block well_known;  // freed after the lock, as the other
  decltype(others_)::node_type other;
  const MutexLock lock(mutex_);
  if (Find(key) == nullptr) return;
  const size_t place = PlaceOf(key);
  if (place < kExtendKeyCount) {
    well_known.swap(well_known_[place]);
  } else {
    other = others_.extract(others_.find(std::string_view(key)));
  }
  count_.Set(--blocks_);
}

std::shared_ptr<IExtendData> ExtendDataStore::Clone() {
  return std::make_shared<ExtendDataStore>(*this);
}

// Both locks are held, the lower address first, so that a block goes straight from one place to the
// other. Nothing else is locked under them.
void ExtendDataStore::TakeWellKnown(const ExtendDataStore& source) {
  if (&source == this || source.count_.IsZero()) return;
  struct Afterwards {  // also when memory ran out on the way
    int new_keys = 0;
    std::array<Block, kExtendKeyCount> freed;
    ~Afterwards() {
      for (; new_keys > 0; --new_keys) LogNewKey();
    }
  } afterwards;
  const bool lower = std::less<>()(this, &source);
  const MutexLock first(lower ? mutex_ : source.mutex_);
  const MutexLock second(lower ? source.mutex_ : mutex_);
  for (size_t i = 0; i < kExtendKeyCount; ++i) {
    const Block& from = source.well_known_[i];
    Block& to = well_known_[i];
    if (from.empty()) continue;
    const bool is_new = to.empty();
    if (Fits(to, from.size())) {
      to.assign(from.begin(), from.end());
    } else {
      afterwards.freed[i] = from;
      afterwards.freed[i].swap(to);
    }
    if (!is_new) continue;
    ++afterwards.new_keys;
    count_.Set(++blocks_);
  }
}

}  // namespace mivare
