#include "orlo/event_bus.h"

#include <new>

#if defined(_WIN32)
#include <windows.h>
#endif

#include "process_end.h"

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

/// Keeps this library loaded for a worker that nobody joins. ELF builds are linked that way.
void StayLoaded() {
#if defined(_WIN32)
  HMODULE self = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&StayLoaded), &self);
#endif
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
  if (OtherThreadsKilled()) return;  // the bus goes with the process
  AsyncEventBus* last = nullptr;
  {
    Global& global = TheGlobal();
    const std::lock_guard lock(global.mutex);
    if (global.references == 0 || --global.references != 0) return;
    last = std::exchange(global.bus, nullptr);
  }
  // Whoever asks for the bus from here on gets a new one; this one ends beside it.
  if (last->IsWorkerThread()) {
    StayLoaded();
    last->LeaveToWorker();
  } else {
    delete last;
  }
}

}  // namespace orlo
