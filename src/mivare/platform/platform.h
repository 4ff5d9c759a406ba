// Everything the library asks of the operating system. One folder a platform fulfils it; policy,
// limits and formats stay above. Nothing here throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

namespace mivare::platform {

/// A block of `size` bytes straight from the system's virtual memory: page-aligned, zeroed by the
/// system, its pages given back by FreeBlock. Null on failure (see LastError). Thread-safe.
void* AllocateBlock(size_t size) noexcept;

/// Takes a block of AllocateBlock; null is ignored. Allocates nothing. Thread-safe.
void FreeBlock(void* block) noexcept;

/// The system's code for the calling thread's last failed call (GetLastError, errno).
uint32_t LastError() noexcept;

/// Milliseconds since 1970-01-01 UTC, as of the system's last timer tick: a few ms old, and read in
/// a few ns. Steps when somebody sets the clock.
int64_t WallClockMs() noexcept;

/// Milliseconds of a clock that never steps, from an arbitrary start.
int64_t SteadyClockMs() noexcept;

/// A number of the calling thread, small or well spread in its low bits, and the same at each call.
/// Allocates nothing.
uint32_t ThreadNumber() noexcept;

/// One reading of the process's CPU use, in units of 100 ns.
struct CpuTimes {
  uint64_t system_time = 0;  ///< wall clock, since an arbitrary start
  uint64_t kernel = 0;       ///< spent by all threads of the process in the kernel
  uint64_t user = 0;         ///< and outside
  uint32_t processors = 1;   ///< never 0
};

/// Reads the clock and the number of processors, then the process's times. False when the times
/// cannot be read.
bool ReadCpuTimes(CpuTimes& times) noexcept;

/// Bytes.
struct MemoryFigures {
  uint64_t total_physical = 0;
  uint64_t available_physical = 0;
  uint64_t working_set = 0;  ///< resident memory of the process; 0 when it cannot be read
};
MemoryFigures ReadMemoryFigures() noexcept;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// fopen with a UTF-8 path, whatever the process's code page; empty on failure and for a null path.
File OpenFile(const char* utf8_path, const char* mode) noexcept;

/// A piece of what goes into a file.
struct FilePiece {
  const void* data = nullptr;
  size_t size = 0;
};

/// Writes pieces one behind the other, in as few calls of the system as it can and without copying
/// large ones, to a stream that is written to in no other way. False at the first failure; what
/// came before it is in the file, once it is closed.
bool WritePieces(std::FILE* file, std::span<const FilePiece> pieces) noexcept;

struct ModuleRelease {
  void operator()(void* module) const noexcept;
};
/// Keeps the code that this library is part of loaded while held, beside the references of whoever
/// loaded it. Whoever gives the last one back must not come back into that code; see LeaveThread.
using ModuleReference = std::unique_ptr<void, ModuleRelease>;

/// Empty where nothing can be unloaded, as in a program that is linked with the library's objects.
/// Takes the loader's lock for a moment.
ModuleReference ReferenceModule() noexcept;

/// For the end of a thread that nobody joins: gives the reference back and ends the thread, in one
/// step that runs no code of ours. Nothing above the call is destroyed any more. Where the system
/// has no such step, the module stays loaded for good and the call returns.
void LeaveThread(ModuleReference last) noexcept;

/// Whether the system has killed every other thread to end the process. Locks that they held are
/// held for ever then. Never true where threads run until the process is gone.
bool OtherThreadsKilled() noexcept;

}  // namespace mivare::platform
