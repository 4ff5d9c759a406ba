// Writes BSON, value by value.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "orlo/bson_box.h"
#include "orlo/bson_types.h"

namespace orlo {

/// Packs one document. The first thing in is its BsonMapSize or BsonTupleSize; each map then takes
/// key, value, key, value, each tuple its values, as many as announced, and the last one closes it.
/// A value may be a map or a tuple itself.
///
/// What does not fit makes the packer fail: a value too many, a value where a key is due, a key
/// with a NUL inside, text that is not UTF-8, more than kBsonMaxDepth levels or kBsonMaxSize bytes,
/// an unsigned number above INT64_MAX. It then takes nothing more and has no bytes. Without memory
/// an operation throws std::bad_alloc; a single value, key or size is then not in, of a container
/// some part may be. One thread at a time.
class BsonPacker {
 public:
  ORLO_INLINE_API BsonPacker() noexcept;
  BsonPacker(const BsonPacker&) = delete;
  BsonPacker& operator=(const BsonPacker&) = delete;
  ORLO_INLINE_API ~BsonPacker();

  /// Opens a map or a tuple; an empty one is closed at once.
  ORLO_INLINE_API BsonPacker& operator<<(BsonMapSize size);
  ORLO_INLINE_API BsonPacker& operator<<(BsonTupleSize size);

  /// A key where one is due, else a string value. A null pointer counts as the empty text.
  ORLO_INLINE_API BsonPacker& operator<<(std::string_view text);
  ORLO_INLINE_API BsonPacker& operator<<(const char* text);

  ORLO_INLINE_API BsonPacker& operator<<(std::nullptr_t);
  ORLO_INLINE_API BsonPacker& operator<<(BsonDateTime value);
  /// Binary of subtype 0.
  ORLO_INLINE_API BsonPacker& operator<<(std::span<const uint8_t> binary);
  template <std::same_as<bool> T>
  BsonPacker& operator<<(T value) {
    return PackBool(value);
  }
  /// Of 32 bits where the type always fits those, else of 64.
  template <BsonInteger T>
  BsonPacker& operator<<(T value);
  template <std::floating_point T>
  requires(sizeof(T) <= sizeof(double)) BsonPacker& operator<<(T value) {
    return PackDouble(value);
  }
  /// A whole tree; with nothing else open it must be a document or an array.
  template <std::same_as<BsonBox> T>
  BsonPacker& operator<<(const T& box) {
    return PackBox(box);
  }

  /// A vector and a tuple become tuples, a map becomes a map, an empty optional a null.
  template <class T, class A>
  requires(!std::same_as<T, uint8_t>) BsonPacker& operator<<(const std::vector<T, A>& values);
  template <class... T>
  BsonPacker& operator<<(const std::tuple<T...>& values);
  template <class T, class C, class A>
  BsonPacker& operator<<(const std::map<std::string, T, C, A>& members);
  template <class T>
  BsonPacker& operator<<(const std::optional<T>& value);

  /// False once the packer has failed.
  ORLO_INLINE_API bool Ok() const noexcept { return ok_; }
  /// Whether everything that was announced is in.
  ORLO_INLINE_API bool Complete() const noexcept { return ok_ && depth_ == 0 && !bytes_.empty(); }
  /// The document, lent until the packer changes; empty unless complete.
  ORLO_INLINE_API std::span<const uint8_t> Bytes() const noexcept;
  /// Gives the document away and starts afresh; empty, and as before, unless complete.
  ORLO_INLINE_API std::vector<uint8_t> Take() noexcept;
  /// Forgets everything but the memory, failures included.
  ORLO_INLINE_API void Reset() noexcept;

 private:
  /// A document or an array that is not closed yet.
  struct Level {
    size_t start = 0;      // of its length
    size_t remaining = 0;  // values to come
    size_t index = 0;      // of the next value; tuples only
    size_t type = 0;       // where the type byte of the key that waits for its value is
    bool is_map = false;
    bool has_key = false;
  };

  ORLO_INLINE_API BsonPacker& PackBool(bool value);
  ORLO_INLINE_API BsonPacker& PackInteger(int32_t value);
  ORLO_INLINE_API BsonPacker& PackInteger(int64_t value);
  ORLO_INLINE_API BsonPacker& PackDouble(double value);
  ORLO_INLINE_API BsonPacker& PackBox(const BsonBox& box);

  ORLO_INLINE_API BsonPacker& Open(size_t count, bool is_map);
  ORLO_INLINE_API BsonPacker& PackKey(std::string_view key);
  ORLO_INLINE_API BsonPacker& PackString(std::string_view text);
  ORLO_INLINE_API BsonPacker& PackNumber(BsonType type, uint64_t bits, size_t size);
  /// Writes what stands in front of a value, and sees to it that the value and the ends of all that
  /// is open have room; fails where no value is due.
  ORLO_INLINE_API bool BeginValue(BsonType type, size_t size);
  ORLO_INLINE_API bool KeyIsDue() const noexcept;
  ORLO_INLINE_API bool Grow(size_t size);
  ORLO_INLINE_API void CloseFull() noexcept;
  ORLO_INLINE_API BsonPacker& Fail() noexcept;

