// The engine's dynamically typed value: 16 bytes, small values in place, the rest in a holder.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <limits>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "orlo/export.h"

namespace orlo {

/// Thrown when a value is asked for as a type that it does not fit. what() is "ValAny Bad Access".
class ORLO_API AnyBadAccess : public std::exception {
 public:
  AnyBadAccess() noexcept = default;
  AnyBadAccess(const AnyBadAccess&) noexcept = default;
  AnyBadAccess& operator=(const AnyBadAccess&) noexcept = default;
  ~AnyBadAccess() override;
  const char* what() const noexcept override;
};

/// The heap object behind a tag of 255 and above. Other modules find the operations by their slots:
/// the destructor first, then Type, then Clone.
class AnyHolder {
 public:
  virtual ~AnyHolder() = default;
  virtual const std::type_info& Type() const noexcept = 0;
  /// A new holder of an equal value, owned by the caller.
  virtual AnyHolder* Clone() const = 0;

 protected:
  AnyHolder() = default;
  AnyHolder(const AnyHolder&) = default;
  AnyHolder& operator=(const AnyHolder&) = default;
};

class ValAny;

/// Whether a type goes behind a holder: all but what ValAny keeps in place.
template <class T>
inline constexpr bool kIsHeld =
    !std::is_base_of_v<ValAny, T> && !std::is_pointer_v<T> && !std::is_null_pointer_v<T> &&
    (!std::is_arithmetic_v<T> || (sizeof(T) > sizeof(uint64_t)));

/// A value of any copyable type. The layout is shared with modules built elsewhere:
///
///     offset 0  payload   8 bytes: the value itself, or the address of its AnyHolder
///     offset 8  tag      32 bits: 0 empty, 1 to 254 in place, 255 and above behind a holder
///     offset 12 spare    4 bytes without a meaning here
///
/// Copies of in-place values copy all 16 bytes; copies of held values clone the holder. Assigning
/// destroys the old value first, so a copy that throws leaves the target empty, and the source must
/// not live inside the value that it replaces. One thread at a time per value; different values are
/// independent.
class ValAny {
 public:
  /// What the payload holds. Numbers keep their own width; a pointer is an untyped address.
  enum Tag : uint32_t {
    kEmpty = 0,
    kBool = 1,
    kInt8 = 2,
    kUInt8 = 3,
    kInt16 = 4,
    kUInt16 = 5,
    kInt32 = 6,
    kUInt32 = 7,
    kInt64 = 8,
    kUInt64 = 9,
    kFloat = 10,
    kDouble = 11,
    kPointer = 12,
    kFirstHeld = 255,
    kText = 255,
    kHeld = 256,
  };

  ValAny() noexcept = default;

  /// bool, integers and floating-point numbers of up to 64 bits, in place.
  template <class T>
  requires(std::is_arithmetic_v<T> && sizeof(T) <= sizeof(uint64_t)) ValAny(T value)
  noexcept : tag_(TagOf<T>()) { std::memcpy(&payload_, &value, sizeof(value)); }

  /// An address, in place; the value behind it is neither owned nor copied.
  template <class T>
  requires(std::is_object_v<T> || std::is_void_v<T>) ValAny(T* address)
  noexcept : tag_(kPointer) { std::memcpy(&payload_, &address, sizeof(address)); }

  /// A text of its own; null counts as the empty text.
  ValAny(const char* text) : ValAny(std::string(text != nullptr ? text : "")) {}
  ValAny(char* text) : ValAny(static_cast<const char*>(text)) {}

  ValAny(std::nullptr_t) noexcept : tag_(kPointer) {}

  /// Any other copyable type, copied or moved into a holder.
  template <class T, class Value = std::decay_t<T>>
  // It takes no ValAny: NOLINTNEXTLINE(bugprone-forwarding-reference-overload)
  requires(kIsHeld<Value>&& std::is_copy_constructible_v<Value>) ValAny(T&& value) {
    SetHolder(new Holder<Value>(std::forward<T>(value)));
    tag_ = std::is_same_v<Value, std::string> ? kText : kHeld;
  }

  ValAny(const ValAny& other) { Assign(other); }
  ValAny(ValAny&& other) noexcept { Take(other); }
  ValAny& operator=(const ValAny& other) {
    if (this != &other) {
      Reset();
      Assign(other);
    }
    return *this;
  }
  ValAny& operator=(ValAny&& other) noexcept {
    ValAny taken(std::move(other));  // before the old value goes: it may be where `other` lives
    Reset();
    Take(taken);
    return *this;
  }
  ~ValAny() { Reset(); }

  uint32_t GetTag() const noexcept { return tag_; }
  bool IsEmpty() const noexcept { return tag_ == kEmpty; }

  /// Destroys the value; empty afterwards.
  void Reset() noexcept {
    const AnyHolder* gone = tag_ >= kFirstHeld ? holder() : nullptr;
    payload_ = 0;
    tag_ = kEmpty;
    delete gone;
  }

  /// The value as T, or AnyBadAccess. A number converts to any arithmetic type that can hold it:
  /// floating-point sources lose their fraction on the way to an integer, and a number that is out
  /// of range, infinite or NaN does not fit one; a floating-point target rounds, and takes infinity
  /// and NaN from its own kind. bool reads any number as "not zero". Pointers are read as any
  /// object pointer; texts and held values as the very type they were stored as.
  template <class T>
  T Get() const {
    if constexpr (std::is_arithmetic_v<T> && !kIsHeld<T>) {
      return GetNumber<T>();
    } else if constexpr (std::is_pointer_v<T>) {
      if (tag_ != kPointer) throw AnyBadAccess();
      T address;
      std::memcpy(&address, &payload_, sizeof(address));
      return address;
    } else {
      const T* value = GetIf<T>();
      if (value == nullptr) throw AnyBadAccess();
      return *value;
    }
  }

