// Reads BSON, value by value, from bytes that nobody vouches for.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
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

/// Unpacks one document in the order of its bytes, which are lent until the unpacker and the views
/// it gave are gone.
///
/// The whole of the document is looked at first. It is refused unless it is exactly as long as it
/// says; every length stays within what holds it; documents, arrays, keys and strings end in NUL;
/// bools are 0 or 1; the keys of arrays are "0", "1" and so on; keys and strings are UTF-8 (strings
/// may hold NULs); and at most kBsonMaxDepth levels are open at once. Other types and subtypes than
/// those of bson.h are refused as well. Equal keys in one document are no error.
///
/// The first operation is `>> BsonMapSize` or `>> BsonTupleSize`, which enters the document; each
/// map then gives key, value, key, value, each tuple its values, and the last one leaves it. Asking
/// for anything else than what comes next, or for a type that it does not fit, makes the unpacker
/// fail: it gives nothing more, and leaves the targets of that and every later operation alone
/// (containers come whole or not at all). Bad input never throws. One thread at a time.
class BsonUnpacker {
 public:
  ORLO_INLINE_API explicit BsonUnpacker(std::span<const uint8_t> document) noexcept;

  /// False when the document is malformed or an operation has failed.
  ORLO_INLINE_API bool Ok() const noexcept { return ok_; }
  ORLO_INLINE_API explicit operator bool() const noexcept { return ok_; }
  /// Whether everything has been read.
  ORLO_INLINE_API bool AtEnd() const noexcept { return ok_ && at_ == bytes_.size(); }

  /// Enters a map or a tuple and tells how much is in it; an empty one is left at once. The
  /// outermost may be entered as either, if its keys are those of an array.
  ORLO_INLINE_API BsonUnpacker& operator>>(BsonMapSize& size) noexcept;
  ORLO_INLINE_API BsonUnpacker& operator>>(BsonTupleSize& size) noexcept;

  /// The next element whole, nested ones without entering them; in a map with its key, read before
  /// or not.
  ORLO_INLINE_API BsonUnpacker& operator>>(BsonItem& item) noexcept;
  /// The same without stepping over it; false, and `item` left alone, where no value comes next.
  ORLO_INLINE_API bool Peek(BsonItem* item) const noexcept;

  /// A key where one is due, else a string value. Views are lent by the document's bytes.
  ORLO_INLINE_API BsonUnpacker& operator>>(std::string_view& text) noexcept;
  ORLO_INLINE_API BsonUnpacker& operator>>(std::string& text);

  /// Any other value as BsonItem::Get converts it.
  template <class T>
  requires requires(const BsonItem& item, T* value) { item.Get(value); }
  BsonUnpacker& operator>>(T& value);
  /// Further integer types, if they hold the number.
  template <BsonInteger T>
  requires(!std::same_as<T, int32_t> && !std::same_as<T, int64_t>) BsonUnpacker& operator>>(
      T& value);
  /// A null.
  ORLO_INLINE_API BsonUnpacker& operator>>(std::nullptr_t) noexcept;
  /// Any value with all that is in it; before anything else, the whole as a document.
  ORLO_INLINE_API BsonUnpacker& operator>>(BsonBox& box);

  /// Tuples become vectors, and tuples of that many elements; maps become maps, with the first of
  /// equal keys; a null leaves an optional empty.
  template <class T, class A>
  requires(!std::same_as<T, uint8_t>) BsonUnpacker& operator>>(std::vector<T, A>& values);
  template <class... T>
  BsonUnpacker& operator>>(std::tuple<T...>& values);
  template <class T, class C, class A>
  BsonUnpacker& operator>>(std::map<std::string, T, C, A>& members);
  template <class T>
  BsonUnpacker& operator>>(std::optional<T>& value);

 private:
  /// A document or an array that was entered.
  struct Level {
    size_t terminator = 0;  // where its NUL is
    size_t remaining = 0;   // values to come
    bool is_map = false;
    bool has_key = false;
  };

  ORLO_INLINE_API bool Validate() const noexcept;
  /// Reads the element at `at`, of something that ends with the NUL at `terminator`. Returns where
  /// the next one begins; 0 when it is malformed. Looks neither into nested ones nor at encodings.
  ORLO_INLINE_API size_t ReadElement(size_t at, size_t terminator, BsonItem* item) const noexcept;
  /// The same of what comes next; 0 when there is nothing.
  ORLO_INLINE_API size_t ReadNext(BsonItem* item) const noexcept;
  ORLO_INLINE_API static bool IsNested(BsonType type) noexcept;
  ORLO_INLINE_API uint64_t Load(size_t at, size_t size) const noexcept;

