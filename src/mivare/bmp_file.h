// The layout of the BMP files written and read here:
//
//     0    file header, 14 bytes
//     14   information header, 40 bytes
//     54   three masks, 12 bytes (bit fields), or a grey palette, 1024 bytes (8 bits per pixel)
//          rows of row_bytes bytes, the bottom row of the picture first
//
// The numbers of the headers are cut to their fields; the layout itself is not.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace mivare {

struct ImageFormat;

inline constexpr size_t kBmpHeadersBytes = 14 + 40;
inline constexpr size_t kBmpMasksBytes = 12;
inline constexpr size_t kBmpPaletteBytes = 1024;
inline constexpr uint32_t kBmpBitFields = 3;  ///< the compression code of masked pixels

struct BmpLayout {
  int32_t width;
  int32_t height;
  uint32_t bits_per_pixel;
  uint32_t compression;  ///< 0 or kBmpBitFields
  int64_t row_bytes;     ///< padded to 4
  size_t data_offset;    ///< where the rows begin
};

BmpLayout LayOutBmp(const ImageFormat& format, uint32_t bit_depth, int32_t width, int32_t height);

/// Everything in front of the rows; the first data_offset bytes count.
using BmpPreamble = std::array<uint8_t, kBmpHeadersBytes + kBmpPaletteBytes>;

BmpPreamble EncodeBmpPreamble(const BmpLayout& layout);

/// The two headers of a file, and what they say of its rows. Whatever stands there is taken: it is
/// for the reader to compare it with what is expected.
using BmpHeaders = std::array<uint8_t, kBmpHeadersBytes>;

struct BmpFacts {
  int32_t width;
  int32_t height;
  uint32_t bits_per_pixel;
  uint32_t compression;
};

BmpFacts DecodeBmpHeaders(const BmpHeaders& headers);

}  // namespace mivare
