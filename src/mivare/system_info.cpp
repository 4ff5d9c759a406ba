#include "system_info.h"

#include <atomic>

#include "allocator_mgr.h"
#include "base/log.h"
#include "base/memory_signal.h"
#include "hybrid_frame_allocator.h"

namespace mivare {
namespace {

constexpr float kBytesToMiB = 9.5367431640625e-07F;  // 2 to the power of -20

// The process's previous sample. Relaxed, and not one unit: a torn pair costs one odd figure.
std::atomic<uint64_t> previous_system_time{0};
std::atomic<uint64_t> previous_process_time{0};

int64_t Signed(uint64_t value) { return static_cast<int64_t>(value); }

}  // namespace

CpuSample MakeCpuSample(const platform::CpuTimes& times) {
  return {times.system_time, (times.kernel + times.user) / times.processors};
}

std::optional<int64_t> CpuPerMille(const CpuSample& previous, const CpuSample& now) {
  if (previous.system_time == 0 || previous.process_time == 0) return 0;
  const uint64_t cpu = now.process_time - previous.process_time;
  const int64_t time = Signed(now.system_time - previous.system_time);
  if (time == 0) return std::nullopt;
  const uint64_t rounded = cpu * 1000U + static_cast<uint64_t>(time / 2);
  // The one division that would overflow has this divisor.
  return time == -1 ? Signed(0U - rounded) : Signed(rounded) / time;
}

float MeasureCpuRatio(const platform::CpuTimes* times) {
  if (times == nullptr) {
    MIVARE_LOG(kLogError, "GetCpuUsageRatio GetProcessTimes failed\n");
    return 0;
  }
  const CpuSample now = MakeCpuSample(*times);
  const CpuSample previous{previous_system_time.load(std::memory_order_relaxed),
                           previous_process_time.load(std::memory_order_relaxed)};
  const std::optional<int64_t> per_mille = CpuPerMille(previous, now);
  if (!per_mille.has_value()) {
    MIVARE_LOG(kLogError, "GetCpuUsageRatio time_delta is 0, error\n");
    return 0;
  }
  previous_system_time.store(now.system_time, std::memory_order_relaxed);
  previous_process_time.store(now.process_time, std::memory_order_relaxed);
  return static_cast<float>(*per_mille) / 1000.0F;
}

void ResetCpuSample() {
  previous_system_time.store(0, std::memory_order_relaxed);
  previous_process_time.store(0, std::memory_order_relaxed);
}

float ToMiB(uint64_t bytes) { return static_cast<float>(bytes) * kBytesToMiB; }
float ToMiB(int64_t bytes) { return static_cast<float>(bytes) * kBytesToMiB; }

void LogSystemFigures(const SystemFigures& figures) {
  const auto shown = [](float value) { return static_cast<double>(value); };
  MIVARE_LOG(kLogStatus,
             "[SystemInfo] Total: %.2fMB   Free: %.2fMB(GPU:%.2fMB)   Memory: %.2fMB   CPU: %.1f%%",
             shown(ToMiB(figures.memory.total_physical)),
             shown(ToMiB(figures.memory.available_physical)), shown(ToMiB(figures.gpu_memory)),
             shown(ToMiB(figures.memory.working_set)), shown(figures.cpu_ratio * 100.0F));
}

void LogSystemInfo(const std::shared_ptr<IAllocatorEx>& allocator) {
  SystemFigures figures;
  platform::CpuTimes times;
  figures.cpu_ratio = MeasureCpuRatio(platform::ReadCpuTimes(times) ? &times : nullptr);
  figures.memory = platform::ReadMemoryFigures();
  if (allocator != nullptr) figures.gpu_memory = allocator->GetGpuAvailableMemory();
  LogSystemFigures(figures);
}

void ReportMemoryExhausted() noexcept {
  try {
    std::shared_ptr<IAllocator> current;
    GetCurrentAllocator(&current);
    LogSystemInfo(std::dynamic_pointer_cast<IAllocatorEx>(CpuAllocatorOf(current)));
  } catch (...) {
    // The host's GPU allocator failed while asked for a figure; the signal matters more.
  }
  SignalMemoryExhausted();
}

}  // namespace mivare
