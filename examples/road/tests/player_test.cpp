#include "player.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "failure.h"
#include "orlo/log.h"
#include "synthetic_source.h"
#include "temp_folder.h"
#include "to_bgra.h"

namespace road {
namespace {

class Player : public testing::Test {
 protected:
  ~Player() override { orlo::SetDefaultLogLevel(level_); }

  std::vector<uint8_t> Read(const std::string& name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  TempFolder temp_;
  std::filesystem::path folder_ = temp_.path() / "played";
  int32_t level_ = orlo::SetDefaultLogLevel(6);
};

struct PlayCase {
  const char* pixel_format;
  int width, height;
  const char* sample_format;
};

TEST_F(Player, FindsEverythingTheSameInEveryFormat) {
  const PlayCase cases[] = {
      {"yuv420p", 64, 64, "u8"},      {"yuv420p", 101, 35, "s16"},
      {"yuv420p10le", 66, 50, "s32"}, {"yuv420p12le", 3, 3, "flt"},
      {"nv12", 130, 34, "dbl"},       {"nv12", 33, 17, ""},
      {"p010le", 70, 40, "s16"},      {"nv16", 64, 32, "s16"},
      {"p210le", 64, 32, "s16"},      {"bgra", 50, 20, "s16"},
      {"yuv422p", 101, 35, "s16"},    {"yuv422p10le", 64, 64, "s16"},
      {"yuv444p", 101, 35, "s16"},    {"yuv444p10le", 64, 64, "s16"},
      {"gray", 101, 35, "s16"},       {"", 0, 0, "flt"},
      {"yuv420p", 1920, 1080, "s16"},
  };
  for (const PlayCase& row : cases) {
    SCOPED_TRACE(std::string(row.pixel_format) + " " + row.sample_format);
    SyntheticSource source(row.pixel_format, row.width, row.height, 12, row.sample_format);
    const Report report = Play(source, folder_);
    EXPECT_EQ(report.live_resources, 0U) << report.leaks;
    for (const Comparison& comparison : report.comparisons) {
      EXPECT_TRUE(comparison.same())
          << comparison.what << ": " << comparison.actual << ", not " << comparison.expected;
    }
    EXPECT_TRUE(report.ok());
    const auto crops =
        std::count_if(report.comparisons.begin(), report.comparisons.end(),
                      [](const Comparison& each) { return each.what == "in crops"; });
    EXPECT_EQ(crops, source.Info().video && source.Info().video->format->crops ? 1 : 0);
    EXPECT_EQ(report.frames, source.Info().video ? 12U : 0U);
    EXPECT_EQ(report.sound_blocks, source.Info().audio ? 12U : 0U);
    EXPECT_FALSE(report.comparisons.empty());
    for (const auto& file : report.files) EXPECT_TRUE(std::filesystem::exists(file)) << file;
  }
}

TEST_F(Player, CountsEveryRequestOnce) {
  SyntheticSource source("yuv420p", 640, 360, 30, "s16");
  const Report report = Play(source, folder_);
  const auto count = [](const RequestCounts& counts) {
    return counts.cold.size() + counts.warm.size();
  };
  EXPECT_EQ(count(report.frame_requests), 30U);
  EXPECT_EQ(count(report.image_requests), 3U);
  EXPECT_EQ(count(report.reload_requests), 6U) << "two a format that is read back";
  EXPECT_EQ(count(report.sound_requests), 31U) << "30 blocks and the long one";
  EXPECT_GE(report.frame_requests.cold.size(), 8U) << "the look-ahead has to come from somewhere";
  // 640 and 360 round to 640 and 384: 8 frames of 1.5 bytes a pixel are there at the same time.
  EXPECT_GE(report.peak_bytes, 8U * 640 * 384 * 3 / 2);
  EXPECT_GE(report.peak_bytes, report.pooled_bytes);
}

TEST_F(Player, WritesTheRawFileThatTheDecoderWouldWrite) {
  SyntheticSource source("yuv420p", 6, 4, 1, "");
  Play(source, folder_);
  SyntheticSource again("yuv420p", 6, 4, 1, "");
  const std::optional<Packet> packet = again.Next();
  ASSERT_TRUE(packet.has_value());
  EXPECT_EQ(Read("first.yv12"),
            GatherPicture(*again.Info().video->format, 6, 4, std::get<Picture>(*packet).planes));
}

TEST_F(Player, WritesImagesThatStandUprightFromTheBottomUp) {
  SyntheticSource source("yuv420p", 6, 4, 11, "");
  source.info().video->rotation = 90;
  const Report report = Play(source, folder_);
  ASSERT_EQ(report.files.size(), 6U) << "two images, the raw file, and those that are read back";
  EXPECT_EQ(report.files[1].filename(), "frame_00010.bmp");

  SyntheticSource again("yuv420p", 6, 4, 1, "");
  again.info().video->rotation = 90;
  const std::optional<Packet> packet = again.Next();
  ASSERT_TRUE(packet.has_value());
  std::vector<uint8_t> upright(96);
  ToBgra(*again.Info().video, std::get<Picture>(*packet).planes, upright.data(), 16);

  const std::vector<uint8_t> bmp = Read("frame_00000.bmp");
  ASSERT_EQ(bmp.size(), 54 + upright.size());
  EXPECT_EQ(bmp[18], 4) << "width";
  EXPECT_EQ(bmp[22], 6) << "height, positive: the bottom row comes first";
  for (size_t y = 0; y < 6; ++y) {
    const std::vector<uint8_t> row(bmp.end() - static_cast<ptrdiff_t>(16 * (y + 1)),
                                   bmp.end() - static_cast<ptrdiff_t>(16 * y));
    const std::vector<uint8_t> expected(upright.begin() + static_cast<ptrdiff_t>(16 * y),
                                        upright.begin() + static_cast<ptrdiff_t>(16 * (y + 1)));
    EXPECT_EQ(row, expected) << "row " << y;
  }
}

// Announces more than it can keep: its second picture fails.
class FailingSource final : public Source {
 public:
  const StreamInfo& Info() const override { return inner_.Info(); }
  std::optional<Packet> Next() override {
    if (++packets_ > 2) throw Failure(kUnusable, "cut");
    return inner_.Next();
  }

 private:
  SyntheticSource inner_{"yuv420p", 64, 64, 20, "s16"};
  int packets_ = 0;
};

TEST_F(Player, LeavesNothingBehindWhenTheSourceFails) {
  FailingSource source;
  EXPECT_THROW(Play(source, folder_), Failure);
  SyntheticSource next("gray", 8, 8, 1, "");
  EXPECT_EQ(Play(next, folder_).live_resources, 0U);
}

TEST_F(Player, DoesNotTakeAnOlderFileForItsOwn) {
  std::filesystem::create_directories(folder_ / "sound.pcm" / "not ours");
  SyntheticSource source("", 0, 0, 1, "s16");
  EXPECT_THROW(Play(source, folder_), std::filesystem::filesystem_error);
}

TEST_F(Player, SaysWhenTheFolderCannotBeMade) {
  { std::ofstream(folder_, std::ios::binary) << "a file in its place"; }
  SyntheticSource source("gray", 8, 8, 1, "");
  EXPECT_THROW(Play(source, folder_), Failure);
}

}  // namespace
}  // namespace road
