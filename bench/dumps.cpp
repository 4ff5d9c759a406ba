// What does a dump cost above the one write of its bytes that nobody can avoid?
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/library.h"
#include "support/scratch_file.h"

namespace mivare::bench {
namespace {

constexpr uintmax_t kBmpBytes = uintmax_t{kHd.width} * kHd.height * 4;  // and headers
constexpr uintmax_t kRawBytes = uintmax_t{k4K.width} * k4K.height * 3 / 2;

// A frame with every page there.
std::shared_ptr<IMediaBuffer> Frame(const Library& library, int32_t smt, Size size) {
  std::shared_ptr<IMediaBuffer> frame = library.Request(*Picture(smt, size));
  library.allocator().FillBlank(frame.get());
  return frame;
}

void DumpBmp(benchmark::State& state) {
  const Library library;
  const ScratchFile file(".bmp");
  const auto frame = Frame(library, kBgra, kHd);
  for (auto _ : state) NUXMivareDumpBMP(file.path().c_str(), frame);
  if (std::filesystem::file_size(file.path()) < kBmpBytes) state.SkipWithError("no picture");
}
BENCHMARK(DumpBmp)->Name("bmp/mivare");

void DumpRaw(benchmark::State& state) {
  const Library library;
  const ScratchFile file(".yv12");
  const auto frame = Frame(library, kPlanar420, k4K);
  for (auto _ : state) NUXMivareDumpMediaBuffer(file.prefix().c_str(), frame);
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
