#include "pipe.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "failure.h"
#include "synthetic_source.h"

namespace road {
namespace {

std::string Stream(std::string_view pixel_format, std::string_view sample_format) {
  SyntheticSource source(pixel_format, 7, 5, 3, sample_format);
  std::ostringstream out;
  WritePipe(source, out);
  return out.str();
}

// Reads everything; 0 when it went well, else the exit status.
int StatusOf(const std::string& stream) {
  std::istringstream in(stream);
  try {
    PipeSource source(in);
    while (source.Next()) {
    }
    return kPlayed;
  } catch (const Failure& failure) {
    return failure.status;
  }
}

std::string Header(const std::string& lines) { return "mivare road 1\n" + lines + "\n"; }

const std::string kVideo =
    "video format=gray width=2 height=1 frames=1 range=0 matrix=1 transfer=1 primaries=1 "
    "aspect_num=2 aspect_den=1 rotation=0\n";
const std::string kAudio = "audio format=s16 rate=48000 channels=2 layout=3\n";

std::string With(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

TEST(Pipe, CarriesTheStreamsFacts) {
  SyntheticSource source("yuv422p10le", 7, 5, 1, "flt");
  source.info().video->range = 1;
  source.info().video->rotation = 270;
  source.info().video->aspect = {64, 45};
  std::stringstream stream;
  WritePipe(source, stream);
  PipeSource read(stream);
  const VideoInfo& video = *read.Info().video;
  EXPECT_EQ(video.format->name, "yuv422p10le");
  EXPECT_EQ(video.width, 7);
  EXPECT_EQ(video.height, 5);
  EXPECT_EQ(video.frames, 1);
  EXPECT_EQ(video.range, 1U);
  EXPECT_EQ(video.matrix, 6U);
  EXPECT_EQ(video.transfer, 1U);
  EXPECT_EQ(video.primaries, 5U);
  EXPECT_EQ(video.aspect, (orlo::Rational{64, 45}));
  EXPECT_EQ(video.rotation, 270);
  const AudioInfo& audio = *read.Info().audio;
  EXPECT_EQ(audio.format->name, "flt");
  EXPECT_EQ(audio.rate, 48000U);
  EXPECT_EQ(audio.channels, 2U);
  EXPECT_EQ(audio.layout, 3U);
}

TEST(Pipe, CarriesEveryByteAndTimeStamp) {
  for (const char* format : {"yuv420p", "nv12", "p010le", "yuv444p10le", "bgra", "gray"}) {
    SCOPED_TRACE(format);
    SyntheticSource original(format, 7, 5, 3, "dbl");
    std::istringstream in(Stream(format, "dbl"));
    PipeSource read(in);
    const PixelFormat& pixels = *original.Info().video->format;
    int packets = 0;
    while (const std::optional<Packet> expected = original.Next()) {
      const std::optional<Packet> got = read.Next();
      ASSERT_TRUE(got.has_value());
      ASSERT_EQ(got->index(), expected->index());
      if (const auto* picture = std::get_if<Picture>(&*got)) {
        const auto& wanted = std::get<Picture>(*expected);
        EXPECT_EQ(picture->time, wanted.time);
        EXPECT_EQ(GatherPicture(pixels, 7, 5, picture->planes),
                  GatherPicture(pixels, 7, 5, wanted.planes));
      } else {
        const auto& samples = std::get<Samples>(*got);
        const auto& wanted = std::get<Samples>(*expected);
        EXPECT_EQ(samples.time, wanted.time);
        EXPECT_TRUE(std::equal(samples.bytes.begin(), samples.bytes.end(), wanted.bytes.begin(),
                               wanted.bytes.end()));
      }
      ++packets;
    }
    EXPECT_EQ(packets, 6);
    EXPECT_FALSE(read.Next().has_value());
    EXPECT_FALSE(read.Next().has_value());
  }
}

TEST(Pipe, RefusesAStreamThatIsCutAnywhere) {
  const std::string whole = Stream("yuv420p", "u8");
  ASSERT_EQ(StatusOf(whole), kPlayed);
  for (size_t length = 0; length < whole.size(); ++length) {
    if (StatusOf(whole.substr(0, length)) != kUnusable) {
      ADD_FAILURE() << "cut to " << length << " of " << whole.size() << " bytes";
      break;
    }
  }
}

struct HostileCase {
  const char* name;
  std::string stream;
  ExitStatus status;
};

TEST(Pipe, RefusesHostileHeaders) {
  const HostileCase cases[] = {
      {"nothing", "", kUnusable},
      {"another kind of file", "RIFF\n", kUnusable},
      {"another version", "mivare road 2\n\nE", kUnusable},
      {"no streams", Header(""), kUnusable},
      {"an endless line", "mivare road 1\n" + std::string(100000, 'v'), kUnusable},
      {"an unknown word", Header("smell format=1\n"), kUnusable},
      {"a word without a value", Header(With(kVideo, "width=2", "width")), kUnusable},
      {"two videos", Header(kVideo + kVideo), kUnusable},
      {"two sounds", Header(kAudio + kAudio), kUnusable},
      {"an unknown pixel format", Header(With(kVideo, "gray", "yuv410p")), kNoCounterpart},
      {"an unknown sample format", Header(With(kAudio, "s16", "s64")), kNoCounterpart},
      {"no width", Header(With(kVideo, "width=2 ", "")), kUnusable},
      {"width 0", Header(With(kVideo, "width=2", "width=0")), kUnusable},
      {"width -1", Header(With(kVideo, "width=2", "width=-1")), kUnusable},
      {"width 2x", Header(With(kVideo, "width=2", "width=2x")), kUnusable},
      {"an empty width", Header(With(kVideo, "width=2", "width=")), kUnusable},
      {"a huge width", Header(With(kVideo, "width=2", "width=99999999999999999999")), kUnusable},
      {"a wide picture", Header(With(kVideo, "width=2", "width=30721")), kUnusable},
      {"a high picture", Header(With(kVideo, "height=1", "height=30721")), kUnusable},
      {"a large picture",
       Header(With(With(With(kVideo, "gray", "yuv444p10le"), "width=2", "width=30720"), "height=1",
                   "height=30720")),
       kUnusable},
      {"range 2", Header(With(kVideo, "range=0", "range=2")), kUnusable},
      {"aspect 0", Header(With(kVideo, "aspect_den=1", "aspect_den=0")), kUnusable},
      {"rotation 45", Header(With(kVideo, "rotation=0", "rotation=45")), kUnusable},
      {"rotation 360", Header(With(kVideo, "rotation=0", "rotation=360")), kUnusable},
      {"no channels", Header(With(kAudio, "channels=2", "channels=0")), kUnusable},
      {"many channels", Header(With(kAudio, "channels=2", "channels=65")), kUnusable},
      {"rate 0", Header(With(kAudio, "rate=48000", "rate=0")), kUnusable},
  };
  ASSERT_EQ(StatusOf(Header(kVideo + kAudio) + "E"), kPlayed);
  for (const HostileCase& row : cases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(StatusOf(row.stream + "E"), row.status);
  }
}

TEST(Pipe, RefusesHostilePackets) {
  const std::string time(8, '\0');
  const auto sound = [&](const std::string& length, size_t bytes) {
    return Header(kAudio) + "A" + time + length + std::string(bytes, 's') + "E";
  };
  using namespace std::string_literals;
  EXPECT_EQ(StatusOf(sound("\x04\0\0\0"s, 4)), kPlayed);
  EXPECT_EQ(StatusOf(sound("\0\0\0\0"s, 0)), kUnusable) << "an empty block";
  EXPECT_EQ(StatusOf(sound("\x06\0\0\0"s, 6)), kUnusable) << "one and a half samples";
  EXPECT_EQ(StatusOf(sound("\xFC\xFF\xFF\xFF"s, 4)), kUnusable) << "a block of 4 GiB";
  EXPECT_EQ(StatusOf(Header(kAudio) + "V" + time + "ppE"), kUnusable) << "a picture in sound";
  EXPECT_EQ(StatusOf(Header(kVideo) + "A" + time + "\x04\0\0\0ssssE"s), kUnusable)
      << "sound in pictures";
  EXPECT_EQ(StatusOf(Header(kVideo) + "Q"), kUnusable) << "an unknown packet";
}

TEST(Pipe, SaysWhenTheOtherEndIsGone) {
  SyntheticSource source("gray", 8, 8, 2, "");
  std::ostringstream out;
  out.setstate(std::ios::badbit);
  EXPECT_THROW(WritePipe(source, out), Failure);
}

}  // namespace
}  // namespace road
