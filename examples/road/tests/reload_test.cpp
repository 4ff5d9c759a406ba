#include "reload.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <string>

#include "synthetic_source.h"
#include "temp_folder.h"

namespace road {
namespace {

VideoInfo Info(const char* format, int width, int height) {
  VideoInfo info;
  info.format = FindPixelFormat(format);
  info.width = width;
  info.height = height;
  return info;
}

std::vector<Reloadable> Make(const VideoInfo& info, const std::vector<uint8_t>& bytes) {
  return MakeReloadables(info, TightViews(*info.format, info.width, info.height, bytes));
}

TEST(Reloadables, HoldTheSamplesOfA420PictureAsTheyAre) {
  // 3 x 3 luma, then 2 x 2 of each chroma.
  const std::vector<uint8_t> bytes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 20, 21, 22, 23};
  const auto pictures = Make(Info("yuv420p", 3, 3), bytes);
  ASSERT_EQ(pictures.size(), 3U);
  EXPECT_EQ(pictures[0].suffix, ".bmp");
  EXPECT_EQ(pictures[0].bytes.size(), 36U);
  EXPECT_EQ(pictures[1].suffix, ".yv12");
  EXPECT_EQ(pictures[1].bytes, bytes);
  EXPECT_EQ(pictures[2].suffix, ".nv12");
  EXPECT_EQ(pictures[2].bytes, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8, 9,  //
                                                     10, 20, 11, 21, 12, 22, 13, 23}));
}

TEST(Reloadables, KeepTheUpperBitsAndEverySecondColumnAndRowOfChroma) {
  // 2 x 2 of 10 bits without subsampling: 4 * 50, 4 * 51 + 3, ...
  std::vector<uint8_t> bytes;
  for (const int value : {200, 207, 208, 212, 1020, 0, 0, 0, 516, 4, 4, 4}) {
    bytes.push_back(static_cast<uint8_t>(value));
    bytes.push_back(static_cast<uint8_t>(value >> 8));
  }
  const auto pictures = Make(Info("yuv444p10le", 2, 2), bytes);
  ASSERT_EQ(pictures.size(), 3U);
  EXPECT_EQ(pictures[1].bytes, (std::vector<uint8_t>{50, 51, 52, 53, 255, 129}));
  EXPECT_EQ(pictures[2].bytes, (std::vector<uint8_t>{50, 51, 52, 53, 255, 129}));
}

TEST(Reloadables, OfGreyHaveChromaInTheMiddle) {
  const auto pictures = Make(Info("gray", 2, 1), {7, 8});
  ASSERT_EQ(pictures.size(), 3U);
  EXPECT_EQ(pictures[1].bytes, (std::vector<uint8_t>{7, 8, 128, 128}));
}

TEST(Reloadables, OfPackedPicturesStayPacked) {
  const std::vector<uint8_t> bytes = {1, 2, 3, 4, 5, 6, 7, 8};
  VideoInfo info = Info("bgra", 2, 1);
  info.rotation = 90;
  const auto pictures = Make(info, bytes);
  ASSERT_EQ(pictures.size(), 1U);
  EXPECT_EQ(pictures[0].width, 1);
  EXPECT_EQ(pictures[0].height, 2);
  EXPECT_EQ(pictures[0].bytes, bytes);
}

// A picture in a frame of the library's, twice.
class Reloaded : public testing::Test {
 protected:
  std::shared_ptr<mivare::IMediaBuffer> Frame(const Reloadable& picture) {
    const auto desc = mivare::MakeMediaDesc(1, picture.format->smt);
    desc->SetWidthHeight(picture.width, picture.height);
    auto frame = library_.Request(*desc, 0, counts_);
    const auto views = TightViews(*picture.format, picture.width, picture.height, picture.bytes);
    const mivare::LockedBuffer lock(*frame, true);
    for (int plane = 0; plane < picture.format->planes; ++plane) {
      const auto i = static_cast<size_t>(plane);
      const PlaneShape shape = VisibleShape(*picture.format, picture.width, picture.height, plane);
      for (size_t y = 0; y < shape.rows; ++y) {
        std::copy_n(views[i].data + y * shape.row_bytes, shape.row_bytes,
                    lock.plane(i) + static_cast<ptrdiff_t>(y) * lock.pitch(i));
      }
    }
    return frame;
  }

  Library library_;
  RequestCounts counts_;
};

std::vector<Reloadable> Pictures() {
  SyntheticSource source("yuv420p", 32, 16, 1, "");
  const auto packet = source.Next();
  return MakeReloadables(*source.Info().video, std::get<Picture>(*packet).planes);
}

TEST_F(Reloaded, IsTheSameWhenEveryByteIs) {
  for (const Reloadable& picture : Pictures()) {
    SCOPED_TRACE(picture.suffix);
    const Comparison comparison = CompareReloaded(picture, Frame(picture), Frame(picture));
    EXPECT_TRUE(comparison.same()) << comparison.actual << ", not " << comparison.expected;
    EXPECT_NE(comparison.actual.find(", no noise"), std::string::npos);
    EXPECT_EQ(comparison.what, "reload" + std::string(picture.suffix));
  }
}

TEST_F(Reloaded, DiffersInAnyPlaneByOneByte) {
  for (const Reloadable& picture : Pictures()) {
    for (int plane = 0; plane < picture.format->planes; ++plane) {
      SCOPED_TRACE(testing::Message() << picture.suffix << ", plane " << plane);
      const auto dumped = Frame(picture);
      const auto loaded = Frame(picture);
      const mivare::LockedBuffer lock(*loaded, true);
      lock.plane(static_cast<size_t>(plane))[1] ^= 0x10;
      const Comparison comparison = CompareReloaded(picture, dumped, loaded);
      EXPECT_FALSE(comparison.same());
      EXPECT_NE(comparison.actual.find(" dB"), std::string::npos) << comparison.actual;
      EXPECT_NE(comparison.actual.substr(0, 32), comparison.expected.substr(0, 32));
    }
  }
}

TEST_F(Reloaded, LeavesTheFileAndItsFindings) {
  const TempFolder folder;
  Report report;
  for (const Reloadable& picture : Pictures()) Reload(library_, picture, folder.path(), report);
  ASSERT_EQ(report.files.size(), 3U);
  EXPECT_EQ(std::filesystem::file_size(folder.path() / "reload.bmp"), 54U + 4 * 32 * 16);
  EXPECT_EQ(std::filesystem::file_size(folder.path() / "reload.yv12"), 768U);
  EXPECT_EQ(std::filesystem::file_size(folder.path() / "reload.nv12"), 768U);
  ASSERT_EQ(report.comparisons.size(), 4U) << "one a file, and the luma by the library's digest";
  EXPECT_TRUE(report.ok());
  EXPECT_EQ(report.reload_requests.cold.size() + report.reload_requests.warm.size(), 6U);
}

}  // namespace
}  // namespace road
