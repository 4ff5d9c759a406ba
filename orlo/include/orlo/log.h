// The engine's log: one printf-like entry point, and sinks that hosts and tests add.
#pragma once

#include <cstdint>

#include "orlo/export.h"

#if defined(__MINGW32__)
#define ORLO_PRINTF(at, first) __attribute__((format(gnu_printf, at, first)))
#elif defined(__GNUC__)
#define ORLO_PRINTF(at, first) __attribute__((format(printf, at, first)))
#else
#define ORLO_PRINTF(at, first)
#endif

/// Formats one message and hands it to every sink; by default one line with time, level and tag
/// goes to standard error. Any length; a null text for `%s` prints as "(null)", a null tag as an
/// empty one, a null format as an empty text; the formatted text is never read as a format again. A
/// long text is cut, and ends in "...", only where there is no memory for it. `level` grows with
/// severity: 0 and 1 trace, 4 status, 6 errors, 7 lost memory. Thread-safe; never throws.
extern "C" ORLO_API void OrloLogPrint(const char* tag, int32_t level, const char* format, ...)
    ORLO_PRINTF(3, 4);

namespace orlo {

/// Receives each message on the logging thread, with no lock of the log held: it may log, add or
/// remove sinks. What a sink logs reaches the others, not itself. What it throws is dropped. `text`
/// carries no line end of its own; it and `tag` are lent for the call. At the end of a Windows
/// process sinks are called after every other thread was killed, perhaps with a lock in its hands:
/// they must not wait for one then, and had better take no lock and ask for no memory.
using LogSink = void (*)(void* context, const char* tag, int32_t level, const char* text);

/// Adds a sink; `context` is passed back as it is. Returns its id, above 0; 0 when `sink` is null
/// or there is no memory. Thread-safe.
ORLO_API uint64_t AddLogSink(LogSink sink, void* context);

/// Removes a sink; unknown ids are ignored. When it returns, no other thread is inside the sink and
/// none will enter it, so the context may go. A sink may remove itself or others; called from
/// inside a sink, it does not wait for threads that are in RemoveLogSink themselves. Thread-safe.
ORLO_API void RemoveLogSink(uint64_t id);

/// Sets the lowest level that the default sink prints (0 at start: everything); sinks that were
/// added see every message. Returns the level before. Thread-safe.
ORLO_API int32_t SetDefaultLogLevel(int32_t minimum);

}  // namespace orlo
