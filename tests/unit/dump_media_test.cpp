#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "platform/platform.h"
#include "support/host_desc.h"
#include "support/host_frame.h"
#include "support/log_capture.h"
#include "support/scratch_folder.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::Bytes;
using test::HostDesc;
using test::HostFrame;
using test::LogCapture;
using test::ScratchFolder;

MediaDescPtr Describe(uint32_t media_type, int32_t smt, int32_t width, int32_t height) {
  MediaDescPtr desc = MakeMediaDesc(media_type, smt);
  if (desc) desc->SetWidthHeight(width, height);
  return desc;
}

// A frame with room for up to 3 rows of 16 bytes in each of its first `planes` planes.
std::shared_ptr<HostFrame> Frame(MediaDescPtr desc, size_t planes) {
  auto frame = std::make_shared<HostFrame>(std::move(desc));
  for (size_t i = 0; i < planes; ++i) frame->AddPlane(i, 24, 16, 3);
  return frame;
}

// `count` bytes of a file, the first one given, each further one `step` larger: a piece of a row of
// HostFrame's pattern.
struct Strip {
  uint8_t first;
  int count;
  int step = 1;
};

Bytes Join(const std::vector<Strip>& strips) {
  Bytes bytes;
  for (const Strip& strip : strips) {
    for (int i = 0; i < strip.count; ++i) {
      bytes.push_back(static_cast<uint8_t>(strip.first + i * strip.step));
    }
  }
  return bytes;
}

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
    const auto frame = Frame(Describe(1, row.smt, width, height), row.planes);
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
    const auto frame = Frame(Describe(1, smt, 4, 3), 4);
    frame->pitches[3] = 0;
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
    const Bytes file = folder.Read(smt == 65 ? "f.yuv422" : "f.yuv444");
    ASSERT_GE(file.size(), 12u);
    EXPECT_EQ(Bytes(file.end() - 12, file.end()), Join({{0xC0, 4}, {0xC0, 4}, {0xC0, 4}}));
  }
}

TEST(DumpMedia, LeavesOutPlanesThatAreNotThere) {
  const ScratchFolder folder;
  NUXMivareDumpMediaBuffer(folder.File("a").c_str(), Frame(Describe(1, 75, 2, 2), 3));
  EXPECT_EQ(folder.Read("a.yuv444"),
            Join({{0x00, 2}, {0x10, 2}, {0x40, 2}, {0x50, 2}, {0x80, 2}, {0x90, 2}}));
  const auto frame = Frame(Describe(1, 1, 2, 2), 3);
  frame->planes[1] = nullptr;
  NUXMivareDumpMediaBuffer(folder.File("b").c_str(), frame);
  EXPECT_EQ(folder.Read("b.yv12"), Join({{0x00, 2}, {0x10, 2}, {0x80, 1}}));
  const auto reduced = Frame(Describe(1, 7, 2, 2), 1);
  NUXMivareDumpMediaBuffer(folder.File("c").c_str(), reduced);
  EXPECT_EQ(folder.Read("c.p10"), Join({{0x01, 2, 2}, {0x11, 2, 2}}));
}

