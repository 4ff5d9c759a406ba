// Descriptions as the engine's documents have them: an account of its own of what a description
// answers, kept apart from the library's tables and formulas.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "mivare/media_desc.h"

namespace mivare::fuzz {

enum class Family { kGray, kYv12, kYv16, kYv24, kNv12, kNv16, kNv24, kYuva, kBgra };

/// Of the pixel codes of all tables; 26 to 35 are what the caller says.
inline Family FamilyOf(int32_t smt, Family semi_planar_444) {
  if (smt >= 1 && smt <= 5) return Family::kYv12;
  if (smt >= 6 && smt <= 15) return Family::kNv12;
  if (smt >= 16 && smt <= 25) return Family::kNv16;
  if (smt >= 26 && smt <= 35) return semi_planar_444;
  if (smt >= 44 && smt <= 52) return Family::kBgra;
  if (smt >= 55 && smt <= 59) return Family::kYuva;
  if (smt >= 60 && smt <= 69) return Family::kYv16;
  if (smt >= 70 && smt <= 79) return Family::kYv24;
  return Family::kGray;
}

enum class Kind { kVideo, kAudio, kBits };

struct DescModel {
  Kind kind = Kind::kVideo;
  Family family = Family::kGray;
  uint32_t media_type = 1;
  int32_t smt = 0;
  uint32_t tag = 1;
  uint32_t platform = 0, tex_type = 0, location = 0;
  bool has_volumes = true;

  uint32_t width = 0, height = 0;
  int32_t capacity_width = 200000, capacity_height = 65536;
  int32_t frame_size = -1;
  std::vector<uint32_t> offsets;
  std::array<int32_t, 8> pitches{};
  int64_t ratio_num = 0, ratio_den = 0;
  uint32_t interlace = 0, rotation = 0, flip = 0, range = 1, matrix = 1, transfer = 1;
  uint32_t primaries = 0, color_space = 0;
  std::array<uint32_t, 4> subtitle_pairs{};
  std::string text;

  uint32_t channels = 2, rate = 44100;
  uint64_t layout = 3;