  /// The held value, lent while this object keeps it; null when it holds something else.
  template <class T>
  requires(kIsHeld<T>) const T* GetIf() const noexcept {
    if (tag_ < kFirstHeld || holder() == nullptr) return nullptr;
    // The runtime compares names, so a holder made in another module is found as well.
    if (holder()->Type() != typeid(T)) return nullptr;
    return &static_cast<const Holder<std::remove_cv_t<T>>*>(holder())->value;
  }

  /// Get<int32_t>(), under the name that allocators use for their hints.
  int32_t ToInt32() const { return Get<int32_t>(); }

 private:
  template <class T>
  struct Holder final : AnyHolder {
    template <class U>
    // Never copied: NOLINTNEXTLINE(bugprone-forwarding-reference-overload)
    explicit Holder(U&& from) : value(std::forward<U>(from)) {}
    const std::type_info& Type() const noexcept override { return typeid(T); }
    AnyHolder* Clone() const override { return new Holder(value); }
    T value;
  };

  template <class T>
  static constexpr uint32_t TagOf() {
    if constexpr (std::is_same_v<T, bool>) {
      return kBool;
    } else if constexpr (std::is_floating_point_v<T>) {
      return sizeof(T) == sizeof(float) ? kFloat : kDouble;
    } else {
      // Widths 1, 2, 4, 8 are neighbours in the table, signed before unsigned.
      constexpr uint32_t width = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3;
      return kInt8 + 2 * width + (std::is_signed_v<T> ? 0 : 1);
    }
  }

  template <class T>
  T Stored() const noexcept {
    T value;
    std::memcpy(&value, &payload_, sizeof(value));
    return value;
  }

  template <class T>
  T GetNumber() const {
    switch (tag_) {
      case kBool: return Convert<T>(Stored<uint8_t>());
      case kInt8: return Convert<T>(Stored<int8_t>());
      case kUInt8: return Convert<T>(Stored<uint8_t>());
      case kInt16: return Convert<T>(Stored<int16_t>());
      case kUInt16: return Convert<T>(Stored<uint16_t>());
      case kInt32: return Convert<T>(Stored<int32_t>());
      case kUInt32: return Convert<T>(Stored<uint32_t>());
      case kInt64: return Convert<T>(Stored<int64_t>());
      case kUInt64: return Convert<T>(Stored<uint64_t>());
      case kFloat: return Convert<T>(Stored<float>());
      case kDouble: return Convert<T>(Stored<double>());
      default: throw AnyBadAccess();
    }
  }

  template <class To, class From>
  static To Convert(From value) {
    if constexpr (std::is_same_v<To, bool>) {
      return value != From{0};
    } else if constexpr (std::is_floating_point_v<To>) {
      if constexpr (sizeof(To) < sizeof(From) && std::is_floating_point_v<From>) {
        if (std::isfinite(value) && std::fabs(value) > std::numeric_limits<To>::max()) {
          throw AnyBadAccess();
        }
      }
      return static_cast<To>(value);
    } else if constexpr (std::is_floating_point_v<From>) {
      // Both bounds are powers of two, hence exact; the upper one lies just outside.
      const double whole = std::trunc(static_cast<double>(value));
      const double above = std::ldexp(1.0, std::numeric_limits<To>::digits);
      const double lowest = std::is_signed_v<To> ? -above : 0.0;
      if (!(whole >= lowest && whole < above)) throw AnyBadAccess();
      return static_cast<To>(whole);
    } else {
      // A number, no letter: NOLINTNEXTLINE(bugprone-signed-char-misuse)
      const auto converted = static_cast<To>(value);
      const bool same_sign = (value < From{0}) == (converted < To{0});
      if (static_cast<From>(converted) != value || !same_sign) throw AnyBadAccess();
      return converted;
    }
  }

  AnyHolder* holder() const noexcept {
    AnyHolder* address;
    std::memcpy(&address, &payload_, sizeof(uintptr_t));
    return address;
  }
  void SetHolder(AnyHolder* address) noexcept {
    std::memcpy(&payload_, &address, sizeof(uintptr_t));
  }

  // The target of both is empty. A clone that throws leaves it so.
  void Assign(const ValAny& other) {
    if (other.tag_ < kFirstHeld) {
      payload_ = other.payload_;
      spare_ = other.spare_;
    } else {
      const AnyHolder* source = other.holder();
      SetHolder(source != nullptr ? source->Clone() : nullptr);
    }
    tag_ = other.tag_;
  }
  void Take(ValAny& other) noexcept {
    payload_ = std::exchange(other.payload_, 0);
    tag_ = std::exchange(other.tag_, static_cast<uint32_t>(kEmpty));
    spare_ = other.spare_;
  }

  uint64_t payload_ = 0;
  uint32_t tag_ = kEmpty;
  uint32_t spare_ = 0;
};

static_assert(sizeof(ValAny) == 16 && alignof(ValAny) == 8 && std::is_standard_layout_v<ValAny>,
              "other modules read the payload at offset 0 and the tag at offset 8");

}  // namespace orlo
