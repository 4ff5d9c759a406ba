// Objects that are there from their first use to the end of the process.
#pragma once

#include <new>

namespace mivare {

/// Holds a T in place and never destroys it, for function-local statics: hosts call in from their
/// static destructors and the worker runs until the process is gone. Unloading leaves nothing on
/// the heap either.
template <class T>
class NeverDestroyed {
 public:
  NeverDestroyed() { new (storage_) T; }
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& get() { return *std::launder(reinterpret_cast<T*>(storage_)); }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace mivare
