// A library of a host's that uses mivare and takes its Init back in a static destructor: at the
// process's end that runs under the loader's lock on Windows.

#include "mivare/mivare.h"

extern "C" MIVARE_PLUGIN_API void StartPlugin() {
  NUXMivareDefaultAllocatorInit(nullptr);
  struct Guard {
    ~Guard() { NUXMivareDefaultAllocatorUninit(); }
  };
  static const Guard guard;
}
