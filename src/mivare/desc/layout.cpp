#include "desc/layout.h"

#include <algorithm>

#include "desc/format_table.h"

namespace mivare::desc {
namespace {

constexpr uint32_t kAlphaCodes = 5;

constexpr bool IsSound(const Format& format) {
  const bool optional_alpha = format.first_alpha_code != 0;
  const size_t most = format.plane_count + (optional_alpha ? 1 : 0);
  if (format.source_unit == nullptr || format.components < 1) return false;
  if (format.plane_count < 1 || most > kMaxPlanes) return false;
  if (format.planes[0].bytes != kWhole || format.planes[0].pitch != kWhole) return false;
  for (size_t i = 0; i < kMaxPlanes; ++i) {
    const Plane& plane = format.planes[i];
    for (const Share& share : {plane.bytes, plane.pitch, plane.tight, plane.tight_with_alpha}) {
      if (share.times < 0 || share.divisor < 1) return false;
      if (i >= most && share != kNone) return false;
    }
    if (i < most && plane.bytes == kNone) return false;
  }
  if (format.check_count < 1 || format.check_count > kMaxPlanes) return false;
  for (size_t i = 0; i < format.check_count; ++i) {
    const PitchCheck& check = format.checks[i];
    if (check.line < 1 || (i > 0 && check.line <= format.checks[i - 1].line)) return false;
    if (check.plane >= most || check.logged >= most || check.limit == kNone) return false;
    if (check.only_with_alpha != (check.plane >= format.plane_count)) return false;
  }
  return true;
}

static_assert(std::all_of(kFormats.begin(), kFormats.end(),
                          [](const Format* format) { return IsSound(*format); }),
              "a row of the format table contradicts itself");
static_assert(std::all_of(kDepthRuns.begin(), kDepthRuns.end(),
                          [](const DepthRun& run) {
                            return run.first <= run.last &&
                                   (run.last - run.first + 1) % int{kDepthCycle.size()} == 0;
                          }),
              "a run of depths consists of whole cycles");

constexpr int32_t Signed(uint32_t value) { return static_cast<int32_t>(value); }

// Never by 0 or -1, as the table is sound: no quotient overflows.
constexpr int32_t Of(const Share& share, int32_t value) {
  return Signed(static_cast<uint32_t>(share.times) * static_cast<uint32_t>(value / share.divisor));
}

// A half of the columns rounds up, so that the last odd one has its chroma.
constexpr uint32_t Columns(const Share& share, uint32_t width) {
  const auto rounding = static_cast<uint32_t>(share.divisor - 1);
  return static_cast<uint32_t>(Of(share, Signed(width + rounding)));
}

// Of plane 0, and the most that a caller may ask for.
constexpr int32_t PaddedPitch(const Format& format, uint32_t width, uint32_t component_bytes) {
  return Signed(RoundUpTo64(width) * component_bytes * format.components);
}

size_t PlaneCount(const Format& format, bool alpha) { return format.plane_count + (alpha ? 1 : 0); }

}  // namespace

uint32_t BitDepthOf(int32_t smt) {
  for (const DepthRun& run : kDepthRuns) {
    if (smt >= run.first && smt <= run.last) {
      return kDepthCycle[static_cast<size_t>(smt - run.first) % kDepthCycle.size()];
    }
  }
  for (const SingleDepth& single : kSingleDepths) {
    if (smt == single.smt) return single.bits;
  }
  return kDefaultDepth;
}

bool HasAlpha(const Format& format, int32_t smt) {
  return format.first_alpha_code != 0 &&
         static_cast<uint32_t>(smt) - static_cast<uint32_t>(format.first_alpha_code) < kAlphaCodes;
}

FrameLayout ComputeLayout(const Format& format, bool alpha, uint32_t width, uint32_t height,
                          uint32_t component_bytes) {
  const int32_t pitch = PaddedPitch(format, width, component_bytes);
  const uint32_t rows = RoundUpTo64(height) + format.extra_rows;
  const int32_t first_plane = Signed(static_cast<uint32_t>(pitch) * rows);

  FrameLayout layout;
  layout.padded_width = Signed(RoundUpTo64(width));
  layout.padded_height = Signed(RoundUpTo64(height));
  layout.plane_count = PlaneCount(format, alpha);
  uint32_t end = 0;
  for (size_t i = 0; i < layout.plane_count; ++i) {
    layout.offsets[i] = end;
    end += static_cast<uint32_t>(Of(format.planes[i].bytes, first_plane));
    layout.pitches[i] = Of(format.planes[i].pitch, pitch);
  }
  layout.frame_size = Signed(end);
  return layout;
}

Pitches TightPitches(const Format& format, bool alpha, uint32_t width, uint32_t component_bytes) {
  Pitches pitches{};
  for (size_t i = 0; i < PlaneCount(format, alpha); ++i) {
    const Plane& plane = format.planes[i];
    const Share& share = alpha ? plane.tight_with_alpha : plane.tight;
    pitches[i] = Signed(Columns(share, width) * component_bytes * format.components);
  }
  return pitches;
}

std::optional<PitchRefusal> FindRefusal(const Format& format, bool alpha, uint32_t width,
                                        uint32_t component_bytes, const int32_t* pitches) {
  const int32_t padded = PaddedPitch(format, width, component_bytes);
  for (size_t i = 0; i < format.check_count; ++i) {
    const PitchCheck& check = format.checks[i];
    if (check.only_with_alpha && !alpha) continue;
    const int32_t limit = Of(check.limit, padded);
    const int32_t pitch = pitches[check.plane];
    if (pitch > limit || (format.refuses_zero && pitch == 0)) {
      return PitchRefusal{check.line, Of(check.limit, Signed(width)), limit, pitches[check.logged]};
    }
  }
  return std::nullopt;
}

}  // namespace mivare::desc
