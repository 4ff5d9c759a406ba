// User data: the notes that the engine's stages leave for each other on a description, as typed
// values under text keys. The descriptions that own the notes are in media_desc.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "mivare/export.h"
#include "orlo/val_any.h"

namespace mivare {

/// What Enumerate answers when stepping on is not allowed.
inline constexpr uint32_t kEnumerateRefused = 0xFFFFFFFFU;

/// Key of the mark that a frame is an old one; its value does not count. Copies of a description
/// lose it, proxies keep it.
inline constexpr char kIsOldKey[] = "user_keys::IsOld";

/// The reading face of a user data map. Keys are compared byte by byte. Thread-safe, except for
/// Enumerate, which relies on the caller's Lock.
class MIVARE_INTERFACE IUserDataInquire {
 public:
  virtual ~IUserDataInquire() = default;

  /// Copies the value under `key` to `value`. Returns 1; 0 when the key is null, empty or absent,
  /// with `value` unchanged.
  virtual int32_t Get(const char* key, orlo::ValAny& value) = 0;

  /// Holds the map still until Unlock, for an enumeration. Not recursive: no other operation of the
  /// same map may be called by this thread in between. Returns true; throws std::system_error when
  /// the platform's mutex fails.
  virtual bool Lock() = 0;

  /// Ends the hold. Returns 0.
  virtual int32_t Unlock() = 0;

  /// Steps through the entries in key order, the smallest one for `first`, else the next. Returns 0
  /// with an entry in `key` and `value`; 1 when there is none (left); kEnumerateRefused for a step
  /// behind the first entry of a map that never saw a Set of its own, such as a clone. The position
  /// belongs to the map: one enumeration at a time, between Lock and Unlock.
  virtual uint32_t Enumerate(bool first, std::string& key, orlo::ValAny& value) = 0;

  /// Shares a new map with a copy of every entry.
  virtual std::shared_ptr<IUserDataInquire> Clone() = 0;
};

/// The writing face of the same map. Thread-safe, except for CopyFrom.
class MIVARE_INTERFACE IUserDataConfig {
 public:
  virtual ~IUserDataConfig() = default;

  /// Stores a copy of `value` under `key`, replacing what was there. Returns 1; 0 when the key is
  /// null or empty.
  virtual int32_t Set(const char* key, const orlo::ValAny& value) = 0;

  /// Removes the entry under `key`, if there is one. Returns 0.
  virtual int32_t Remove(const char* key) = 0;

  /// Removes every entry. Returns 0.
  virtual int32_t Clear() = 0;

  /// Merges: entries of `source` replace those of the same key here, the others here stay. Null and
  /// this very map do nothing. The source is locked for the whole copy. This map is not: nobody
  /// else may write to it meanwhile, or read an entry that is being replaced; and nobody may read
  /// it at all while entries come that it lacks.
  virtual void CopyFrom(IUserDataInquire* source) = 0;
};

}  // namespace mivare
