#include "platform/platform.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// windows.h comes first: the others need its types.
#include <psapi.h>

#include <cstring>
#include <new>
#include <string>

#include "orlo/encoding.h"

// Of ntdll, which no header declares.
extern "C" NTSYSAPI BOOLEAN NTAPI RtlDllShutdownInProgress();

namespace mivare::platform {
namespace {

constexpr int64_t kUnixEpochMs = 11'644'473'600'000;  // since 1601, where the system's time starts

uint64_t Join(const FILETIME& time) noexcept {
  return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

}  // namespace

void* AllocateBlock(size_t size) noexcept {
  return VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_READWRITE);
}

void FreeBlock(void* block) noexcept {
  if (block != nullptr) VirtualFree(block, 0, MEM_RELEASE);
}

uint32_t LastError() noexcept { return GetLastError(); }

int64_t WallClockMs() noexcept {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return static_cast<int64_t>(Join(now) / 10'000) - kUnixEpochMs;
}

int64_t SteadyClockMs() noexcept { return static_cast<int64_t>(GetTickCount64()); }

// System-wide numbers, all multiples of 4.
uint32_t ThreadNumber() noexcept { return GetCurrentThreadId() / 4; }

bool ReadCpuTimes(CpuTimes& times) noexcept {
  SYSTEM_INFO system{};
  GetSystemInfo(&system);
  times.processors = system.dwNumberOfProcessors > 0 ? system.dwNumberOfProcessors : 1U;
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  times.system_time = Join(now);
  FILETIME creation{};
  FILETIME exit{};
  FILETIME kernel{};
  FILETIME user{};
  if (!GetProcessTimes(GetCurrentProcess(), &creation, &exit, &kernel, &user)) return false;
  times.kernel = Join(kernel);
  times.user = Join(user);
  return true;
}

MemoryFigures ReadMemoryFigures() noexcept {
  MemoryFigures figures;
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof(status);
  if (GlobalMemoryStatusEx(&status)) {
    figures.total_physical = status.ullTotalPhys;
    figures.available_physical = status.ullAvailPhys;
  }
  PROCESS_MEMORY_COUNTERS counters{};
  if (K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters))) {
    figures.working_set = counters.WorkingSetSize;
  }
  return figures;
}

File OpenFile(const char* utf8_path, const char* mode) noexcept {
  if (utf8_path == nullptr) return nullptr;
  try {
    const std::wstring path = NUXOrlo_UTF8_Unicode(utf8_path);
    const std::wstring wide_mode = NUXOrlo_UTF8_Unicode(mode);
    return File(_wfopen(path.c_str(), wide_mode.c_str()));
  } catch (...) {
    return nullptr;  // no memory for the wide path
  }
}

// The system has no call for pieces that lie anywhere: small ones are gathered into large ones.
bool WritePieces(std::FILE* file, std::span<const FilePiece> pieces) noexcept {
  constexpr size_t kRoom = size_t{1} << 18;
  const auto write = [file](const void* data, size_t size) {
    return std::fwrite(data, 1, size, file) == size;
  };
  const bool gather = pieces.size() > 1;
  const std::unique_ptr<uint8_t[]> room(gather ? new (std::nothrow) uint8_t[kRoom] : nullptr);
  size_t gathered = 0;
  for (const FilePiece& piece : pieces) {
    if (piece.size == 0) continue;
    if (gathered > 0 && piece.size > kRoom - gathered) {
      if (!write(room.get(), gathered)) return false;
      gathered = 0;
    }
    if (room == nullptr || piece.size > kRoom) {
      if (!write(piece.data, piece.size)) return false;
      continue;
    }
    std::memcpy(room.get() + gathered, piece.data, piece.size);
    gathered += piece.size;
  }
  return gathered == 0 || write(room.get(), gathered);
}

void ModuleRelease::operator()(void* module) const noexcept {
  FreeLibrary(static_cast<HMODULE>(module));
}

ModuleReference ReferenceModule() noexcept {
  HMODULE self = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&ReferenceModule), &self);
  return ModuleReference(self);
}

void LeaveThread(ModuleReference last) noexcept {
  FreeLibraryAndExitThread(static_cast<HMODULE>(last.release()), 0);
}

bool OtherThreadsKilled() noexcept { return RtlDllShutdownInProgress() != 0; }

}  // namespace mivare::platform
