// Numbers as the files here hold them: least significant byte first.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mivare {

/// Stores the low `kBytes` bytes of `value`; what does not fit is cut off.
template <size_t kBytes>
constexpr void PutLittle(uint8_t* out, uint64_t value) {
  static_assert(kBytes <= sizeof(value));
  for (size_t i = 0; i < kBytes; ++i) out[i] = static_cast<uint8_t>(value >> (8 * i));
}

/// The number that `kBytes` bytes hold.
template <size_t kBytes>
constexpr uint64_t GetLittle(const uint8_t* in) {
  static_assert(kBytes <= sizeof(uint64_t));
  uint64_t value = 0;
  for (size_t i = 0; i < kBytes; ++i) value |= uint64_t{in[i]} << (8 * i);
  return value;
}

}  // namespace mivare
