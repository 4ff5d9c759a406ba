// What does a frame that no pool has cost above the system's own work for its memory?
//
// A frame goes back to its pool as long as the library is up, so each one here outlives an Uninit:
// its last handle then destroys it. Only the request, the touching and that last handle are timed.
#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "support/library.h"
#include "support/timer.h"

namespace mivare::bench {
namespace {

constexpr int32_t kPage = 4096;

void Touch(uint8_t* block, int32_t bytes) {
  for (int32_t i = 0; i < bytes; i += kPage) block[i] = 1;
  benchmark::ClobberMemory();
}

void Cold(benchmark::State& state) {
  const MediaDescPtr desc = Picture(kPlanar420, k4K);
  const int32_t bytes = MediaDescPtr(desc->Clone())->GetFrameSize();
  for (auto _ : state) {
    std::optional<Library> library(std::in_place);
    const Timer request;
    std::shared_ptr<IMediaBuffer> frame = library->Request(*desc);
    Touch(LockedBuffer(*frame, true).plane(0), bytes);
    const double first = request.Seconds();
    library.reset();
    const Timer release;
    frame.reset();
    state.SetIterationTime(first + release.Seconds());
  }
}
BENCHMARK(Cold)->Name("cold/mivare")->UseManualTime();

void ColdMapping(benchmark::State& state) {
  const int32_t bytes = Picture(kPlanar420, k4K)->GetFrameSize();
  for (auto _ : state) {
    const Timer timer;
    void* block = mmap(nullptr, static_cast<size_t>(bytes), PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) {
      state.SkipWithError("no memory");
      break;
    }
    Touch(static_cast<uint8_t*>(block), bytes);
    munmap(block, static_cast<size_t>(bytes));
    state.SetIterationTime(timer.Seconds());
  }
}
BENCHMARK(ColdMapping)->Name("cold/mmap")->UseManualTime();

}  // namespace
}  // namespace mivare::bench
