// The system-usage line of the log: physical memory, GPU memory, working set, CPU usage.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "mivare/allocator.h"
#include "platform/platform.h"

namespace mivare {

/// Logs one line. The CPU figure covers the time since the previous line of the process; the GPU
/// figure is what `allocator`, which may be empty, reports. Thread-safe.
void LogSystemInfo(const std::shared_ptr<IAllocatorEx>& allocator);

/// Logs the line for the process's current CPU allocator, then tells the engine that memory ran
/// out. For allocations that failed; lets no exception out. Thread-safe.
void ReportMemoryExhausted() noexcept;

// What the line is computed from.

/// Units of 100 ns; the process time is that of one processor.
struct CpuSample {
  uint64_t system_time = 0;
  uint64_t process_time = 0;
};
CpuSample MakeCpuSample(const platform::CpuTimes& times);

/// The share of the processors that the process used between two samples, rounded to per mille; 0
/// when the previous sample is incomplete, nothing when no time has passed. Wraps instead of
/// overflowing.
std::optional<int64_t> CpuPerMille(const CpuSample& previous, const CpuSample& now);

/// Compares with the process's previous sample and keeps the new one, unless `times` is null
/// (unreadable) or no time has passed, which is logged. A share of 1.0 is all processors.
float MeasureCpuRatio(const platform::CpuTimes* times);

/// Forgets the previous sample, as at the start of the process.
void ResetCpuSample();

/// Single precision, rounded once.
float ToMiB(uint64_t bytes);
float ToMiB(int64_t bytes);

/// What the line shows.
struct SystemFigures {
  platform::MemoryFigures memory;
  int64_t gpu_memory = 0;
  float cpu_ratio = 0;
};
void LogSystemFigures(const SystemFigures& figures);

}  // namespace mivare
