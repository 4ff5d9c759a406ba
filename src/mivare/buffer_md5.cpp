// The digest of a frame's first plane.
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "base/block_source.h"
#include "mivare/diagnostics.h"
#include "mivare/media_desc.h"
#include "orlo/md5.h"
#include "plane_walker.h"

namespace mivare {
namespace {

constexpr int32_t kDone = 0;
constexpr int32_t kFailed = -1;

// 0 for formats without a digest.
size_t PixelBytes(int32_t smt) {
  switch (smt) {
    case 1: return 1;
    case 2: return 2;
    case 45: return 4;
    case 46: return 8;
    default: return 0;
  }
}

// Rows are laid a pixel count apart, not a byte count: digests that people keep depend on it.
std::string DigestOfLaidRows(const PlaneWalker& rows, size_t step, size_t size) {
  const std::unique_ptr<uint8_t[]> block(CurrentBlockSource().new_bytes(size));
  for (const RowPart& part : rows) {
    const size_t at = static_cast<size_t>(part.row) * step + static_cast<size_t>(part.first);
    std::memcpy(block.get() + at, part.data, part.bytes);
  }
  return orlo::md5::MD5String(block.get(), size);
}

int32_t Digest(IMediaBuffer* buffer, std::string* digest) {
  const IMediaDesc* desc = buffer != nullptr ? buffer->GetDesc(0) : nullptr;
  if (desc == nullptr || digest == nullptr) return kFailed;
  const size_t pixel_bytes = PixelBytes(desc->GetSmt());
  const auto width = static_cast<int32_t>(desc->GetWidth());
  const auto height = static_cast<int32_t>(desc->GetHeight());
  if (pixel_bytes == 0 || width < 0 || height < 0) return kFailed;
  const WalkedBuffer locked(*buffer);
  if (!locked.ok() || locked.plane(0) == nullptr) return kFailed;

  const auto step = static_cast<size_t>(width);
  const auto rows = static_cast<size_t>(height);
  const size_t row_bytes = pixel_bytes * step;
  if (row_bytes != 0 && rows > std::numeric_limits<size_t>::max() / row_bytes) return kFailed;
  const size_t size = row_bytes * rows;
  const PlaneWalker plane = locked.Rows(0, height, static_cast<int64_t>(row_bytes));
  std::string text;
  if (pixel_bytes == 1 && locked.block() && plane.IsOneRun()) {
    // What would be put together lies there already. Of foreign memory one cannot be that sure.
    text = orlo::md5::MD5String(plane.plane(), size);
  } else {
    text = DigestOfLaidRows(plane, step, size);
  }
  if (text.empty()) return kFailed;
  *digest = std::move(text);
  return kDone;
}

}  // namespace
}  // namespace mivare

extern "C" int32_t NUXMivareMediaBuffer2MD5(mivare::IMediaBuffer* buffer, std::string* digest) try {
  return mivare::Digest(buffer, digest);
} catch (...) {
  return mivare::kFailed;
}
