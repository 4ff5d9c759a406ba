// Addresses as numbers, for planes that may lie outside of their memory: a pointer's own arithmetic
// is defined within one object only.
#pragma once

#include <cstdint>

namespace mivare {

/// `from` moved by `bytes`, wrapping; null stays null. Good for use only where memory is.
inline uint8_t* Moved(uint8_t* from, int64_t bytes) {
  if (from == nullptr) return nullptr;
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(from) +
                                    static_cast<uintptr_t>(bytes));
}

/// How far `to` lies behind `from`, wrapping.
inline int64_t Distance(const uint8_t* from, const uint8_t* to) {
  return static_cast<int64_t>(reinterpret_cast<uintptr_t>(to) - reinterpret_cast<uintptr_t>(from));
}

}  // namespace mivare
