// The formulas that turn a row of the format table and a size into plane offsets, pitches and
// limits. Pure functions, defined for every argument: products wrap at 32 bits, and halves and
// quarters are those of the signed value.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "desc/format.h"

namespace mivare::desc {

using Pitches = std::array<int32_t, kMaxPlanes>;

/// A frame with padded rows.
struct FrameLayout {
  int32_t padded_width = 0;   ///< pixels
  int32_t padded_height = 0;  ///< rows, without the extra ones
  size_t plane_count = 0;
  std::array<uint32_t, kMaxPlanes> offsets{};  ///< bytes from the start of the frame
  int32_t frame_size = 0;                      ///< bytes
  Pitches pitches{};                           ///< bytes
};

/// Why a caller's pitches do not fit, with the numbers that the message shows.
struct PitchRefusal {
  int32_t line = 0;
  int32_t width = 0;
  int32_t limit = 0;
  int32_t pitch = 0;
};

/// The next multiple of 64; wraps to 0 above the last one.
constexpr uint32_t RoundUpTo64(uint32_t value) { return (value + 63U) & ~63U; }

/// Bits per component of a pixel format code.
uint32_t BitDepthOf(int32_t smt);

/// Whether `format` lays out its optional alpha plane for this code.
bool HasAlpha(const Format& format, int32_t smt);

FrameLayout ComputeLayout(const Format& format, bool alpha, uint32_t width, uint32_t height,
                          uint32_t component_bytes);

/// The pitches of rows without padding.
Pitches TightPitches(const Format& format, bool alpha, uint32_t width, uint32_t component_bytes);

/// The first check of `format` that `pitches` (of planes 0 to 3) fail.
std::optional<PitchRefusal> FindRefusal(const Format& format, bool alpha, uint32_t width,
                                        uint32_t component_bytes, const int32_t* pitches);

}  // namespace mivare::desc
