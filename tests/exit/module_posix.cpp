#include <dlfcn.h>
#include <sys/mman.h>

#include "exit/module.h"

namespace mivare::test {

void* LoadModule(const char* path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }

void UnloadModule(void* module) { dlclose(module); }

bool IsModuleLoaded(const char* path) {
  void* module = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (module != nullptr) dlclose(module);
  return module != nullptr;
}

void* FindSymbol(void* module, const char* name) { return dlsym(module, name); }

bool ThreadsCanTakeTheirModuleAlong() { return false; }

// Address space without memory behind it, in ever smaller pieces.
NoRoom::NoRoom(void* module, size_t size) : module_(module) {
  for (size_t piece = size_t{1} << 46; piece >= size && count_ < taken_.size();) {
    void* address =
        mmap(nullptr, piece, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (address == MAP_FAILED) {
      piece /= 2;
    } else {
      taken_[count_++] = {address, piece};
    }
  }
}

NoRoom::~NoRoom() {
  while (count_ > 0) {
    const Taken& last = taken_[--count_];
    munmap(last.address, last.size);
  }
}

}  // namespace mivare::test
