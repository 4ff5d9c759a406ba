// How plane 0 of each pixel format looks in an image file.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace mivare {

/// What a BMP makes of the pixels.
enum class BmpPixels : uint8_t {
  kAsTheyAre,
  kHighBytes,  ///< 16-bit samples keep their high byte; components 0 and 2 change places
  kOneField,   ///< a pixel deeper than 8 bits is announced as a single bit field
};

struct ImageFormat {
  int32_t smt;
  uint32_t components;  ///< per pixel of plane 0
  BmpPixels bmp;

  /// Bits that a component of plane 0 takes, whole bytes.
  static constexpr uint32_t ComponentBits(uint32_t bit_depth) { return (bit_depth + 7U) & ~7U; }

  /// Bits per pixel of plane 0, and of a TGA, which is the plane as it is.
  constexpr uint32_t MemoryBits(uint32_t bit_depth) const {
    return components * ComponentBits(bit_depth);
  }
  /// Bits per pixel of a BMP.
  constexpr uint32_t BmpBits(uint32_t bit_depth) const {
    return bmp == BmpPixels::kHighBytes ? components * 8U : MemoryBits(bit_depth);
  }
};

inline constexpr ImageFormat kImageFormats[] = {
    {44, 4, BmpPixels::kAsTheyAre}, {45, 4, BmpPixels::kAsTheyAre},
    {48, 4, BmpPixels::kHighBytes}, {49, 3, BmpPixels::kAsTheyAre},
    {50, 3, BmpPixels::kAsTheyAre}, {15000, 1, BmpPixels::kAsTheyAre},
};

/// What every other format is taken for: one component a pixel, the luma where there is one.
inline constexpr ImageFormat kFirstPlaneOnly = {0, 1, BmpPixels::kOneField};

constexpr const ImageFormat& ImageFormatOf(int32_t smt) {
  const auto* row = std::find_if(std::begin(kImageFormats), std::end(kImageFormats),
                                 [smt](const ImageFormat& format) { return format.smt == smt; });
  return row != std::end(kImageFormats) ? *row : kFirstPlaneOnly;
}

}  // namespace mivare
