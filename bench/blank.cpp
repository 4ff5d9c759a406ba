// Does a request for a black frame take as long as setting its bytes?
//
// A frame is filled when its pool has an idle one that is not black. Black ones then have a pool of
// their own and stay as they are, so each fill here takes a library of its own. Only the request is
// timed. Both sides start from a frame whose pages are there and were just written.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>

#include "support/library.h"
#include "support/plane.h"
#include "support/timer.h"

namespace mivare::bench {
namespace {

constexpr int kBlackLuma = 0;
constexpr int kBlackChroma = 128;

void Set(const PlaneView& plane, int value) {
  std::memset(plane.data, value, static_cast<size_t>(plane.pitch) * plane.rows);
}

// A library whose pool has one frame, of another colour.
struct OneIdle {
  Library library;
  MediaDescPtr desc = Picture(kPlanar420, k4K);

  OneIdle() {
    const auto frame = library.Request(*desc);
    const PlaneViews planes(*frame);
    for (size_t i = 0; i < planes.size(); ++i) Set(planes[i], 7);
  }
};

void Fill(benchmark::State& state) {
  for (auto _ : state) {
    const OneIdle one;
    one.desc->GetUserDataConfig()->Set("Blank", 1);
    const Timer timer;
    const auto frame = one.library.Request(*one.desc);
    state.SetIterationTime(timer.Seconds());
    const PlaneViews planes(*frame);
    if (planes[0].last() != kBlackLuma || planes[2].last() != kBlackChroma) {
      state.SkipWithError("not black");
      break;
    }
  }
}
BENCHMARK(Fill)->Name("blank/mivare")->UseManualTime();

void Memset(benchmark::State& state) {
  for (auto _ : state) {
    const OneIdle one;
    const auto frame = one.library.Request(*one.desc);
    const PlaneViews planes(*frame);
    const Timer timer;
    for (size_t i = 0; i < planes.size(); ++i) {
      Set(planes[i], i == 0 ? kBlackLuma : kBlackChroma);
    }
    benchmark::ClobberMemory();
    state.SetIterationTime(timer.Seconds());
  }
}
BENCHMARK(Memset)->Name("blank/memset")->UseManualTime();

}  // namespace
}  // namespace mivare::bench
