#include "orlo/rational.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "log_lines.h"

namespace {

using orlo::Normalize;
using orlo::Rational;
using orlo::test::LogLine;
using orlo::test::LogLines;

constexpr int64_t kMin = INT64_MIN;
constexpr int64_t kMax = INT64_MAX;

TEST(Normalize, DividesByWhatTheRemainderLoopEndsWith) {
  const struct {
    const char* name;
    Rational given;
    Rational reduced;
  } cases[] = {
      {"16:9", {1920, 1080}, {16, 9}},
      {"already reduced", {16, 9}, {16, 9}},
      {"a whole number", {12, 4}, {3, 1}},
      {"a unit fraction", {4, 12}, {1, 3}},
      {"one to one", {7, 7}, {1, 1}},
      // -6 % 4 = -2, 4 % -2 = 0: the divisor is -2.
      {"a negative numerator that leaves a negative divisor", {-6, 4}, {3, -2}},
      // 6 % -4 = 2, -4 % 2 = 0: the divisor is 2.
      {"a negative denominator", {6, -4}, {3, -2}},
      // -6 % -4 = -2, -4 % -2 = 0: the divisor is -2.
      {"both negative", {-6, -4}, {3, 2}},
      // -4 % 6 = -4, 6 % -4 = 2, -4 % 2 = 0: the divisor is 2.
      {"a small negative numerator", {-4, 6}, {-2, 3}},
      // 4 % -6 = 4, -6 % 4 = -2, 4 % -2 = 0: the divisor is -2.
      {"a large negative denominator", {4, -6}, {-2, 3}},
      // 4 % -4 = 0: the divisor is the denominator itself.
      {"opposite numbers", {4, -4}, {-1, 1}},
      {"opposite numbers, the other way", {-4, 4}, {-1, 1}},
      // The divisor 2^32 has no low 32 bits.
      {"a divisor that vanishes",
       {int64_t{3} << 32, int64_t{2} << 32},
       {int64_t{3} << 32, int64_t{2} << 32}},
      // The divisor 2^31 becomes the smallest int32: 3 * 2^31 / -2^31 = -3.
      {"a divisor that turns negative", {int64_t{3} << 31, int64_t{2} << 31}, {-3, -2}},
      // The divisor 2^32 + 2 becomes 2.
      {"a divisor that loses its top",
       {3 * ((int64_t{1} << 32) + 2), (int64_t{1} << 32) + 2},
       {3 * ((int64_t{1} << 31) + 1), (int64_t{1} << 31) + 1}},
      // The divisor 2^32 - 1 becomes -1.
      {"a divisor that becomes -1",
       {2 * 0xFFFFFFFFLL, 0xFFFFFFFFLL},
       {-2 * 0xFFFFFFFFLL, -0xFFFFFFFFLL}},
      // The remainder is 0, the divisor -1, and the smallest number stays itself.
      {"the smallest number by -1", {kMin, -1}, {kMin, 1}},
      // -1 % min = -1, min % -1 = 0: the divisor is -1.
      {"-1 by the smallest number", {-1, kMin}, {1, kMin}},
      // Equal numbers: the divisor is the smallest number, whose low 32 bits are 0.
      {"the smallest number by itself", {kMin, kMin}, {kMin, kMin}},
      // The divisor 2^63 - 1 becomes -1.
      {"the largest number by itself", {kMax, kMax}, {-kMax, -kMax}},
      // min % max = -1, max % -1 = 0: the divisor is -1.
      {"the smallest by the largest", {kMin, kMax}, {kMin, -kMax}},
      {"the smallest by 1", {kMin, 1}, {kMin, 1}},
  };
  const LogLines log;
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    const Rational reduced = Normalize(one.given);
    EXPECT_EQ(reduced.num, one.reduced.num);
    EXPECT_EQ(reduced.den, one.reduced.den);
  }
  EXPECT_EQ(log.Get(), std::vector<LogLine>{});
}

TEST(Normalize, LogsAZeroHalfAndLeavesThePairAlone) {
  for (const Rational given :
       {Rational{0, 1}, Rational{1920, 0}, Rational{0, 0}, Rational{0, -8}}) {
    const LogLines log;
    EXPECT_EQ(Normalize(given), given);
    EXPECT_EQ(
        log.Get(),
        (std::vector<LogLine>{{"orlo", 7, "ration den zero! file[orlo::Normalize] line[99]"}}));
  }
}

}  // namespace
