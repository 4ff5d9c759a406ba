// The library's worker thread, seen from outside.
#pragma once

#include <chrono>
#include <thread>

namespace mivare::bench {

/// Waits until frames that nobody asks for have grown old and gone; their pools stay.
inline void AwaitTrimming() { std::this_thread::sleep_for(std::chrono::milliseconds(700)); }

}  // namespace mivare::bench
