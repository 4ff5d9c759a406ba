// Does the comparison of two planes run as fast as the best loops that there are for it?
#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <cmath>

#include "support/library.h"
#include "support/plane.h"

namespace mivare::bench {
namespace {

constexpr uint32_t kOne = 1;
constexpr uint32_t kOther = 3;  // copies.cpp overwrites the one between

double Libyuv() {
  const PlaneView one = PlaneViews(*Noise(k4K, kOne))[0];
  const PlaneView other = PlaneViews(*Noise(k4K, kOther))[0];
  return libyuv::CalcFramePsnr(one.data, one.pitch, other.data, other.pitch, one.width, one.rows);
}

void Psnr(benchmark::State& state) {
  const auto& one = Noise(k4K, kOne);
  const auto& other = Noise(k4K, kOther);
  double decibels = 0;
  for (auto _ : state) benchmark::DoNotOptimize(decibels = NUXMivareImagePSNR(one, other, 0));
  if (std::abs(decibels - Libyuv()) > 1e-9) state.SkipWithError("not the peer's ratio");
}
BENCHMARK(Psnr)->Name("psnr/mivare");

void PsnrLibyuv(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Libyuv());
}
BENCHMARK(PsnrLibyuv)->Name("psnr/libyuv");

}  // namespace
}  // namespace mivare::bench
