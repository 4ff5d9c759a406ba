#include "image_psnr.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "support/fake_desc.h"
#include "support/host_frame.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::HostFrame;
using test::LogCapture;
using test::Said;
using test::VideoRequest;

constexpr double kLargest = 1.7976931348623157e308;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr uint8_t kGrey = 100;

// One plane of a frame: rows of `row_bytes` bytes, all grey, with no byte behind the last one.
struct Rows {
  int32_t pitch;
  size_t row_bytes;
  size_t rows;
};

std::shared_ptr<HostFrame> Grey(MediaDescPtr desc, const std::vector<Rows>& planes) {
  auto frame = std::make_shared<HostFrame>(std::move(desc));
  for (size_t i = 0; i < planes.size(); ++i) {
    const Rows& plane = planes[i];
    frame->memory[i].assign(static_cast<size_t>(plane.pitch) * (plane.rows - 1) + plane.row_bytes,
                            kGrey);
    frame->planes[i] = frame->memory[i].data();
    frame->pitches[i] = plane.pitch;
  }
  return frame;
}

std::shared_ptr<HostFrame> Yv12(int32_t width, int32_t height) {
  const auto columns = static_cast<size_t>(width);
  const auto rows = static_cast<size_t>(height);
  const Rows chroma{width + 3, columns / 2, rows / 2};
  return Grey(VideoRequest(1, width, height), {{width + 5, columns, rows}, chroma, chroma});
}

std::shared_ptr<HostFrame> Nv12(int32_t width, int32_t height) {
  const auto columns = static_cast<size_t>(width);
  const auto rows = static_cast<size_t>(height);
  return Grey(VideoRequest(6, width, height), {{width, columns, rows}, {width, columns, rows / 2}});
}

std::shared_ptr<HostFrame> Bgra(int32_t width, int32_t height) {
  const auto columns = static_cast<size_t>(width);
  return Grey(VideoRequest(45, width, height),
              {{4 * width, 4 * columns, static_cast<size_t>(height)}});
}

void ExpectUnits(double actual, double expected, const char* what) {
  SCOPED_TRACE(what);
  const double unit = std::abs(std::nextafter(expected, kInfinity) - expected);
  EXPECT_LE(std::abs(actual - expected), 4 * unit) << actual << " instead of " << expected;
}

// 10 log10(65025 / (sum / count)), divided in doubles as the ratio is defined, the rest more
// precisely than a double holds it.
double Exactly(uint64_t sum, uint32_t count) {
  const double mean = static_cast<double>(sum) / count;
  return static_cast<double>(10 * std::log10(static_cast<long double>(65025.0 / mean)));
}

TEST(ImagePsnr, OfABufferWithItselfIsTheLargestDouble) {
  for (const int32_t smt : {1, 2, 6, 45, 15000}) {
    SCOPED_TRACE(smt);
    const auto frame = Grey(VideoRequest(smt, 2, 2), {{8, 8, 2}});
    frame->lock_status = -2;
    EXPECT_EQ(NUXMivareImagePSNR(frame, frame, 9), kLargest);
    EXPECT_EQ(frame->locks, 0);
    EXPECT_EQ(frame.use_count(), 1);
  }
}

TEST(ImagePsnr, OfTwoBuffersThatAreAlikeIsTheLargestDouble) {
  EXPECT_EQ(NUXMivareImagePSNR(Yv12(5, 4), Yv12(5, 4), 0), kLargest);
  EXPECT_EQ(NUXMivareImagePSNR(Yv12(5, 4), Yv12(5, 4), 2), kLargest);
  EXPECT_EQ(NUXMivareImagePSNR(Nv12(6, 4), Nv12(6, 4), 1), kLargest);
  EXPECT_EQ(NUXMivareImagePSNR(Bgra(5, 4), Bgra(5, 4), 3), kLargest);
}

