// What the process itself costs, for tests that look for leaks of threads, memory and time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mivare::test {

/// Threads of this process, the calling one included. A thread that was joined a moment ago may
/// still count.
size_t CountThreads();

/// Bytes of memory that are in use now.
uint64_t ResidentBytes();

/// The most that were ever in use.
uint64_t PeakResidentBytes();

/// Processor time spent by all threads so far.
double CpuSeconds();

}  // namespace mivare::test
