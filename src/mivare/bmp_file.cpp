#include "bmp_file.h"

#include "base/little_endian.h"
#include "image_format.h"

namespace mivare {

BmpLayout LayOutBmp(const ImageFormat& format, uint32_t bit_depth, int32_t width, int32_t height) {
  BmpLayout layout{};
  layout.width = width;
  layout.height = height;
  layout.bits_per_pixel = format.BmpBits(bit_depth);
  const bool masked = format.bmp == BmpPixels::kOneField && layout.bits_per_pixel >= 9;
  layout.compression = masked ? kBmpBitFields : 0;
  layout.row_bytes = ((int64_t{width} * layout.bits_per_pixel + 7) / 8 + 3) & ~int64_t{3};
  layout.data_offset = kBmpHeadersBytes + (masked ? kBmpMasksBytes : 0) +
                       (layout.bits_per_pixel == 8 ? kBmpPaletteBytes : 0);
  return layout;
}

BmpPreamble EncodeBmpPreamble(const BmpLayout& layout) {
  // Unsigned, so that sizes beyond a field's range are cut instead of overflowing.
  const auto width = static_cast<uint64_t>(layout.width);
  const auto height = static_cast<uint64_t>(layout.height);
  const bool grey = layout.bits_per_pixel == 8;

  BmpPreamble bytes{};
  uint8_t* at = bytes.data();
  at[0] = 'B';
  at[1] = 'M';
  PutLittle<4>(at + 2, static_cast<uint64_t>(layout.row_bytes) * height + layout.data_offset);
  PutLittle<4>(at + 10, layout.data_offset);
  PutLittle<4>(at + 14, 40);
  PutLittle<4>(at + 18, width);
  PutLittle<4>(at + 22, height);
  PutLittle<2>(at + 26, 1);
  PutLittle<2>(at + 28, layout.bits_per_pixel);
  PutLittle<4>(at + 30, layout.compression);
  PutLittle<4>(at + 34, grey ? width * height : 0);

  uint8_t* behind = at + kBmpHeadersBytes;
  if (layout.compression == kBmpBitFields) {
    // One field, the middle one, holds the whole pixel: the tools that read these files expect it.
    PutLittle<4>(behind + 4, 0xFFFF);
  }
  if (grey) {
    for (size_t level = 0; level < 256; ++level) {
      PutLittle<4>(behind + 4 * level, 0xFF000000U | level << 16 | level << 8 | level);
    }
  }
  return bytes;
}

BmpFacts DecodeBmpHeaders(const BmpHeaders& headers) {
  const uint8_t* at = headers.data();
  BmpFacts facts{};
  facts.width = static_cast<int32_t>(GetLittle<4>(at + 18));
  facts.height = static_cast<int32_t>(GetLittle<4>(at + 22));
  facts.bits_per_pixel = static_cast<uint32_t>(GetLittle<2>(at + 28));
  facts.compression = static_cast<uint32_t>(GetLittle<4>(at + 30));
  return facts;
}

}  // namespace mivare
