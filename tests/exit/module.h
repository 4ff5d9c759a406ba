// Loading and unloading a library by hand, as plug-in hosts do.
#pragma once

#include <array>
#include <cstddef>

namespace mivare::test {

/// Takes a reference on a library, loading it if need be; null on failure.
void* LoadModule(const char* path);

/// Gives one reference back.
void UnloadModule(void* module);

/// Whether a library is loaded, without taking a reference.
bool IsModuleLoaded(const char* path);

/// Null when the library exports no such name.
void* FindSymbol(void* module, const char* name);

template <class Function>
Function* Find(void* module, const char* name) {
  return reinterpret_cast<Function*>(FindSymbol(module, name));
}

/// Whether a thread can end and give its library back in one step; where it cannot, a library that
/// is left to its own thread stays loaded.
bool ThreadsCanTakeTheirModuleAlong();

/// While it lives, a library gets no block of `size` bytes from the system; smaller needs are met.
class NoRoom {
 public:
  NoRoom(void* module, size_t size);
  ~NoRoom();
  NoRoom(const NoRoom&) = delete;
  NoRoom& operator=(const NoRoom&) = delete;

 private:
  struct Taken {
    void* address;
    size_t size;
  };
  [[maybe_unused]] void* module_;
  std::array<Taken, 4096> taken_{};  // of the address space
  size_t count_ = 0;
};

}  // namespace mivare::test
