// NUXMivareLoadMediaBuffer: a format and a shape, then the file. What is loaded is compared with a
// reader of this file's own, and a dump of the frame with the file that it came from.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "fuzz/bytes.h"
#include "fuzz/check.h"
#include "fuzz/picture.h"
#include "fuzz/scratch_file.h"
#include "fuzz/tight_blocks.h"
#include "mivare/diagnostics.h"

namespace mivare::fuzz {
namespace {

struct Rows {
  size_t plane;
  size_t columns;
  size_t rows;
};

// The planes of the two formats that are read back raw; none for others.
std::vector<Rows> PlanesOf(int32_t smt, size_t width, size_t height) {
  if (smt == 1) {
    return {{0, width, height}, {1, width / 2, height / 2}, {2, width / 2, height / 2}};
  }
  if (smt == 6) return {{0, width, height}, {1, width, height / 2}};
  return {};
}

// Puts the file where it belongs; returns how much of it that was.
size_t Place(std::span<const uint8_t> file, const std::vector<Rows>& planes,
             const LockedBuffer& lock, std::span<const uint8_t> memory,
             std::vector<uint8_t>& expected) {
  size_t at = 0;
  for (const Rows& plane : planes) {
    const uint8_t* first = lock.plane(plane.plane);
    if (first == nullptr) continue;
    for (size_t y = 0; y < plane.rows; ++y) {
      const size_t count = std::min(plane.columns, file.size() - at);
      const ptrdiff_t to =
          first - memory.data() + static_cast<ptrdiff_t>(y) * lock.pitch(plane.plane);
      const auto from = file.subspan(at, count);
      std::copy(from.begin(), from.end(), expected.begin() + to);
      at += count;
    }
  }
  return at;
}

void Run(Bytes in) {
  const Quiet quiet;
  const TightBlocks blocks;
  constexpr std::array<int32_t, 16> kCodes = {1,  1,  1, 6, 6,  6,  45, 44,
                                              48, 46, 2, 7, 16, 55, 60, 15000};
  const int32_t smt = in.OneOf(kCodes);
  const uint32_t width = 1 + in.Below(40);
  const uint32_t height = 1 + in.Below(20);
  const Picture picture = TakePicture(in, smt, width, height, size_t{8} * width);
  const std::span<const uint8_t> file = in.Rest();
  if (picture.buffer == nullptr) return;
  WriteScratch(file);

  const std::vector<uint8_t> before = picture.Contents();
  const bool loaded = NUXMivareLoadMediaBuffer(ScratchFile().c_str(), picture.buffer);
  const std::vector<Rows> planes = PlanesOf(smt, width, height);
  if (smt == 45 && loaded) return;  // bmp_load looks into it
  FUZZ_CHECK(loaded == !planes.empty());
  if (!loaded) {
    FUZZ_CHECK(picture.Contents() == before);
    return;
  }

  std::vector<uint8_t> expected = before;
  size_t used = 0;
  {
    const LockedBuffer lock(*picture.buffer);
    FUZZ_CHECK(lock.ok());
    used = Place(file, planes, lock, picture.memory, expected);
  }
  FUZZ_CHECK(picture.Contents() == expected);

  // Once more through a file: the dump begins with what was read.
  NUXMivareDumpMediaBuffer(ScratchFile().c_str(), picture.buffer);
  const std::vector<uint8_t> dump = TakeFile(ScratchFile() + (smt == 1 ? ".yv12" : ".nv12"));
  FUZZ_CHECK(dump.size() >= used);
  FUZZ_CHECK(std::equal(dump.begin(), dump.begin() + static_cast<ptrdiff_t>(used), file.begin()));
  WriteScratch(dump);
  FUZZ_CHECK(NUXMivareLoadMediaBuffer(ScratchFile().c_str(), picture.buffer));
  FUZZ_CHECK(picture.Contents() == expected);
}

}  // namespace
}  // namespace mivare::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mivare::fuzz::Run({data, size});
  return 0;
}
