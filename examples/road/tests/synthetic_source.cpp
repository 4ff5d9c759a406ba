#include "synthetic_source.h"

#include <cstring>
#include <stdexcept>

namespace road {
namespace {

constexpr size_t kPadding = 24;  // bytes between rows, as decoders have them
constexpr int kSamplesPerBlock = 1024;
constexpr int64_t kFrameTime = 40'000;

}  // namespace

SyntheticSource::SyntheticSource(std::string_view pixel_format, int width, int height, int frames,
                                 std::string_view sample_format)
    : frames_(frames) {
  if (!pixel_format.empty()) {
    VideoInfo video;
    video.format = FindPixelFormat(pixel_format);
    if (video.format == nullptr) throw std::invalid_argument("unknown pixel format");
    video.width = width;
    video.height = height;
    video.matrix = 6;
    video.transfer = 1;
    video.primaries = 5;
    video.aspect = {width, height};
    video.frames = frames;
    info_.video = video;
  }
  if (!sample_format.empty()) {
    AudioInfo audio;
    audio.format = FindSampleFormat(sample_format);
    if (audio.format == nullptr) throw std::invalid_argument("unknown sample format");
    audio.channels = 2;
    audio.rate = 48000;
    audio.layout = 3;
    info_.audio = audio;
  }
}

std::optional<Packet> SyntheticSource::Next() {
  if (frame_ == frames_) return std::nullopt;
  if (info_.video && !sound_next_) {
    const Picture picture = MakePicture();
    sound_next_ = info_.audio.has_value();
    if (!sound_next_) ++frame_;
    return picture;
  }
  sound_next_ = false;
  const Samples samples = MakeSamples();
  ++frame_;
  return samples;
}

Picture SyntheticSource::MakePicture() {
  const VideoInfo& video = *info_.video;
  const PixelFormat& format = *video.format;
  Picture picture;
  picture.time = frame_ * kFrameTime;
  planes_.assign(static_cast<size_t>(format.planes), {});
  for (int plane = 0; plane < format.planes; ++plane) {
    const PlaneShape shape = VisibleShape(format, video.width, video.height, plane);
    const size_t pitch = shape.row_bytes + kPadding;
    std::vector<uint8_t>& bytes = planes_[static_cast<size_t>(plane)];
    bytes.assign(pitch * shape.rows, 0xEE);
    const auto sample_bytes = static_cast<size_t>(format.bytes());
    for (size_t y = 0; y < shape.rows; ++y) {
      for (size_t x = 0; x < shape.row_bytes / sample_bytes; ++x) {
        const size_t ramp = 3 * x + (plane == 0 ? y : 5 * y) + 7 * static_cast<size_t>(frame_);
        const size_t value = (ramp % (size_t{1} << format.bits)) << format.shift;
        uint8_t* sample = bytes.data() + y * pitch + x * sample_bytes;
        sample[0] = static_cast<uint8_t>(value & 0xFFU);
        if (sample_bytes == 2) sample[1] = static_cast<uint8_t>(value >> 8U);
      }
    }
    picture.planes[static_cast<size_t>(plane)] = {bytes.data(), static_cast<ptrdiff_t>(pitch)};
  }
  return picture;
}

// A triangle wave in the upper bits; what the bits mean is of no matter to the road.
Samples SyntheticSource::MakeSamples() {
  const AudioInfo& audio = *info_.audio;
  const auto sample_bytes = static_cast<size_t>(audio.format->bytes);
  samples_.assign(size_t{kSamplesPerBlock} * audio.channels * sample_bytes, 0);
  for (size_t i = 0; i < size_t{kSamplesPerBlock} * audio.channels; ++i) {
    const size_t phase =
        (i / audio.channels + static_cast<size_t>(frame_) * kSamplesPerBlock) % 200;
    const size_t height = phase < 100 ? phase : 200 - phase;
    samples_[i * sample_bytes + sample_bytes - 1] = static_cast<uint8_t>(height);
    samples_[i * sample_bytes] = static_cast<uint8_t>(i);
  }
  Samples samples;
  samples.time = frame_ * kFrameTime + 1;
  samples.bytes = samples_;
  return samples;
}

}  // namespace road
