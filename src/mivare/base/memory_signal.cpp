#include "base/memory_signal.h"

#include "orlo/event_bus.h"
#include "platform/platform.h"

namespace mivare {

namespace {

// Where others hold the bus too, it delivers our event later, by code of this library: that must
// not be unloaded any more.
void StayLoaded() {
  [[maybe_unused]] static void* const never_given_back = platform::ReferenceModule().release();
}

}  // namespace

void SignalMemoryExhausted() noexcept {
  orlo::AsyncEventBus* bus = orlo::GetGlobalEventBus();
  if (bus == nullptr) return;
  StayLoaded();
  bus->Post(orlo::SystemEvent{1, {}});
  orlo::ReleaseGlobalEventBus();
}

}  // namespace mivare
