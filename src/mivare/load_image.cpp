// BMP images read back into packed frames.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "base/log.h"
#include "base/sample_loops.h"
#include "bmp_file.h"
#include "image_format.h"
#include "mivare/diagnostics.h"
#include "mivare/media_desc.h"
#include "plane_walker.h"
#include "platform/platform.h"

namespace mivare {
namespace {

constexpr int32_t kBgra = 45;
constexpr size_t kPixelBytes = 4;  // of its frames

// Turns the pixels of a row of the file into those of the frame; null for pixels that this reader
// does not know.
SampleLoops::Convert ConvertOf(uint32_t bits_per_pixel) {
  switch (bits_per_pixel) {
    case 24: return BestSampleLoops().add_alpha;
    case 32:
      return [](uint8_t* to, const uint8_t* from, size_t pixels) noexcept {
        std::memcpy(to, from, kPixelBytes * pixels);
      };
    default: return nullptr;
  }
}

// Leaves the file where its pixels begin. That the masks of bit fields are cut short shows in the
// rows, like everything behind them.
std::optional<BmpFacts> ReadFacts(std::FILE* file) {
  BmpHeaders headers{};
  if (std::fread(headers.data(), 1, headers.size(), file) != headers.size()) return std::nullopt;
  const BmpFacts facts = DecodeBmpHeaders(headers);
  if (facts.compression == kBmpBitFields) {
    std::array<uint8_t, kBmpMasksBytes> ignored;
    static_cast<void>(std::fread(ignored.data(), 1, ignored.size(), file));
  }
  return facts;
}

bool LoadBmp(const char* path, IMediaBuffer& frame) {
  const IMediaDesc* desc = frame.GetDesc(0);
  if (path == nullptr || desc == nullptr) return false;
  const platform::File file(std::fopen(path, "rb"));
  if (!file) return false;
  const std::optional<BmpFacts> facts = ReadFacts(file.get());
  // From here on all sizes are the frame's own.
  const auto width = static_cast<int32_t>(desc->GetWidth());
  const auto height = static_cast<int32_t>(desc->GetHeight());
  const int32_t smt = desc->GetSmt();
  if (!facts || facts->width != width || facts->height != height || width < 1 || height < 1 ||
      smt != kBgra) {
    return false;
  }
  const WalkedBuffer locked(frame, true);
  const SampleLoops::Convert convert = ConvertOf(facts->bits_per_pixel);
  if (!locked.ok() || locked.plane(0) == nullptr || convert == nullptr) return false;

  const auto pixels = static_cast<size_t>(width);
  const size_t taken = pixels * ImageFormatOf(smt).MemoryBits(desc->GetBitDepth()) / 8;
  const size_t row_bytes = kPixelBytes * pixels;
  std::vector<uint8_t> in_file(std::max(taken, row_bytes));
  std::vector<uint8_t> in_frame(row_bytes);
  const PlaneWalker rows = locked.Rows(0, height, static_cast<int64_t>(row_bytes)).BottomUp();
  int64_t rows_read = 0;
  bool more = true;
  for (const RowPart& part : rows) {
    // The file has rows for those that are not there, too. Where it ends early, `in_file` keeps
    // what it held.
    for (; more && rows_read <= part.row; ++rows_read) {
      more = std::fread(in_file.data(), 1, taken, file.get()) == taken;
    }
    if (part.bytes == row_bytes) {
      convert(part.data, in_file.data(), pixels);
      continue;
    }
    convert(in_frame.data(), in_file.data(), pixels);
    std::memcpy(part.data, in_frame.data() + part.first, part.bytes);
  }
  return true;
}

}  // namespace
}  // namespace mivare

extern "C" bool NUXMivareLoadBMP(const char* path,
                                 std::shared_ptr<mivare::IMediaBuffer> buffer) try {
  const std::shared_ptr<mivare::IMediaBuffer> frame = std::move(buffer);
  if (frame == nullptr) {
    mivare::LogNoBuffer("mivare::NUXMivareLoadBMP", 963);
    return false;
  }
  return mivare::LoadBmp(path, *frame);
} catch (...) {
  return false;
}
