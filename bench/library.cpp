// What does the library cost that is brought up and down, and one that has nothing to do?
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <thread>

#include "support/library.h"
#include "support/worker.h"

namespace mivare::bench {
namespace {

void InitUninit(benchmark::State& state) {
  for (auto _ : state) const Library library;
}
BENCHMARK(InitUninit)->Name("init_uninit/mivare")->UseRealTime();

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The whole process's processor time while this thread sleeps: that is the worker's.
void Idle(benchmark::State& state) {
  const Library library;
  MakeKeys(library, 1'000);
  AwaitTrimming();
  double cpu = 0;
  double wall = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    const double cpu_before = CpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(5));
    cpu += CpuSeconds() - cpu_before;
    wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  state.counters["percent_of_core"] = 100 * cpu / wall;
}
BENCHMARK(Idle)->Name("idle/mivare")->UseRealTime()->Iterations(1)->Repetitions(3);

}  // namespace
}  // namespace mivare::bench
