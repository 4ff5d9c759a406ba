// MediaBufferCrop: a rectangle of another picture.
#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <utility>

#include "base/address.h"
#include "base/log.h"
#include "desc.h"
#include "memory_block.h"
#include "mivare/buffer_views.h"
#include "picture_view.h"

namespace mivare {
namespace {

// How far one pixel of the rectangle's corner moves a plane.
struct PlaneStep {
  int32_t columns_per_sample;
  int32_t rows_per_sample;
  int32_t components;  ///< of a sample
};
constexpr PlaneStep kFull = {1, 1, 1};
constexpr PlaneStep kChroma = {2, 2, 1};
constexpr PlaneStep kChromaPairs = {2, 2, 2};
constexpr PlaneStep kPacked = {1, 1, 4};

struct Geometry {
  int32_t first_smt;
  int32_t last_smt;
  size_t plane_count;
  std::array<PlaneStep, 4> planes;
};
constexpr Geometry kGeometries[] = {
    {1, 3, 3, {kFull, kChroma, kChroma}},
    {6, 8, 2, {kFull, kChromaPairs}},
    {45, 48, 1, {kPacked}},
    {50, 51, 1, {kPacked}},
    {55, 56, 4, {kFull, kChroma, kChroma, kFull}},
    {15000, 15000, 1, {kFull}},
};

const Geometry* GeometryOf(int32_t smt) {
  const auto* const row =
      std::find_if(std::begin(kGeometries), std::end(kGeometries), [smt](const Geometry& geometry) {
        return geometry.first_smt <= smt && smt <= geometry.last_smt;
      });
  return row != std::end(kGeometries) ? row : nullptr;
}

struct Rect {
  uint32_t x, y, width, height;
};

// Coordinates are signed here and rows wrap at 32 bits: hosts may ask for any rectangle.
int64_t ColumnBytes(uint32_t x, const PlaneStep& step, uint32_t component_bytes) {
  return int64_t{static_cast<int32_t>(x) / step.columns_per_sample} * step.components *
         component_bytes;
}

int32_t RowBytes(uint32_t y, const PlaneStep& step, int32_t pitch) {
  const int32_t rows = static_cast<int32_t>(y) / step.rows_per_sample;
  return static_cast<int32_t>(static_cast<uint32_t>(rows) * static_cast<uint32_t>(pitch));
}

class MediaBufferCrop final : public PictureView, public BlockHolder {
 public:
  MediaBufferCrop(std::shared_ptr<IMediaDesc> desc, std::shared_ptr<IMediaBuffer> source,
                  const Rect& rect)
      : PictureView(std::move(desc)), source_(std::move(source)), rect_(rect) {}

  int32_t Lock(uint8_t* planes[8], int32_t pitches[8], void* reserved,
               uint32_t* capacityOut) override;
  int32_t Unlock() override { return source_->Unlock(); }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t flags) override { return source_->Clone(flags); }
  void Flush() override { source_->Flush(); }

  std::optional<MemoryBlock> Block() override { return BlockBehind(*source_); }

 private:
  const std::shared_ptr<IMediaBuffer> source_;
  const Rect rect_;
};

int32_t MediaBufferCrop::Lock(uint8_t* planes[8], int32_t pitches[8], void* reserved,
                              uint32_t* capacityOut) {
  if (planes == nullptr || pitches == nullptr) return -1;
  std::array<uint8_t*, 8> source_planes{};
  const int32_t status = source_->Lock(source_planes.data(), pitches, reserved, capacityOut);
  if (status != 0) return status;
  const IMediaDesc& desc = *GetDesc(0);
  const Geometry* geometry = GeometryOf(desc.GetSmt());
  if (geometry == nullptr) return -1;
  const uint32_t component_bytes = (desc.GetBitDepth() + 7) / 8;
  for (size_t i = 0; i < geometry->plane_count; ++i) {
    const PlaneStep& step = geometry->planes[i];
    // The result may lie outside of the plane's memory.
    planes[i] = Moved(source_planes[i], ColumnBytes(rect_.x, step, component_bytes) +
                                            RowBytes(rect_.y, step, pitches[i]));
  }
  return 0;
}

// Empty for what cannot be cropped.
std::shared_ptr<IMediaBuffer> MakeCrop(std::shared_ptr<IMediaBuffer> source, const Rect& rect) {
  const IMediaDesc* whole = source->GetDesc(0);
  if (whole == nullptr || whole->GetMediaType() != kMediaVideo || whole->GetMemoryLocation() != 0) {
    return {};
  }
  std::shared_ptr<IMediaDesc> desc = whole->CloneShared();
  if (desc == nullptr) return {};
  desc->SetWidthHeight(static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height));
  return std::make_shared<MediaBufferCrop>(std::move(desc), std::move(source), rect);
}

}  // namespace
}  // namespace mivare

int32_t NUXMivareCreateMediaBufferCrop(std::shared_ptr<mivare::IMediaBuffer> mb,
                                       const uint32_t* rect,
                                       std::shared_ptr<mivare::IMediaBuffer>* out) try {
  if (mb == nullptr) {
    mivare::LogNoBuffer("mivare::NUXMivareCreateMediaBufferCrop", __LINE__);
    return -1;
  }
  if (rect == nullptr || out == nullptr) return -1;
  std::shared_ptr<mivare::IMediaBuffer> crop =
      mivare::MakeCrop(std::move(mb), {rect[0], rect[1], rect[2], rect[3]});
  if (crop == nullptr) return -1;
  *out = std::move(crop);
  return 0;
} catch (...) {
  return -1;
}
