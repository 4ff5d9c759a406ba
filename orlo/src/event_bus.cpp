#include "orlo/event_bus.h"

#include <type_traits>

namespace orlo {
namespace {

// Constant-initialised and never destroyed, so that modules may still take and give references from
// their own static constructors and destructors.
constinit std::mutex global_mutex;
constinit AsyncEventBus* global_bus = nullptr;  // guarded by global_mutex, owned by the references
constinit uint64_t global_references = 0;       // guarded by global_mutex
static_assert(std::is_trivially_destructible_v<std::mutex>);

}  // namespace

AsyncEventBus* GetGlobalEventBus() {
  try {
    const std::lock_guard lock(global_mutex);
    if (global_references == 0) global_bus = new AsyncEventBus;
    ++global_references;
    return global_bus;
  } catch (...) {
    return nullptr;
  }
}

void ReleaseGlobalEventBus() {
  AsyncEventBus* last = nullptr;
  {
    const std::lock_guard lock(global_mutex);
    if (global_references == 0 || --global_references != 0) return;
    last = std::exchange(global_bus, nullptr);
  }
  // Whoever asks for the bus from here on gets a new one; this one ends beside it.
  if (last->IsWorkerThread()) {
    last->LeaveToWorker();
  } else {
    delete last;
  }
}

}  // namespace orlo
