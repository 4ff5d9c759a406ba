// What does a dump cost above the one write of its bytes that nobody can avoid?
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "support/library.h"
#include "support/plane.h"
#include "support/scratch_file.h"

namespace mivare::bench {
namespace {

constexpr uintmax_t kBmpBytes = uintmax_t{kHd.width} * kHd.height * 4;  // and headers
constexpr uintmax_t kRawBytes = uintmax_t{k4K.width} * k4K.height * 3 / 2;

void DumpBmp(benchmark::State& state) {
  const ScratchFile file(".bmp");
  const auto frame = Library().Request(*Picture(kBgra, kHd));
  std::memset(LockedBuffer(*frame, true).plane(0), 1, kBmpBytes);  // every page is there
  for (auto _ : state) NUXMivareDumpBMP(file.path().c_str(), frame);
  if (std::filesystem::file_size(file.path()) < kBmpBytes) state.SkipWithError("no picture");
}
BENCHMARK(DumpBmp)->Name("bmp/mivare");

void DumpRaw(benchmark::State& state) {
  const ScratchFile file(".yv12");
  for (auto _ : state) NUXMivareDumpMediaBuffer(file.prefix().c_str(), Noise(k4K, 1));
  if (std::filesystem::file_size(file.path()) != kRawBytes) state.SkipWithError("no samples");
}
BENCHMARK(DumpRaw)->Name("raw/mivare");

void Write(benchmark::State& state, uintmax_t bytes) {
  const ScratchFile file(".bytes");
  const std::vector<uint8_t> block(bytes, 1);
  for (auto _ : state) {
    const int handle = open(file.path().c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
    if (write(handle, block.data(), block.size()) != static_cast<ssize_t>(block.size())) {
      state.SkipWithError("not written");
    }
    close(handle);
  }
}
BENCHMARK_CAPTURE(Write, bmp, kBmpBytes)->Name("bmp/write");
BENCHMARK_CAPTURE(Write, raw, kRawBytes)->Name("raw/write");

}  // namespace
}  // namespace mivare::bench
