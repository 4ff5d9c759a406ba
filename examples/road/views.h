// The views that the display looks through.
#pragma once

#include <array>
#include <memory>
#include <span>

#include "formats.h"
#include "mivare/mivare.h"

namespace road {

/// In pixels of the stored picture.
struct Rect {
  int x, y, width, height;
};

/// The middle of a picture, half as wide and high, from an even column and row.
Rect MiddleOf(int width, int height);

/// A rectangle of that kind of a picture.
std::array<PlaneView, 3> Middle(const PixelFormat& format, std::span<const PlaneView> planes,
                                const Rect& rect);

/// A stand-in for a frame and a view of a rectangle of it. Throw Failure.
std::shared_ptr<mivare::IMediaBuffer> StandIn(const std::shared_ptr<mivare::IMediaBuffer>& frame);
std::shared_ptr<mivare::IMediaBuffer> Crop(const std::shared_ptr<mivare::IMediaBuffer>& frame,
                                           const Rect& rect);

}  // namespace road
