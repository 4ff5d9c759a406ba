#include "to_bgra.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <vector>

namespace road {
namespace {

VideoInfo Info(const char* format, int width, int height, uint32_t matrix, uint32_t range) {
  VideoInfo info;
  info.format = FindPixelFormat(format);
  info.width = width;
  info.height = height;
  info.matrix = matrix;
  info.range = range;
  return info;
}

using Pixel = std::array<int, 4>;  // B, G, R, A

Pixel Convert(const VideoInfo& info, int y, int u, int v) {
  const PixelFormat& format = *info.format;
  std::vector<std::vector<uint8_t>> bytes;
  for (const int value : {y, u, v}) {
    const int raw = value << format.shift;
    bytes.push_back({static_cast<uint8_t>(raw), static_cast<uint8_t>(raw >> 8)});
  }
  if (format.chroma_components == 2) {
    bytes[1].resize(static_cast<size_t>(format.bytes()));
    bytes[1].insert(bytes[1].end(), bytes[2].begin(), bytes[2].end());
  }
  const PlaneView views[] = {{bytes[0].data(), 2}, {bytes[1].data(), 4}, {bytes[2].data(), 2}};
  uint8_t out[4] = {};
  ToBgra(info, views, out, 4);
  return {out[0], out[1], out[2], out[3]};
}

struct ColourCase {
  const char* name;
  uint32_t matrix;
  uint32_t range;
  int y, u, v;
  Pixel bgra;
};

// The pure colours' code values as BT.601 and BT.709 tables give them for 8 bits.
constexpr ColourCase kColours[] = {
    {"601 black", 6, 0, 16, 128, 128, {0, 0, 0, 255}},
    {"601 white", 6, 0, 235, 128, 128, {255, 255, 255, 255}},
    {"601 below black", 6, 0, 0, 128, 128, {0, 0, 0, 255}},
    {"601 above white", 6, 0, 255, 128, 128, {255, 255, 255, 255}},
    {"601 red", 6, 0, 81, 90, 240, {0, 0, 254, 255}},
    {"601 green", 6, 0, 145, 54, 34, {1, 255, 0, 255}},
    {"601 blue", 6, 0, 41, 240, 110, {255, 0, 0, 255}},
    {"709 red", 1, 0, 63, 102, 240, {1, 0, 255, 255}},
    {"709 green", 1, 0, 173, 42, 26, {1, 255, 0, 255}},
    {"709 blue", 1, 0, 32, 240, 118, {255, 0, 0, 255}},
    {"full black", 6, 1, 0, 128, 128, {0, 0, 0, 255}},
    {"full grey", 6, 1, 77, 128, 128, {77, 77, 77, 255}},
    {"full white", 6, 1, 255, 128, 128, {255, 255, 255, 255}},
    {"601 full red", 6, 1, 76, 85, 255, {0, 0, 254, 255}},
};

TEST(ToBgra, GivesThePureColours) {
  for (const ColourCase& row : kColours) {
    SCOPED_TRACE(row.name);
    const Pixel got = Convert(Info("yuv444p", 1, 1, row.matrix, row.range), row.y, row.u, row.v);
    // The code values are rounded themselves: one step of play.
    for (size_t i = 0; i < 4; ++i)
      EXPECT_LE(std::abs(got[i] - row.bgra[i]), 1) << "component " << i;
  }
}

TEST(ToBgra, AgreesAcrossDepthsAndLayouts) {
  const Pixel expected = Convert(Info("yuv444p", 1, 1, 1, 0), 100, 90, 180);
  EXPECT_EQ(Convert(Info("yuv420p", 1, 1, 1, 0), 100, 90, 180), expected);
  EXPECT_EQ(Convert(Info("yuv422p", 1, 1, 1, 0), 100, 90, 180), expected);
  EXPECT_EQ(Convert(Info("yuv420p10le", 1, 1, 1, 0), 400, 360, 720), expected);
  EXPECT_EQ(Convert(Info("yuv420p12le", 1, 1, 1, 0), 1600, 1440, 2880), expected);
  EXPECT_EQ(Convert(Info("yuv444p10le", 1, 1, 1, 0), 400, 360, 720), expected);
  EXPECT_EQ(Convert(Info("nv12", 1, 1, 1, 0), 100, 90, 180), expected);
  EXPECT_EQ(Convert(Info("p010le", 1, 1, 1, 0), 400, 360, 720), expected);
  EXPECT_EQ(Convert(Info("p210le", 1, 1, 1, 0), 400, 360, 720), expected);
}

TEST(ToBgra, TakesTheMatrixThatPlayersTakeWhenTheStreamIsSilent) {
  const auto corner = [](int width, int height, uint32_t matrix) {
    const VideoInfo info = Info("yuv444p", width, height, matrix, 0);
    const std::vector<uint8_t> y(static_cast<size_t>(width * height), 100);
    const std::vector<uint8_t> u(y.size(), 60);
    const std::vector<uint8_t> v(y.size(), 200);
    const PlaneView views[] = {{y.data(), width}, {u.data(), width}, {v.data(), width}};
    std::vector<uint8_t> out(4 * y.size());
    ToBgra(info, views, out.data(), ptrdiff_t{4} * width);
    return Pixel{out[0], out[1], out[2], out[3]};
  };
  EXPECT_NE(corner(1280, 16, 1), corner(1280, 16, 6));
  EXPECT_EQ(corner(1280, 16, 2), corner(1280, 16, 1));
  EXPECT_EQ(corner(16, 720, 2), corner(16, 720, 1));
  EXPECT_EQ(corner(720, 16, 2), corner(720, 16, 6));
}

TEST(ToBgra, LeavesPackedPicturesAlone) {
  const uint8_t pixels[] = {1, 2, 3, 4, 5, 6, 7, 8};
  const PlaneView views[] = {{pixels, 8}, {}, {}};
  std::vector<uint8_t> out(8);
  ToBgra(Info("bgra", 2, 1, 0, 1), views, out.data(), 8);
  EXPECT_EQ(out, std::vector<uint8_t>(pixels, pixels + 8));
}

TEST(ToBgra, SharesChromaAmongTheFourPixelsOfABlock) {
  const uint8_t y[] = {128, 128, 128, 128, 128, 128, 128, 128, 128};
  const uint8_t u[] = {128, 255, 0, 128};
  const uint8_t v[] = {128, 128, 128, 128};
  const PlaneView views[] = {{y, 3}, {u, 2}, {v, 2}};
  std::vector<uint8_t> out(36);
  ToBgra(Info("yuv420p", 3, 3, 6, 1), views, out.data(), 12);
  const int blue[] = {128, 128, 255, 128, 128, 255, 0, 0, 128};
  for (size_t i = 0; i < 9; ++i) EXPECT_EQ(out[4 * i], blue[i]) << "pixel " << i;
}

struct TurnCase {
  int rotation;
  Size size;
  std::vector<int> grey;
};

// The picture   10 20 30
//               40 50 60   turned clockwise.
TEST(ToBgra, TurnsThePictureClockwise) {
  const TurnCase cases[] = {
      {0, {3, 2}, {10, 20, 30, 40, 50, 60}},
      {90, {2, 3}, {40, 10, 50, 20, 60, 30}},
      {180, {3, 2}, {60, 50, 40, 30, 20, 10}},
      {270, {2, 3}, {30, 60, 20, 50, 10, 40}},
  };
  const uint8_t rows[] = {10, 20, 30, 40, 50, 60};
  const PlaneView views[] = {{rows, 3}, {}, {}};
  for (const TurnCase& row : cases) {
    SCOPED_TRACE(row.rotation);
    VideoInfo info = Info("gray", 3, 2, 2, 1);
    info.rotation = row.rotation;
    const Size size = UprightSize(info);
    EXPECT_EQ(size.width, row.size.width);
    EXPECT_EQ(size.height, row.size.height);
    const ptrdiff_t pitch = ptrdiff_t{4} * size.width + 8;
    std::vector<uint8_t> out(static_cast<size_t>(pitch * size.height));
    ToBgra(info, views, out.data(), pitch);
    std::vector<int> grey;
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        grey.push_back(out[static_cast<size_t>(y * pitch + ptrdiff_t{4} * x)]);
      }
    }
    EXPECT_EQ(grey, row.grey);
  }
}

}  // namespace
}  // namespace road
