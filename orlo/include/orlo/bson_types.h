// What BSON is made of: types, limits, announced sizes, and one decoded element.
#pragma once

#include <bit>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "orlo/export.h"

namespace orlo {

/// The type byte in front of each element's key.
enum class BsonType : uint8_t {
  kDouble = 0x01,
  kString = 0x02,
  kDocument = 0x03,
  kArray = 0x04,
  kBinary = 0x05,
  kBool = 0x08,
  kDateTime = 0x09,
  kNull = 0x0A,
  kInt32 = 0x10,
  kInt64 = 0x12,
};

/// How many documents and arrays may be open at once; the outermost is one of them.
constexpr size_t kBsonMaxDepth = 100;

/// The bytes of the largest document: its length is a signed 32-bit number.
constexpr size_t kBsonMaxSize = INT32_MAX;

/// A moment, in milliseconds since 1970-01-01 00:00 UTC.
struct BsonDateTime {
  int64_t milliseconds = 0;

  friend bool operator==(const BsonDateTime&, const BsonDateTime&) = default;
};

/// Announces a map of so many keys, each followed by its value.
class BsonMapSize {
 public:
  ORLO_INLINE_API explicit BsonMapSize(size_t count = 0) noexcept : count_(count) {}
  ORLO_INLINE_API size_t Count() const noexcept { return count_; }

 private:
  size_t count_;
};

/// Announces a tuple of so many values.
class BsonTupleSize {
 public:
  ORLO_INLINE_API explicit BsonTupleSize(size_t count = 0) noexcept : count_(count) {}
  ORLO_INLINE_API size_t Count() const noexcept { return count_; }

 private:
  size_t count_;
};

/// Integers but for bool and the character types.
template <class T>
concept BsonInteger = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> &&
                      !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                      !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/// One decoded element: its key, its type and a view of its value. Key and value are lent by the
/// bytes that were decoded and valid as long as those are.
class BsonItem {
 public:
  /// A null without a key.
  ORLO_INLINE_API BsonItem() noexcept : BsonItem(BsonType::kNull, 0, {}) {}

  ORLO_INLINE_API BsonType Type() const noexcept { return type_; }
  /// The key in a map; in a tuple the index in decimal digits.
  ORLO_INLINE_API std::string_view Key() const noexcept { return key_; }
  ORLO_INLINE_API bool IsNull() const noexcept { return type_ == BsonType::kNull; }

  /// Each Get writes the value and returns true when it is of that type; else it returns false and
  /// leaves the target alone. Integers also fit other numeric targets that hold them exactly;
  /// nothing else is converted.
  ORLO_INLINE_API bool Get(bool* value) const noexcept;
  ORLO_INLINE_API bool Get(int32_t* value) const noexcept;
  ORLO_INLINE_API bool Get(int64_t* value) const noexcept;
  ORLO_INLINE_API bool Get(double* value) const noexcept;
  ORLO_INLINE_API bool Get(BsonDateTime* value) const noexcept;
  ORLO_INLINE_API bool Get(std::string_view* text) const noexcept;
  ORLO_INLINE_API bool Get(std::string* text) const;
  ORLO_INLINE_API bool Get(std::span<const uint8_t>* binary) const noexcept;
  ORLO_INLINE_API bool Get(std::vector<uint8_t>* binary) const;

  /// The bytes of a document or an array, for an unpacker of its own; empty for other types.
  ORLO_INLINE_API std::span<const uint8_t> Nested() const noexcept;

 private:
  friend class BsonBox;
  friend class BsonPacker;
  friend class BsonUnpacker;

  ORLO_INLINE_API BsonItem(BsonType type, uint64_t bits, std::span<const uint8_t> bytes) noexcept
      : bytes_(bytes), bits_(bits), type_(type) {}