  uint32_t Bits() const;
  uint32_t ComponentBytes() const { return (Bits() + 7) / 8; }
  bool Alpha() const;
  void SetSize(int32_t w, int32_t h);
  void SetColorSpace(uint32_t value);
  int32_t FrameSize();
  bool Accepts(const std::array<int32_t, 4>& wanted) const;
  void ResetPitches();
  /// Ends the process unless `desc` answers all this.
  void Check(IMediaDesc& desc) const;
};

namespace model {

inline int32_t Signed(uint32_t value) { return static_cast<int32_t>(value); }
inline uint32_t Unsigned(int32_t value) { return static_cast<uint32_t>(value); }
inline uint32_t Up(uint32_t value) { return (value + 63) / 64 * 64; }
inline int32_t Times(int32_t factor, int32_t value) {
  return Signed(Unsigned(factor) * Unsigned(value));
}

}  // namespace model

inline uint32_t DescModel::Bits() const {
  constexpr std::array<uint32_t, 5> kCycle = {8, 10, 12, 14, 16};
  if (smt >= 1 && smt <= 35) return kCycle[static_cast<size_t>(smt - 1) % 5];
  if (smt >= 55 && smt <= 79) return kCycle[static_cast<size_t>(smt - 55) % 5];
  if (smt == 46 || smt == 51) return 10;
  return smt == 48 ? 16 : 8;
}

inline bool DescModel::Alpha() const {
  const auto within = [this](int32_t first) { return smt >= first && smt < first + 5; };
  switch (family) {
    case Family::kNv12: return within(11);
    case Family::kNv16: return within(21);
    case Family::kNv24: return within(31);
    case Family::kYv16: return within(65);
    case Family::kYv24: return within(75);
    default: return false;
  }
}

inline void DescModel::SetSize(int32_t w, int32_t h) {
  if (w > capacity_width || h > capacity_height || h < 1 || w == 0) return;
  width = model::Unsigned(w);
  height = model::Unsigned(h);
  ratio_num = w;
  ratio_den = h;
}

inline void DescModel::SetColorSpace(uint32_t value) {
  constexpr uint32_t kPresets[6][3] = {{1, 1, 0}, {7, 7, 6}, {9, 7, 6},
                                       {8, 1, 8}, {4, 1, 9}, {6, 7, 6}};
  color_space = value;
  const uint32_t* preset = kPresets[value <= 5 ? value : 0];
  transfer = preset[0];
  matrix = preset[1];
  primaries = preset[2];
}

inline int32_t DescModel::FrameSize() {
  using namespace model;
  if (kind != Kind::kVideo || frame_size >= 1) return frame_size;
  const uint32_t rows = Up(height);
  const int32_t p = Signed(Up(width) * ComponentBytes());
  const int32_t y = Signed(Unsigned(p) * rows);
  const uint32_t luma = Unsigned(y);
  const uint32_t half = Unsigned(y / 2);
  const uint32_t quarter = Unsigned(y / 4);
  const bool alpha = Alpha();
  uint32_t total = 0;
  pitches = {p, 0, 0, 0, 0, 0, 0, 0};
  switch (family) {
    case Family::kGray:
      offsets = {0};
      total = luma;
      break;
    case Family::kYv12:
      offsets = {0, luma, luma + quarter};
      total = luma + 2 * quarter;
      pitches[1] = pitches[2] = p / 2;
      break;
    case Family::kYv16:
      offsets = {0, luma, luma + half};
      if (alpha) offsets.push_back(luma + 2 * half);
      total = alpha ? 2 * (half + luma) : luma + 2 * half;
      pitches[1] = pitches[2] = p / 2;
      break;
    case Family::kYv24:
      offsets = {0, luma, 2 * luma};
      if (alpha) offsets.push_back(3 * luma);
      total = (alpha ? 4 : 3) * luma;
      pitches[1] = pitches[2] = p;
      break;
    case Family::kNv12:
      offsets = {0, luma};
      if (alpha) offsets.push_back(luma + half);
      total = (alpha ? 2 : 1) * luma + half;
      pitches[1] = p;
      if (alpha) pitches[2] = p;
      break;
    case Family::kNv16:
      offsets = {0, luma};
      if (alpha) offsets.push_back(2 * luma);
      total = (alpha ? 3 : 2) * luma;
      pitches[1] = p;
      if (alpha) pitches[2] = p;
      break;
    case Family::kNv24:
      offsets = {0, luma};
      if (alpha) offsets.push_back(3 * luma);
      total = (alpha ? 4 : 3) * luma;
      pitches[1] = Times(2, p);
      if (alpha) pitches[2] = p;
      break;
    case Family::kYuva:
      offsets = {0, luma, luma + quarter, luma + 2 * quarter};
      total = 2 * luma + 2 * quarter;
      pitches[1] = pitches[2] = p / 2;
      break;
    case Family::kBgra:
      offsets = {0};
      pitches[0] = Times(4, p);
      total = (rows + 1) * Unsigned(pitches[0]);
      break;
  }
  frame_size = Signed(total);
  capacity_width = Signed(Up(width));
  capacity_height = Signed(rows);
  return frame_size;
}

inline bool DescModel::Accepts(const std::array<int32_t, 4>& wanted) const {
  const int32_t most = model::Signed(model::Up(width) * ComponentBytes());
  const auto fits = [&](size_t plane, int32_t limit) { return wanted[plane] <= limit; };
  switch (family) {
    case Family::kGray: return fits(0, most);
    case Family::kYv12: return fits(0, most) && fits(1, most / 2) && fits(2, most / 2);
    case Family::kYv16:
      return fits(0, most) && fits(1, most / 2) && fits(2, most / 2) && (!Alpha() || fits(3, most));
    case Family::kYv24:
      return fits(0, most) && fits(1, most) && fits(2, most) && (!Alpha() || fits(3, most));
    case Family::kNv12:
    case Family::kNv16:
    case Family::kNv24: return fits(0, most) && fits(1, most);
    case Family::kYuva:
      return fits(0, most) && fits(1, most / 2) && fits(2, most / 2) && fits(3, most);
    case Family::kBgra: return wanted[0] != 0 && fits(0, model::Times(4, most));
  }
  return false;
}

inline void DescModel::ResetPitches() {
  using namespace model;
  if (kind != Kind::kVideo) return;
  const int32_t b = Signed(ComponentBytes());
  const int32_t full = Times(Signed(width), b);
  const int32_t half = Times(Signed(width + 1) / 2, b);
  const int32_t alpha = Alpha() ? full : 0;
  pitches = {full, 0, 0, 0, 0, 0, 0, 0};
  switch (family) {
    case Family::kGray: break;
    case Family::kYv12: pitches[1] = pitches[2] = half; break;
    case Family::kYv16:
      pitches[1] = pitches[2] = half;
      pitches[3] = alpha;
      break;
    case Family::kYv24:
      pitches[1] = pitches[2] = full;
      pitches[3] = alpha;
      break;
    case Family::kNv12:
    case Family::kNv16:
      pitches[1] = full;
      pitches[2] = alpha;
      break;
    case Family::kNv24: pitches[1] = Alpha() ? full : Times(2, full); break;
    case Family::kYuva:
      pitches[1] = pitches[2] = half;
      pitches[3] = full;
      break;
    case Family::kBgra: pitches[0] = Times(4, full); break;
  }
}

inline void DescModel::Check(IMediaDesc& desc) const {
  const bool video = kind == Kind::kVideo;
  const bool audio = kind == Kind::kAudio;
  const auto if_video = [video](uint32_t value) { return video ? value : 0; };
  FUZZ_CHECK(desc.GetMediaType() == media_type && desc.GetSmt() == smt);
  FUZZ_CHECK(desc.GetTag() == (kind == Kind::kBits ? 1 : tag));
  FUZZ_CHECK(desc.GetPlatform() == platform && desc.GetTexType() == tex_type);
  FUZZ_CHECK(desc.GetMemoryLocation() == location);
  FUZZ_CHECK(desc.GetWidth() == if_video(width) && desc.GetHeight() == if_video(height));
  FUZZ_CHECK(desc.GetDisplayAspectRatio().num == (video ? ratio_num : 1));
  FUZZ_CHECK(desc.GetDisplayAspectRatio().den == (video ? ratio_den : 1));
  FUZZ_CHECK(desc.GetInterlace() == if_video(interlace));
  FUZZ_CHECK(desc.GetRotation() == if_video(rotation));
  FUZZ_CHECK(desc.GetFilpType() == if_video(flip));
  FUZZ_CHECK(desc.GetBitDepth() == if_video(Bits()));
  FUZZ_CHECK(desc.GetVideoSignalRange() == (video ? range : 1));
  FUZZ_CHECK(desc.GetVideoMatrix() == if_video(matrix));
  FUZZ_CHECK(desc.GetTransferCharacter() == if_video(transfer));
  FUZZ_CHECK(desc.GetColorPrimary() == if_video(primaries));
  FUZZ_CHECK(desc.GetColorSpace() == (video ? color_space : UINT32_MAX));
  FUZZ_CHECK(desc.GetChannels() == (audio ? channels : 0));
  FUZZ_CHECK(desc.GetSampleRate() == (audio ? rate : 0));
  FUZZ_CHECK(desc.GetChannelLayout() == (audio ? layout : 0));

  std::array<int32_t, 8> stored{};
  FUZZ_CHECK(desc.GetPitches(stored.data()) == 0);
  FUZZ_CHECK(stored == (video ? pitches : std::array<int32_t, 8>{}));

  ISubtitleDesc* subtitle = desc.QuerySubtitle();
  FUZZ_CHECK((subtitle != nullptr) == (video && media_type == 5));
  if (subtitle != nullptr) {
    std::array<uint32_t, 4> pairs{};
    subtitle->GetFirstPair(&pairs[0], &pairs[1]);
    subtitle->GetSecondPair(&pairs[2], &pairs[3]);
    FUZZ_CHECK(pairs == subtitle_pairs && subtitle->GetText() == text);
  }
}

}  // namespace mivare::fuzz