  ORLO_INLINE_API bool Enter(bool is_map, size_t* count) noexcept;
  /// Takes the next value, whose key has been read.
  ORLO_INLINE_API bool TakeValue(BsonItem* item) noexcept;
  /// Leaves whatever has been read to its end.
  ORLO_INLINE_API void LeaveRead() noexcept;
  ORLO_INLINE_API bool KeyIsDue() const noexcept;
  ORLO_INLINE_API void Fail() noexcept { ok_ = false; }
  ORLO_INLINE_API BsonBox Build(const BsonItem& item) const;

  std::span<const uint8_t> bytes_;
  std::array<Level, kBsonMaxDepth> levels_;
  size_t depth_ = 0;
  size_t at_ = 0;
  bool ok_;
};

inline BsonUnpacker::BsonUnpacker(std::span<const uint8_t> document) noexcept
    : bytes_(document), ok_(Validate()) {}

inline BsonUnpacker& BsonUnpacker::operator>>(BsonMapSize& size) noexcept {
  size_t count = 0;
  if (Enter(true, &count)) size = BsonMapSize(count);
  return *this;
}

inline BsonUnpacker& BsonUnpacker::operator>>(BsonTupleSize& size) noexcept {
  size_t count = 0;
  if (Enter(false, &count)) size = BsonTupleSize(count);
  return *this;
}

inline BsonUnpacker& BsonUnpacker::operator>>(BsonItem& item) noexcept {
  const size_t next = ReadNext(&item);
  if (next == 0) {
    Fail();
    return *this;
  }
  --levels_[depth_ - 1].remaining;
  levels_[depth_ - 1].has_key = false;
  at_ = next;
  LeaveRead();
  return *this;
}

inline bool BsonUnpacker::Peek(BsonItem* item) const noexcept { return ReadNext(item) != 0; }

inline BsonUnpacker& BsonUnpacker::operator>>(std::string_view& text) noexcept {
  BsonItem item;
  if (KeyIsDue() && Peek(&item)) {
    levels_[depth_ - 1].has_key = true;
    text = item.Key();
  } else if (TakeValue(&item) && !item.Get(&text)) {
    Fail();
  }
  return *this;
}

inline BsonUnpacker& BsonUnpacker::operator>>(std::string& text) {
  std::string_view view;
  if (*this >> view) text.assign(view);
  return *this;
}

template <class T>
requires requires(const BsonItem& item, T* value) { item.Get(value); }
BsonUnpacker& BsonUnpacker::operator>>(T& value) {
  BsonItem item;
  if (TakeValue(&item) && !item.Get(&value)) Fail();
  return *this;
}

template <BsonInteger T>
requires(!std::same_as<T, int32_t> &&
         !std::same_as<T, int64_t>) BsonUnpacker& BsonUnpacker::operator>>(T& value) {
  int64_t wide = 0;
  if (!(*this >> wide)) return *this;
  if (std::in_range<T>(wide)) {
    value = static_cast<T>(wide);
  } else {
    Fail();
  }
  return *this;
}

inline BsonUnpacker& BsonUnpacker::operator>>(std::nullptr_t) noexcept {
  BsonItem item;
  if (TakeValue(&item) && !item.IsNull()) Fail();
  return *this;
}

inline BsonUnpacker& BsonUnpacker::operator>>(BsonBox& box) {
  BsonItem item;
  if (ok_ && at_ == 0) {
    box = Build(BsonItem(BsonType::kDocument, 0, bytes_));
    at_ = bytes_.size();
  } else if (TakeValue(&item)) {
    box = Build(item);
  }
  return *this;
}

template <class T, class A>
requires(!std::same_as<T, uint8_t>)
    BsonUnpacker& BsonUnpacker::operator>>(std::vector<T, A>& values) {
  BsonTupleSize size;
  *this >> size;
  std::vector<T, A> read(values.get_allocator());
  for (size_t i = 0; ok_ && i < size.Count(); ++i) {
    T value{};
    *this >> value;
    read.push_back(std::move(value));
  }
  if (ok_) values = std::move(read);
  return *this;
}

