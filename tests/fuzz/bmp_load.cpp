// NUXMivareLoadBMP: a frame's shape, then the file. What is loaded is compared with a reader of
// this file's own, and every other byte of the frame's memory with what it was.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
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

constexpr size_t kHeaders = 54;

uint32_t Little(const std::vector<uint8_t>& file, size_t at, size_t count) {
  uint32_t value = 0;
  for (size_t i = 0; i < count; ++i) value |= uint32_t{file[at + i]} << (8 * i);
  return value;
}

void PutLittle(std::vector<uint8_t>& file, size_t at, size_t count, uint32_t value) {
  for (size_t i = 0; i < count; ++i) file[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// Headers that fit are hard to come by: most files get the frame's size, and a depth.
std::vector<uint8_t> TakeBmp(Bytes& in, uint32_t width, uint32_t height) {
  constexpr std::array<uint32_t, 8> kDepths = {24, 32, 24, 32, 16, 8, 1, 0};
  const uint32_t mend = in.Below(16);
  const uint32_t compression = in.Below(4);
  const std::span<const uint8_t> rest = in.Rest();
  std::vector<uint8_t> file(rest.begin(), rest.end());
  if (mend == 0 || file.size() < kHeaders) return file;
  PutLittle(file, 18, 4, width);
  PutLittle(file, 22, 4, height);
  if (mend >= kDepths.size()) PutLittle(file, 28, 2, kDepths[mend - kDepths.size()]);
  if (compression > 0) PutLittle(file, 30, 4, compression);
  return file;
}

bool Fits(const std::vector<uint8_t>& file, const IMediaDesc& desc) {
  if (file.size() < kHeaders || desc.GetSmt() != 45) return false;
  const uint32_t bits = Little(file, 28, 2);
  return Little(file, 18, 4) == desc.GetWidth() && Little(file, 22, 4) == desc.GetHeight() &&
         (bits == 24 || bits == 32);
}

// What the rows of the frame hold afterwards, the last row first.
std::vector<std::vector<uint8_t>> ExpectedRows(const std::vector<uint8_t>& file,
                                               const IMediaDesc& desc) {
  const size_t row_bytes = size_t{4} * desc.GetWidth();
  size_t at = std::min(file.size(), kHeaders + (Little(file, 30, 4) == 3 ? 12 : 0));
  std::vector<uint8_t> row(row_bytes);
  std::vector<std::vector<uint8_t>> rows;
  for (uint32_t y = 0; y < desc.GetHeight(); ++y) {
    const size_t count = std::min(row_bytes, file.size() - at);
    std::copy_n(file.begin() + static_cast<ptrdiff_t>(at), count, row.begin());
    at += count;
    rows.push_back(row);
    if (Little(file, 28, 2) == 32) continue;
    for (size_t x = 0; x < desc.GetWidth(); ++x) {
      for (size_t i = 0; i < 3; ++i) rows.back()[4 * x + i] = row[3 * x + i];
      rows.back()[4 * x + 3] = 255;
    }
  }
  return rows;
}

void Run(Bytes in) {
  const Quiet quiet;
  const TightBlocks blocks;
  constexpr std::array<int32_t, 8> kCodes = {45, 45, 45, 45, 44, 46, 48, 1};
  const int32_t smt = in.OneOf(kCodes);
  const uint32_t width = 1 + in.Below(40);
  const uint32_t height = 1 + in.Below(20);
  const Picture picture = TakePicture(in, smt, width, height, size_t{8} * width);
  const std::vector<uint8_t> file = TakeBmp(in, width, height);
  if (picture.buffer == nullptr) return;
  WriteScratch(file);
  const IMediaDesc& desc = *picture.buffer->GetDesc(0);
  FUZZ_CHECK(desc.GetWidth() == width && desc.GetHeight() == height);

  std::vector<uint8_t> expected = picture.Contents();
  const bool fits = Fits(file, desc);
  if (fits) {
    const LockedBuffer lock(*picture.buffer);
    const std::vector<std::vector<uint8_t>> rows = ExpectedRows(file, desc);
    for (size_t i = 0; i < rows.size(); ++i) {
      const ptrdiff_t y = static_cast<ptrdiff_t>(height - 1 - i);
      const ptrdiff_t at = lock.plane(0) - picture.memory.data() + y * lock.pitch(0);
      std::copy(rows[i].begin(), rows[i].end(), expected.begin() + at);
    }
  }
  FUZZ_CHECK(NUXMivareLoadBMP(ScratchFile().c_str(), picture.buffer) == fits);
  FUZZ_CHECK(picture.Contents() == expected);
  if (!fits) return;

  // Once more through a file: the dump is a file that loads to what is there.
  FUZZ_CHECK(NUXMivareDumpBMP(ScratchFile().c_str(), picture.buffer) == 0);
  FUZZ_CHECK(NUXMivareLoadBMP(ScratchFile().c_str(), picture.buffer));
  FUZZ_CHECK(picture.Contents() == expected);
  FUZZ_CHECK(TakeFile(ScratchFile()).size() == kHeaders + size_t{4} * width * height);
}

}  // namespace
}  // namespace mivare::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mivare::fuzz::Run({data, size});
  return 0;
}
