// VideoDescBase: what all pictures have in common. The families differ in their row of the format
// table alone.
#pragma once

#include <array>
#include <cstdint>

#include "desc.h"
#include "desc/layout.h"
#include "subtitle.h"

namespace mivare::desc {

/// Lives in two steps: sized first, then laid out once by GetFrameSize. From then on the visible
/// size may change within the padding, and the layout stays.
class VideoDescBase : public DescBase {
 public:
  uint32_t GetMediaType() const override { return media_type_; }
  int32_t GetSmt() const override { return smt_; }
  int32_t GetMediaTypeAndSmt(uint32_t* media_type, uint32_t* smt) const override {
    return WriteTypeAndSmt(*this, media_type, smt);
  }
  uint32_t GetTag() const override { return tag_; }
  void SetTag(uint32_t tag) override { tag_ = tag; }

  uint32_t GetWidth() const override { return width_; }
  /// A negative width passes, as hosts rely on; every later product of it wraps.
  void SetWidthHeight(int32_t width, int32_t height) override;
  uint32_t GetHeight() const override { return height_; }
  void SetDisplayAspectRatio(orlo::Rational ratio) override;
  orlo::Rational GetDisplayAspectRatio() const override { return display_aspect_ratio_; }

  uint32_t GetInterlace() const override { return interlace_; }
  void SetInterlace(uint32_t value) override { interlace_ = value; }
  uint32_t GetRotation() const override { return rotation_; }
  void SetRotation(uint32_t value) override { rotation_ = value; }
  uint32_t GetFilpType() const override { return filp_type_; }
  void SetFilpType(uint32_t value) override { filp_type_ = value; }
  uint32_t GetBitDepth() const override { return bit_depth_; }
  void SetVideoSignalRange(uint32_t value) override { signal_range_ = value; }
  uint32_t GetVideoSignalRange() const override { return signal_range_; }
  void SetVideoMatrix(uint32_t value) override { matrix_ = value; }
  uint32_t GetVideoMatrix() const override { return matrix_; }
  void SetTransferCharacter(uint32_t value) override { transfer_ = value; }
  uint32_t GetTransferCharacter() const override { return transfer_; }
  void SetColorPrimary(uint32_t value) override { primaries_ = value; }
  uint32_t GetColorPrimary() const override { return primaries_; }

  int32_t SetPitches(const int32_t* pitches) override;
  int32_t GetPitches(int32_t* pitches) const override;

  ISubtitleDesc* QuerySubtitle() override;
  const ISubtitleDesc* QuerySubtitle() const override;

  uint32_t GetColorSpace() const override { return color_space_; }
  bool SetColorSpace(uint32_t value) override;
  bool ResetPitches() override;
  /// Takes the size, and both subtitle pairs where `other` has them; no user data.
  bool CopyFrom(const IMediaDesc& other) override;

  /// Takes over what NUXMivareCopyMediaExtraProperty does, without the extend data.
  void TakeProperties(const VideoDescBase& other);

  // Slots behind the interface.
  /// 0, or -1 when pitches of planes 0 to 3 do not fit the padded rows (logged) or are null.
  virtual int32_t ValidatePitches(const int32_t* pitches) const = 0;
  virtual void ResetPitchesNow() = 0;
  virtual int32_t ReservedStatus() { return 0; }
  virtual void ReservedAction() {}
  /// Stores 8 values as they are. Returns 0.
  virtual int32_t StorePitches(const int32_t* values);

 protected:
  VideoDescBase(int32_t smt, uint32_t media_type);
  VideoDescBase(const VideoDescBase&) = default;

  // The families' operations, for the row they bring.
  int32_t FrameSizeOf(const Format& format);
  int32_t ValidatePitchesOf(const Format& format, const int32_t* pitches) const;
  void ResetPitchesOf(const Format& format);

 private:
  static constexpr orlo::Rational kNoRatio{};

  void TakeRatio(const orlo::Rational& ratio);
  void ReduceRatio(orlo::Rational ratio);
  void StoreFirstPitches(const Pitches& pitches);

  Subtitle subtitle_;
  uint32_t tag_ = 1;
  int32_t smt_;
  uint32_t media_type_;
  uint32_t bit_depth_;
  uint32_t component_bytes_;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  std::array<int32_t, 8> pitches_{};  // planes 0 to 3, then four that belong to the caller
  [[maybe_unused]] std::array<uint8_t, 64> carried_bytes_{};  // go along with copies, unread
  [[maybe_unused]] orlo::Rational sample_aspect_ratio_{1, 1};
  orlo::Rational display_aspect_ratio_;
  orlo::Rational reduced_from_ = kNoRatio;  // what the ratio was before, when it was reduced
  uint32_t interlace_ = 0;
  uint32_t signal_range_ = 1;
  uint32_t transfer_ = 1;
  uint32_t matrix_ = 1;
  uint32_t primaries_ = 0;
  uint32_t filp_type_ = 0;
  uint32_t rotation_ = 0;
  uint32_t color_space_ = 0;
  [[maybe_unused]] uint8_t carried_flag_ = 0;
  // The largest visible size; the padded one once the frame is laid out.
  int32_t capacity_width_;
  int32_t capacity_height_;
};

/// The five operations that differ from family to family, read from its row.
template <class Self, const Format& kFormat>
class VideoFamily : public Cloneable<Self, VideoDescBase> {
 public:
  VideoFamily(int32_t smt, uint32_t media_type) : Cloneable<Self, VideoDescBase>(smt, media_type) {}

  int32_t GetFrameSize() override { return this->FrameSizeOf(kFormat); }
  int32_t ValidatePitches(const int32_t* pitches) const override {
    return this->ValidatePitchesOf(kFormat, pitches);
  }
  void ResetPitchesNow() override { this->ResetPitchesOf(kFormat); }
};

}  // namespace mivare::desc
