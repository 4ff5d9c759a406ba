// TGA dumps, byte by byte.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "unit/image_files.h"

namespace mivare {
namespace {

using test::Bytes;
using test::Describe;
using test::Frame;
using test::HostFrame;
using test::Number;
using test::Said;
using test::ScratchFolder;
using test::SmallFrame;

TEST(DumpTga, WritesRowsTopFirstAsWideAsThePitch) {
  const ScratchFolder folder;
  const auto frame = Frame(Describe(1, 45, 3, 2), 16, 16);
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
  const Bytes expected = {
      0,    0,    2,    0,    0,    0,    0,    0,    0, 0, 0, 0,  //
      4,    0,                                                     // 16 * 8 / 32
      2,    0,                                                     //
      32,   0x20,                                                  //
      0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07,              //
      0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,              //
      0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,              //
      0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F,
  };
  EXPECT_EQ(folder.Read("a.tga"), expected);
  EXPECT_EQ(frame->locks, 1);
  EXPECT_EQ(frame->unlocks, 1);
  EXPECT_TRUE(frame->lock_was_for_reading);
}

TEST(DumpTga, WritesOneBlockEvenWhenPixelsDoNotFillThePitch) {
  const ScratchFolder folder;
  // 16 * 8 / 24 = 5 pixels a row: 2 rows are the first 30 bytes of memory.
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), Frame(Describe(1, 50, 3, 2), 16, 16)),
            0);
  const Bytes file = folder.Read("a.tga");
  ASSERT_EQ(file.size(), 18u + 30);
  EXPECT_EQ(Number(file, 12, 2), 5u);
  EXPECT_EQ(file[18 + 15], 0x0F);
  EXPECT_EQ(file[18 + 16], 0x10);
  EXPECT_EQ(file[18 + 29], 0x1D);
}

TEST(DumpTga, A1920WideBgraFrameIs1920Or2048WideByItsPitch) {
  const ScratchFolder folder;
  for (const int32_t pitch : {7680, 8192}) {
    SCOPED_TRACE(pitch);
    const auto frame = std::make_shared<HostFrame>(Describe(1, 45, 1920, 3));
    frame->memory[0].assign(static_cast<size_t>(pitch) * 3, 1);
    frame->planes[0] = frame->memory[0].data();
    frame->pitches[0] = pitch;
    EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
    EXPECT_EQ(Number(folder.Read("a.tga"), 12, 2), pitch == 7680 ? 1920u : 2048u);
    EXPECT_EQ(folder.Size("a.tga"), 18u + static_cast<size_t>(pitch) * 3);
  }
}

TEST(DumpTga, CutsAWidthBeyond16Bits) {
  const ScratchFolder folder;
  const auto frame = std::make_shared<HostFrame>(Describe(1, 1, 70000, 1));
  frame->memory[0].assign(70016, 1);
  frame->planes[0] = frame->memory[0].data();
  frame->pitches[0] = 70016;
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
  EXPECT_EQ(Number(folder.Read("a.tga"), 12, 2), 70016u - 65536);
  EXPECT_EQ(folder.Size("a.tga"), 18u + 70016);
}

TEST(DumpTga, FailsWithoutAFileWhenTheFrameCannotBeLocked) {
  const ScratchFolder folder;
  const auto frame = SmallFrame();
  frame->lock_status = -2;
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), -1);
  EXPECT_TRUE(folder.IsEmpty());
  EXPECT_EQ(frame->unlocks, 0);
}

TEST(DumpTga, FailsWithoutAFileWhenAPixelHasNoBits) {
  const ScratchFolder folder;
  EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), Frame(Said(1, 3, 2, 0), 4, 4)), -1);
  EXPECT_TRUE(folder.IsEmpty());
}

TEST(DumpTga, WritesNoRowsWithoutAPitchAHeightOrAPlane) {
  struct Case {
    const char* name;
    int32_t pitch;
    uint32_t height;
    bool plane;
  };
  for (const Case& row :
       {Case{"no pitch", 0, 2, true}, Case{"negative pitch", -16, 2, true},
        Case{"no height", 16, 0, true}, Case{"negative height", 16, 0xFFFFFFFE, true},
        Case{"no plane", 16, 2, false}}) {
    SCOPED_TRACE(row.name);
    const ScratchFolder folder;
    const auto frame = std::make_shared<HostFrame>(Said(45, 3, row.height, 8));
    frame->AddPlane(0, 16, 16, 2);
    frame->pitches[0] = row.pitch;
    if (!row.plane) frame->planes[0] = nullptr;
    EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
    EXPECT_EQ(folder.Size("a.tga"), 18u);
  }
}

}  // namespace
}  // namespace mivare
