// Does work on whole planes run at the speed of the memory and of the best loops there are?
#include <benchmark/benchmark.h>
#include <libyuv.h>
#include <openssl/evp.h>
// libmd's header needs the types of the system's
#include <sys/types.h>
// after sys/types.h
#include <md5.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>

#include "support/library.h"
#include "support/plane.h"

namespace mivare::bench {
namespace {

using Buffer = std::shared_ptr<IMediaBuffer>;

// A frame, and the one that its copies go to: alike, or with longer rows in memory.
struct Copy {
  Library library;
  Buffer source = Filled(library, k4K, 1);
  Buffer destination;

  explicit Copy(bool equal_pitches) {
    if (equal_pitches) {
      destination = Filled(library, k4K, 2);
      return;
    }
    const uint32_t rect[] = {0, 0, k4K.width, k4K.height};
    NUXMivareCreateMediaBufferCrop(Filled(library, {4096, 2304}, 2), rect, &destination);
  }
};

void CopyFrames(benchmark::State& state, bool equal_pitches) {
  const Copy copy(equal_pitches);
  for (auto _ : state) {
    NUXMivareCopyMediaBufferData(copy.destination.get(), copy.source.get());
    benchmark::ClobberMemory();
  }
  if (!SamePlanes(*copy.source, *copy.destination)) state.SkipWithError("not copied");
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
  if (!SamePlanes(*copy.source, *copy.destination)) state.SkipWithError("not copied");
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

void Psnr(benchmark::State& state) {
  const Library library;
  const Buffer a = Filled(library, k4K, 1);
  const Buffer b = Filled(library, k4K, 2);
  for (auto _ : state) benchmark::DoNotOptimize(NUXMivareImagePSNR(a, b, 0));
  state.counters["decibels"] = NUXMivareImagePSNR(a, b, 0);
}
BENCHMARK(Psnr)->Name("psnr/mivare");

void PsnrLibyuv(benchmark::State& state) {
  const Library library;
  const Buffer a = Filled(library, k4K, 1);
  const Buffer b = Filled(library, k4K, 2);
  const PlaneView one = PlaneViews(*a)[0];
  const PlaneView other = PlaneViews(*b)[0];
  const auto ratio = [&] {
    return libyuv::CalcFramePsnr(one.data, one.pitch, other.data, other.pitch, one.width, one.rows);
  };
  for (auto _ : state) benchmark::DoNotOptimize(ratio());
  state.counters["decibels"] = ratio();
}
BENCHMARK(PsnrLibyuv)->Name("psnr/libyuv");

void Md5(benchmark::State& state) {
  const Library library;
  const Buffer frame = Filled(library, k4K, 1);
  std::string digest;
  for (auto _ : state) NUXMivareMediaBuffer2MD5(frame.get(), &digest);
  if (digest.size() != 32) state.SkipWithError("no digest");
}
BENCHMARK(Md5)->Name("md5/mivare");

template <class Hash>
void Md5Peer(benchmark::State& state, Hash hash) {
  const Library library;
  const Buffer frame = Filled(library, k4K, 1);
  const PlaneView luma = PlaneViews(*frame)[0];
  const size_t bytes = static_cast<size_t>(luma.width) * luma.rows;  // the rows lie end to end
  if (luma.pitch != luma.width) state.SkipWithError("padded rows");
  uint8_t digest[16];
  for (auto _ : state) {
    hash(luma.data, bytes, digest);
    benchmark::DoNotOptimize(digest);
  }
}
void HashLibmd(const uint8_t* data, size_t bytes, uint8_t* digest) {
  MD5_CTX context;
  MD5Init(&context);
  MD5Update(&context, data, bytes);
  MD5Final(digest, &context);
}
void HashLibcrypto(const uint8_t* data, size_t bytes, uint8_t* digest) {
  EVP_Digest(data, bytes, digest, nullptr, EVP_md5(), nullptr);
}
BENCHMARK_CAPTURE(Md5Peer, libmd, HashLibmd)->Name("md5/libmd");
BENCHMARK_CAPTURE(Md5Peer, libcrypto, HashLibcrypto)->Name("md5/libcrypto");

// A frame is filled when a request asks for black and its pool has an idle frame that is not. Black
// ones then have a pool of their own, so each fill takes a library of its own; only the request is
// timed. Both sides start from a frame whose pages are there.
struct Idle {
  Library library;
  MediaDescPtr desc = Picture(kPlanar420, k4K);

  Idle() {
    const Buffer frame = library.Request(*desc);
    const PlaneViews planes(*frame);
    for (size_t i = 0; i < planes.size(); ++i) Set(planes[i], 7);
  }
  static void Set(const PlaneView& plane, int value) {
    std::memset(plane.data, value, static_cast<size_t>(plane.pitch) * plane.rows);
  }
};

constexpr int kBlackLuma = 0;
constexpr int kBlackChroma = 128;

using Timer = std::chrono::steady_clock;
double Since(Timer::time_point start) {
  return std::chrono::duration<double>(Timer::now() - start).count();
}

void BlankFill(benchmark::State& state) {
  for (auto _ : state) {
    const Idle idle;
    idle.desc->GetUserDataConfig()->Set("Blank", 1);
    const auto start = Timer::now();
    const Buffer frame = idle.library.Request(*idle.desc);
    state.SetIterationTime(Since(start));
    const PlaneViews planes(*frame);
    const PlaneView& last = planes[2];
    if (*planes[0].data != kBlackLuma || last.row(last.rows - 1)[last.width - 1] != kBlackChroma) {
      state.SkipWithError("not black");
      break;
    }
  }
}
BENCHMARK(BlankFill)->Name("blank/mivare")->UseManualTime();

void BlankMemset(benchmark::State& state) {
  for (auto _ : state) {
    const Idle idle;
    const Buffer frame = idle.library.Request(*idle.desc);
    const PlaneViews planes(*frame);
    const auto start = Timer::now();
    for (size_t i = 0; i < planes.size(); ++i) {
      Idle::Set(planes[i], i == 0 ? kBlackLuma : kBlackChroma);
    }
    benchmark::ClobberMemory();
    state.SetIterationTime(Since(start));
  }
}
BENCHMARK(BlankMemset)->Name("blank/memset")->UseManualTime();

}  // namespace
}  // namespace mivare::bench
