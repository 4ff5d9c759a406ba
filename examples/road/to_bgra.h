// Pictures in the colours of a screen, upright: 8 bits each of blue, green, red and alpha.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "source.h"

namespace road {

struct Size {
  int width = 0;
  int height = 0;
};

/// The size of a picture once it is turned upright.
Size UprightSize(const VideoInfo& video);

/// Writes a picture of `video` into rows of B, G, R, A of the upright size. All in integers: every
/// platform gives the same bytes. The matrix is the stream's; without one it is BT.709 for
/// pictures of HD size and BT.601 for smaller ones, as players take it. Transfer and primaries are
/// left as they are.
void ToBgra(const VideoInfo& video, std::span<const PlaneView> planes, uint8_t* out,
            ptrdiff_t out_pitch);

}  // namespace road
