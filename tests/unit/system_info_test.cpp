#include "system_info.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <regex>
#include <string>

#include "allocator.h"
#include "support/failing_blocks.h"
#include "support/log_capture.h"

namespace mivare {
namespace {

using test::LogCapture;
using test::LogLine;
using test::MemoryListener;

constexpr uint64_t kHuge = std::numeric_limits<uint64_t>::max();

TEST(CpuSample, SharesTheProcessTimeAmongTheProcessors) {
  const CpuSample sample = MakeCpuSample({1000, 7, 4, 3});
  EXPECT_EQ(sample.system_time, 1000U);
  EXPECT_EQ(sample.process_time, 3U) << "11 / 3, cut";
  EXPECT_EQ(MakeCpuSample({1, kHuge, 2, 1}).process_time, 1U) << "the sum wraps";
}

TEST(CpuPerMille, RoundsToTheNearest) {
  struct Case {
    const char* name;
    CpuSample previous;
    CpuSample now;
    int64_t per_mille;
  };
  // Times count from 1, since 0 means that there is no sample.
  const Case cases[] = {
      // 1.5 processor-seconds on 4 processors in 10 s:
      // (3750000 x 1000 + 50000000) / 100000000 = 38
      {"1.5 s of 4 x 10 s", {1, 1}, {100000001, 3750001}, 38},
      {"nothing used", {1, 1}, {100000001, 1}, 0},
      {"all of it", {1, 1}, {1001, 1001}, 1000},
      {"more than all", {1, 1}, {1001, 3001}, 3000},
      {"a half rounds up", {1, 1}, {2001, 2}, 1},             // (1000 + 1000) / 2000
      {"below a half is 0", {1, 1}, {2003, 2}, 0},            // (1000 + 1001) / 2002
      {"odd time halves down", {1, 1}, {4, 3}, 667},          // (2000 + 1) / 3
      {"the process went back", {1, 1001}, {1001, 1}, -999},  // (-1000000 + 500) / 1000, cut
      {"the clock went back", {1001, 1}, {1, 501}, -499},     // (500000 - 500) / -1000
      {"no first system time", {0, 1}, {1001, 1001}, 0},
      {"no first process time", {1, 0}, {1001, 1001}, 0},
      {"no first sample and no time", {0, 0}, {0, 0}, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::optional<int64_t> per_mille = CpuPerMille(c.previous, c.now);
    ASSERT_TRUE(per_mille.has_value());
    EXPECT_EQ(*per_mille, c.per_mille);
  }
}

TEST(CpuPerMille, HasNoAnswerWhenNoTimePassed) {
  EXPECT_FALSE(CpuPerMille({5, 5}, {5, 9}).has_value());
}

TEST(CpuPerMille, SurvivesAnyNumbers) {
  // 2^63 / 1000 rounded so that the product is the smallest number there is: -1 as divisor.
  EXPECT_TRUE(CpuPerMille({2, 1}, {1, 1 + (uint64_t{1} << 60)}).has_value());
  EXPECT_TRUE(CpuPerMille({1, 1}, {kHuge, kHuge}).has_value());
  EXPECT_TRUE(CpuPerMille({kHuge, kHuge}, {0, 0}).has_value());
  EXPECT_TRUE(CpuPerMille({1, kHuge}, {uint64_t{1} << 63, 1}).has_value());
}

class CpuRatioTest : public ::testing::Test {
 protected:
  CpuRatioTest() { ResetCpuSample(); }
  ~CpuRatioTest() override { ResetCpuSample(); }

  static float Measure(uint64_t system_time, uint64_t kernel, uint64_t user,
                       uint32_t processors = 1) {
    const platform::CpuTimes times{system_time, kernel, user, processors};
    return MeasureCpuRatio(&times);
  }

  LogCapture log;
};

TEST_F(CpuRatioTest, IsZeroAtFirstAndThenCoversTheTimeBetween) {
  EXPECT_EQ(Measure(1000, 50, 50), 0.0F);
  EXPECT_EQ(Measure(2000, 100, 150), 0.15F);
  EXPECT_EQ(Measure(3000, 100, 150), 0.0F);
  EXPECT_EQ(Measure(4000, 600, 650, 1), 1.0F);
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(CpuRatioTest, CountsFromTheSecondSampleAgainWhileAStoredValueIs0) {
  EXPECT_EQ(Measure(1000, 0, 0), 0.0F) << "a process that used nothing yet";
  EXPECT_EQ(Measure(2000, 500, 0), 0.0F) << "still no sample to compare with";
  EXPECT_EQ(Measure(3000, 1000, 0), 0.5F);
}

TEST_F(CpuRatioTest, WithoutTimeInBetweenIsAnErrorThatKeepsTheSample) {
  Measure(1000, 100, 0);
  EXPECT_EQ(Measure(1000, 600, 0), 0.0F);
  EXPECT_EQ(log.Lines(),
            (std::vector<LogLine>{{"mivare", 6, "GetCpuUsageRatio time_delta is 0, error\n"}}));
  EXPECT_EQ(Measure(2000, 1100, 0), 1.0F) << "measured from the first sample";
}

TEST_F(CpuRatioTest, UnreadableTimesAreAnErrorThatKeepsTheSample) {
  Measure(1000, 100, 0);
  EXPECT_EQ(MeasureCpuRatio(nullptr), 0.0F);
  EXPECT_EQ(log.Lines(),
            (std::vector<LogLine>{{"mivare", 6, "GetCpuUsageRatio GetProcessTimes failed\n"}}));
  EXPECT_EQ(Measure(2000, 350, 0), 0.25F);
}

TEST(ToMiB, IsSinglePrecisionRoundedOnce) {
  EXPECT_EQ(ToMiB(uint64_t{0}), 0.0F);
  EXPECT_EQ(ToMiB(uint64_t{1048576}), 1.0F);
  EXPECT_EQ(ToMiB(uint64_t{1}), 9.5367431640625e-07F);
  EXPECT_EQ(ToMiB(uint64_t{34359738368}), 32768.0F);
  // 2^24 + 1 lies between two floats and goes to the even one.
  EXPECT_EQ(ToMiB(uint64_t{16777217}), 16.0F);
  // Just above the middle of two floats by less than a double can tell: one rounding goes up, two
  // would go down.
  EXPECT_EQ(ToMiB((uint64_t{1} << 63) + (uint64_t{1} << 39) + 1), 8796094070784.0F);
  EXPECT_EQ(ToMiB(kHuge), 17592186044416.0F);
  EXPECT_EQ(ToMiB(int64_t{-1048576}), -1.0F);
}

TEST(SystemFigures, PrintTheirLine) {
  LogCapture log;
  SystemFigures figures;
  figures.memory.total_physical = uint64_t{32} << 30;
  figures.memory.available_physical = (uint64_t{10} << 30) + 524288;
  figures.memory.working_set = 1572864;
  figures.gpu_memory = 300 << 20;
  figures.cpu_ratio = 0.038F;
  LogSystemFigures(figures);
  EXPECT_EQ(log.Lines(),
            (std::vector<LogLine>{{"mivare", 4,
                                   "[SystemInfo] Total: 32768.00MB   Free: 10240.50MB(GPU:300.00MB)"
                                   "   Memory: 1.50MB   CPU: 3.8%"}}));
}

TEST(SystemFigures, PrintNegativeGpuMemoryAsItIs) {
  LogCapture log;
  SystemFigures figures;
  figures.gpu_memory = -(1 << 20);
  LogSystemFigures(figures);
  EXPECT_EQ(log.CountContaining("Free: 0.00MB(GPU:-1.00MB)"), 1);
}

// Says what GPU memory there is.
class GpuAllocator final : public allocator {
 public:
  explicit GpuAllocator(int64_t bytes) : bytes_(bytes) {}
  int64_t GetGpuAvailableMemory() override { return bytes_; }

 private:
  int64_t bytes_;
};

TEST_F(CpuRatioTest, TheFirstLineShowsNoCpuUseAndRealMemory) {
  LogSystemInfo(nullptr);
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].level, 4);
  const std::regex pattern(
      R"(\[SystemInfo\] Total: ([0-9.]+)MB   Free: ([0-9.]+)MB\(GPU:0\.00MB\)   Memory: ([0-9.]+)MB   CPU: 0\.0%)");
  std::smatch match;
  ASSERT_TRUE(std::regex_match(lines[0].text, match, pattern)) << lines[0].text;
  const double total = std::stod(match[1]);
  const double available = std::stod(match[2]);
  const double working_set = std::stod(match[3]);
  EXPECT_GT(total, 0);
  EXPECT_GT(available, 0);
  EXPECT_LE(available, total);
  EXPECT_GT(working_set, 0);
  EXPECT_LT(working_set, total);
}

TEST_F(CpuRatioTest, TheLineShowsWhatTheAllocatorSaysOfTheGpu) {
  LogSystemInfo(std::make_shared<GpuAllocator>(int64_t{512} << 20));
  EXPECT_EQ(log.CountContaining("(GPU:512.00MB)"), 1);
}

TEST_F(CpuRatioTest, ExhaustionPrintsTheLineAndSignals) {
  MemoryListener listener;
  ReportMemoryExhausted();
  EXPECT_EQ(log.Lines().size(), 1U);
  EXPECT_EQ(log.CountContaining("(GPU:0.00MB)"), 1) << "there is no allocator";
  EXPECT_EQ(listener.Count(), 1);
}

}  // namespace
}  // namespace mivare
