// A fraction of two signed 64-bit integers and its reduction.
#pragma once

#include <cstdint>

#include "orlo/log.h"

namespace orlo {

/// A ratio as hosts give it: not reduced, the sign may sit in either half, a half may be zero.
struct Rational {
  int64_t num = 0;
  int64_t den = 0;

  friend bool operator==(const Rational&, const Rational&) = default;
};

namespace detail {

// The two operations that the hardware traps on: the smallest int64 by -1 wraps to itself.
inline int64_t WrappingDivide(int64_t n, int64_t d) {
  return d == -1 ? static_cast<int64_t>(0U - static_cast<uint64_t>(n)) : n / d;
}
inline int64_t WrappingRemainder(int64_t n, int64_t d) { return d == -1 ? 0 : n % d; }

}  // namespace detail

/// Reduces a ratio by the greatest common divisor that Euclid's remainder loop ends with.
/// The divisor keeps the sign that signed remainders leave, and only its low 32 bits are used; when
/// those are zero the pair is returned as given. A zero half is logged (tag "orlo", level 7) and
/// the pair is returned as given. Reentrant.
inline Rational Normalize(Rational value) {
  if (value.num == 0 || value.den == 0) {
    OrloLogPrint("orlo", 7, "ration den zero! file[%s] line[%d]", "orlo::Normalize", 99);
    return value;
  }
  int64_t last = value.den;
  int64_t rest = detail::WrappingRemainder(value.num, value.den);
  while (rest != 0) {
    const int64_t next = detail::WrappingRemainder(last, rest);
    last = rest;
    rest = next;
  }
  const auto divisor = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(last)));
  if (divisor == 0) return value;
  return {detail::WrappingDivide(value.num, divisor), detail::WrappingDivide(value.den, divisor)};
}

}  // namespace orlo
