#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "exit/module.h"

namespace mivare::test {

void* LoadModule(const char* path) { return LoadLibraryA(path); }

void UnloadModule(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

bool IsModuleLoaded(const char* path) { return GetModuleHandleA(path) != nullptr; }

void* FindSymbol(void* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

bool ThreadsCanTakeTheirModuleAlong() { return true; }

// Address space without memory behind it, in ever smaller pieces.
NoRoom::NoRoom(size_t size) {
  for (size_t piece = size_t{1} << 46; piece >= size && count_ < taken_.size();) {
    void* address = VirtualAlloc(nullptr, piece, MEM_RESERVE, PAGE_NOACCESS);
    if (address == nullptr) {
      piece /= 2;
    } else {
      taken_[count_++] = {address, piece};
    }
  }
}

NoRoom::~NoRoom() {
  while (count_ > 0) VirtualFree(taken_[--count_].address, 0, MEM_RELEASE);
}

}  // namespace mivare::test
