// Runs the benches as Google Benchmark's own flags say; ./measure turns what it prints into a
// table.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <future>
#include <thread>

#include "orlo/log.h"

int main(int argc, char** argv) {
  orlo::SetDefaultLogLevel(INT32_MAX);  // lines on the terminal would be measured too
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

  // Locks and reference counts cost less in a process of one thread. No engine is one, so neither
  // this library nor a peer is measured in one.
  std::promise<void> end;
  std::thread other([wait = end.get_future()] { wait.wait(); });
  benchmark::RunSpecifiedBenchmarks();
  end.set_value();
  other.join();
  benchmark::Shutdown();
  return 0;
}
