// Choices that look random and are the same in every run and on every platform.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace mivare::test {

class Generated {
 public:
  explicit Generated(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U) {}

  uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15U;
    uint64_t mixed = state_;
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EBU;
    return mixed ^ mixed >> 31;
  }
  /// Both ends included.
  int64_t Between(int64_t low, int64_t high) {
    const auto count = static_cast<uint64_t>(high) - static_cast<uint64_t>(low) + 1;
    return static_cast<int64_t>(static_cast<uint64_t>(low) +
                                (count == 0 ? Next() : Next() % count));
  }
  /// One time in `times`.
  bool Chance(uint64_t times) { return Next() % times == 0; }

  template <typename T, size_t kCount>
  T Pick(const T (&choices)[kCount]) {
    return choices[Next() % kCount];
  }
  template <typename T>
  T Pick(std::initializer_list<T> choices) {
    return choices.begin()[Next() % choices.size()];
  }

 private:
  uint64_t state_;
};

}  // namespace mivare::test
