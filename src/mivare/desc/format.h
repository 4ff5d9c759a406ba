// What a row of the format table says. The rows are in format_table.h, the formulas that read them
// in layout.h.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace mivare::desc {

inline constexpr size_t kMaxPlanes = 4;

/// A part of something: `times` whole ones, or one `divisor`-th.
struct Share {
  int32_t times = 0;
  int32_t divisor = 1;

  friend constexpr bool operator==(const Share&, const Share&) = default;
};

inline constexpr Share kNone{0, 1};
inline constexpr Share kQuarter{1, 4};
inline constexpr Share kHalf{1, 2};
inline constexpr Share kWhole{1, 1};
inline constexpr Share kTwice{2, 1};

/// One plane, measured by plane 0 (the luma plane of all formats that have one).
struct Plane {
  Share bytes;                     ///< of the bytes of plane 0
  Share pitch;                     ///< of the padded pitch of plane 0, once the layout is computed
  Share tight;                     ///< of the visible columns, after a reset; a half rounds up
  Share tight_with_alpha = tight;  ///< the same where the format has its optional alpha plane
};

/// One test of a pitch that a caller sets, and what its refusal logs.
struct PitchCheck {
  size_t plane = 0;              ///< whose pitch must not exceed the limit
  Share limit = kWhole;          ///< of the padded pitch of plane 0
  int32_t line = 0;              ///< people search logs for these numbers
  size_t logged = 0;             ///< whose pitch the message shows
  bool only_with_alpha = false;  ///< skipped where the format has no optional alpha plane
};

struct Format {
  const char* source_unit = nullptr;
  uint32_t components = 1;       ///< in each pixel of plane 0
  uint32_t extra_rows = 0;       ///< of plane 0, below the padded height
  size_t plane_count = 1;        ///< without the optional alpha plane
  int32_t first_alpha_code = 0;  ///< first of the five smt codes with an alpha plane more; 0: none
  std::array<Plane, kMaxPlanes> planes{};
  size_t check_count = 1;
  std::array<PitchCheck, kMaxPlanes> checks{};  ///< in order; the first failure ends them
  bool refuses_zero = false;  ///< a pitch of 0 fails the first check, whose message shows no pitch
};

}  // namespace mivare::desc