TEST(DumpMedia, WritesAnAlphaPlaneThatA444BufferHasBesides) {
  const ScratchFolder folder;
  NUXMivareDumpMediaBuffer(folder.File("a").c_str(), Frame(Describe(1, 70, 1, 1), 4));
  EXPECT_EQ(folder.Read("a.yuv444"), (Bytes{0x00, 0x40, 0x80, 0xC0}));
  NUXMivareDumpMediaBuffer(folder.File("b").c_str(), Frame(Describe(1, 60, 2, 1), 4));
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

TEST(DumpMedia, WritesA1920x1080Nv12FrameWhateverItsPitches) {
  const test::TrovelBalance balance;
  const ScratchFolder folder;
  const auto allocator = MakeCpuAllocator();
  const MediaDescPtr desc = Describe(1, 6, 1920, 1080);
  const auto frame = allocator->Alloc(desc.get(), nullptr, nullptr);
  ASSERT_NE(frame, nullptr);
  NUXMivareDumpMediaBuffer(folder.File("a").c_str(), frame);
  EXPECT_EQ(folder.Size("a.nv12"), 1920u * 1080 + 1920u * 540);

  const auto wide = std::make_shared<HostFrame>(Describe(1, 6, 1920, 1080));
  wide->AddPlane(0, 2048, 1920, 1080);
  wide->AddPlane(1, 2048, 1920, 540);
  NUXMivareDumpMediaBuffer(folder.File("b").c_str(), wide);
  EXPECT_EQ(folder.Size("b.nv12"), 1920u * 1080 + 1920u * 540);
}

TEST(DumpMedia, WritesA1280x720P210FrameUnderItsSize) {
  const test::TrovelBalance balance;
  const ScratchFolder folder;
  const auto allocator = MakeCpuAllocator();
  const MediaDescPtr desc = Describe(1, 17, 1280, 720);
  const auto frame = allocator->Alloc(desc.get(), nullptr, nullptr);
  ASSERT_NE(frame, nullptr);
  NUXMivareDumpMediaBuffer(folder.File("b").c_str(), frame);
  EXPECT_EQ(folder.Size("b_1280_720.p210"), 2u * (2560 * 720));
}

// All that allocators give; frames of 22 are the host's own.
TEST(DumpMedia, WritesEveryFrameOfTheLibraryItself) {
  const test::TrovelBalance balance;
  const ScratchFolder folder;
  const auto allocator = MakeCpuAllocator();
  struct Case {
    int32_t smt;
    const char* file;
    uintmax_t size;
  };
  constexpr uintmax_t kLuma = 98 * 66;
  for (const Case& row : {
           Case{1, "f.yv12", kLuma + 2 * 49 * 33},
           {6, "f.nv12", kLuma + 98 * 33},
           {7, "f.p10", kLuma + 98 * 33},
           {16, "f.nv16", kLuma + 98 * 33},
           {17, "f_98_66.p210", 2 * 2 * kLuma},
           {26, "f.nv24", kLuma + 98 * 33},
           {44, "f.bmp", 54 + 4 * kLuma},
           {45, "f.bmp", 54 + 4 * kLuma},
           {48, "f.bmp", 54 + 4 * kLuma},
           {55, "f.yuva", 2 * kLuma + 2 * 49 * 33},
           {60, "f.yuv422", 2 * kLuma},
           {61, "f.yuv422", 4 * kLuma},
           {65, "f.yuv422", 3 * kLuma},
           {66, "f.yuv422", 6 * kLuma},
           {70, "f.yuv444", 3 * kLuma},
           {71, "f.yuv444", 6 * kLuma},
           {75, "f.yuv444", 4 * kLuma},
           {76, "f.yuv444", 8 * kLuma},
       }) {
    SCOPED_TRACE(row.smt);
    const MediaDescPtr desc = Describe(1, row.smt, 98, 66);
    const auto frame = allocator->Alloc(desc.get(), nullptr, nullptr);
    ASSERT_NE(frame, nullptr);
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
    EXPECT_EQ(folder.Size(row.file), row.size);
  }
}

TEST(DumpMedia, WritesNothingOfFormatsWithoutARawForm) {
  struct Case {
    uint32_t media_type;
    int32_t smt;
  };
  for (const Case& row :
       {Case{1, 2}, {1, 3},  {1, 8},     {1, 11},    {1, 12},   {1, 18}, {1, 21}, {1, 23},
        {1, 27},    {1, 31}, {1, 46},    {1, 47},    {5, 49},   {1, 50}, {1, 51}, {1, 52},
        {1, 56},    {1, 62}, {1, 64},    {1, 67},    {1, 69},   {1, 72}, {1, 74}, {1, 77},
        {1, 79},    {5, 2},  {1, 15000}, {5, 15000}, {5, 31100}}) {
    SCOPED_TRACE(testing::Message() << "media type " << row.media_type << " smt " << row.smt);
    const ScratchFolder folder;
    const LogCapture log;
    const auto frame = Frame(Describe(row.media_type, row.smt, 3, 2), 4);
    ASSERT_NE(frame->desc, nullptr);
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
    EXPECT_TRUE(folder.IsEmpty());
    EXPECT_EQ(
        log.Count(6, "error! file[mivare/dump_image] line[806], smt " + std::to_string(row.smt)),
        1);
    EXPECT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(frame->locks, 0);
  }
}

TEST(DumpMedia, GoesByTheFormatForEveryMediaTypeButAudio) {
  const ScratchFolder folder;
  NUXMivareDumpMediaBuffer(folder.File("a").c_str(), Frame(Describe(5, 1, 2, 2), 3));
  EXPECT_EQ(folder.Size("a.yv12"), 6u);
  auto odd = std::make_unique<HostDesc>();
  odd->media_type = 9;
  odd->smt = 6;
  odd->SetWidthHeight(2, 2);
  NUXMivareDumpMediaBuffer(folder.File("b").c_str(), Frame(MediaDescPtr(odd.release()), 2));
  EXPECT_EQ(folder.Size("b.nv12"), 6u);
}

TEST(DumpMedia, WritesPackedFormatsAsBmpUnderAUtf8Name) {
  const ScratchFolder folder;
  for (const int32_t smt : {44, 45, 48}) {
    SCOPED_TRACE(smt);
    const std::string name = "t\xC3\xA4st_\xE5\xB8\xA7_" + std::to_string(smt);
    const auto frame = Frame(Describe(1, smt, 2, 2), 1);
    NUXMivareDumpMediaBuffer(folder.File(name).c_str(), frame);
    EXPECT_EQ(folder.Size(name + ".bmp"), 54u + 2 * 2 * 4);
    NUXMivareDumpBMP(folder.File("direct").c_str(), frame);
    EXPECT_EQ(folder.Read(name + ".bmp"), folder.Read("direct"));
  }
}

TEST(DumpMedia, TakesBytesPerSampleFromTheDepthOrTheFormatAsEachSays) {
  const auto said = [](int32_t smt, uint32_t bit_depth) {
    auto desc = std::make_unique<HostDesc>();
    desc->smt = smt;
    desc->bit_depth = bit_depth;
    desc->SetWidthHeight(4, 1);
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
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(), Frame(said(row.smt, row.bit_depth), 3));
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
      auto desc = std::make_unique<HostDesc>();
      desc->smt = smt;
      desc->SetWidthHeight(row.width, row.height);
      NUXMivareDumpMediaBuffer(folder.File("f").c_str(), Frame(MediaDescPtr(desc.release()), 4));
      EXPECT_EQ(folder.Size(smt == 1 ? "f.yv12" : smt == 7 ? "f.p10" : "f.yuva"), 0u);
    }
  }
}

