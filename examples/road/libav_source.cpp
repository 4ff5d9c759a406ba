// Clips decoded by the libav libraries. Pictures are lent as the decoder laid them out; samples are
// interleaved where the codec keeps its channels apart.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
}

#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include "failure.h"
#include "source.h"

namespace road {
namespace {

constexpr AVRational kMicroseconds{1, 1'000'000};

template <auto Free>
struct Freer {
  template <class T>
  void operator()(T* object) const {
    Free(&object);
  }
};
using FormatPtr = std::unique_ptr<AVFormatContext, Freer<avformat_close_input>>;
using CodecPtr = std::unique_ptr<AVCodecContext, Freer<avcodec_free_context>>;
using FramePtr = std::unique_ptr<AVFrame, Freer<av_frame_free>>;
using PacketPtr = std::unique_ptr<AVPacket, Freer<av_packet_free>>;

std::string Reason(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  return av_make_error_string(text, sizeof(text), error);
}

[[noreturn]] void NoCounterpart(const char* kind, const char* name, const std::string& known) {
  throw Failure(kNoCounterpart, std::string("the clip's ") + kind + " format '" +
                                    (name != nullptr ? name : "unknown") +
                                    "' has no counterpart; these have: " + known);
}

// The old "j" names say full range in the format itself.
bool IsFullRangeName(std::string_view name) { return name.starts_with("yuvj"); }

const PixelFormat& PixelFormatOf(int libav_format) {
  const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(libav_format));
  std::string plain = name != nullptr ? name : "";
  if (IsFullRangeName(plain)) plain.erase(3, 1);
  const PixelFormat* format = FindPixelFormat(plain);
  if (format == nullptr) NoCounterpart("pixel", name, PixelFormatNames());
  return *format;
}

const SampleFormat& SampleFormatOf(int libav_format) {
  const char* name =
      av_get_sample_fmt_name(av_get_packed_sample_fmt(static_cast<AVSampleFormat>(libav_format)));
  const SampleFormat* format = name != nullptr ? FindSampleFormat(name) : nullptr;
  if (format == nullptr) NoCounterpart("sample", name, SampleFormatNames());
  return *format;
}

// The container's matrix turns counter-clockwise; upright pictures are a matter of quarter turns.
int RotationOf(const AVStream& stream) {
  size_t size = 0;
  const uint8_t* matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (matrix == nullptr || size < 9 * sizeof(int32_t)) return 0;
  const double angle = av_display_rotation_get(reinterpret_cast<const int32_t*>(matrix));
  if (std::isnan(angle)) return 0;
  const auto quarters = static_cast<int>(std::lround(-angle / 90));
  return (quarters % 4 + 4) % 4 * 90;
}

int64_t FrameCount(const AVStream& stream) {
  if (stream.nb_frames > 0) return stream.nb_frames;
  if (stream.duration <= 0 || stream.avg_frame_rate.num <= 0) return 0;
  return av_rescale_q(stream.duration, stream.time_base, av_inv_q(stream.avg_frame_rate));
}

VideoInfo VideoInfoOf(AVFormatContext& container, AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  VideoInfo video;
  video.format = &PixelFormatOf(parameters.format);
  video.width = parameters.width;
  video.height = parameters.height;
  if (video.width < 1 || video.height < 1 || video.width > kMaxSide || video.height > kMaxSide ||
      PictureSize(*video.format, video.width, video.height) > kMaxPictureBytes) {
    throw Failure(kUnusable, "pictures of " + std::to_string(video.width) + " x " +
                                 std::to_string(video.height) + " are too large for this player");
  }
  const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(parameters.format));
  const bool no_chroma = video.format->chroma_components == 0;  // full unless somebody says not
  const bool full = parameters.color_range == AVCOL_RANGE_JPEG || IsFullRangeName(name) ||
                    (no_chroma && parameters.color_range != AVCOL_RANGE_MPEG);
  video.range = full ? 1 : 0;
  video.matrix = static_cast<uint32_t>(parameters.color_space);
  video.transfer = static_cast<uint32_t>(parameters.color_trc);
  video.primaries = static_cast<uint32_t>(parameters.color_primaries);
  video.aspect = {video.width, video.height};
  const AVRational sample = av_guess_sample_aspect_ratio(&container, &stream, nullptr);
  if (sample.num > 0 && sample.den > 0) {
    video.aspect = {int64_t{video.width} * sample.num, int64_t{video.height} * sample.den};
  }
  video.rotation = RotationOf(stream);
  video.frames = FrameCount(stream);
  return video;
}

