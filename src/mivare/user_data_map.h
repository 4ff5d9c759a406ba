// UserDataMap: the typed notes on a description, both faces in one object.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "base/lock_order.h"
#include "base/mutex.h"
#include "mivare/user_data.h"
#include "orlo/val_any.h"

namespace mivare {

/// Values that leave the map are destroyed after its mutex is given up: their holders are foreign
/// code. An operation that runs out of memory throws and leaves the map as it was.
class UserDataMap final : public IUserDataInquire, public IUserDataConfig {
 public:
  UserDataMap() = default;
  UserDataMap(const UserDataMap&) = delete;
  UserDataMap& operator=(const UserDataMap&) = delete;

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

  /// Clone, with both faces.
  std::shared_ptr<UserDataMap> CloneMap();

 private:
  using Entries = std::map<std::string, orlo::ValAny, std::less<>>;

  explicit UserDataMap(const Entries& entries) : entries_(entries) {}

  // The source's lock stands in for this map's own, which is not taken.
  void Merge(UserDataMap& source) NO_THREAD_SAFETY_ANALYSIS;

  Mutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  Entries entries_ GUARDED_BY(mutex_);
  bool iteration_enabled_ GUARDED_BY(mutex_) = false;  // true for good after the first Set
  uint32_t cursor_ GUARDED_BY(mutex_) = 0;
};

}  // namespace mivare
