#include "pipe.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "failure.h"

namespace road {
namespace {

constexpr std::string_view kMagic = "mivare road 1\n";
constexpr size_t kMaxLine = 400;

[[noreturn]] void Broken(const std::string& why) {
  throw Failure(kUnusable, "the stream on standard input is broken: " + why);
}

// One line of the header: a word, then key=value pairs.
class HeaderLine {
 public:
  explicit HeaderLine(const std::string& line) {
    std::istringstream words(line);
    words >> word_;
    for (std::string pair; words >> pair;) {
      const size_t equals = pair.find('=');
      if (equals == std::string::npos) Broken("\"" + pair + "\" in its header");
      values_[pair.substr(0, equals)] = pair.substr(equals + 1);
    }
  }

  const std::string& word() const { return word_; }

  const std::string& Text(const std::string& key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) Broken("no " + key + " of its " + word_);
    return found->second;
  }

  template <class T>
  T Number(const std::string& key, T lowest, T highest) const {
    const std::string& text = Text(key);
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < lowest ||
        value > highest) {
      Broken("a " + key + " of " + text);
    }
    return value;
  }

 private:
  std::string word_;
  std::map<std::string, std::string> values_;
};

std::string ReadLine(std::istream& in) {
  std::string line;
  for (char c = 0; in.get(c);) {
    if (c == '\n') return line;
    line += c;
    if (line.size() > kMaxLine) Broken("an endless line in its header");
  }
  Broken("it ends within its header");
}

constexpr uint32_t kAnyCode = std::numeric_limits<uint32_t>::max();
constexpr int64_t kAnyPositive = std::numeric_limits<int64_t>::max();

VideoInfo ReadVideo(const HeaderLine& line) {
  VideoInfo video;
  video.format = FindPixelFormat(line.Text("format"));
  if (video.format == nullptr) {
    throw Failure(kNoCounterpart, "the pixel format '" + line.Text("format") +
                                      "' has no counterpart; these have: " + PixelFormatNames());
  }
  video.width = line.Number("width", 1, kMaxSide);
  video.height = line.Number("height", 1, kMaxSide);
  if (PictureSize(*video.format, video.width, video.height) > kMaxPictureBytes) {
    Broken("pictures of more than 1 GiB");
  }
  video.frames = line.Number<int64_t>("frames", 0, kAnyPositive);
  video.range = line.Number<uint32_t>("range", 0, 1);
  video.matrix = line.Number<uint32_t>("matrix", 0, kAnyCode);
  video.transfer = line.Number<uint32_t>("transfer", 0, kAnyCode);
  video.primaries = line.Number<uint32_t>("primaries", 0, kAnyCode);
  video.aspect.num = line.Number<int64_t>("aspect_num", 1, kAnyPositive);
  video.aspect.den = line.Number<int64_t>("aspect_den", 1, kAnyPositive);
  video.rotation = line.Number("rotation", 0, 270);
  if (video.rotation % 90 != 0) Broken("a rotation that is no quarter turn");
  return video;
}

AudioInfo ReadAudio(const HeaderLine& line) {
  AudioInfo audio;
  audio.format = FindSampleFormat(line.Text("format"));
  if (audio.format == nullptr) {
    throw Failure(kNoCounterpart, "the sample format '" + line.Text("format") +
                                      "' has no counterpart; these have: " + SampleFormatNames());
  }
  audio.rate = line.Number<uint32_t>("rate", 1, 10'000'000);
  audio.channels = line.Number<uint32_t>("channels", 1, kMaxChannels);
  audio.layout = line.Number<uint64_t>("layout", 0, std::numeric_limits<uint64_t>::max());
  return audio;
}

template <class T>
void WriteNumber(std::ostream& out, T value) {
  auto bits = static_cast<std::make_unsigned_t<T>>(value);
  for (size_t i = 0; i < sizeof(T); ++i, bits >>= 8U) out.put(static_cast<char>(bits & 0xFFU));
}

void WriteBytes(std::ostream& out, std::span<const uint8_t> bytes) {
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

void WriteHeader(const StreamInfo& info, std::ostream& out) {
  std::ostringstream header;
  header << kMagic;
  if (info.video) {
    const VideoInfo& video = *info.video;
    header << "video format=" << video.format->name << " width=" << video.width
           << " height=" << video.height << " frames=" << video.frames << " range=" << video.range
           << " matrix=" << video.matrix << " transfer=" << video.transfer
           << " primaries=" << video.primaries << " aspect_num=" << video.aspect.num
           << " aspect_den=" << video.aspect.den << " rotation=" << video.rotation << '\n';
  }
  if (info.audio) {
    const AudioInfo& audio = *info.audio;
    header << "audio format=" << audio.format->name << " rate=" << audio.rate
           << " channels=" << audio.channels << " layout=" << audio.layout << '\n';
  }
  out << header.str() << '\n';
}

}  // namespace