AudioInfo AudioInfoOf(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  AudioInfo audio;
  audio.format = &SampleFormatOf(parameters.format);
  audio.rate = static_cast<uint32_t>(parameters.sample_rate);
  audio.channels = static_cast<uint32_t>(parameters.ch_layout.nb_channels);
  const bool native = parameters.ch_layout.order == AV_CHANNEL_ORDER_NATIVE;
  audio.layout = native ? parameters.ch_layout.u.mask : 0;
  if (audio.channels < 1 || audio.channels > kMaxChannels) {
    throw Failure(kUnusable, "sound of " + std::to_string(audio.channels) + " channels");
  }
  return audio;
}

// One stream of the clip on its way through its decoder.
struct Track {
  AVStream* stream = nullptr;
  CodecPtr codec;
  int64_t last_time = 0;
};

class ClipSource final : public Source {
 public:
  explicit ClipSource(const std::string& path);

  const StreamInfo& Info() const override { return info_; }
  std::optional<Packet> Next() override;
  size_t Skipped() const override { return skipped_; }

 private:
  std::unique_ptr<Track> OpenTrack(AVMediaType type);
  bool Feed();
  int64_t TimeOf(Track& track);
  Picture TakePicture();
  Samples TakeSamples();

  std::string path_;
  FormatPtr container_;
  std::unique_ptr<Track> video_;
  std::unique_ptr<Track> audio_;
  StreamInfo info_;
  FramePtr frame_{av_frame_alloc()};
  PacketPtr packet_{av_packet_alloc()};
  std::vector<Track*> draining_;
  Track* active_ = nullptr;  // the one that was fed last and may have frames
  bool at_end_ = false;
  size_t skipped_ = 0;
  std::vector<uint8_t> interleaved_;
};

ClipSource::ClipSource(const std::string& path) : path_(path) {
  if (frame_ == nullptr || packet_ == nullptr) throw std::bad_alloc();
  av_log_set_level(AV_LOG_FATAL);  // what is skipped is counted
  AVFormatContext* opened = nullptr;
  int status = avformat_open_input(&opened, path.c_str(), nullptr, nullptr);
  container_.reset(opened);
  if (status >= 0) status = avformat_find_stream_info(opened, nullptr);
  if (status < 0) throw Failure(kUnusable, "cannot read " + path + ": " + Reason(status));
  video_ = OpenTrack(AVMEDIA_TYPE_VIDEO);
  audio_ = OpenTrack(AVMEDIA_TYPE_AUDIO);
  if (video_ != nullptr) info_.video = VideoInfoOf(*container_, *video_->stream);
  if (audio_ != nullptr) info_.audio = AudioInfoOf(*audio_->stream);
  if (!info_.video && !info_.audio) {
    throw Failure(kUnusable, path + " has neither pictures nor sound that can be decoded");
  }
}

