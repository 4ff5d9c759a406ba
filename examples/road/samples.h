// Single samples of a picture in any of the formats.
#pragma once

#include <cstddef>
#include <span>

#include "formats.h"

namespace road {

/// With as many bits as the format's samples have.
struct Yuv {
  int y, u, v;
};

inline int SampleAt(const PixelFormat& format, const PlaneView& plane, int x, int y) {
  const uint8_t* row = plane.data + y * plane.pitch;
  if (format.bytes() == 1) return row[x];
  const uint8_t* sample = row + 2 * ptrdiff_t{x};
  return (sample[0] | sample[1] << 8) >> format.shift;
}

/// Of a format whose first plane is luma; grey ones have chroma in the middle.
inline Yuv YuvAt(const PixelFormat& format, std::span<const PlaneView> planes, int x, int y) {
  const int middle = 128 << (format.bits - 8);
  Yuv yuv{SampleAt(format, planes[0], x, y), middle, middle};
  const int cx = x >> format.chroma_x;
  const int cy = y >> format.chroma_y;
  if (format.chroma_components == 2) {
    yuv.u = SampleAt(format, planes[1], 2 * cx, cy);
    yuv.v = SampleAt(format, planes[1], 2 * cx + 1, cy);
  } else if (format.chroma_components == 1) {
    yuv.u = SampleAt(format, planes[1], cx, cy);
    yuv.v = SampleAt(format, planes[2], cx, cy);
  }
  return yuv;
}

}  // namespace road
