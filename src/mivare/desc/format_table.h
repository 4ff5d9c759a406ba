// The pixel formats, one row each. Nothing else in the library knows their geometry.
#pragma once

#include "base/log.h"
#include "desc/format.h"

namespace mivare::desc {

// clang-format off
// Planes that several rows share.          bytes     pitch    tight
inline constexpr Plane kFullPlane        = {kWhole,   kWhole,  kWhole};
inline constexpr Plane kChroma420        = {kQuarter, kHalf,   kHalf};
inline constexpr Plane kChroma422        = {kHalf,    kHalf,   kHalf};
inline constexpr Plane kInterleaved420   = {kHalf,    kWhole,  kWhole};
// Readers of these alpha planes ask for tight rows first: the layout gives them no pitch.
inline constexpr Plane kUnpitchedAlpha   = {kWhole,   kNone,   kWhole};
// 4:4:4 pairs. Hosts rely on the chroma pitch that halves when alpha comes along, and on the alpha
// plane that a reset leaves without a pitch.
inline constexpr Plane kInterleaved444   = {kTwice,   kTwice,  kTwice,  kWhole};
inline constexpr Plane kAlphaBeside444   = {kWhole,   kWhole,  kNone};
// clang-format on

inline constexpr Format kGrayFormat = {
    .source_unit = unit::kDescGray,
    .plane_count = 1,
    .planes = {kFullPlane},
    .check_count = 1,
    .checks = {{{.plane = 0, .limit = kWhole, .line = 36, .logged = 0}}},
};

// Where a check logs another plane's pitch than its own, log readers are used to that number.
inline constexpr Format kYv12xFormat = {
    .source_unit = unit::kDescYv12x,
    .plane_count = 3,
    .planes = {kFullPlane, kChroma420, kChroma420},
    .check_count = 3,
    .checks = {{{.plane = 0, .limit = kWhole, .line = 38, .logged = 0},
                {.plane = 1, .limit = kHalf, .line = 44, .logged = 1},
                {.plane = 2, .limit = kHalf, .line = 49, .logged = 0}}},
};

inline constexpr Format kYv16xFormat = {
    .source_unit = unit::kDescYv12x,
    .plane_count = 3,
    .first_alpha_code = 65,
    .planes = {kFullPlane, kChroma422, kChroma422, kUnpitchedAlpha},
    .check_count = 4,
    .checks = {{{.plane = 0, .limit = kWhole, .line = 139, .logged = 0},
                {.plane = 3, .limit = kWhole, .line = 145, .logged = 3, .only_with_alpha = true},
                {.plane = 1, .limit = kHalf, .line = 152, .logged = 1},
                {.plane = 2, .limit = kHalf, .line = 157, .logged = 0}}},
};

inline constexpr Format kYv24xFormat = {
    .source_unit = unit::kDescYv12x,
    .plane_count = 3,
    .first_alpha_code = 75,
    .planes = {kFullPlane, kFullPlane, kFullPlane, kUnpitchedAlpha},
    .check_count = 4,
    .checks = {{{.plane = 0, .limit = kWhole, .line = 255, .logged = 0},
                {.plane = 1, .limit = kWhole, .line = 260, .logged = 1},
                {.plane = 2, .limit = kWhole, .line = 265, .logged = 0},
                {.plane = 3, .limit = kWhole, .line = 271, .logged = 3, .only_with_alpha = true}}},
};

// The semi-planar formats leave the alpha pitch to the caller: no check.
inline constexpr Format kNv12xFormat = {
    .source_unit = unit::kDescNv12x,
    .plane_count = 2,
    .first_alpha_code = 11,
    .planes = {kFullPlane, kInterleaved420, kFullPlane},
    .check_count = 2,
    .checks = {{{.plane = 0, .limit = kWhole, .line = 39, .logged = 0},
                {.plane = 1, .limit = kWhole, .line = 44, .logged = 1}}},
};

inline constexpr Format kNv16xFormat = {
    .source_unit = unit::kDescNv12x,
    .plane_count = 2,
    .first_alpha_code = 21,
    .planes = {kFullPlane, kFullPlane, kFullPlane},
    .check_count = 2,
    .checks = {{{.plane = 0, .limit = kWhole, .line = 136, .logged = 0},
                {.plane = 1, .limit = kWhole, .line = 141, .logged = 1}}},
};

// A caller's chroma pitch is held to half of what the layout itself uses.
inline constexpr Format kNv24xFormat = {
    .source_unit = unit::kDescNv12x,
    .plane_count = 2,
    .first_alpha_code = 31,
    .planes = {kFullPlane, kInterleaved444, kAlphaBeside444},
    .check_count = 2,
    .checks = {{{.plane = 0, .limit = kWhole, .line = 230, .logged = 0},
                {.plane = 1, .limit = kWhole, .line = 235, .logged = 1}}},
};

inline constexpr Format kYuvaxFormat = {
    .source_unit = unit::kDescYuvax,
    .plane_count = 4,
    .planes = {kFullPlane, kChroma420, kChroma420, kUnpitchedAlpha},
    .check_count = 4,
    .checks = {{{.plane = 0, .limit = kWhole, .line = 38, .logged = 0},
                {.plane = 3, .limit = kWhole, .line = 43, .logged = 0},
                {.plane = 1, .limit = kHalf, .line = 50, .logged = 1},
                {.plane = 2, .limit = kHalf, .line = 55, .logged = 0}}},
};

// Hosts rely on the row below the padded frame.
inline constexpr Format kBgraxFormat = {
    .source_unit = unit::kDescRgbax,
    .components = 4,
    .extra_rows = 1,
    .plane_count = 1,
    .planes = {kFullPlane},
    .check_count = 1,
    .checks = {{{.plane = 0, .limit = kWhole, .line = 38, .logged = 0}}},
    .refuses_zero = true,
};

inline constexpr std::array kFormats = {
    &kGrayFormat,  &kYv12xFormat, &kYv16xFormat, &kYv24xFormat, &kNv12xFormat,
    &kNv16xFormat, &kNv24xFormat, &kYuvaxFormat, &kBgraxFormat,
};

// Bits per component. These runs of codes repeat 8, 10, 12, 14, 16; whatever is not here has 8.
struct DepthRun {
  int32_t first;
  int32_t last;
};
inline constexpr std::array<uint32_t, 5> kDepthCycle = {8, 10, 12, 14, 16};
inline constexpr std::array<DepthRun, 2> kDepthRuns = {{{1, 35}, {55, 79}}};

struct SingleDepth {
  int32_t smt;
  uint32_t bits;
};
inline constexpr std::array<SingleDepth, 3> kSingleDepths = {{{46, 10}, {48, 16}, {51, 10}}};
inline constexpr uint32_t kDefaultDepth = 8;

}  // namespace mivare::desc