std::unique_ptr<Track> ClipSource::OpenTrack(AVMediaType type) {
  const AVCodec* decoder = nullptr;
  const int index = av_find_best_stream(container_.get(), type, -1, -1, &decoder, 0);
  if (index < 0 || decoder == nullptr) return nullptr;
  auto track = std::make_unique<Track>();
  track->stream = container_->streams[index];
  const bool cover = (track->stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
  if (cover) return nullptr;  // a cover, not a film
  track->codec.reset(avcodec_alloc_context3(decoder));
  if (track->codec == nullptr) throw std::bad_alloc();
  track->codec->thread_count = 0;  // as many as there are processors
  int status = avcodec_parameters_to_context(track->codec.get(), track->stream->codecpar);
  if (status >= 0) status = avcodec_open2(track->codec.get(), decoder, nullptr);
  if (status < 0) {
    throw Failure(kUnusable, std::string("the decoder '") + decoder->name +
                                 "' refuses the clip: " + Reason(status));
  }
  return track;
}

// Gives a decoder something to do. False when all have given everything.
bool ClipSource::Feed() {
  if (!at_end_) {
    const int status = av_read_frame(container_.get(), packet_.get());
    if (status >= 0) {
      for (Track* track : {video_.get(), audio_.get()}) {
        if (track == nullptr || track->stream->index != packet_->stream_index) continue;
        active_ = track;
        if (avcodec_send_packet(track->codec.get(), packet_.get()) < 0) ++skipped_;
      }
      av_packet_unref(packet_.get());
      return true;
    }
    if (status != AVERROR_EOF) {
      throw Failure(kUnusable, "cannot read on in " + path_ + ": " + Reason(status));
    }
    at_end_ = true;
    for (Track* track : {video_.get(), audio_.get()}) {
      if (track != nullptr) draining_.push_back(track);
    }
  }
  if (draining_.empty()) return false;
  active_ = draining_.back();
  draining_.pop_back();
  avcodec_send_packet(active_->codec.get(), nullptr);
  return true;
}

int64_t ClipSource::TimeOf(Track& track) {
  const int64_t time = frame_->best_effort_timestamp;
  if (time != AV_NOPTS_VALUE) {
    track.last_time = av_rescale_q(time, track.stream->time_base, kMicroseconds);
  }
  return track.last_time;
}

Picture ClipSource::TakePicture() {
  const VideoInfo& video = *info_.video;
  if (frame_->width != video.width || frame_->height != video.height ||
      &PixelFormatOf(frame_->format) != video.format) {
    throw Failure(kUnusable, "the pictures of " + path_ +
                                 " change their size or format midway, which this player does not "
                                 "follow");
  }
  Picture picture;
  picture.time = TimeOf(*video_);
  for (size_t plane = 0; plane < static_cast<size_t>(video.format->planes); ++plane) {
    picture.planes[plane] = {frame_->data[plane], frame_->linesize[plane]};
  }
  return picture;
}

Samples ClipSource::TakeSamples() {
  const AudioInfo& audio = *info_.audio;
  if (frame_->ch_layout.nb_channels != static_cast<int>(audio.channels) ||
      static_cast<uint32_t>(frame_->sample_rate) != audio.rate ||
      &SampleFormatOf(frame_->format) != audio.format) {
    throw Failure(kUnusable, "the sound of " + path_ +
                                 " changes its format midway, which this player does not follow");
  }
  const auto sample = static_cast<size_t>(audio.format->bytes);
  const auto count = static_cast<size_t>(frame_->nb_samples);
  const size_t size = count * audio.channels * sample;
  Samples samples;
  samples.time = TimeOf(*audio_);
  if (av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame_->format)) == 0) {
    samples.bytes = {frame_->extended_data[0], size};
    return samples;
  }
  interleaved_.resize(size);
  uint8_t* out = interleaved_.data();
  for (size_t i = 0; i < count; ++i) {
    for (size_t channel = 0; channel < audio.channels; ++channel, out += sample) {
      std::memcpy(out, frame_->extended_data[channel] + i * sample, sample);
    }
  }
  samples.bytes = interleaved_;
  return samples;
}

std::optional<Packet> ClipSource::Next() {
  while (active_ != nullptr || Feed()) {
    if (active_ == nullptr) continue;
    const int status = avcodec_receive_frame(active_->codec.get(), frame_.get());
    if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) {
      active_ = nullptr;
    } else if (status < 0) {
      ++skipped_;
      if (status != AVERROR_INVALIDDATA) active_ = nullptr;  // it may say so for ever
    } else {
      if (active_ == video_.get()) return TakePicture();
      if (frame_->nb_samples > 0) return TakeSamples();
    }
  }
  return std::nullopt;
}

}  // namespace

std::unique_ptr<Source> OpenClip(const std::string& utf8_path) {
  return std::make_unique<ClipSource>(utf8_path);
}

}  // namespace road
