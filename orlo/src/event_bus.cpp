#include "orlo/event_bus.h"

#include <new>

namespace orlo {
namespace {

struct Global {
  std::mutex mutex;              // guards both
  AsyncEventBus* bus = nullptr;  // owned by the references together
  uint64_t references = 0;
};

// In place and never destroyed: modules take and give references from their own static constructors
// and destructors.
Global& TheGlobal() {
  alignas(Global) static unsigned char storage[sizeof(Global)];
  static Global& global = *new (storage) Global;
  return global;
}

}  // namespace

AsyncEventBus* GetGlobalEventBus() {
  try {
    Global& global = TheGlobal();
    const std::lock_guard lock(global.mutex);
    if (global.references == 0) global.bus = new AsyncEventBus;
    ++global.references;
    return global.bus;
  } catch (...) {
    return nullptr;
  }
}

void ReleaseGlobalEventBus() {
  AsyncEventBus* last = nullptr;
  {
    Global& global = TheGlobal();
    const std::lock_guard lock(global.mutex);
    if (global.references == 0 || --global.references != 0) return;
    last = std::exchange(global.bus, nullptr);
  }
  // Whoever asks for the bus from here on gets a new one; this one ends beside it.
  if (last->IsWorkerThread()) {
    last->LeaveToWorker();
  } else {
    delete last;
  }
}

}  // namespace orlo
