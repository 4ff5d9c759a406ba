// Universally unique identifiers.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>

#include "orlo/export.h"

namespace orlo {

/// 128 bits that name one thing (RFC 4122), kept as 16 bytes in the order in which the text shows
/// them, on every platform. Zeroed, "nil", unless made otherwise. Operations on different values
/// are independent.
class Uuid {
 public:
  using Bytes = std::array<uint8_t, 16>;

  ORLO_INLINE_API Uuid() noexcept : bytes_() {}
  ORLO_INLINE_API explicit Uuid(const Bytes& bytes) noexcept : bytes_(bytes) {}

  /// A new one of version 4: 122 bits from the platform's random numbers; nil when it has none.
  ORLO_INLINE_API static Uuid Generate() noexcept;

  /// Reads "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", hexadecimal digits of either case and nothing
  /// around them, of any version. False, and `uuid` left alone, for anything else.
  ORLO_INLINE_API static bool Parse(std::string_view text, Uuid* uuid) noexcept;

  /// The same form in lower case, 36 characters.
  ORLO_INLINE_API std::string ToString() const;

  ORLO_INLINE_API const Bytes& GetBytes() const noexcept { return bytes_; }
  ORLO_INLINE_API bool IsNil() const noexcept { return *this == Uuid(); }
  /// How it was made; 4 for random ones, 0 for nil.
  ORLO_INLINE_API int Version() const noexcept { return bytes_[6] >> 4; }

  /// Ordered as their texts are.
  ORLO_INLINE_API bool operator==(const Uuid& other) const noexcept;
  ORLO_INLINE_API std::strong_ordering operator<=>(const Uuid& other) const noexcept;

  /// For hash tables: every bit counts, and it is the same in every process.
  ORLO_INLINE_API size_t Hash() const noexcept;

 private:
  /// Whether the text has a dash in front of this byte.
  ORLO_INLINE_API static bool HasDash(size_t byte) noexcept;
  /// The value of a hexadecimal digit; -1 for other characters.
  ORLO_INLINE_API static int DigitValue(char digit) noexcept;

  Bytes bytes_;
};

inline Uuid Uuid::Generate() noexcept {
  try {
    std::random_device random;
    Uuid uuid;
    for (size_t i = 0; i < uuid.bytes_.size(); i += 4) {
      const uint32_t bits = random();
      for (size_t k = 0; k < 4; ++k) uuid.bytes_[i + k] = static_cast<uint8_t>(bits >> (8 * k));
    }
    uuid.bytes_[6] = static_cast<uint8_t>((uuid.bytes_[6] & 0x0F) | 0x40);  // version 4
    uuid.bytes_[8] = static_cast<uint8_t>((uuid.bytes_[8] & 0x3F) | 0x80);  // variant of the RFC
    return uuid;
  } catch (...) {
    return {};
  }
}

inline bool Uuid::Parse(std::string_view text, Uuid* uuid) noexcept {
  constexpr size_t kLength = 36;
  if (text.size() != kLength) return false;
  Uuid parsed;
  size_t at = 0;
  for (size_t i = 0; i < parsed.bytes_.size(); ++i) {
    if (HasDash(i) && text[at++] != '-') return false;
    const int high = DigitValue(text[at++]);
    const int low = DigitValue(text[at++]);
    if (high < 0 || low < 0) return false;
    parsed.bytes_[i] = static_cast<uint8_t>(16 * high + low);
  }
  *uuid = parsed;
  return true;
}

inline std::string Uuid::ToString() const {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(36);
  for (size_t i = 0; i < bytes_.size(); ++i) {
    if (HasDash(i)) text += '-';
    text += kDigits[bytes_[i] >> 4];
    text += kDigits[bytes_[i] & 15];
  }
  return text;
}

inline bool Uuid::operator==(const Uuid& other) const noexcept { return bytes_ == other.bytes_; }

inline std::strong_ordering Uuid::operator<=>(const Uuid& other) const noexcept {
  for (size_t i = 0; i < bytes_.size(); ++i) {
    if (bytes_[i] != other.bytes_[i]) return bytes_[i] <=> other.bytes_[i];
  }
  return std::strong_ordering::equal;
}

// FNV-1a.
inline size_t Uuid::Hash() const noexcept {
  uint64_t hash = 0xCBF29CE484222325;
  for (const uint8_t byte : bytes_) hash = (hash ^ byte) * 0x100000001B3;
  return static_cast<size_t>(hash);
}

inline bool Uuid::HasDash(size_t byte) noexcept {
  return byte == 4 || byte == 6 || byte == 8 || byte == 10;
}

inline int Uuid::DigitValue(char digit) noexcept {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

static_assert(sizeof(Uuid) == 16 && std::is_trivially_copyable_v<Uuid>,
              "files and other modules keep the bytes themselves");

}  // namespace orlo

template <>
struct std::hash<orlo::Uuid> {
  size_t operator()(const orlo::Uuid& uuid) const noexcept { return uuid.Hash(); }
};
