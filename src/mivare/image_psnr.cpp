// How far two frames are apart.
#include "image_psnr.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <utility>

#include "base/address.h"
#include "base/log.h"
#include "base/sample_loops.h"
#include "mivare/diagnostics.h"
#include "mivare/media_desc.h"
#include "plane_walker.h"

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

// Starts may lie behind the row and lead into the ones that follow in memory: as far as there is
// memory, or rows of a picture in foreign memory.
PlaneWalker RowsOf(const Walk& walk, const WalkedBuffer& buffer) {
  uint8_t* plane = buffer.plane(walk.plane);
  const int64_t pitch = buffer.pitch(walk.plane);
  const MemoryBlock picture = RowsAsBlock(plane, pitch, walk.height, walk.row_bytes);
  return {Moved(plane, walk.start), pitch, walk.height, walk.width,
          buffer.block().value_or(picture)};
}

uint64_t AddSquares(const Walk& walk, const WalkedBuffer& a, const WalkedBuffer& b) {
  const SampleLoops& loops = BestSampleLoops();
  uint64_t sum = 0;
  PlaneWalker::VisitPairs(
      RowsOf(walk, a), RowsOf(walk, b), [&](const RowPart& from_a, const RowPart& from_b) {
        // From the first whole step on.
        const auto step = static_cast<size_t>(walk.step);
        const size_t skipped = (step - static_cast<size_t>(from_a.first) % step) % step;
        if (skipped >= from_a.bytes) return;
        const size_t samples = (from_a.bytes - skipped + step - 1) / step;
        sum += loops.add_squares(from_a.data + skipped, from_b.data + skipped, samples, step);
      });
  return sum;
}

double Compare(IMediaBuffer& a, IMediaBuffer& b, uint8_t plane) {
  const IMediaDesc* desc = a.GetDesc(0);
  const IMediaDesc* other = b.GetDesc(0);
  if (desc == nullptr || other == nullptr || desc->GetWidth() != other->GetWidth() ||
      desc->GetHeight() != other->GetHeight() || desc->GetSmt() != other->GetSmt()) {
    return kNotComparable;
  }
  const WalkedBuffer locked_a(a);
  if (!locked_a.ok()) return kNotComparable;
  const WalkedBuffer locked_b(b);
  if (!locked_b.ok()) return kNotComparable;
  const std::optional<Walk> walk = WalkOf(*desc, plane);
  if (!walk || locked_a.plane(walk->plane) == nullptr || locked_b.plane(walk->plane) == nullptr) {
    return kNoSuchSamples;
  }
  const uint32_t count = static_cast<uint32_t>(walk->width) * static_cast<uint32_t>(walk->height);
  return PeakSignalToNoise(AddSquares(*walk, locked_a, locked_b), count);
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
