// A BSON value that owns all that is in it.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "orlo/bson_types.h"

namespace orlo {

/// A value of any BSON type, arrays and documents with all that they hold:
///
///     orlo::BsonBox clip = orlo::BsonBox::Document{{"name", "intro"},
///                                                  {"cuts", orlo::BsonBox::Array{3, 8}}};
///
/// Copies are deep. One thread at a time per value; different values are independent.
class BsonBox {
 public:
  using Binary = std::vector<uint8_t>;
  using Array = std::vector<BsonBox>;
  struct Member;
  using Document = std::vector<Member>;  ///< in the order of the bytes, equal keys included

  /// A null.
  ORLO_INLINE_API BsonBox() noexcept;
  ORLO_INLINE_API BsonBox(std::nullptr_t) noexcept;
  ORLO_INLINE_API BsonBox(double value) noexcept;
  ORLO_INLINE_API BsonBox(BsonDateTime value) noexcept;
  /// A null pointer counts as the empty text.
  ORLO_INLINE_API BsonBox(const char* text);
  ORLO_INLINE_API BsonBox(std::string_view text);
  ORLO_INLINE_API BsonBox(std::string text) noexcept;
  ORLO_INLINE_API BsonBox(Binary bytes) noexcept;
  ORLO_INLINE_API BsonBox(Array values) noexcept;
  ORLO_INLINE_API BsonBox(Document members) noexcept;
  template <std::same_as<bool> T>
  BsonBox(T value) noexcept;
  /// Of 32 bits where the type always fits those, else of 64; unsigned types of 64 bits fit
  /// neither.
  template <BsonInteger T>
  requires(std::signed_integral<T> || sizeof(T) < sizeof(int64_t)) BsonBox(T value)
  noexcept;

  ORLO_INLINE_API BsonBox(const BsonBox& other);
  ORLO_INLINE_API BsonBox(BsonBox&& other) noexcept;
  ORLO_INLINE_API BsonBox& operator=(const BsonBox& other);
  ORLO_INLINE_API BsonBox& operator=(BsonBox&& other) noexcept;
  ORLO_INLINE_API ~BsonBox();

  ORLO_INLINE_API BsonType Type() const noexcept;
  ORLO_INLINE_API bool IsNull() const noexcept;

  /// Writes the value to what BsonItem::Get takes, on the same terms; views are lent by this box.
  template <class T>
  bool Get(T* value) const {
    return View().Get(value);
  }

  /// The values of an array, lent; null when it is none.
  ORLO_INLINE_API const Array* GetArray() const noexcept;
  ORLO_INLINE_API Array* GetArray() noexcept;
  /// The members of a document, lent; null when it is none.
  ORLO_INLINE_API const Document* GetDocument() const noexcept;
  ORLO_INLINE_API Document* GetDocument() noexcept;

  /// The value at an index of an array, lent; null when there is none.
  ORLO_INLINE_API const BsonBox* At(size_t index) const noexcept;
  /// The value of the first member of that key, lent; null when there is none.
  ORLO_INLINE_API const BsonBox* Find(std::string_view key) const noexcept;

  /// Same type and value, throughout: the integers 1 of 32 and of 64 bits differ, so do two
  /// documents with one order each.
  ORLO_INLINE_API bool operator==(const BsonBox& other) const noexcept;

 private:
  friend class BsonPacker;

  /// Arrays and documents without their bytes.
  ORLO_INLINE_API BsonItem View() const noexcept;

  std::variant<std::monostate, bool, int32_t, int64_t, double, BsonDateTime, std::string, Binary,
               Array, Document>
      value_;
};

struct BsonBox::Member {
  std::string key;
  BsonBox value;

