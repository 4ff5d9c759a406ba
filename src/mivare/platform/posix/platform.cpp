#include "platform/platform.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace mivare::platform {
namespace {

// A mapping is one page longer than asked for; the page in front of the block remembers how long:
//
//     | length, rest of the page unused | block ... |
//                                       ^ what the caller holds
size_t PageSize() noexcept {
  static const auto size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

constexpr size_t kLargePage = size_t{1} << 21;

int64_t ReadClockMs(clockid_t id) noexcept {
  timespec now{};
  clock_gettime(id, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

uint64_t HundredNanoseconds(const timeval& time) noexcept {
  return static_cast<uint64_t>(time.tv_sec) * 10000000U + static_cast<uint64_t>(time.tv_usec) * 10U;
}

// Reads a small text file of the kernel's without touching the heap: the report that asks for it
// also runs when memory is short.
bool ReadSmallFile(const char* path, char* text, size_t room) noexcept {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  size_t used = 0;
  while (used + 1 < room) {
    const ssize_t got = read(file, text + used, room - 1 - used);
    if (got <= 0) break;
    used += static_cast<size_t>(got);
  }
  close(file);
  text[used] = '\0';
  return used > 0;
}

// The number behind `label`, in the kernel's "Label:   123 kB" form, as bytes.
uint64_t KilobytesBehind(const char* text, const char* label) noexcept {
  const char* found = std::strstr(text, label);
  if (found == nullptr) return 0;
  return std::strtoull(found + std::strlen(label), nullptr, 10) * 1024U;
}

// The system may take less than it is given.
bool WriteVectors(int file, std::span<iovec> left) noexcept {
  while (!left.empty()) {
    const ssize_t written = writev(file, left.data(), static_cast<int>(left.size()));
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    auto bytes = static_cast<size_t>(written);
    while (!left.empty() && left.front().iov_len <= bytes) {
      bytes -= left.front().iov_len;
      left = left.subspan(1);
    }
    if (left.empty()) return true;
    if (written == 0) return false;
    left.front().iov_base = static_cast<uint8_t*>(left.front().iov_base) + bytes;
    left.front().iov_len -= bytes;
  }
  return true;
}

}  // namespace

void* AllocateBlock(size_t size) noexcept {
  const size_t page = PageSize();
  if (size > SIZE_MAX - page) {
    errno = ENOMEM;
    return nullptr;
  }
  void* mapping =
      mmap(nullptr, size + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED) return nullptr;
  const size_t length = size + page;
  // A frame is filled from end to end: large pages save most of the faults on the way.
  if (length >= kLargePage) madvise(mapping, length, MADV_HUGEPAGE);
  std::memcpy(mapping, &length, sizeof(length));
  return static_cast<uint8_t*>(mapping) + page;
}

void FreeBlock(void* block) noexcept {
  if (block == nullptr) return;
  void* mapping = static_cast<uint8_t*>(block) - PageSize();
  size_t length = 0;
  std::memcpy(&length, mapping, sizeof(length));
  munmap(mapping, length);
}

uint32_t LastError() noexcept { return static_cast<uint32_t>(errno); }

int64_t WallClockMs() noexcept { return ReadClockMs(CLOCK_REALTIME_COARSE); }

int64_t SteadyClockMs() noexcept { return ReadClockMs(CLOCK_MONOTONIC); }

uint32_t ThreadNumber() noexcept {
  static std::atomic<uint32_t> count{0};
  thread_local const uint32_t number = count.fetch_add(1, std::memory_order_relaxed);
  return number;
}

bool ReadCpuTimes(CpuTimes& times) noexcept {
  const long processors = sysconf(_SC_NPROCESSORS_ONLN);
  times.processors = processors > 0 ? static_cast<uint32_t>(processors) : 1U;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  times.system_time =
      static_cast<uint64_t>(now.tv_sec) * 10000000U + static_cast<uint64_t>(now.tv_nsec) / 100U;
  rusage usage{};
  if (getrusage(RUSAGE_SELF, &usage) != 0) return false;
  times.kernel = HundredNanoseconds(usage.ru_stime);
  times.user = HundredNanoseconds(usage.ru_utime);
  return true;
}

MemoryFigures ReadMemoryFigures() noexcept {
  MemoryFigures figures;
  char text[4096];
  if (ReadSmallFile("/proc/meminfo", text, sizeof(text))) {
    figures.total_physical = KilobytesBehind(text, "MemTotal:");
    figures.available_physical = KilobytesBehind(text, "MemAvailable:");
  }
  // "statm" counts pages: the whole size first, what is resident second.
  if (ReadSmallFile("/proc/self/statm", text, sizeof(text))) {
    char* rest = nullptr;
    std::strtoull(text, &rest, 10);
    figures.working_set = std::strtoull(rest, nullptr, 10) * PageSize();
  }
  return figures;
}

File OpenFile(const char* utf8_path, const char* mode) noexcept {
  return File(utf8_path != nullptr ? std::fopen(utf8_path, mode) : nullptr);
}

// Past the stream, whose buffer stays empty.
bool WritePieces(std::FILE* file, std::span<const FilePiece> pieces) noexcept {
  constexpr size_t kAtOnce = 1024;  // more it does not take (IOV_MAX)
  iovec vectors[kAtOnce];
  while (!pieces.empty()) {
    const size_t count = std::min(pieces.size(), kAtOnce);
    for (size_t i = 0; i < count; ++i) {
      vectors[i] = {const_cast<void*>(pieces[i].data), pieces[i].size};
    }
    if (!WriteVectors(fileno(file), std::span(vectors, count))) return false;
    pieces = pieces.subspan(count);
  }
  return true;
}

void ModuleRelease::operator()(void* module) const noexcept { dlclose(module); }

ModuleReference ReferenceModule() noexcept {
  Dl_info info{};
  void* found = nullptr;
  if (dladdr1(reinterpret_cast<void*>(&ReferenceModule), &info, &found, RTLD_DL_LINKMAP) == 0) {
    return nullptr;
  }
  const auto* map = static_cast<const link_map*>(found);
  if (map->l_name[0] == '\0') return nullptr;  // the program itself
  return ModuleReference(dlopen(map->l_name, RTLD_LAZY | RTLD_NOLOAD));
}

void LeaveThread(ModuleReference last) noexcept { static_cast<void>(last.release()); }

bool OtherThreadsKilled() noexcept { return false; }

}  // namespace mivare::platform
