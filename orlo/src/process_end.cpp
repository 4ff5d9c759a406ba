#include "process_end.h"

#if defined(_WIN32)

#include <windows.h>

#include <cstdio>
#include <cstring>

// Of ntdll, which no header declares.
extern "C" NTSYSAPI BOOLEAN NTAPI RtlDllShutdownInProgress();

namespace orlo {
namespace {

void Write(const char* text, size_t size) noexcept {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(size), &written, nullptr);
}

}  // namespace

bool OtherThreadsKilled() noexcept { return RtlDllShutdownInProgress() != 0; }

bool PrintLastWords(const char* tag, int32_t level, const char* text) noexcept {
  if (!OtherThreadsKilled()) return false;
  SYSTEMTIME now{};
  GetSystemTime(&now);  // UTC: the way to local time may lead through a lock of the system's
  char head[128];
  std::snprintf(head, sizeof(head), "[%04d-%02d-%02d %02d:%02d:%02d.%03dZ] [%d] [%.64s] ",
                now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond,
                now.wMilliseconds, static_cast<int>(level), tag);
  Write(head, std::strlen(head));
  Write(text, std::strlen(text));
  Write("\n", 1);
  return true;
}

}  // namespace orlo

#else

namespace orlo {

bool OtherThreadsKilled() noexcept { return false; }

bool PrintLastWords(const char* /*tag*/, int32_t /*level*/, const char* /*text*/) noexcept {
  return false;
}

}  // namespace orlo

#endif
