#include "desc/video_desc.h"

#include <algorithm>
#include <utility>

#include "base/log.h"

namespace mivare::desc {
namespace {

// The largest visible size of a picture that is not laid out yet.
constexpr int32_t kMaxWidth = 200000;
constexpr int32_t kMaxHeight = 65536;

struct ColorPreset {
  uint32_t color_space;
  uint32_t transfer;
  uint32_t matrix;
  uint32_t primaries;
};
constexpr std::array<ColorPreset, 5> kColorPresets = {{
    {1, 7, 7, 6},
    {2, 9, 7, 6},
    {3, 8, 1, 8},
    {4, 4, 1, 9},
    {5, 6, 7, 6},
}};
constexpr ColorPreset kDefaultColors = {0, 1, 1, 0};

}  // namespace

VideoDescBase::VideoDescBase(int32_t smt, uint32_t media_type)
    : smt_(smt),
      media_type_(media_type),
      bit_depth_(BitDepthOf(smt)),
      component_bytes_((bit_depth_ + 7) >> 3),
      capacity_width_(kMaxWidth),
      capacity_height_(kMaxHeight) {}

void VideoDescBase::SetWidthHeight(int32_t width, int32_t height) {
  if (width > capacity_width_ || height > capacity_height_ || height < 1 || width == 0) {
    MIVARE_LOG(kLogError, "error! %s width[%d] x height[%d]",
               "mivare::desc::VideoDescBase::SetWidthHeight", width, height);
    return;
  }
  width_ = static_cast<uint32_t>(width);
  height_ = static_cast<uint32_t>(height);
  display_aspect_ratio_ = {width, height};
  reduced_from_ = kNoRatio;
}

void VideoDescBase::SetDisplayAspectRatio(orlo::Rational ratio) { TakeRatio(ratio); }

// Reducing takes longer than the other properties together, and a frame of a pool is given the same
// ratio again and again. One with a zero is logged each time.
void VideoDescBase::TakeRatio(const orlo::Rational& ratio) {
  if (ratio != reduced_from_ || ratio.den == 0) ReduceRatio(ratio);
}

void VideoDescBase::ReduceRatio(orlo::Rational ratio) {
  display_aspect_ratio_ = orlo::Normalize(ratio);
  reduced_from_ = ratio.num != 0 && ratio.den != 0 ? ratio : kNoRatio;
}

int32_t VideoDescBase::SetPitches(const int32_t* pitches) {
  if (ValidatePitches(pitches) != 0) return -1;
  StoreFirstPitches({pitches[0], pitches[1], pitches[2], pitches[3]});
  return 0;
}

int32_t VideoDescBase::GetPitches(int32_t* pitches) const {
  if (pitches == nullptr) return -1;
  std::copy(pitches_.begin(), pitches_.end(), pitches);
  return 0;
}

ISubtitleDesc* VideoDescBase::QuerySubtitle() {
  return media_type_ == kMediaSubtitle ? &subtitle_ : nullptr;
}

const ISubtitleDesc* VideoDescBase::QuerySubtitle() const {
  return media_type_ == kMediaSubtitle ? &subtitle_ : nullptr;
}

bool VideoDescBase::SetColorSpace(uint32_t value) {
  const auto* const preset =
      std::find_if(kColorPresets.begin(), kColorPresets.end(),
                   [value](const ColorPreset& row) { return row.color_space == value; });
  const ColorPreset& colors = preset != kColorPresets.end() ? *preset : kDefaultColors;
  color_space_ = value;
  transfer_ = colors.transfer;
  matrix_ = colors.matrix;
  primaries_ = colors.primaries;
  return true;
}

// The preset goes first by the interface, and matrix, transfer and primaries come after it: the
// fields as they are.
void VideoDescBase::TakeProperties(const VideoDescBase& other) {
  interlace_ = other.interlace_;
  rotation_ = other.rotation_;
  filp_type_ = other.filp_type_;
  color_space_ = other.color_space_;
  signal_range_ = other.signal_range_;
  matrix_ = other.matrix_;
  transfer_ = other.transfer_;
  primaries_ = other.primaries_;
  TakeRatio(other.display_aspect_ratio_);
}

bool VideoDescBase::ResetPitches() {
  ResetPitchesNow();
  return true;
}

bool VideoDescBase::CopyFrom(const IMediaDesc& other) {
  SetWidthHeight(static_cast<int32_t>(other.GetWidth()), static_cast<int32_t>(other.GetHeight()));
  if (const ISubtitleDesc* theirs = other.QuerySubtitle()) {
    uint32_t a = 0;
    uint32_t b = 0;
    theirs->GetFirstPair(&a, &b);
    subtitle_.SetFirstPair(a, b);
    theirs->GetSecondPair(&a, &b);
    subtitle_.SetSecondPair(&a, &b);
  }
  return true;
}

int32_t VideoDescBase::StorePitches(const int32_t* values) {
  std::copy_n(values, pitches_.size(), pitches_.begin());
  return 0;
}

// Whoever computes pitches leaves the caller's four at 0.
void VideoDescBase::StoreFirstPitches(const Pitches& pitches) {
  std::array<int32_t, 8> values{};
  std::copy(pitches.begin(), pitches.end(), values.begin());
  StorePitches(values.data());
}

int32_t VideoDescBase::FrameSizeOf(const Format& format) {
  if (DataLength() >= 1) return DataLength();
  const FrameLayout layout =
      ComputeLayout(format, HasAlpha(format, smt_), width_, height_, component_bytes_);
  SetPlaneOffsets({layout.offsets.data(), layout.plane_count});
  capacity_width_ = layout.padded_width;
  capacity_height_ = layout.padded_height;
  SetDataLength(layout.frame_size);
  StoreFirstPitches(layout.pitches);
  return DataLength();
}

int32_t VideoDescBase::ValidatePitchesOf(const Format& format, const int32_t* pitches) const {
  if (pitches == nullptr) return -1;
  const auto refusal =
      FindRefusal(format, HasAlpha(format, smt_), width_, component_bytes_, pitches);
  if (!refusal) return 0;
  if (format.refuses_zero) {
    MIVARE_LOG(kLogError, "error! file[%s] line[%d] wid[%d] grand[%d]", format.source_unit,
               refusal->line, refusal->width, refusal->limit);
  } else {
    MIVARE_LOG(kLogError, "error! file[%s] line[%d] wid[%d] grand[%d] pitch[%d]",
               format.source_unit, refusal->line, refusal->width, refusal->limit, refusal->pitch);
  }
  return -1;
}

void VideoDescBase::ResetPitchesOf(const Format& format) {
  StoreFirstPitches(TightPitches(format, HasAlpha(format, smt_), width_, component_bytes_));
}

}  // namespace mivare::desc