  std::string_view key_;
  std::span<const uint8_t> bytes_;  // of a string without its NUL, a binary, a document, an array
  uint64_t bits_;                   // of a bool, a number (integers sign-extended), a moment
  BsonType type_;
};

inline bool BsonItem::Get(bool* value) const noexcept {
  if (type_ != BsonType::kBool) return false;
  *value = bits_ != 0;
  return true;
}

inline bool BsonItem::Get(int32_t* value) const noexcept {
  int64_t wide = 0;
  if (!Get(&wide) || wide < INT32_MIN || wide > INT32_MAX) return false;
  *value = static_cast<int32_t>(wide);
  return true;
}

inline bool BsonItem::Get(int64_t* value) const noexcept {
  if (type_ != BsonType::kInt32 && type_ != BsonType::kInt64) return false;
  *value = static_cast<int64_t>(bits_);
  return true;
}

inline bool BsonItem::Get(double* value) const noexcept {
  if (type_ == BsonType::kDouble) {
    *value = std::bit_cast<double>(bits_);
    return true;
  }
  constexpr int64_t kExact = int64_t{1} << 53;  // doubles hold every integer up to here
  int64_t whole = 0;
  if (!Get(&whole) || whole < -kExact || whole > kExact) return false;
  *value = static_cast<double>(whole);
  return true;
}

inline bool BsonItem::Get(BsonDateTime* value) const noexcept {
  if (type_ != BsonType::kDateTime) return false;
  value->milliseconds = static_cast<int64_t>(bits_);
  return true;
}

inline bool BsonItem::Get(std::string_view* text) const noexcept {
  if (type_ != BsonType::kString) return false;
  *text = {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()};
  return true;
}

inline bool BsonItem::Get(std::string* text) const {
  std::string_view view;
  if (!Get(&view)) return false;
  text->assign(view);
  return true;
}

inline bool BsonItem::Get(std::span<const uint8_t>* binary) const noexcept {
  if (type_ != BsonType::kBinary) return false;
  *binary = bytes_;
  return true;
}

inline bool BsonItem::Get(std::vector<uint8_t>* binary) const {
  std::span<const uint8_t> view;
  if (!Get(&view)) return false;
  binary->assign(view.begin(), view.end());
  return true;
}

inline std::span<const uint8_t> BsonItem::Nested() const noexcept {
  const bool nested = type_ == BsonType::kDocument || type_ == BsonType::kArray;
  return nested ? bytes_ : std::span<const uint8_t>();
}

namespace detail {

/// What an integer travels as: 32 bits where the type always fits those, else 64.
template <BsonInteger T>
using BsonNumber = std::conditional_t<std::in_range<int32_t>(std::numeric_limits<T>::min()) &&
                                          std::in_range<int32_t>(std::numeric_limits<T>::max()),
                                      int32_t, int64_t>;

/// Whether a text is UTF-8: no stray, overlong or cut sequence, no surrogate, nothing above
/// U+10FFFF.
inline bool IsUtf8(std::string_view text) noexcept {
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<uint8_t>(text[i++]);
    if (lead < 0x80) continue;
    if (lead < 0xC2 || lead > 0xF4) return false;
    const size_t tail = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    if (text.size() - i < tail) return false;
    // Overlong forms, surrogates and too large values show in the second byte.
    const uint8_t lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const uint8_t highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    const auto second = static_cast<uint8_t>(text[i]);
    if (second < lowest || second > highest) return false;
    for (size_t k = 1; k < tail; ++k) {
      if ((static_cast<uint8_t>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    i += tail;
  }
  return true;
}

/// The key of a tuple's value: its index in decimal digits.
class BsonIndex {
 public:
  explicit BsonIndex(size_t index) noexcept
      : size_(static_cast<size_t>(std::to_chars(text_, text_ + sizeof(text_), index).ptr - text_)) {
  }
  std::string_view Text() const noexcept { return {text_, size_}; }

 private:
  char text_[20];  // as many digits as 64 bits have
  size_t size_;
};

}  // namespace detail
}  // namespace orlo
