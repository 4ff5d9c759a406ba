// The log's own sink: one line a message on standard error.
#pragma once

#include <cstdint>

namespace orlo {

/// Prints time, level, tag and text. Thread-safe; lines of several threads never mix. Never throws:
/// where there is no memory for the full form, the line goes out without its time.
void PrintOnStandardError(const char* tag, int32_t level, const char* text) noexcept;

}  // namespace orlo
