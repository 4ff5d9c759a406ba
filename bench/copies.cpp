// Does a copy of a frame run as fast as the memory and the best loops allow, whether its rows lie
// in memory like those of the other or not?
#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <cstring>
#include <memory>

#include "support/library.h"
#include "support/plane.h"

namespace mivare::bench {
namespace {

// A frame, and the one that its copies go to: alike, or the corner of one with longer rows.
struct Copy {
  const std::shared_ptr<IMediaBuffer>& source = Noise(k4K, 1);
  std::shared_ptr<IMediaBuffer> destination;

  explicit Copy(bool equal_pitches) {
    if (equal_pitches) {
      destination = Noise(k4K, 2);
    } else {
      const uint32_t rect[] = {0, 0, k4K.width, k4K.height};
      NUXMivareCreateMediaBufferCrop(Noise({4096, 2304}, 2), rect, &destination);
    }
    // The last samples tell whether anything was copied in this run.
    const PlaneViews from(*source);
    const PlaneViews to(*destination);
    for (size_t i = 0; i < to.size(); ++i) to[i].last() = static_cast<uint8_t>(~from[i].last());
  }
  bool Done() const { return SamePlanes(*source, *destination); }
};

void CopyFrames(benchmark::State& state, bool equal_pitches) {
  const Copy copy(equal_pitches);
  for (auto _ : state) {
    NUXMivareCopyMediaBufferData(copy.destination.get(), copy.source.get());
    benchmark::ClobberMemory();
  }
  if (!copy.Done()) state.SkipWithError("not copied");
}
BENCHMARK_CAPTURE(CopyFrames, equal, true)->Name("copy_equal/mivare");
BENCHMARK_CAPTURE(CopyFrames, unequal, false)->Name("copy_unequal/mivare");

// The same bytes of the same frames.
template <class PlaneCopy>
void CopyPlanes(benchmark::State& state, bool equal_pitches, PlaneCopy plane_copy) {
  const Copy copy(equal_pitches);
  const PlaneViews from(*copy.source);
  const PlaneViews to(*copy.destination);
  for (auto _ : state) {
    for (size_t i = 0; i < from.size(); ++i) plane_copy(from[i], to[i]);
    benchmark::ClobberMemory();
  }
  if (!copy.Done()) state.SkipWithError("not copied");
}

void MemcpyPlane(const PlaneView& from, const PlaneView& to) {
  if (from.pitch == to.pitch) {
    std::memcpy(to.data, from.data, static_cast<size_t>(from.pitch) * from.rows);
    return;
  }
  for (int32_t y = 0; y < from.rows; ++y) std::memcpy(to.row(y), from.row(y), from.width);
}

void LibyuvCopyPlane(const PlaneView& from, const PlaneView& to) {
  libyuv::CopyPlane(from.data, from.pitch, to.data, to.pitch, from.width, from.rows);
}

BENCHMARK_CAPTURE(CopyPlanes, equal_memcpy, true, MemcpyPlane)->Name("copy_equal/memcpy");
BENCHMARK_CAPTURE(CopyPlanes, unequal_memcpy, false, MemcpyPlane)->Name("copy_unequal/memcpy");
BENCHMARK_CAPTURE(CopyPlanes, equal_libyuv, true, LibyuvCopyPlane)->Name("copy_equal/libyuv");
BENCHMARK_CAPTURE(CopyPlanes, unequal_libyuv, false, LibyuvCopyPlane)->Name("copy_unequal/libyuv");

}  // namespace
}  // namespace mivare::bench
