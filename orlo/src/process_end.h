// The end of a Windows process: the system kills every thread but one, then that one runs what the
// libraries do at their end. Locks that the others held are held for ever. Elsewhere threads run
// until the process is gone.
#pragma once

#include <cstdint>

namespace orlo {

/// Whether every other thread has been killed.
bool OtherThreadsKilled() noexcept;

/// Prints a line of the log on standard error without a lock, and returns true, when every other
/// thread has been killed; does nothing else.
bool PrintLastWords(const char* tag, int32_t level, const char* text) noexcept;

}  // namespace orlo
