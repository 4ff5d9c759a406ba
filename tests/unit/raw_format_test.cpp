// What the raw dumps of each format hold, byte by byte.
#include "raw_format.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "support/fake_desc.h"
#include "support/host_frame.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/scratch_folder.h"

namespace mivare {
namespace {

using test::Bytes;
using test::Describe;
using test::FakeDesc;
using test::HostFrame;
using test::Join;
using test::LogCapture;
using test::PatternFrame;
using test::ScratchFolder;
using test::Strip;

struct RawCase {
  int32_t smt;
  size_t planes;
  const char* file;
  std::vector<Strip> content;
};

void ExpectFiles(const std::vector<RawCase>& rows, int32_t width, int32_t height) {
  for (const RawCase& row : rows) {
    SCOPED_TRACE(testing::Message() << "smt " << row.smt << " " << width << " x " << height);
    const ScratchFolder folder;
    const LogCapture log;
    const auto frame = PatternFrame(Describe(1, row.smt, width, height), row.planes);
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
    ASSERT_TRUE(folder.Has(row.file));
    EXPECT_EQ(folder.Read(row.file), Join(row.content));
    EXPECT_EQ(frame->locks, 1);
    EXPECT_EQ(frame->unlocks, 1);
    EXPECT_TRUE(frame->lock_was_for_reading);
    EXPECT_EQ(frame.use_count(), 1);
    EXPECT_TRUE(log.Lines().empty());
  }
}

TEST(DumpMedia, WritesEachFormatOfAnOddSize) {
  // Rows of plane p start with 40h p; those below, 10h further.
  const std::vector<Strip> luma = {{0x00, 5}, {0x10, 5}, {0x20, 5}};
  const std::vector<Strip> luma2 = {{0x00, 10}, {0x10, 10}, {0x20, 10}};
  const auto with = [](std::vector<Strip> front, const std::vector<Strip>& back) {
    front.insert(front.end(), back.begin(), back.end());
    return front;
  };
  const std::vector<RawCase> rows = {
      {1, 3, "f.yv12", with(luma, {{0x40, 2}, {0x80, 2}})},
      {6, 2, "f.nv12", with(luma, {{0x40, 5}})},
      {16, 2, "f.nv16", with(luma, {{0x40, 5}})},
      {26, 2, "f.nv24", with(luma, {{0x40, 5}})},
      {7, 2, "f.p10", {{0x01, 5, 2}, {0x11, 5, 2}, {0x21, 5, 2}, {0x41, 5, 2}}},
      {17, 2, "f_5_3.p210", with(luma2, {{0x40, 10}, {0x50, 10}, {0x60, 10}})},
      {22, 3, "f_5_3.p210",
       with(luma2, {{0x40, 10}, {0x50, 10}, {0x60, 10}, {0x80, 10}, {0x90, 10}, {0xA0, 10}})},
      {55, 4, "f.yuva", with(luma, {{0x40, 2}, {0x80, 2}, {0xC0, 4}, {0xD0, 4}})},
      {60, 3, "f.yuv422",
       with(luma, {{0x40, 2}, {0x50, 2}, {0x60, 2}, {0x80, 2}, {0x90, 2}, {0xA0, 2}})},
      {61, 3, "f.yuv422",
       with(luma2, {{0x40, 4}, {0x50, 4}, {0x60, 4}, {0x80, 4}, {0x90, 4}, {0xA0, 4}})},
      {65, 4, "f.yuv422",
       with(luma, {{0x40, 2},
                   {0x50, 2},
                   {0x60, 2},
                   {0x80, 2},
                   {0x90, 2},
                   {0xA0, 2},  //
                   {0xC0, 5},
                   {0xD0, 5},
                   {0xE0, 5}})},
      {66, 4, "f.yuv422",
       with(luma2, {{0x40, 4},
                    {0x50, 4},
                    {0x60, 4},
                    {0x80, 4},
                    {0x90, 4},
                    {0xA0, 4},  //
                    {0xC0, 10},
                    {0xD0, 10},
                    {0xE0, 10}})},
      {70, 3, "f.yuv444",
       with(luma, {{0x40, 5}, {0x50, 5}, {0x60, 5}, {0x80, 5}, {0x90, 5}, {0xA0, 5}})},
      {71, 3, "f.yuv444",
       with(luma2, {{0x40, 10}, {0x50, 10}, {0x60, 10}, {0x80, 10}, {0x90, 10}, {0xA0, 10}})},
      {75, 4, "f.yuv444",
       with(luma, {{0x40, 5},
                   {0x50, 5},
                   {0x60, 5},
                   {0x80, 5},
                   {0x90, 5},
                   {0xA0, 5},  //
                   {0xC0, 5},
                   {0xD0, 5},
                   {0xE0, 5}})},
      {76, 4, "f.yuv444",
       with(luma2, {{0x40, 10},
                    {0x50, 10},
                    {0x60, 10},
                    {0x80, 10},
                    {0x90, 10},
                    {0xA0, 10},  //
                    {0xC0, 10},
                    {0xD0, 10},
                    {0xE0, 10}})},
  };
  ExpectFiles(rows, 5, 3);
}

TEST(DumpMedia, WritesEachFormatOfAnEvenHeight) {
  const std::vector<RawCase> rows = {
      {1, 3, "f.yv12", {{0x00, 3}, {0x10, 3}, {0x40, 1}, {0x80, 1}}},
      {6, 2, "f.nv12", {{0x00, 3}, {0x10, 3}, {0x40, 3}}},
      {16, 2, "f.nv16", {{0x00, 3}, {0x10, 3}, {0x40, 3}}},
      {26, 2, "f.nv24", {{0x00, 3}, {0x10, 3}, {0x40, 3}}},
      {7, 2, "f.p10", {{0x01, 3, 2}, {0x11, 3, 2}, {0x41, 3, 2}}},
      {17, 2, "f_3_2.p210", {{0x00, 6}, {0x10, 6}, {0x40, 6}, {0x50, 6}}},
      {22, 3, "f_3_2.p210", {{0x00, 6}, {0x10, 6}, {0x40, 6}, {0x50, 6}, {0x80, 6}, {0x90, 6}}},
      {55, 4, "f.yuva", {{0x00, 3}, {0x10, 3}, {0x40, 1}, {0x80, 1}, {0xC0, 2}, {0xD0, 2}}},
      {60, 3, "f.yuv422", {{0x00, 3}, {0x10, 3}, {0x40, 1}, {0x50, 1}, {0x80, 1}, {0x90, 1}}},
      {61, 3, "f.yuv422", {{0x00, 6}, {0x10, 6}, {0x40, 2}, {0x50, 2}, {0x80, 2}, {0x90, 2}}},
      {70, 3, "f.yuv444", {{0x00, 3}, {0x10, 3}, {0x40, 3}, {0x50, 3}, {0x80, 3}, {0x90, 3}}},
      {71, 3, "f.yuv444", {{0x00, 6}, {0x10, 6}, {0x40, 6}, {0x50, 6}, {0x80, 6}, {0x90, 6}}},
  };
  ExpectFiles(rows, 3, 2);
}

TEST(DumpMedia, WritesNoSubsampledChromaOfASingleRow) {
  const std::vector<RawCase> rows = {
      {1, 3, "f.yv12", {{0x00, 4}}},
      {6, 2, "f.nv12", {{0x00, 4}}},
      {16, 2, "f.nv16", {{0x00, 4}}},
      {26, 2, "f.nv24", {{0x00, 4}}},
      {7, 2, "f.p10", {{0x01, 4, 2}}},
      {55, 4, "f.yuva", {{0x00, 4}}},
      {60, 3, "f.yuv422", {{0x00, 4}, {0x40, 2}, {0x80, 2}}},
  };
  ExpectFiles(rows, 4, 1);
}

TEST(DumpMedia, WritesNoHalfColumnOfASinglePixel) {
  const std::vector<RawCase> rows = {
      {1, 3, "f.yv12", {{0x00, 1}}},
      {55, 4, "f.yuva", {{0x00, 1}}},
      {60, 3, "f.yuv422", {{0x00, 1}}},
      {17, 2, "f_1_1.p210", {{0x00, 2}, {0x40, 2}}},
  };
  ExpectFiles(rows, 1, 1);
}

TEST(DumpMedia, RepeatsTheRowOfAnAlphaPlaneWithoutAPitch) {
  for (const int32_t smt : {65, 75}) {
    SCOPED_TRACE(smt);
    const ScratchFolder folder;
    const auto frame = PatternFrame(Describe(1, smt, 4, 3), 4);
    frame->pitches[3] = 0;
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
    const Bytes file = folder.Read(smt == 65 ? "f.yuv422" : "f.yuv444");
    ASSERT_GE(file.size(), 12u);
    EXPECT_EQ(Bytes(file.end() - 12, file.end()), Join({{0xC0, 4}, {0xC0, 4}, {0xC0, 4}}));
  }
}

TEST(DumpMedia, LeavesOutPlanesThatAreNotThere) {
  const ScratchFolder folder;
  NUXMivareDumpMediaBuffer(folder.File("a").c_str(), PatternFrame(Describe(1, 75, 2, 2), 3));
  EXPECT_EQ(folder.Read("a.yuv444"),
            Join({{0x00, 2}, {0x10, 2}, {0x40, 2}, {0x50, 2}, {0x80, 2}, {0x90, 2}}));
  const auto frame = PatternFrame(Describe(1, 1, 2, 2), 3);
  frame->planes[1] = nullptr;
  NUXMivareDumpMediaBuffer(folder.File("b").c_str(), frame);
  EXPECT_EQ(folder.Read("b.yv12"), Join({{0x00, 2}, {0x10, 2}, {0x80, 1}}));
  const auto reduced = PatternFrame(Describe(1, 7, 2, 2), 1);
  NUXMivareDumpMediaBuffer(folder.File("c").c_str(), reduced);
  EXPECT_EQ(folder.Read("c.p10"), Join({{0x01, 2, 2}, {0x11, 2, 2}}));
}

TEST(DumpMedia, WritesAnAlphaPlaneThatA444BufferHasBesides) {
  const ScratchFolder folder;
  NUXMivareDumpMediaBuffer(folder.File("a").c_str(), PatternFrame(Describe(1, 70, 1, 1), 4));
  EXPECT_EQ(folder.Read("a.yuv444"), (Bytes{0x00, 0x40, 0x80, 0xC0}));
  NUXMivareDumpMediaBuffer(folder.File("b").c_str(), PatternFrame(Describe(1, 60, 2, 1), 4));
  EXPECT_EQ(folder.Read("b.yuv422"), (Bytes{0x00, 0x01, 0x40, 0x80}));
}

TEST(DumpMedia, WritesTheSameBytesWhetherRowsTouchOrNot) {
  const ScratchFolder folder;
  const auto frame = std::make_shared<HostFrame>(Describe(1, 6, 5, 2));
  frame->AddPlane(0, 5, 5, 2);
  frame->AddPlane(1, 5, 5, 1);
  NUXMivareDumpMediaBuffer(folder.File("a").c_str(), frame);
  EXPECT_EQ(folder.Read("a.nv12"), Join({{0x00, 5}, {0x10, 5}, {0x40, 5}}));
}

TEST(DumpMedia, TakesBytesPerSampleFromTheDepthOrTheFormatAsEachSays) {
  const auto said = [](int32_t smt, uint32_t bit_depth) {
    auto desc = std::make_unique<FakeDesc>(1, smt, 4, 1);
    desc->bit_depth = bit_depth;
    return MediaDescPtr(desc.release());
  };
  struct Case {
    int32_t smt;
    uint32_t bit_depth;
    const char* file;
    uintmax_t size;
  };
  for (const Case& row :
       {Case{60, 8, "f.yuv422", 8}, Case{60, 9, "f.yuv422", 16}, Case{60, 0, "f.yuv422", 0},
        Case{71, 8, "f.yuv444", 24}, Case{70, 16, "f.yuv444", 12}, Case{1, 16, "f.yv12", 4}}) {
    SCOPED_TRACE(testing::Message() << "smt " << row.smt << " of " << row.bit_depth << " bits");
    const ScratchFolder folder;
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(),
                             PatternFrame(said(row.smt, row.bit_depth), 3));
    EXPECT_EQ(folder.Size(row.file), row.size);
  }
}

TEST(DumpMedia, WritesAnEmptyFileForSizesBelowOne) {
  struct Case {
    int32_t width;
    int32_t height;
  };
  for (const Case& row : {Case{-5, 2}, Case{2, -3}, Case{0, 2}, Case{2, 0}, Case{INT32_MIN, 2}}) {
    for (const int32_t smt : {1, 7, 55}) {
      SCOPED_TRACE(testing::Message() << "smt " << smt << " " << row.width << " x " << row.height);
      const ScratchFolder folder;
      MediaDescPtr desc(new FakeDesc(1, smt));
      desc->SetWidthHeight(row.width, row.height);
      NUXMivareDumpMediaBuffer(folder.File("f").c_str(), PatternFrame(std::move(desc), 4));
      EXPECT_EQ(folder.Size(smt == 1 ? "f.yv12" : smt == 7 ? "f.p10" : "f.yuva"), 0u);
    }
  }
}

}  // namespace
}  // namespace mivare
