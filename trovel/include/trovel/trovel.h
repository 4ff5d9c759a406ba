// The engine's resource monitor: who is alive, under which name. A multiset of (name, object).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "trovel/export.h"

namespace trovel {

/// Adds one registration. The pair may be registered any number of times; a null object is as good
/// as any, a null name counts as the empty one. Returns 0; -1 when there was no memory to note it.
/// Thread-safe; never throws.
TROVEL_API int32_t AddResource(const char* name, void* object);

/// Takes one registration of exactly this pair back. Returns 0; -1 when there is none. Thread-safe;
/// allocates nothing, never throws.
TROVEL_API int32_t RemoveResource(const char* name, void* object);

/// One pair and how often it is registered.
struct Resource {
  std::string name;
  void* object = nullptr;
  size_t count = 0;
};

/// Every live pair, ordered by name (bytewise), then address. Each count is exact; pairs that come
/// and go during the call may or may not be in. Thread-safe.
TROVEL_API std::vector<Resource> Snapshot();

/// The number of live registrations under `name`; under every name when it is null. Thread-safe.
TROVEL_API size_t CountResources(const char* name);

/// One line a name, with the count and the addresses; an empty text when nothing is alive.
/// Thread-safe.
TROVEL_API std::string LeakReport();

}  // namespace trovel