TEST(DumpMedia, NamesNegativeSizesAsTheyAre) {
  const ScratchFolder folder;
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), Frame(Describe(1, 17, -5, 10), 2));
  EXPECT_TRUE(folder.Has("f_-5_10.p210"));
}

TEST(DumpMedia, LogsTheLineOfTheFormatWhoseFileCannotBeOpened) {
  struct Case {
    uint32_t media_type;
    int32_t smt;
    int line;
  };
  const ScratchFolder folder;
  for (const Case& row : {Case{1, 1, 424},
                          {1, 6, 663},
                          {1, 7, 627},
                          {1, 16, 663},
                          {1, 17, 495},
                          {1, 22, 495},
                          {1, 26, 663},
                          {1, 60, 431},
                          {1, 61, 431},
                          {1, 65, 431},
                          {1, 66, 431},
                          {2, 20002, 380}}) {
    SCOPED_TRACE(row.smt);
    const LogCapture log;
    const auto frame = Frame(Describe(row.media_type, row.smt, 3, 2), 4);
    NUXMivareDumpMediaBuffer(folder.File("missing/f").c_str(), frame);
    EXPECT_EQ(log.Count(6, "file[mivare/dump_image] line[" + std::to_string(row.line) + "]"), 1);
    EXPECT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(frame->locks, 0);
  }
  for (const int32_t smt : {55, 70, 71, 75, 76}) {
    SCOPED_TRACE(smt);
    const LogCapture log;
    NUXMivareDumpMediaBuffer(folder.File("missing/f").c_str(), Frame(Describe(1, smt, 3, 2), 4));
    ASSERT_EQ(log.AtLevel(6).size(), 1u);
    EXPECT_EQ(log.AtLevel(6)[0].text.find("file[mivare/dump_image] line["), 0u);
  }
}

TEST(DumpMedia, TruncatesWhatWasThere) {
  const ScratchFolder folder;
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), Frame(Describe(1, 6, 5, 3), 2));
  EXPECT_EQ(folder.Size("f.nv12"), 20u);
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), Frame(Describe(1, 6, 2, 2), 2));
  EXPECT_EQ(folder.Size("f.nv12"), 6u);
}

// The name of a file in the folder, `length` bytes long by steps on the spot.
std::string LongName(const ScratchFolder& folder, const std::string& last, size_t length) {
  std::string path = folder.File("");
  if (path.back() != '/' && path.back() != '\\') path += '/';
  while (path.size() + last.size() + 2 <= length) path += "./";
  if (path.size() + last.size() < length) path += '/';
  return path + last;
}