TEST(ImagePsnr, OfOneSampleThatIs16OffIn16x16) {
  const auto a = Yv12(16, 16);
  const auto b = Yv12(16, 16);
  b->memory[0][21 * 7 + 9] += 16;  // row 7, column 9
  const double ratio = NUXMivareImagePSNR(a, b, 0);
  ExpectUnits(ratio, 10 * std::log10(65025.0), "sum and count are 256");
  EXPECT_NEAR(ratio, 48.13, 0.005);
  EXPECT_EQ(NUXMivareImagePSNR(b, a, 0), ratio) << "either way round";
  EXPECT_EQ(NUXMivareImagePSNR(a, b, 1), kLargest);
  EXPECT_EQ(a->locks, 3);
  EXPECT_EQ(a->unlocks, 3);
  EXPECT_EQ(b->unlocks, 3);
  EXPECT_TRUE(a->lock_was_for_reading && b->lock_was_for_reading);
  EXPECT_EQ(a.use_count() + b.use_count(), 2);
}

TEST(ImagePsnr, IsWithinFourUnitsInTheLastPlaceOfTheFormula) {
  for (const uint64_t sum : {1ULL, 2ULL, 3ULL, 7ULL, 255ULL, 65025ULL, 65024ULL, 65026ULL,
                             1234567ULL, 0xFFFFFFFFULL, 0x100000001ULL, 279275953325625ULL}) {
    for (const uint32_t count : {1U, 3U, 256U, 65025U, 2073600U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
      SCOPED_TRACE(testing::Message() << sum << " / " << count);
      ExpectUnits(PeakSignalToNoise(sum, count), Exactly(sum, count), "ratio");
    }
  }
}

TEST(ImagePsnr, OfNoDifferenceIsTheLargestDoubleWhateverTheCount) {
  EXPECT_EQ(PeakSignalToNoise(0, 256), kLargest);
  EXPECT_EQ(PeakSignalToNoise(0, 0), kLargest);
}

TEST(ImagePsnr, OfACountThatHasWrappedToNothingIsMinusInfinity) {
  EXPECT_EQ(PeakSignalToNoise(256, 0), -kInfinity);
}

TEST(ImagePsnr, AddsUpMoreThan32BitsHold) {
  constexpr int32_t kWidth = 140001;
  const auto black = Yv12(kWidth, 2);
  const auto white = Yv12(kWidth, 2);
  for (uint8_t& byte : black->memory[0]) byte = 0;
  for (uint8_t& byte : white->memory[0]) byte = 255;
  EXPECT_EQ(NUXMivareImagePSNR(black, white, 0), 0.0);
  for (uint8_t& byte : white->memory[0]) byte = 254;
  ExpectUnits(NUXMivareImagePSNR(black, white, 0),
              Exactly(uint64_t{64516} * kWidth * 2, kWidth * 2), "254 everywhere");
}

// The ratio when only byte `offset` of one plane is 16 off.
double RatioOf(const std::shared_ptr<HostFrame>& a, const std::shared_ptr<HostFrame>& b,
               size_t memory, size_t offset, uint8_t plane) {
  b->memory[memory][offset] += 16;
  const double ratio = NUXMivareImagePSNR(a, b, plane);
  b->memory[memory][offset] -= 16;
  return ratio;
}

// What is visited is said as a text for each row of a plane, 'x' for a byte that counts.
struct Visits {
  const char* name;
  std::shared_ptr<HostFrame> (*make)(int32_t width, int32_t height);
  int32_t width;
  int32_t height;
  uint8_t plane;
  size_t memory;
  uint32_t count;
  std::vector<const char*> rows;  // as many letters as the pitch has bytes, but for the last row
};

TEST(ImagePsnr, LooksAtTheseSamplesOnly) {
  const Visits cases[] = {
      {"luma of smt 1", Yv12, 5, 3, 0, 0, 15, {"xxxxx.....", "xxxxx.....", "xxxxx"}},
      {"plane 1 of smt 1", Yv12, 5, 4, 1, 1, 4, {"xx......", "xx"}},
      {"plane 2 of smt 1", Yv12, 4, 5, 2, 2, 4, {"xx.....", "xx"}},
      {"luma of smt 6", Nv12, 6, 4, 0, 0, 24, {"xxxxxx", "xxxxxx", "xxxxxx", "xxxxxx"}},
      {"plane 1 of smt 6", Nv12, 12, 4, 1, 1, 12, {"x.x.x.......", "x.x.x......."}},
      {"plane 2 of smt 6", Nv12, 12, 5, 2, 1, 12, {".x.x.x......", ".x.x.x......"}},
      {"plane 3 of smt 6", Nv12, 12, 4, 3, 1, 12, {"..x.x.x.....", "..x.x.x....."}},
      {"an odd half", Nv12, 10, 2, 1, 1, 5, {"x.x.x....."}},
      {"plane 0 of smt 45", Bgra, 5, 2, 0, 0, 10, {"x...x...............", "x...x..............."}},
      {"plane 3 of smt 45", Bgra, 5, 2, 3, 0, 10, {"...x...x............", "...x...x............"}},
      {"plane 6 of smt 45", Bgra, 5, 2, 6, 0, 10, {"......x...x.........", "......x...x........."}},
      {"one pixel", Bgra, 1, 1, 2, 0, 1, {"..x."}},
  };
  for (const Visits& row : cases) {
    SCOPED_TRACE(row.name);
    const auto a = row.make(row.width, row.height);
    const auto b = row.make(row.width, row.height);
    size_t offset = 0;
    for (const char* letters : row.rows) {
      for (; *letters != '\0'; ++letters, ++offset) {
        SCOPED_TRACE(offset);
        const double ratio = RatioOf(a, b, row.memory, offset, row.plane);
        if (*letters == 'x') {
          ExpectUnits(ratio, Exactly(256, row.count), "visited");
        } else {
          EXPECT_EQ(ratio, kLargest);
        }
      }
    }
    EXPECT_EQ(offset, a->memory[row.memory].size());
    for (size_t other = 0; other < 3; ++other) {
      if (other == row.memory || a->memory[other].empty()) continue;
      EXPECT_EQ(RatioOf(a, b, other, 0, row.plane), kLargest) << "plane " << other;
    }
  }
}

TEST(ImagePsnr, FollowsEachBuffersOwnPitch) {
  const auto a = Grey(VideoRequest(1, 4, 3), {{4, 4, 3}});
  const auto b = Grey(VideoRequest(1, 4, 3), {{9, 4, 3}});
  b->planes[0] += 18;
  b->pitches[0] = -9;
  EXPECT_EQ(NUXMivareImagePSNR(a, b, 0), kLargest);
  a->memory[0][4 + 2] += 3;   // row 1
  b->memory[0][9 + 2] += 7;   // row 1
  b->memory[0][0 + 3] += 10;  // row 2, the first in memory
  ExpectUnits(NUXMivareImagePSNR(a, b, 0), Exactly(16 + 100, 12), "4 and 10 off");
}

// A start behind the row leads into the rows that follow in memory, and never beyond the last.
TEST(ImagePsnr, WalksFromAnyStartWithoutLeavingThePlane) {
  const auto a = Bgra(3, 3);  // rows of 12 bytes
  const auto b = Bgra(3, 3);
  ExpectUnits(RatioOf(a, b, 0, 13, 13), Exactly(256, 9), "byte 13 of row 0");
  ExpectUnits(RatioOf(a, b, 0, 25, 13), Exactly(256, 9), "byte 13 of row 1");
  EXPECT_EQ(RatioOf(a, b, 0, 12, 13), kLargest);
}

TEST(ImagePsnr, LeavesNoPlaneOfAnySizeFromAnyStart) {
  struct Case {
    std::shared_ptr<HostFrame> (*make)(int32_t width, int32_t height);
    bool upside_down;
  };
  for (const Case& row : {Case{Bgra, false}, {Bgra, true}, {Nv12, false}}) {
    for (int32_t width = 1; width <= 140; ++width) {
      const auto a = row.make(width, 6);
      const auto b = row.make(width, 6);
      for (auto& bytes : b->memory) bytes.assign(bytes.size(), kGrey + 1);
      if (row.upside_down) {
        for (const auto& frame : {a, b}) {
          frame->planes[0] += size_t{5 * 4} * static_cast<size_t>(width);
          frame->pitches[0] = -4 * width;
        }
      }
      for (int plane = 1; plane <= 255; ++plane) {
        const double ratio = NUXMivareImagePSNR(a, b, static_cast<uint8_t>(plane));
        ASSERT_GT(ratio, 48.13) << "at most every sample is 1 off";
      }
    }
  }
}

TEST(ImagePsnr, ReadsRowsWithoutAPitchOverAndOver) {
  const auto a = Grey(VideoRequest(1, 4, 4), {{0, 4, 4}});
  const auto b = Grey(VideoRequest(1, 4, 4), {{4, 4, 4}});
  EXPECT_EQ(NUXMivareImagePSNR(a, b, 0), kLargest);
  a->memory[0][2] += 16;
  ExpectUnits(NUXMivareImagePSNR(a, b, 0), Exactly(4 * 256, 16), "in every row");
}

TEST(ImagePsnr, RefusesBuffersThatAreNotAlike) {
  const auto frame = Yv12(4, 4);
  const std::shared_ptr<HostFrame> others[] = {Yv12(6, 4), Yv12(4, 6), Nv12(4, 4), Bgra(4, 4),
                                               std::make_shared<HostFrame>(nullptr)};
  for (const auto& other : others) {
    EXPECT_EQ(NUXMivareImagePSNR(frame, other, 0), -100.0);
    EXPECT_EQ(NUXMivareImagePSNR(other, frame, 0), -100.0);
    EXPECT_EQ(other->locks, 0);
  }
  EXPECT_EQ(frame->locks, 0);
}

TEST(ImagePsnr, RefusesBuffersThatCannotBeLocked) {
  for (const int32_t smt : {1, 2}) {
    SCOPED_TRACE(smt);
    const auto frame = Grey(VideoRequest(smt, 2, 2), {{8, 8, 2}});
    const auto locked_out = Grey(VideoRequest(smt, 2, 2), {{8, 8, 2}});
    locked_out->lock_status = -2;
    EXPECT_EQ(NUXMivareImagePSNR(frame, locked_out, 0), -100.0);
    EXPECT_EQ(NUXMivareImagePSNR(locked_out, frame, 0), -100.0);
    EXPECT_EQ(frame->locks, frame->unlocks);
    EXPECT_EQ(locked_out->unlocks, 0);
  }
}

TEST(ImagePsnr, KnowsThreeFormats) {
  for (const int32_t smt : {2, 5, 7, 11, 16, 26, 44, 46, 47, 48, 50, 55, 60, 70, 15000, 0, -1}) {
    SCOPED_TRACE(smt);
    const auto a = Grey(Said(smt, 2, 2), {{16, 16, 2}});
    const auto b = Grey(Said(smt, 2, 2), {{16, 16, 2}});
    EXPECT_EQ(NUXMivareImagePSNR(a, b, 0), -200.0);
    EXPECT_EQ(a->locks, 1);
    EXPECT_EQ(a->unlocks, 1);
    EXPECT_EQ(b->unlocks, 1);
  }
}

TEST(ImagePsnr, KnowsThreePlanesOfSmt1) {
  for (const int plane : {3, 4, 7, 8, 255}) {
    SCOPED_TRACE(plane);
    const auto a = Yv12(4, 4);
    EXPECT_EQ(NUXMivareImagePSNR(a, Yv12(4, 4), static_cast<uint8_t>(plane)), -200.0);
    EXPECT_EQ(a->unlocks, 1);
  }
}

TEST(ImagePsnr, RefusesAPlaneThatIsNotThere) {
  struct Case {
    std::shared_ptr<HostFrame> (*make)(int32_t width, int32_t height);
    size_t memory;
    uint8_t plane;
  };
  for (const Case& row : {Case{Yv12, 0, 0}, {Yv12, 2, 2}, {Nv12, 1, 1}, {Bgra, 0, 0}}) {
    const auto whole = row.make(4, 4);
    const auto lacking = row.make(4, 4);
    lacking->planes[row.memory] = nullptr;
    EXPECT_EQ(NUXMivareImagePSNR(whole, lacking, row.plane), -200.0);
    EXPECT_EQ(NUXMivareImagePSNR(lacking, whole, row.plane), -200.0);
    EXPECT_EQ(whole->unlocks, 2);
    EXPECT_EQ(lacking->unlocks, 2);
  }
}

TEST(ImagePsnr, FindsNoDifferenceInSizesBelowOne) {
  struct Case {
    uint32_t width;
    uint32_t height;
  };
  for (const Case& row : {Case{0, 2}, {2, 0}, {0xFFFFFFFE, 2}, {2, 0xFFFFFFFE}, {0x80000000, 1}}) {
    SCOPED_TRACE(testing::Message() << row.width << " x " << row.height);
    for (const int32_t smt : {1, 6, 45}) {
      const auto a = Grey(Said(smt, row.width, row.height), {{8, 8, 1}, {8, 8, 1}});
      const auto b = Grey(Said(smt, row.width, row.height), {{8, 8, 1}, {8, 8, 1}});
      b->memory[0][0] = 0;
      EXPECT_EQ(NUXMivareImagePSNR(a, b, 0), kLargest);
      EXPECT_EQ(NUXMivareImagePSNR(a, b, 1), kLargest);
    }
  }
}

TEST(ImagePsnr, RefusesAnEmptyBuffer) {
  const LogCapture log;
  EXPECT_EQ(NUXMivareImagePSNR(nullptr, Yv12(2, 2), 0), -100.0);
  EXPECT_EQ(NUXMivareImagePSNR(Yv12(2, 2), nullptr, 0), -100.0);
  EXPECT_EQ(NUXMivareImagePSNR(nullptr, nullptr, 0), -100.0) << "before they are the same";
  EXPECT_EQ(log.Count(6, "error! mivare::NUXMivareImagePSNR line[894]: mb is nullptr!"), 3);
  EXPECT_EQ(log.Lines().size(), 3U);
}

TEST(ImagePsnr, LetsNoExceptionOut) {
  const auto throwing = Yv12(2, 2);
  throwing->throws = true;
  const auto frame = Yv12(2, 2);
  EXPECT_EQ(NUXMivareImagePSNR(frame, throwing, 0), -100.0);
  EXPECT_EQ(frame->unlocks, 1);
  EXPECT_EQ(throwing.use_count() + frame.use_count(), 2);
}

TEST(ImagePsnr, TellsFramesOfTheLibraryApart) {
  const test::TrovelBalance balance;
  const auto allocator = MakeCpuAllocator();
  const MediaDescPtr desc = VideoRequest(45, 64, 64);
  const auto a = allocator->Alloc(desc.get(), nullptr, nullptr);
  const auto b = allocator->Alloc(desc.get(), nullptr, nullptr);
  ASSERT_TRUE(a && b);
  const LockedBuffer to_a(*a, true);
  const LockedBuffer to_b(*b, true);
  std::fill_n(to_a.plane(0), 256 * 64, uint8_t{9});
  std::fill_n(to_b.plane(0), 256 * 64, uint8_t{9});
  EXPECT_EQ(NUXMivareImagePSNR(a, b, 2), kLargest);
  to_b.plane(0)[2] = 11;
  ExpectUnits(NUXMivareImagePSNR(a, b, 2), Exactly(4, 64 * 64), "one sample 2 off");
}

}  // namespace
}  // namespace mivare
