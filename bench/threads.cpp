// What does a warm request cost when threads meet: all on one pool, or each on a pool of its own?
// Times are wall time for each operation of all threads together.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <memory>
#include <thread>

#include "peers/libavutil.h"
#include "support/library.h"

namespace mivare::bench {
namespace {

constexpr int kMostThreads = 16;

// The sizes differ so that the pools do.
Size SizeOf(int thread) { return {kHd.width, kHd.height - 2 * thread}; }

void Request(benchmark::State& state, bool one_key) {
  const Library library;
  const MediaDescPtr desc = Picture(kPlanar420, SizeOf(one_key ? 0 : state.thread_index()));
  if (library.Request(*desc) == nullptr) state.SkipWithError("no frame");
  for (auto _ : state) benchmark::DoNotOptimize(library.Request(*desc));
}

// Made before the threads are started.
std::array<std::unique_ptr<AvFramePool>, kMostThreads> av_pools;

void MakeAvPools(const benchmark::State&) {
  for (int i = 0; i < kMostThreads; ++i) {
    av_pools[static_cast<size_t>(i)] = std::make_unique<AvFramePool>(SizeOf(i));
  }
}
void DropAvPools(const benchmark::State&) { av_pools = {}; }

void RequestAv(benchmark::State& state, bool one_key) {
  const AvFramePool& pool = *av_pools[static_cast<size_t>(one_key ? 0 : state.thread_index())];
  if (pool.Take() == nullptr) state.SkipWithError("no frame");
  for (auto _ : state) benchmark::DoNotOptimize(pool.Take());
}

// 1 to 16 threads, as far as there are cores; 4 at least, to see what waiting costs. The runs are
// long beside the time that a thread may wait for its first turn.
void Threads(benchmark::internal::Benchmark* bench) {
  const int cores = std::max(4, static_cast<int>(std::thread::hardware_concurrency()));
  for (const int threads : {1, 2, 3, 4, 6, 8, 10, 12, 14, kMostThreads}) {
    if (threads <= cores) bench->Threads(threads);
  }
  bench->UseRealTime()->MinTime(0.2)->Repetitions(11);
}

BENCHMARK_CAPTURE(Request, one, true)->Name("threads_one_key/mivare")->Apply(Threads);
BENCHMARK_CAPTURE(Request, many, false)->Name("threads_many_keys/mivare")->Apply(Threads);
BENCHMARK_CAPTURE(RequestAv, one, true)
    ->Name("threads_one_key/libavutil")
    ->Setup(MakeAvPools)
    ->Teardown(DropAvPools)
    ->Apply(Threads);
BENCHMARK_CAPTURE(RequestAv, many, false)
    ->Name("threads_many_keys/libavutil")
    ->Setup(MakeAvPools)
    ->Teardown(DropAvPools)
    ->Apply(Threads);

}  // namespace
}  // namespace mivare::bench
