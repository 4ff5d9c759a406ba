// Frames over memory of which a target knows every byte.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "buffer2d.h"
#include "fuzz/bytes.h"
#include "fuzz/check.h"
#include "mivare/buffer_views.h"
#include "mivare/helper.h"
#include "mivare/media_desc.h"

namespace mivare::fuzz {

/// A frame, and the memory that it and nobody else may write to.
struct Picture {
  std::shared_ptr<IMediaBuffer> buffer;
  std::vector<uint8_t> owned;  ///< where the library does not own it
  std::span<uint8_t> memory;

  std::vector<uint8_t> Contents() const { return {memory.begin(), memory.end()}; }
};

/// Fills with bytes that tell places apart.
inline void FillPattern(std::span<uint8_t> memory) {
  for (size_t i = 0; i < memory.size(); ++i) memory[i] = static_cast<uint8_t>(i * 151 + 7);
}

/// A host's memory of exactly the rows that a pitch and a height make, the last one as long as
/// `row_bytes` or the pitch, whichever is more. With a negative pitch plane 0 is its last row.
inline Picture WrapMemory(int32_t smt, uint32_t width, uint32_t height, int32_t pitch,
                          size_t row_bytes) {
  Picture picture;
  const auto step = static_cast<size_t>(std::abs(int64_t{pitch}));
  picture.owned.resize(step * (height - 1) + std::max(step, row_bytes));
  picture.owned.shrink_to_fit();
  picture.memory = picture.owned;
  FillPattern(picture.memory);
  uint8_t* top = picture.owned.data() + (pitch < 0 ? step * (height - 1) : 0);
  FUZZ_CHECK(NUXMivareCreateMediaBufferWraper(width, height, static_cast<uint32_t>(smt), top,
                                              static_cast<uint32_t>(pitch), &picture.buffer) == 0);
  return picture;
}

/// A planar frame of the library's own; no buffer for formats and sizes that it refuses.
inline Picture PlanarFrame(int32_t smt, int32_t width, int32_t height) {
  Picture picture;
  const MediaDescPtr desc = MakeMediaDesc(1, smt);
  if (desc == nullptr) return picture;
  desc->SetWidthHeight(width, height);
  std::unique_ptr<Buffer2d> frame = _CreateMediaBuffer2D(desc.get(), nullptr);
  if (frame == nullptr) return picture;
  picture.memory = {frame->Data(), static_cast<size_t>(frame->GetDesc(0)->GetFrameSize())};
  FillPattern(picture.memory);
  picture.buffer = std::move(frame);
  return picture;
}

/// One of the ways to have a `width` x `height` frame whose rows hold `row_bytes` bytes: padded,
/// tight, over memory of a host, upside down, or a rectangle of a larger one.
inline Picture TakePicture(Bytes& in, int32_t smt, uint32_t width, uint32_t height,
                           size_t row_bytes) {
  const auto pitch = static_cast<int32_t>(row_bytes + in.Below(40));
  switch (in.Below(6)) {
    case 0: return WrapMemory(smt, width, height, pitch, row_bytes);
    case 1: return WrapMemory(smt, width, height, -pitch, row_bytes);
    case 2: {
      Picture whole = WrapMemory(smt, width + 3, height + 2, pitch + 64, row_bytes + 64);
      const std::array<uint32_t, 4> rect = {in.Below(4), in.Below(3), width, height};
      std::shared_ptr<IMediaBuffer> crop;
      const int32_t status =
          NUXMivareCreateMediaBufferCrop(std::move(whole.buffer), rect.data(), &crop);
      FUZZ_CHECK((status == 0) == (crop != nullptr));
      whole.buffer = std::move(crop);
      return whole;
    }
    case 3: {
      Picture tight = PlanarFrame(smt, static_cast<int32_t>(width), static_cast<int32_t>(height));
      if (tight.buffer != nullptr) tight.buffer->GetDesc(0)->ResetPitches();
      return tight;
    }
    default: return PlanarFrame(smt, static_cast<int32_t>(width), static_cast<int32_t>(height));
  }
}

}  // namespace mivare::fuzz