  friend bool operator==(const Member& a, const Member& b) noexcept {
    return a.key == b.key && a.value == b.value;
  }
};

inline BsonBox::BsonBox() noexcept {}
inline BsonBox::BsonBox(std::nullptr_t) noexcept {}
inline BsonBox::BsonBox(double value) noexcept : value_(value) {}
inline BsonBox::BsonBox(BsonDateTime value) noexcept : value_(value) {}
inline BsonBox::BsonBox(const char* text) : value_(std::string(text != nullptr ? text : "")) {}
inline BsonBox::BsonBox(std::string_view text) : value_(std::string(text)) {}
inline BsonBox::BsonBox(std::string text) noexcept : value_(std::move(text)) {}
inline BsonBox::BsonBox(Binary bytes) noexcept : value_(std::move(bytes)) {}
inline BsonBox::BsonBox(Array values) noexcept : value_(std::move(values)) {}
inline BsonBox::BsonBox(Document members) noexcept : value_(std::move(members)) {}
template <std::same_as<bool> T>
BsonBox::BsonBox(T value) noexcept : value_(value) {}
template <BsonInteger T>
requires(std::signed_integral<T> || sizeof(T) < sizeof(int64_t)) BsonBox::BsonBox(T value)
noexcept : value_(detail::BsonNumber<T>(value)) {}
inline BsonBox::BsonBox(const BsonBox& other) = default;
inline BsonBox::BsonBox(BsonBox&& other) noexcept = default;
inline BsonBox& BsonBox::operator=(const BsonBox& other) = default;
inline BsonBox& BsonBox::operator=(BsonBox&& other) noexcept = default;
inline BsonBox::~BsonBox() = default;

inline BsonType BsonBox::Type() const noexcept { return View().Type(); }
inline bool BsonBox::IsNull() const noexcept { return Type() == BsonType::kNull; }

inline const BsonBox::Array* BsonBox::GetArray() const noexcept {
  return std::get_if<Array>(&value_);
}
inline BsonBox::Array* BsonBox::GetArray() noexcept { return std::get_if<Array>(&value_); }

inline const BsonBox::Document* BsonBox::GetDocument() const noexcept {
  return std::get_if<Document>(&value_);
}
inline BsonBox::Document* BsonBox::GetDocument() noexcept { return std::get_if<Document>(&value_); }

inline const BsonBox* BsonBox::At(size_t index) const noexcept {
  const Array* values = GetArray();
  return values != nullptr && index < values->size() ? values->data() + index : nullptr;
}

inline const BsonBox* BsonBox::Find(std::string_view key) const noexcept {
  const Document* members = GetDocument();
  if (members == nullptr) return nullptr;
  for (const Member& member : *members) {
    if (member.key == key) return &member.value;
  }
  return nullptr;
}

inline bool BsonBox::operator==(const BsonBox& other) const noexcept {
  return value_ == other.value_;
}

inline BsonItem BsonBox::View() const noexcept {
  struct Viewer {
    BsonItem operator()(std::monostate) const { return {}; }
    BsonItem operator()(bool value) const { return {BsonType::kBool, value ? 1U : 0U, {}}; }
    BsonItem operator()(int32_t value) const { return Number(BsonType::kInt32, value); }
    BsonItem operator()(int64_t value) const { return Number(BsonType::kInt64, value); }
    BsonItem operator()(double value) const {
      return {BsonType::kDouble, std::bit_cast<uint64_t>(value), {}};
    }
    BsonItem operator()(BsonDateTime value) const {
      return Number(BsonType::kDateTime, value.milliseconds);
    }
    BsonItem operator()(const std::string& text) const {
      const auto* data = reinterpret_cast<const uint8_t*>(text.data());
      return {BsonType::kString, 0, {data, text.size()}};
    }
    BsonItem operator()(const Binary& bytes) const { return {BsonType::kBinary, 0, bytes}; }
    BsonItem operator()(const Array&) const { return {BsonType::kArray, 0, {}}; }
    BsonItem operator()(const Document&) const { return {BsonType::kDocument, 0, {}}; }

    static BsonItem Number(BsonType type, int64_t value) {
      return {type, static_cast<uint64_t>(value), {}};
    }
  };
  return std::visit(Viewer(), value_);
}

}  // namespace orlo
