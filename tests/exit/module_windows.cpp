#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// windows.h comes first: it says what the others see.
#include <cstdint>
#include <cstring>

#include "exit/module.h"

namespace mivare::test {

void* LoadModule(const char* path) { return LoadLibraryA(path); }

void UnloadModule(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

bool IsModuleLoaded(const char* path) { return GetModuleHandleA(path) != nullptr; }

void* FindSymbol(void* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

bool ThreadsCanTakeTheirModuleAlong() { return true; }

namespace {

decltype(&VirtualAlloc) real_allocate = nullptr;
SIZE_T refused_size = 0;

void* WINAPI RefuseLargeBlocks(void* address, SIZE_T size, DWORD kind, DWORD protection) {
  if (size < refused_size) return real_allocate(address, size, kind, protection);
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return nullptr;
}

/// Where a library keeps the address of a system function that it calls; null when it calls none
/// of the name.
void** ImportOf(void* module, const char* name) {
  auto* base = static_cast<uint8_t*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& imports =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  const auto* from =
      reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
  for (; from->Name != 0; ++from) {
    const auto* names = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + from->OriginalFirstThunk);
    auto* addresses = reinterpret_cast<void**>(base + from->FirstThunk);
    for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
      const auto* entry =
          reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0) return addresses;
    }
  }
  return nullptr;
}

void Replace(void** import, void* address) {
  DWORD before = 0;
  VirtualProtect(import, sizeof(*import), PAGE_READWRITE, &before);
  *import = address;
  VirtualProtect(import, sizeof(*import), before, &before);
}

}  // namespace

// The library's own road to the system is blocked: taking the whole address space takes minutes.
NoRoom::NoRoom(void* module, size_t size) : module_(module) {
  void** import = ImportOf(module_, "VirtualAlloc");
  if (import == nullptr) return;
  refused_size = size;
  real_allocate = reinterpret_cast<decltype(real_allocate)>(*import);
  Replace(import, reinterpret_cast<void*>(&RefuseLargeBlocks));
}

NoRoom::~NoRoom() {
  void** import = ImportOf(module_, "VirtualAlloc");
  if (import != nullptr) Replace(import, reinterpret_cast<void*>(real_allocate));
}

}  // namespace mivare::test
