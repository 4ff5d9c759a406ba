#include "base/memory_signal.h"

#include "orlo/event_bus.h"

namespace mivare {

void SignalMemoryExhausted() noexcept {
  orlo::AsyncEventBus* bus = orlo::GetGlobalEventBus();
  if (bus == nullptr) return;
  bus->Post(orlo::SystemEvent{1, {}});
  orlo::ReleaseGlobalEventBus();
}

}  // namespace mivare
