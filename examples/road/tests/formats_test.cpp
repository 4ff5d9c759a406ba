#include "formats.h"

#include <gtest/gtest.h>

namespace road {
namespace {

struct FormatCase {
  const char* name;
  int32_t smt;
  size_t picture;  // bytes of a 5 x 3 picture
  size_t dump;     // bytes of its raw dump
  const char* dump_name;
};

// 5 x 3, worked out by hand: chroma of 4:2:0 is 3 x 2 in the picture and 2 x 1 in the dump.
constexpr FormatCase kFormats[] = {
    {"yuv420p", 1, 15 + 6 + 6, 15 + 2 + 2, "p.yv12"},
    {"yuv420p10le", 2, 54, 0, ""},
    {"yuv420p12le", 3, 54, 0, ""},
    {"nv12", 6, 15 + 12, 15 + 5, "p.nv12"},
    {"p010le", 7, 54, 15 + 5, "p.p10"},
    {"nv16", 16, 15 + 18, 15 + 5, "p.nv16"},
    {"p210le", 17, 66, 30 + 30, "p_5_3.p210"},
    {"bgra", 45, 60, 0, ""},
    {"yuv422p", 60, 15 + 9 + 9, 15 + 6 + 6, "p.yuv422"},
    {"yuv422p10le", 61, 66, 54, "p.yuv422"},
    {"yuv444p", 70, 45, 45, "p.yuv444"},
    {"yuv444p10le", 71, 90, 90, "p.yuv444"},
    {"gray", 15000, 15, 0, ""},
};

TEST(Formats, HaveTheShapesOfTheirPicturesAndDumps) {
  for (const FormatCase& row : kFormats) {
    SCOPED_TRACE(row.name);
    const PixelFormat* format = FindPixelFormat(row.name);
    ASSERT_NE(format, nullptr);
    EXPECT_EQ(format->smt, row.smt);
    EXPECT_EQ(PictureSize(*format, 5, 3), row.picture);

    const std::vector<uint8_t> bytes(200);
    const PlaneView view{bytes.data(), 24};
    const PlaneView views[] = {view, view, view};
    EXPECT_EQ(GatherPicture(*format, 5, 3, views).size(), row.picture);
    EXPECT_EQ(format->dump.empty(), row.dump == 0);
    if (row.dump == 0) continue;
    EXPECT_EQ(GatherDump(*format, 5, 3, views).size(), row.dump);
    EXPECT_EQ(DumpPath(*format, 5, 3, "p"), row.dump_name);
  }
}

TEST(Formats, UnknownNamesHaveNoCounterpart) {
  EXPECT_EQ(FindPixelFormat("yuv410p"), nullptr);
  EXPECT_EQ(FindPixelFormat(""), nullptr);
  EXPECT_EQ(FindSampleFormat("s64"), nullptr);
}

TEST(Formats, AreListedForMessages) {
  EXPECT_TRUE(PixelFormatNames().starts_with("yuv420p, yuv420p10le, "));
  EXPECT_EQ(SampleFormatNames(), "u8, s16, s32, flt, dbl");
}

TEST(Formats, SamplesAreCountedFrom20001) {
  const char* names[] = {"u8", "s16", "s32", "flt", "dbl"};
  const int bytes[] = {1, 2, 4, 4, 8};
  for (int i = 0; i < 5; ++i) {
    SCOPED_TRACE(names[i]);
    const SampleFormat* format = FindSampleFormat(names[i]);
    ASSERT_NE(format, nullptr);
    EXPECT_EQ(format->smt, 20001 + i);
    EXPECT_EQ(format->bytes, bytes[i]);
  }
}

TEST(Gather, LeavesThePaddingOut) {
  const uint8_t luma[] = {1, 2, 99, 3, 4, 99};
  const uint8_t chroma[] = {5, 99};
  const PlaneView views[] = {{luma, 3}, {chroma, 2}, {chroma, 2}};
  const std::vector<uint8_t> expected{1, 2, 3, 4, 5, 5};
  EXPECT_EQ(GatherPicture(*FindPixelFormat("yuv420p"), 2, 2, views), expected);
}

TEST(Gather, FollowsPicturesThatAreStoredUpwards) {
  const uint8_t rows[] = {3, 4, 1, 2};
  const PlaneView views[] = {{rows + 2, -2}, {}, {}};
  const std::vector<uint8_t> expected{1, 2, 3, 4};
  EXPECT_EQ(GatherPicture(*FindPixelFormat("gray"), 2, 2, views), expected);
}

TEST(Gather, KeepsTheUpperBytesForTheDumpOfP010) {
  const uint8_t luma[] = {0xC0, 0x11, 0x80, 0x22, 0x40, 0x33, 0x00, 0x44};
  const uint8_t chroma[] = {0xC0, 0x55, 0x80, 0x66};
  const PlaneView views[] = {{luma, 4}, {chroma, 4}, {}};
  const std::vector<uint8_t> expected{0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
  EXPECT_EQ(GatherDump(*FindPixelFormat("p010le"), 2, 2, views), expected);
}

}  // namespace
}  // namespace road