void WritePipe(Source& source, std::ostream& out) {
  WriteHeader(source.Info(), out);
  while (const std::optional<Packet> packet = source.Next()) {
    if (const auto* picture = std::get_if<Picture>(&*packet)) {
      const VideoInfo& video = *source.Info().video;
      out.put('V');
      WriteNumber(out, picture->time);
      WriteBytes(out, GatherPicture(*video.format, video.width, video.height, picture->planes));
    } else {
      const auto& samples = std::get<Samples>(*packet);
      out.put('A');
      WriteNumber(out, samples.time);
      WriteNumber(out, static_cast<uint32_t>(samples.bytes.size()));
      WriteBytes(out, samples.bytes);
    }
    if (!out) break;
  }
  out.put('E');
  out.flush();
  if (!out) throw Failure(kUnusable, "the reader at the other end of the pipe went away");
}

PipeSource::PipeSource(std::istream& in) : in_(in) {
  std::string magic(kMagic.size(), '\0');
  if (!in_.read(magic.data(), static_cast<std::streamsize>(magic.size())) || magic != kMagic) {
    throw Failure(kUnusable, "standard input is not a stream of \"road --pipe CLIP\"");
  }
  for (std::string text = ReadLine(in_); !text.empty(); text = ReadLine(in_)) {
    const HeaderLine line(text);
    if (line.word() == "video" && !info_.video) {
      info_.video = ReadVideo(line);
    } else if (line.word() == "audio" && !info_.audio) {
      info_.audio = ReadAudio(line);
    } else {
      Broken("\"" + line.word() + "\" in its header");
    }
  }
  if (!info_.video && !info_.audio) Broken("neither pictures nor sound in it");
}

void PipeSource::ReadBytes(void* destination, size_t size, const char* what) {
  in_.read(static_cast<char*>(destination), static_cast<std::streamsize>(size));
  if (in_.gcount() != static_cast<std::streamsize>(size)) {
    Broken(std::string("it ends within ") + what);
  }
}

template <class T>
T PipeSource::ReadNumber(const char* what) {
  uint8_t bytes[sizeof(T)];
  ReadBytes(bytes, sizeof(bytes), what);
  std::make_unsigned_t<T> bits = 0;
  for (size_t i = sizeof(T); i-- > 0;) bits = (bits << 8U) | bytes[i];
  return static_cast<T>(bits);
}

Picture PipeSource::ReadPicture() {
  const VideoInfo& video = *info_.video;
  Picture picture;
  picture.time = ReadNumber<int64_t>("a picture");
  bytes_.resize(PictureSize(*video.format, video.width, video.height));
  ReadBytes(bytes_.data(), bytes_.size(), "a picture");
  const uint8_t* data = bytes_.data();
  for (int plane = 0; plane < video.format->planes; ++plane) {
    const PlaneShape shape = VisibleShape(*video.format, video.width, video.height, plane);
    picture.planes[static_cast<size_t>(plane)] = {data, static_cast<ptrdiff_t>(shape.row_bytes)};
    data += shape.size();
  }
  return picture;
}

Samples PipeSource::ReadSamples() {
  Samples samples;
  samples.time = ReadNumber<int64_t>("a block of samples");
  const auto length = ReadNumber<uint32_t>("a block of samples");
  const size_t frame = info_.audio->channels * static_cast<size_t>(info_.audio->format->bytes);
  if (length == 0 || length > kMaxSamplesBytes || length % frame != 0) {
    Broken("a block of " + std::to_string(length) + " bytes of samples");
  }
  bytes_.resize(length);
  ReadBytes(bytes_.data(), length, "a block of samples");
  samples.bytes = bytes_;
  return samples;
}

std::optional<Packet> PipeSource::Next() {
  if (ended_) return std::nullopt;
  char kind = 0;
  ReadBytes(&kind, 1, "its packets");
  if (kind == 'V' && info_.video) return ReadPicture();
  if (kind == 'A' && info_.audio) return ReadSamples();
  if (kind != 'E') Broken("a packet of an unknown kind");
  ended_ = true;
  return std::nullopt;
}

}  // namespace road
