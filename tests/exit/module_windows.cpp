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

}  // namespace mivare::test