TEST(DumpMedia, TheNameWithTheSizeHoldsAtMost511Bytes) {
  constexpr size_t kLongest = 511;
  const std::string suffix = "_5_3.p210";
  const ScratchFolder folder;
  {
    const std::string prefix = LongName(folder, "g", kLongest - suffix.size());
    ASSERT_EQ((prefix + suffix).size(), kLongest);
    // Some systems take no name of that length at all.
    const bool taken = platform::OpenFile((prefix + suffix).c_str(), "wb") != nullptr;
    const LogCapture log;
    NUXMivareDumpMediaBuffer(prefix.c_str(), Frame(Describe(1, 17, 5, 3), 2));
    EXPECT_EQ(log.Count(6, "file[mivare/dump_image] line[495]"), taken ? 0 : 1);
    EXPECT_EQ(folder.Has("g" + suffix) ? folder.Size("g" + suffix) : 0, taken ? 60u : 0u);
  }
  {
    const std::string prefix = LongName(folder, "h", kLongest + 1 - suffix.size());
    ASSERT_EQ((prefix + suffix).size(), kLongest + 1);
    const LogCapture log;
    NUXMivareDumpMediaBuffer(prefix.c_str(), Frame(Describe(1, 17, 5, 3), 2));
    EXPECT_FALSE(folder.Has("h" + suffix));
    EXPECT_EQ(log.Count(6, "file[mivare/dump_image] line[495]"), 1);
  }
}

TEST(DumpMedia, WritesTheValidBytesOfAnAudioBuffer) {
  const test::TrovelBalance balance;
  const ScratchFolder folder;
  const auto allocator = MakeCpuAllocator();
  const MediaDescPtr desc = MakeMediaDesc(2, 20002);
  const auto audio = allocator->Alloc(desc.get(), nullptr, nullptr);
  ASSERT_NE(audio, nullptr);
  const Bytes samples = {1, 2, 3, 4, 5, 6, 7};
  ASSERT_EQ(audio->SetData(samples.data(), 7), 0);
  NUXMivareDumpMediaBuffer(folder.File("c").c_str(), audio);
  EXPECT_EQ(folder.Read("c.pcm"), samples);

  // More than the block holds, as a host may say, is not there to be written.
  ASSERT_EQ(audio->SetDataSize(20001), 0);
  NUXMivareDumpMediaBuffer(folder.File("c").c_str(), audio);
  EXPECT_EQ(folder.Size("c.pcm"), 20000u);
  ASSERT_EQ(audio->SetDataSize(-1), 0);
  NUXMivareDumpMediaBuffer(folder.File("c").c_str(), audio);
  EXPECT_EQ(folder.Size("c.pcm"), 0u);
}

TEST(DumpMedia, WritesAudioOfBuffersThatDoNotSayTheirCapacity) {
  const ScratchFolder folder;
  const auto audio = std::make_shared<HostFrame>(MakeMediaDesc(2, 30000));
  audio->AddPlane(0, 5, 5, 1);
  NUXMivareDumpMediaBuffer(folder.File("c").c_str(), audio);
  EXPECT_EQ(folder.Read("c.pcm"), Join({{0x00, 5}}));
  EXPECT_TRUE(audio->lock_was_for_reading);
  EXPECT_EQ(audio->unlocks, 1);
}

TEST(DumpMedia, LeavesAnEmptyFileForABufferThatCannotBeLocked) {
  struct Case {
    uint32_t media_type;
    int32_t smt;
    const char* file;
  };
  for (const Case& row : {Case{1, 1, "f.yv12"}, {1, 7, "f.p10"}, {2, 20002, "f.pcm"}}) {
    SCOPED_TRACE(row.smt);
    const ScratchFolder folder;
    const auto frame = Frame(Describe(row.media_type, row.smt, 3, 2), 4);
    frame->lock_status = -2;
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
    EXPECT_EQ(folder.Size(row.file), 0u);
    EXPECT_EQ(frame->unlocks, 0);
  }
}

TEST(DumpMedia, RefusesANullPrefixAnEmptyBufferAndAMissingDescription) {
  const ScratchFolder folder;
  const LogCapture log;
  const std::string line = "error! file[mivare/dump_image] line[706]";
  NUXMivareDumpMediaBuffer(nullptr, Frame(Describe(1, 1, 3, 2), 3));
  EXPECT_EQ(log.Count(6, line), 1);
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), nullptr);
  EXPECT_EQ(log.Count(6, line), 2);
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), std::make_shared<HostFrame>(nullptr));
  EXPECT_EQ(log.Count(6, line), 3);
  EXPECT_EQ(log.Lines().size(), 3u);
  EXPECT_TRUE(folder.IsEmpty());
}

TEST(DumpMedia, LetsNoExceptionOut) {
  const ScratchFolder folder;
  const LogCapture log;
  const auto frame = Frame(Describe(1, 1, 3, 2), 3);
  frame->throws = true;
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
  EXPECT_EQ(log.AtLevel(6).size(), 1u);
  EXPECT_EQ(frame.use_count(), 1);
}

}  // namespace
}  // namespace mivare
