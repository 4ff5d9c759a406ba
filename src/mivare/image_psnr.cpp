// How far two frames are apart.
#include "image_psnr.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>

#include "base/log.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "mivare/media_desc.h"

namespace mivare {
namespace {

constexpr double kIdentical = std::numeric_limits<double>::max();
constexpr double kNotComparable = -100.0;
constexpr double kNoSuchSamples = -200.0;

// The samples that are visited. Columns are counted in bytes: with a step above 1 the walk ends
// before the row does, and people compare the ratios with those of old logs.
struct Walk {
  size_t plane;       // of the buffer
  int64_t start;      // the first sample's byte in its row
  int64_t step;       // bytes from sample to sample
  int32_t width;      // bytes of a row behind `start`
  int32_t height;     // rows
  int64_t row_bytes;  // of a row of the picture
};

std::optional<Walk> WalkOf(const IMediaDesc& desc, uint8_t plane) {
  const auto width = static_cast<int32_t>(desc.GetWidth());
  const auto height = static_cast<int32_t>(desc.GetHeight());
  switch (desc.GetSmt()) {
    case 1:
      if (plane > 2) return std::nullopt;
      if (plane == 0) return Walk{0, 0, 1, width, height, width};
      return Walk{plane, 0, 1, width >> 1, height >> 1, width >> 1};
    case 6:
      if (plane == 0) return Walk{0, 0, 1, width, height, width};
      return Walk{1, plane - 1, 2, width >> 1, height >> 1, width};
    case 45: return Walk{0, plane, 4, width, height, 4 * int64_t{width}};
    default: return std::nullopt;
  }
}

// Bytes from the start of a row that are the plane's: its own, and the rows that follow in memory.
int64_t BytesFrom(int64_t row, int64_t pitch, const Walk& walk) {
  const int64_t rows = pitch < 0 ? row + 1 : walk.height - row;
  return std::max(walk.row_bytes, std::abs(pitch) * rows);
}

template <size_t kStep>
uint64_t AddSquares(const uint8_t* a, const uint8_t* b, size_t samples) {
  // 32 bits hold the squares of this many samples, and fit the vector registers better than 64.
  constexpr size_t kChunk = size_t{1} << 16;
  static_assert(kChunk * 255 * 255 <= UINT32_MAX);
  uint64_t sum = 0;
  for (size_t done = 0; done < samples; done += kChunk) {
    const size_t end = std::min(samples, done + kChunk);
    uint32_t partial = 0;
    for (size_t i = done; i < end; ++i) {
      const int32_t difference = int32_t{a[i * kStep]} - int32_t{b[i * kStep]};
      partial += static_cast<uint32_t>(difference * difference);
    }
    sum += partial;
  }
  return sum;
}

uint64_t AddSquares(const Walk& walk, const LockedBuffer& a, const LockedBuffer& b) {
  const int64_t pitch_a = a.pitch(walk.plane);
  const int64_t pitch_b = b.pitch(walk.plane);
  uint64_t sum = 0;
  for (int64_t row = 0; row < walk.height; ++row) {
    const int64_t readable = std::min(BytesFrom(row, pitch_a, walk), BytesFrom(row, pitch_b, walk));
    const int64_t bytes = std::min<int64_t>(walk.width, readable - walk.start);
    if (bytes < 1) continue;
    const auto samples = static_cast<size_t>((bytes + walk.step - 1) / walk.step);
    const uint8_t* from_a = a.plane(walk.plane) + row * pitch_a + walk.start;
    const uint8_t* from_b = b.plane(walk.plane) + row * pitch_b + walk.start;
    switch (walk.step) {
      case 1: sum += AddSquares<1>(from_a, from_b, samples); break;
      case 2: sum += AddSquares<2>(from_a, from_b, samples); break;
      default: sum += AddSquares<4>(from_a, from_b, samples); break;
    }
  }
  return sum;
}

double Compare(IMediaBuffer& a, IMediaBuffer& b, uint8_t plane) {
  const IMediaDesc* desc = a.GetDesc(0);
  const IMediaDesc* other = b.GetDesc(0);
  if (desc == nullptr || other == nullptr || desc->GetWidth() != other->GetWidth() ||
      desc->GetHeight() != other->GetHeight() || desc->GetSmt() != other->GetSmt()) {
    return kNotComparable;
  }
  const LockedBuffer lock_a(a);
  if (!lock_a.ok()) return kNotComparable;
  const LockedBuffer lock_b(b);
  if (!lock_b.ok()) return kNotComparable;
  const std::optional<Walk> walk = WalkOf(*desc, plane);
  if (!walk || lock_a.plane(walk->plane) == nullptr || lock_b.plane(walk->plane) == nullptr) {
    return kNoSuchSamples;
  }
  const uint32_t count = static_cast<uint32_t>(walk->width) * static_cast<uint32_t>(walk->height);
  return PeakSignalToNoise(AddSquares(*walk, lock_a, lock_b), count);
}

}  // namespace

double PeakSignalToNoise(uint64_t sum, uint32_t count) {
  if (sum == 0) return kIdentical;
  const double mean = static_cast<double>(sum) / static_cast<double>(count);
  return 10.0 * std::log10(255.0 * 255.0 / mean);
}

}  // namespace mivare

extern "C" double NUXMivareImagePSNR(std::shared_ptr<mivare::IMediaBuffer> a,
                                     std::shared_ptr<mivare::IMediaBuffer> b, uint8_t plane) try {
  const std::shared_ptr<mivare::IMediaBuffer> first = std::move(a);
  const std::shared_ptr<mivare::IMediaBuffer> second = std::move(b);
  if (first == nullptr || second == nullptr) {
    mivare::LogNoBuffer("mivare::NUXMivareImagePSNR", 894);
    return mivare::kNotComparable;
  }
  if (first == second) return mivare::kIdentical;
  return mivare::Compare(*first, *second, plane);
} catch (...) {
  return mivare::kNotComparable;
}
