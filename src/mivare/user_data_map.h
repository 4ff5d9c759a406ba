// UserDataMap: the typed notes on a description, both faces in one object.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/entry_count.h"
#include "base/lock_order.h"
#include "base/mutex.h"
#include "mivare/user_data.h"
#include "orlo/val_any.h"
#include "user_data_entry.h"

namespace mivare {

/// Values that leave the map are destroyed after its mutex is given up, as the last thing that an
/// operation does: their holders are foreign code and may own the map itself. An operation that
/// runs out of memory throws and leaves the map as it was, except that CopyFrom a map of a host's
/// making keeps what it has copied by then, and ReplaceWith leaves none.
///
/// Entries that leave keep their memory for those that come, so that a frame which gets the same
/// few notes again and again asks for none: at most kSpares of them, with keys of at most
/// kSpareKey bytes.
class UserDataMap final : public IUserDataInquire, public IUserDataConfig {
 public:
  static constexpr size_t kSpares = 8;
  static constexpr size_t kSpareKey = 64;

  /// Whether a copy gets the six hints too.
  enum class Hints { kCopied, kLeftBehind };

  UserDataMap() = default;
  /// A copy of the entries of `source`.
  UserDataMap(UserDataMap& source, Hints hints) { Merge(source, hints); }
  UserDataMap(const UserDataMap&) = delete;
  UserDataMap& operator=(const UserDataMap&) = delete;
  ~UserDataMap() override;

  int32_t Get(const char* key, orlo::ValAny& value) override;
  // These two hand the mutex to the caller across calls, where the analysis cannot follow it.
  bool Lock() override NO_THREAD_SAFETY_ANALYSIS;
  int32_t Unlock() override NO_THREAD_SAFETY_ANALYSIS;
  // Works under the caller's Lock.
  uint32_t Enumerate(bool first, std::string& key,
                     orlo::ValAny& value) override NO_THREAD_SAFETY_ANALYSIS;
  std::shared_ptr<IUserDataInquire> Clone() override { return CloneMap(); }

  int32_t Set(const char* key, const orlo::ValAny& value) override;
  int32_t Remove(const char* key) override;
  int32_t Clear() override;
  void CopyFrom(IUserDataInquire* source) override;

  /// Whether there is an entry under `key`. Copies no value and allocates nothing.
  bool Contains(const char* key) EXCLUDES(mutex_);

  /// The same for one of the six hints, which hardly any map holds: others say so without a lock.
  bool HasHint(const char* hint) EXCLUDES(mutex_) {
    return may_have_hints_.load(std::memory_order_acquire) && Contains(hint);
  }

  /// Clear, then CopyFrom without the hints. Empty when it throws.
  void ReplaceWith(UserDataMap& source);

  /// Clone, with both faces.
  std::shared_ptr<UserDataMap> CloneMap();

 private:
  // Sorted by key. The map's own, and plain pointers: one that comes between thousands moves them
  // as bytes.
  using Entries = std::vector<UserDataEntry*>;

  // What an operation destroys after the lock.
  struct Leaving {
    UserDataChain entries;
    FewValues<kSpares> values;  // of entries that stay as spares
    Entries room;
  };

  // The first entry not below `key`.
  Entries::iterator LowerBound(std::string_view key) REQUIRES(mutex_);
  // The end when there is none.
  Entries::iterator Find(std::string_view key) REQUIRES(mutex_);
  // With an empty value.
  std::unique_ptr<UserDataEntry> MakeEntry(std::string_view key) REQUIRES(mutex_);
  void Retire(UserDataEntry* entry, Leaving& leaving) noexcept REQUIRES(mutex_);
  // The source's lock is held, this map's own is not taken: see IUserDataConfig::CopyFrom.
  void Merge(UserDataMap& source, Hints hints) NO_THREAD_SAFETY_ANALYSIS;

  Mutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  EntryCount count_;
  // Written when a hint comes, and when nothing is left.
  std::atomic<bool> may_have_hints_{false};
  Entries entries_ GUARDED_BY(mutex_);
  UserDataChain spares_ GUARDED_BY(mutex_);
  bool iteration_enabled_ GUARDED_BY(mutex_) = false;  // true for good after the first Set
  uint32_t cursor_ GUARDED_BY(mutex_) = 0;
};

/// The library's own map behind the face; null for one of a host's making.
UserDataMap* OwnUserDataMap(IUserDataInquire* face);

}  // namespace mivare