  // These have room already.
  ORLO_INLINE_API void Append(const void* data, size_t size) noexcept;
  ORLO_INLINE_API void AppendLittle(uint64_t value, size_t size) noexcept;

  std::vector<uint8_t> bytes_;
  std::array<Level, kBsonMaxDepth> levels_;
  size_t depth_ = 0;
  bool ok_ = true;
};

inline BsonPacker::BsonPacker() noexcept {}
inline BsonPacker::~BsonPacker() = default;

inline BsonPacker& BsonPacker::operator<<(BsonMapSize size) { return Open(size.Count(), true); }
inline BsonPacker& BsonPacker::operator<<(BsonTupleSize size) { return Open(size.Count(), false); }

inline BsonPacker& BsonPacker::operator<<(std::string_view text) {
  return KeyIsDue() ? PackKey(text) : PackString(text);
}
inline BsonPacker& BsonPacker::operator<<(const char* text) {
  return *this << (text != nullptr ? std::string_view(text) : std::string_view());
}
inline BsonPacker& BsonPacker::operator<<(std::nullptr_t) {
  return PackNumber(BsonType::kNull, 0, 0);
}
inline BsonPacker& BsonPacker::operator<<(BsonDateTime value) {
  return PackNumber(BsonType::kDateTime, static_cast<uint64_t>(value.milliseconds), 8);
}
inline BsonPacker& BsonPacker::operator<<(std::span<const uint8_t> binary) {
  constexpr uint8_t kSubtype = 0;
  if (binary.size() > kBsonMaxSize) return Fail();
  if (!BeginValue(BsonType::kBinary, 4 + sizeof(kSubtype) + binary.size())) return *this;
  AppendLittle(binary.size(), 4);
  Append(&kSubtype, sizeof(kSubtype));
  Append(binary.data(), binary.size());
  CloseFull();
  return *this;
}

template <BsonInteger T>
BsonPacker& BsonPacker::operator<<(T value) {
  if (!std::in_range<int64_t>(value)) return Fail();
  return PackInteger(static_cast<detail::BsonNumber<T>>(value));
}

template <class T, class A>
requires(!std::same_as<T, uint8_t>)
    BsonPacker& BsonPacker::operator<<(const std::vector<T, A>& values) {
  *this << BsonTupleSize(values.size());
  for (auto&& value : values) *this << value;
  return *this;
}

template <class... T>
BsonPacker& BsonPacker::operator<<(const std::tuple<T...>& values) {
  *this << BsonTupleSize(sizeof...(T));
  std::apply([this](const T&... value) { (void)(*this << ... << value); }, values);
  return *this;
}

template <class T, class C, class A>
BsonPacker& BsonPacker::operator<<(const std::map<std::string, T, C, A>& members) {
  *this << BsonMapSize(members.size());
  for (const auto& [key, value] : members) *this << key << value;
  return *this;
}

template <class T>
BsonPacker& BsonPacker::operator<<(const std::optional<T>& value) {
  return value.has_value() ? *this << *value : *this << nullptr;
}

inline std::span<const uint8_t> BsonPacker::Bytes() const noexcept {
  return Complete() ? std::span<const uint8_t>(bytes_) : std::span<const uint8_t>();
}

inline std::vector<uint8_t> BsonPacker::Take() noexcept {
  std::vector<uint8_t> taken;
  if (Complete()) taken.swap(bytes_);
  return taken;
}

inline void BsonPacker::Reset() noexcept {
  bytes_.clear();
  depth_ = 0;
  ok_ = true;
}

inline BsonPacker& BsonPacker::PackBool(bool value) {
  return PackNumber(BsonType::kBool, value ? 1 : 0, 1);
}
inline BsonPacker& BsonPacker::PackInteger(int32_t value) {
  return PackNumber(BsonType::kInt32, static_cast<uint32_t>(value), 4);
}
inline BsonPacker& BsonPacker::PackInteger(int64_t value) {
  return PackNumber(BsonType::kInt64, static_cast<uint64_t>(value), 8);
}
inline BsonPacker& BsonPacker::PackDouble(double value) {
  return PackNumber(BsonType::kDouble, std::bit_cast<uint64_t>(value), 8);
}

// As deep as the tree, but never deeper than kBsonMaxDepth: the level behind that fails.
inline BsonPacker& BsonPacker::PackBox(const BsonBox& box) {
  if (const BsonBox::Document* members = box.GetDocument()) {
    Open(members->size(), true);
    for (size_t i = 0; ok_ && i < members->size(); ++i) {
      PackKey((*members)[i].key);
      PackBox((*members)[i].value);
    }
    return *this;
  }
  if (const BsonBox::Array* values = box.GetArray()) {
    Open(values->size(), false);
    for (size_t i = 0; ok_ && i < values->size(); ++i) PackBox((*values)[i]);
    return *this;
  }
  const BsonItem value = box.View();
  switch (value.type_) {
    case BsonType::kString:
      return PackString({reinterpret_cast<const char*>(value.bytes_.data()), value.bytes_.size()});
    case BsonType::kBinary: return *this << value.bytes_;
    case BsonType::kNull: return PackNumber(value.type_, 0, 0);
    case BsonType::kBool: return PackNumber(value.type_, value.bits_, 1);
    case BsonType::kInt32: return PackNumber(value.type_, value.bits_, 4);
    default: return PackNumber(value.type_, value.bits_, 8);
  }
}

inline BsonPacker& BsonPacker::Open(size_t count, bool is_map) {
  constexpr size_t kEmpty = 5;  // a length and the NUL at the end
  if (!ok_) return *this;
  if (depth_ == kBsonMaxDepth) return Fail();
  if (depth_ == 0) {
    if (!bytes_.empty()) return Fail();  // there is a document already
    Grow(kEmpty);
  } else if (!BeginValue(is_map ? BsonType::kDocument : BsonType::kArray, kEmpty)) {
    return *this;
  }
  Level& level = levels_[depth_++];
  level = Level();
  level.start = bytes_.size();
  level.remaining = count;
  level.is_map = is_map;
  AppendLittle(0, 4);
  CloseFull();
  return *this;
}

inline BsonPacker& BsonPacker::PackKey(std::string_view key) {
  if (!ok_) return *this;
  if (!KeyIsDue() || key.size() > kBsonMaxSize || key.find('\0') != std::string_view::npos ||
      !detail::IsUtf8(key)) {
    return Fail();
  }
  if (!Grow(1 + key.size() + 1)) return *this;
  Level& level = levels_[depth_ - 1];
  level.type = bytes_.size();
  level.has_key = true;
  AppendLittle(0, 1);
  Append(key.data(), key.size());
  AppendLittle(0, 1);
  return *this;
}

inline BsonPacker& BsonPacker::PackString(std::string_view text) {
  if (!ok_) return *this;
  if (text.size() > kBsonMaxSize || !detail::IsUtf8(text)) return Fail();
  if (!BeginValue(BsonType::kString, 4 + text.size() + 1)) return *this;
  AppendLittle(text.size() + 1, 4);
  Append(text.data(), text.size());
  AppendLittle(0, 1);
  CloseFull();
  return *this;
}

inline BsonPacker& BsonPacker::PackNumber(BsonType type, uint64_t bits, size_t size) {
  if (!BeginValue(type, size)) return *this;
  AppendLittle(bits, size);
  CloseFull();
  return *this;
}

inline bool BsonPacker::BeginValue(BsonType type, size_t size) {
  if (!ok_) return false;
  if (depth_ == 0 || KeyIsDue()) {
    Fail();
    return false;
  }
  Level& level = levels_[depth_ - 1];
  if (level.is_map) {
    if (!Grow(size)) return false;
    bytes_[level.type] = static_cast<uint8_t>(type);
    level.has_key = false;
  } else {
    const detail::BsonIndex index(level.index);
    const std::string_view key = index.Text();
    if (!Grow(1 + key.size() + 1 + size)) return false;
    AppendLittle(static_cast<uint8_t>(type), 1);
    Append(key.data(), key.size());
    AppendLittle(0, 1);
    ++level.index;
  }
  --level.remaining;
  return true;
}

inline bool BsonPacker::KeyIsDue() const noexcept {
  return depth_ > 0 && levels_[depth_ - 1].is_map && !levels_[depth_ - 1].has_key;
}

inline bool BsonPacker::Grow(size_t size) {
  const size_t needed = bytes_.size() + size + depth_;
  if (needed > kBsonMaxSize) {
    Fail();
    return false;
  }
  if (needed > bytes_.capacity()) bytes_.reserve(std::max(needed, 2 * bytes_.capacity()));
  return true;
}

inline void BsonPacker::CloseFull() noexcept {
  while (depth_ > 0 && levels_[depth_ - 1].remaining == 0) {
    AppendLittle(0, 1);
    const size_t start = levels_[--depth_].start;
    const size_t size = bytes_.size() - start;
    for (size_t i = 0; i < 4; ++i) bytes_[start + i] = static_cast<uint8_t>(size >> (8 * i));
  }
}

inline BsonPacker& BsonPacker::Fail() noexcept {
  ok_ = false;
  bytes_.clear();
  return *this;
}

inline void BsonPacker::Append(const void* data, size_t size) noexcept {
  const auto* first = static_cast<const uint8_t*>(data);
  bytes_.insert(bytes_.end(), first, first + size);
}

inline void BsonPacker::AppendLittle(uint64_t value, size_t size) noexcept {
  for (size_t i = 0; i < size; ++i) bytes_.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

}  // namespace orlo
