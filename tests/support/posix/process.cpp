#include "support/process.h"

#include <sys/resource.h>

#include <fstream>
#include <string>

namespace mivare::test {
namespace {

// The number behind "Label:" in the kernel's report on this process.
uint64_t Status(const std::string& label) {
  std::ifstream report("/proc/self/status");
  for (std::string word; report >> word;) {
    uint64_t value = 0;
    if (word == label && report >> value) return value;
  }
  return 0;
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

size_t CountThreads() { return Status("Threads:"); }
uint64_t ResidentBytes() { return Status("VmRSS:") * 1024; }
uint64_t PeakResidentBytes() { return Status("VmHWM:") * 1024; }

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

}  // namespace mivare::test