template <class... T>
BsonUnpacker& BsonUnpacker::operator>>(std::tuple<T...>& values) {
  BsonTupleSize size;
  if (!(*this >> size)) return *this;
  std::tuple<T...> read;
  if (size.Count() == sizeof...(T)) {
    std::apply([this](T&... value) { (void)(*this >> ... >> value); }, read);
  } else {
    Fail();
  }
  if (ok_) values = std::move(read);
  return *this;
}

template <class T, class C, class A>
BsonUnpacker& BsonUnpacker::operator>>(std::map<std::string, T, C, A>& members) {
  BsonMapSize size;
  *this >> size;
  std::map<std::string, T, C, A> read(members.key_comp(), members.get_allocator());
  for (size_t i = 0; ok_ && i < size.Count(); ++i) {
    std::string key;
    T value{};
    *this >> key >> value;
    read.emplace(std::move(key), std::move(value));
  }
  if (ok_) members = std::move(read);
  return *this;
}

template <class T>
BsonUnpacker& BsonUnpacker::operator>>(std::optional<T>& value) {
  BsonItem item;
  if (Peek(&item) && item.IsNull()) {
    if (*this >> nullptr) value.reset();
    return *this;
  }
  T read{};
  if (*this >> read) value = std::move(read);
  return *this;
}

inline bool BsonUnpacker::Validate() const noexcept {
  constexpr size_t kEmpty = 5;  // a length and the NUL at the end
  if (bytes_.size() < kEmpty || bytes_.size() > kBsonMaxSize || Load(0, 4) != bytes_.size() ||
      bytes_.back() != 0) {
    return false;
  }
  struct Open {
    size_t terminator = 0;
    size_t index = 0;  // of the next value; arrays only
    bool is_array = false;
  };
  std::array<Open, kBsonMaxDepth> open;
  open[0].terminator = bytes_.size() - 1;
  size_t depth = 1;
  for (size_t at = 4; depth > 0;) {
    Open& inner = open[depth - 1];
    if (at == inner.terminator) {
      ++at;
      --depth;
      continue;
    }
    BsonItem item;
    const size_t next = ReadElement(at, inner.terminator, &item);
    if (next == 0 || !detail::IsUtf8(item.key_)) return false;
    if (inner.is_array && item.key_ != detail::BsonIndex(inner.index++).Text()) return false;
    std::string_view text;
    if (item.Get(&text) && !detail::IsUtf8(text)) return false;
    if (!IsNested(item.type_)) {
      at = next;
      continue;
    }
    if (depth == kBsonMaxDepth) return false;
    at = next - item.bytes_.size() + 4;
    open[depth++] = {next - 1, 0, item.type_ == BsonType::kArray};
  }
  return true;
}

inline size_t BsonUnpacker::ReadElement(size_t at, size_t terminator,
                                        BsonItem* item) const noexcept {
  if (at >= terminator) return 0;
  const uint8_t* key = bytes_.data() + at + 1;
  const void* nul = std::memchr(key, 0, terminator - at - 1);
  if (nul == nullptr) return 0;
  const auto key_size = static_cast<size_t>(static_cast<const uint8_t*>(nul) - key);

  // A value is of a fixed size, or has `head` bytes, the first four of which count those behind; a
  // document's count includes its own bytes.
  const auto type = static_cast<BsonType>(bytes_[at]);
  size_t size = 0;
  size_t head = 0;
  size_t least = 0;
  switch (type) {
    case BsonType::kNull: break;
    case BsonType::kBool: size = 1; break;
    case BsonType::kInt32: size = 4; break;
    case BsonType::kDouble:
    case BsonType::kDateTime:
    case BsonType::kInt64: size = 8; break;
    case BsonType::kBinary: head = 5; break;
    case BsonType::kString:
      head = 4;
      least = 1;
      break;
    case BsonType::kDocument:
    case BsonType::kArray: least = 5; break;
    default: return 0;
  }
  const bool counted = head + least > 0;
  const bool ends_in_nul = least > 0;
  const size_t value = at + 1 + key_size + 1;
  const size_t room = terminator - value;
  if (counted) {
    if (room < std::max<size_t>(head, 4)) return 0;
    const uint64_t count = Load(value, 4);
    if (count < least || count > room - head) return 0;
    size = head + static_cast<size_t>(count);
    if (ends_in_nul && bytes_[value + size - 1] != 0) return 0;
    if (type == BsonType::kBinary && bytes_[value + 4] != 0) return 0;  // the subtype
  } else if (size > room) {
    return 0;
  }

  uint64_t bits = counted ? 0 : Load(value, size);
  if (type == BsonType::kBool && bits > 1) return 0;
  if (type == BsonType::kInt32) {
    bits = static_cast<uint64_t>(int64_t{static_cast<int32_t>(static_cast<uint32_t>(bits))});
  }
  std::span<const uint8_t> bytes;
  if (counted) bytes = bytes_.subspan(value + head, size - head);
  if (type == BsonType::kString) bytes = bytes.first(bytes.size() - 1);
  *item = BsonItem(type, bits, bytes);
  item->key_ = {reinterpret_cast<const char*>(key), key_size};
  return value + size;
}

