#include "user_data_map.h"

#include <iterator>
#include <string_view>
#include <utility>

namespace mivare {
namespace {

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

int32_t UserDataMap::Get(const char* key, orlo::ValAny& value) {
  if (!IsUsable(key)) return 0;
  orlo::ValAny found;
  {
    const MutexLock lock(mutex_);
    const auto entry = entries_.find(std::string_view(key));
    if (entry == entries_.end()) return 0;
    found = entry->second;
  }
  value = std::move(found);
  return 1;
}

bool UserDataMap::Contains(const char* key) {
  if (!IsUsable(key)) return false;
  const MutexLock lock(mutex_);
  return entries_.find(std::string_view(key)) != entries_.end();
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
  const auto entry = std::next(entries_.begin(), position);
  key = entry->first;
  value = entry->second;
  cursor_ = position + 1;
  return 0;
}

int32_t UserDataMap::Set(const char* key, const orlo::ValAny& value) {
  if (!IsUsable(key)) return 0;
  orlo::ValAny stored(value);  // leaves with what it replaces, after the lock
  const MutexLock lock(mutex_);
  const std::string_view name(key);
  auto entry = entries_.lower_bound(name);
  if (entry == entries_.end() || entry->first != name) {
    entries_.emplace_hint(entry, name, std::move(stored));
  } else {
    std::swap(entry->second, stored);
  }
  iteration_enabled_ = true;
  return 1;
}

int32_t UserDataMap::Remove(const char* key) {
  if (!IsUsable(key)) return 0;
  Entries::node_type removed;  // destroyed after the lock
  const MutexLock lock(mutex_);
  const auto entry = entries_.find(std::string_view(key));
  if (entry != entries_.end()) removed = entries_.extract(entry);
  return 0;
}

int32_t UserDataMap::Clear() {
  Entries removed;  // destroyed after the lock
  const MutexLock lock(mutex_);
  entries_.swap(removed);
  return 0;
}

void UserDataMap::CopyFrom(IUserDataInquire* source) {
  if (source == nullptr || source == this) return;
  if (auto* map = dynamic_cast<UserDataMap*>(source)) {
    Merge(*map);
    return;
  }
  std::string key;
  orlo::ValAny value;
  const Hold hold(*source);
  for (bool first = true; source->Enumerate(first, key, value) == 0; first = false) {
    Set(key.c_str(), value);
  }
}

void UserDataMap::Merge(UserDataMap& source) {
  Entries merged;  // leaves with what was replaced, after the hold
  const Hold hold(source);
  merged = source.entries_;
  merged.merge(entries_);  // moves over what the source lacks, leaves what it replaces
  entries_.swap(merged);
}

std::shared_ptr<UserDataMap> UserDataMap::CloneMap() {
  const MutexLock lock(mutex_);
  return std::shared_ptr<UserDataMap>(new UserDataMap(entries_));
}

}  // namespace mivare
