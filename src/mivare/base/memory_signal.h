// Tells the engine that memory ran out.
#pragma once

namespace mivare {

/// Posts the engine's memory-exhausted event on the global event bus, taking the bus for the call
/// only. Thread-safe.
void SignalMemoryExhausted() noexcept;

}  // namespace mivare
