#include "support/process.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// The others need it first.
#include <psapi.h>
#include <tlhelp32.h>

namespace mivare::test {
namespace {

PROCESS_MEMORY_COUNTERS Memory() {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
  return counters;
}

double Seconds(const FILETIME& time) {
  return static_cast<double>(uint64_t{time.dwHighDateTime} << 32U | time.dwLowDateTime) / 1e7;
}

}  // namespace

size_t CountThreads() {
  const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (all == INVALID_HANDLE_VALUE) return 0;
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  size_t count = 0;
  for (BOOL more = Thread32First(all, &entry); more != 0; more = Thread32Next(all, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
  }
  CloseHandle(all);
  return count;
}

uint64_t ResidentBytes() { return Memory().WorkingSetSize; }
uint64_t PeakResidentBytes() { return Memory().PeakWorkingSetSize; }

double CpuSeconds() {
  FILETIME made{};
  FILETIME ended{};
  FILETIME kernel{};
  FILETIME user{};
  GetProcessTimes(GetCurrentProcess(), &made, &ended, &kernel, &user);
  return Seconds(kernel) + Seconds(user);
}

}  // namespace mivare::test
