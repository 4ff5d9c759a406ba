#include "views.h"

#include <algorithm>
#include <cstdint>

#include "failure.h"

namespace road {

Rect MiddleOf(int width, int height) {
  return {width / 4 / 2 * 2, height / 4 / 2 * 2, std::max(width / 2, 1), std::max(height / 2, 1)};
}

std::array<PlaneView, 3> Middle(const PixelFormat& format, std::span<const PlaneView> planes,
                                const Rect& rect) {
  std::array<PlaneView, 3> views;
  for (size_t i = 0; i < static_cast<size_t>(format.planes); ++i) {
    const bool chroma = i > 0;
    const int components = chroma ? format.chroma_components : format.first_components;
    const int column = rect.x >> (chroma ? format.chroma_x : 0);
    const int row = rect.y >> (chroma ? format.chroma_y : 0);
    views[i] = {
        planes[i].data + row * planes[i].pitch + ptrdiff_t{column} * components * format.bytes(),
        planes[i].pitch};
  }
  return views;
}

std::shared_ptr<mivare::IMediaBuffer> StandIn(const std::shared_ptr<mivare::IMediaBuffer>& frame) {
  std::shared_ptr<mivare::IMediaBuffer> proxy;
  if (NUXMivareCreateMediaBufferProxy(frame, &proxy) != 0) {
    throw Failure(kDiffers, "the library makes no proxy of a frame");
  }
  return proxy;
}

std::shared_ptr<mivare::IMediaBuffer> Crop(const std::shared_ptr<mivare::IMediaBuffer>& frame,
                                           const Rect& rect) {
  const uint32_t sides[] = {static_cast<uint32_t>(rect.x), static_cast<uint32_t>(rect.y),
                            static_cast<uint32_t>(rect.width), static_cast<uint32_t>(rect.height)};
  std::shared_ptr<mivare::IMediaBuffer> crop;
  if (NUXMivareCreateMediaBufferCrop(frame, sides, &crop) != 0) {
    throw Failure(kDiffers, "the library makes no crop of a frame");
  }
  return crop;
}

}  // namespace road
