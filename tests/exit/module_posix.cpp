#include <dlfcn.h>

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

}  // namespace mivare::test
