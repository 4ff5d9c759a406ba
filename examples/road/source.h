// Where pictures and samples come from: the stream's facts first, then packets in playing order.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "formats.h"
#include "orlo/rational.h"

namespace road {

/// The library stores colour codes without reading them. This host uses the code points that the
/// streams themselves carry (ISO/IEC 23091-2), and for the range 0 limited, 1 full.
struct VideoInfo {
  const PixelFormat* format = nullptr;
  int width = 0;
  int height = 0;
  uint32_t range = 0;
  uint32_t matrix = 2;
  uint32_t transfer = 2;
  uint32_t primaries = 2;
  orlo::Rational aspect{1, 1};  // of the picture as displayed, before it is turned
  int rotation = 0;             // degrees clockwise to turn it upright: 0, 90, 180 or 270
  int64_t frames = 0;           // 0: not known beforehand
};

struct AudioInfo {
  const SampleFormat* format = nullptr;
  uint32_t channels = 0;
  uint32_t rate = 0;
  uint64_t layout = 0;  // a mask of speaker positions
};

struct StreamInfo {
  std::optional<VideoInfo> video;
  std::optional<AudioInfo> audio;
};

/// Time stamps are in microseconds. What the views point at is lent until the next packet.
struct Picture {
  int64_t time = 0;
  std::array<PlaneView, 3> planes;
};

/// Samples of all channels, interleaved.
struct Samples {
  int64_t time = 0;
  std::span<const uint8_t> bytes;
};

using Packet = std::variant<Picture, Samples>;

class Source {
 public:
  virtual ~Source() = default;
  virtual const StreamInfo& Info() const = 0;
  /// Empty at the end. Throws Failure.
  virtual std::optional<Packet> Next() = 0;
  /// Packets of the clip so far that could not be decoded and were left out, as players do.
  virtual size_t Skipped() const { return 0; }
};

/// Opens and decodes a clip. Throws Failure, also in builds without a decoder.
std::unique_ptr<Source> OpenClip(const std::string& utf8_path);

/// The largest picture and block of samples that the road takes from anybody.
inline constexpr int kMaxSide = 30720;
inline constexpr size_t kMaxPictureBytes = size_t{1} << 30;
inline constexpr size_t kMaxSamplesBytes = size_t{16} << 20;
inline constexpr uint32_t kMaxChannels = 64;

}  // namespace road