inline size_t BsonUnpacker::ReadNext(BsonItem* item) const noexcept {
  return ok_ && depth_ > 0 ? ReadElement(at_, levels_[depth_ - 1].terminator, item) : 0;
}

inline bool BsonUnpacker::IsNested(BsonType type) noexcept {
  return type == BsonType::kDocument || type == BsonType::kArray;
}

inline uint64_t BsonUnpacker::Load(size_t at, size_t size) const noexcept {
  uint64_t value = 0;
  for (size_t i = 0; i < size; ++i) value |= uint64_t{bytes_[at + i]} << (8 * i);
  return value;
}

inline bool BsonUnpacker::Enter(bool is_map, size_t* count) noexcept {
  BsonItem item;
  size_t first = 4;
  size_t end = bytes_.size();
  if (!ok_ || at_ > 0) {
    end = ReadNext(&item);
    if (end == 0 || KeyIsDue() || item.type_ != (is_map ? BsonType::kDocument : BsonType::kArray)) {
      Fail();
      return false;
    }
    first = end - item.bytes_.size() + 4;
  }

  const size_t terminator = end - 1;
  size_t values = 0;
  for (size_t at = first; at != terminator; ++values) {
    at = ReadElement(at, terminator, &item);
    if (!is_map && item.key_ != detail::BsonIndex(values).Text()) {
      Fail();
      return false;
    }
  }
  if (depth_ > 0) {
    --levels_[depth_ - 1].remaining;
    levels_[depth_ - 1].has_key = false;
  }
  levels_[depth_++] = {terminator, values, is_map, false};
  at_ = first;
  LeaveRead();
  *count = values;
  return true;
}

inline bool BsonUnpacker::TakeValue(BsonItem* item) noexcept {
  if (KeyIsDue()) Fail();
  *this >> *item;
  return ok_;
}

inline void BsonUnpacker::LeaveRead() noexcept {
  while (depth_ > 0 && levels_[depth_ - 1].remaining == 0) {
    at_ = levels_[--depth_].terminator + 1;
  }
}

inline bool BsonUnpacker::KeyIsDue() const noexcept {
  return depth_ > 0 && levels_[depth_ - 1].is_map && !levels_[depth_ - 1].has_key;
}

// As deep as the document, so never deeper than kBsonMaxDepth.
inline BsonBox BsonUnpacker::Build(const BsonItem& item) const {
  switch (item.type_) {
    case BsonType::kDocument:
    case BsonType::kArray: break;
    case BsonType::kDouble: return std::bit_cast<double>(item.bits_);
    case BsonType::kString: {
      std::string text;
      item.Get(&text);
      return text;
    }
    case BsonType::kBinary: return BsonBox::Binary(item.bytes_.begin(), item.bytes_.end());
    case BsonType::kBool: return item.bits_ != 0;
    case BsonType::kDateTime: return BsonDateTime{static_cast<int64_t>(item.bits_)};
    case BsonType::kNull: return {};
    case BsonType::kInt32: return static_cast<int32_t>(static_cast<int64_t>(item.bits_));
    case BsonType::kInt64: return static_cast<int64_t>(item.bits_);
  }
  BsonBox::Array values;
  BsonBox::Document members;
  const auto begin = static_cast<size_t>(item.bytes_.data() - bytes_.data());
  const size_t terminator = begin + item.bytes_.size() - 1;
  for (size_t at = begin + 4; at != terminator;) {
    BsonItem element;
    at = ReadElement(at, terminator, &element);
    if (item.type_ == BsonType::kArray) {
      values.push_back(Build(element));
    } else {
      members.push_back({std::string(element.key_), Build(element)});
    }
  }
  if (item.type_ == BsonType::kArray) return values;
  return members;
}

}  // namespace orlo
