#include "user_data_map.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

#include "extend_keys.h"

namespace mivare {
namespace {

// More places than this in the list of entries are not kept for later.
constexpr size_t kSpareRoom = 16;

// Among so many, asking each whether it is the one is faster: most differ in length already.
constexpr size_t kFew = 8;

bool IsUsable(const char* key) { return key != nullptr && *key != '\0'; }

/// Keeps a map locked through its interface for a scope.
class Hold {
 public:
  explicit Hold(IUserDataInquire& map) : map_(map) { map_.Lock(); }
  ~Hold() { map_.Unlock(); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

 private:
  IUserDataInquire& map_;
};

}  // namespace

UserDataMap::~UserDataMap() {
  for (const UserDataEntry* entry : entries_) delete entry;
}

UserDataMap::Entries::iterator UserDataMap::LowerBound(std::string_view key) {
  return std::lower_bound(
      entries_.begin(), entries_.end(), key,
      [](const UserDataEntry* entry, std::string_view k) { return entry->key < k; });
}

UserDataMap::Entries::iterator UserDataMap::Find(std::string_view key) {
  if (entries_.size() <= kFew) {
    return std::find_if(entries_.begin(), entries_.end(),
                        [key](const UserDataEntry* entry) { return entry->key == key; });
  }
  const auto entry = LowerBound(key);
  return entry != entries_.end() && (*entry)->key == key ? entry : entries_.end();
}

int32_t UserDataMap::Get(const char* key, orlo::ValAny& value) {
  if (!IsUsable(key) || count_.IsZero()) return 0;
  orlo::ValAny found;
  {
    const MutexLock lock(mutex_);
    const auto entry = Find(key);
    if (entry == entries_.end()) return 0;
    found = (*entry)->value;
  }
  value = std::move(found);
  return 1;
}

bool UserDataMap::Contains(const char* key) {
  if (!IsUsable(key) || count_.IsZero()) return false;
  const MutexLock lock(mutex_);
  return Find(key) != entries_.end();
}

bool UserDataMap::Lock() {
  mutex_.lock();
  return true;
}

int32_t UserDataMap::Unlock() {
  mutex_.unlock();
  return 0;
}

uint32_t UserDataMap::Enumerate(bool first, std::string& key, orlo::ValAny& value) {
  if (entries_.empty()) return 1;
  if (!first && !iteration_enabled_) return kEnumerateRefused;

  const uint32_t position = first ? 0 : cursor_;
  if (position >= entries_.size()) return 1;
  const UserDataEntry& entry = *entries_[position];
  key = entry.key;
  value = entry.value;
  cursor_ = position + 1;
  return 0;
}

std::unique_ptr<UserDataEntry> UserDataMap::MakeEntry(std::string_view key) {
  std::unique_ptr<UserDataEntry> entry = spares_.Pop();
  if (entry == nullptr) entry = std::make_unique<UserDataEntry>();
  entry->key = key;
  return entry;
}

// A spare keeps no value: one behind a holder leaves by itself.
void UserDataMap::Retire(UserDataEntry* gone, Leaving& leaving) noexcept {
  std::unique_ptr<UserDataEntry> entry(gone);
  if (spares_.size() == kSpares || entry->key.capacity() > kSpareKey) {
    leaving.entries.Push(std::move(entry));
    return;
  }
  if (entry->value.GetTag() >= orlo::ValAny::kFirstHeld) {
    leaving.values.Add(std::move(entry->value));
  } else {
    entry->value.Reset();
  }
  spares_.Push(std::move(entry));
}

int32_t UserDataMap::Set(const char* key, const orlo::ValAny& value) {
  if (!IsUsable(key)) return 0;
  orlo::ValAny stored(value);  // leaves with what it replaces, after the lock
  const MutexLock lock(mutex_);
  const std::string_view name(key);
  auto entry = LowerBound(name);
  if (entry == entries_.end() || (*entry)->key != name) {
    std::unique_ptr<UserDataEntry> made = MakeEntry(name);
    entry = entries_.insert(entry, made.get());
    static_cast<void>(made.release());
    count_.Set(entries_.size());
    if (IsReservedUserDataKey(name)) may_have_hints_.store(true, std::memory_order_release);
  }
  std::swap((*entry)->value, stored);
  iteration_enabled_ = true;
  return 1;
}

int32_t UserDataMap::Remove(const char* key) {
  if (!IsUsable(key) || count_.IsZero()) return 0;
  Leaving leaving;
  const MutexLock lock(mutex_);
  const auto entry = Find(key);
  if (entry == entries_.end()) return 0;
  Retire(*entry, leaving);
  entries_.erase(entry);
  count_.Set(entries_.size());
  if (entries_.empty()) may_have_hints_.store(false, std::memory_order_release);
  return 0;
}

int32_t UserDataMap::Clear() {
  if (count_.IsZero()) return 0;
  Leaving leaving;
  const MutexLock lock(mutex_);
  for (UserDataEntry* entry : entries_) Retire(entry, leaving);
  entries_.clear();
  if (entries_.capacity() > kSpareRoom) entries_.swap(leaving.room);
  count_.Set(0);
  may_have_hints_.store(false, std::memory_order_release);
  return 0;
}

void UserDataMap::CopyFrom(IUserDataInquire* source) {
  if (source == nullptr || source == this) return;
  if (UserDataMap* map = OwnUserDataMap(source)) {
    Merge(*map, Hints::kCopied);
    return;
  }
  std::string key;
  orlo::ValAny value;
  const Hold hold(*source);
  for (bool first = true; source->Enumerate(first, key, value) == 0; first = false) {
    Set(key.c_str(), value);
  }
}

void UserDataMap::ReplaceWith(UserDataMap& source) {
  Clear();
  if (&source != this) Merge(source, Hints::kLeftBehind);
}

void UserDataMap::Merge(UserDataMap& source, Hints hints) {
  if (source.count_.IsZero()) return;
  Leaving leaving;
  UserDataChain copies;
  const MutexLock lock(source.mutex_);
  for (const UserDataEntry* entry : source.entries_) {
    if (hints == Hints::kLeftBehind && IsReservedUserDataKey(entry->key)) continue;
    std::unique_ptr<UserDataEntry> copy = MakeEntry(entry->key);
    copy->value = entry->value;
    copies.Push(std::move(copy));
  }
  if (copies.size() == 0) return;
  Entries& merged = leaving.room;
  if (entries_.empty()) merged.swap(entries_);  // the room that it has will do
  merged.reserve(entries_.size() + copies.size());
  // Nothing fails from here on. Entries that are here already stay where they are, and so does the
  // list unless there are new ones: others may read what is not replaced.
  size_t added = 0;
  auto old = entries_.begin();
  while (std::unique_ptr<UserDataEntry> copy = copies.Pop()) {
    while (old != entries_.end() && (*old)->key < copy->key) merged.push_back(*old++);
    if (old != entries_.end() && (*old)->key == copy->key) {
      std::swap((*old)->value, copy->value);
      merged.push_back(*old++);
      Retire(copy.release(), leaving);
    } else {
      merged.push_back(copy.release());
      ++added;
    }
  }
  merged.insert(merged.end(), old, entries_.end());
  if (added != 0) entries_.swap(merged);
  merged.clear();
  count_.Set(entries_.size());
  if (hints == Hints::kCopied && source.may_have_hints_.load(std::memory_order_relaxed)) {
    may_have_hints_.store(true, std::memory_order_release);
  }
}

std::shared_ptr<UserDataMap> UserDataMap::CloneMap() {
  return std::make_shared<UserDataMap>(*this, Hints::kCopied);
}

// The class is final, so its type is exactly this one, and a compared address says it all.
UserDataMap* OwnUserDataMap(IUserDataInquire* face) {
  if (face == nullptr) return nullptr;
  return &typeid(*face) == &typeid(UserDataMap) ? static_cast<UserDataMap*>(face) : nullptr;
}

}  // namespace mivare
