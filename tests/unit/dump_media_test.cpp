// Raw dumps from the outside: names, refusals, frames of the library's own, audio.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "platform/platform.h"
#include "support/fake_desc.h"
#include "support/host_frame.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/scratch_folder.h"
#include "support/trovel_balance.h"

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
    const auto frame = PatternFrame(Describe(row.media_type, row.smt, 3, 2), 4);
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
  NUXMivareDumpMediaBuffer(folder.File("a").c_str(), PatternFrame(Describe(5, 1, 2, 2), 3));
  EXPECT_EQ(folder.Size("a.yv12"), 6u);
  MediaDescPtr odd(new FakeDesc(9, 6, 2, 2));
  NUXMivareDumpMediaBuffer(folder.File("b").c_str(), PatternFrame(std::move(odd), 2));
  EXPECT_EQ(folder.Size("b.nv12"), 6u);
}

TEST(DumpMedia, WritesPackedFormatsAsBmpUnderAUtf8Name) {
  const ScratchFolder folder;
  for (const int32_t smt : {44, 45, 48}) {
    SCOPED_TRACE(smt);
    const std::string name = "t\xC3\xA4st_\xE5\xB8\xA7_" + std::to_string(smt);
    const auto frame = PatternFrame(Describe(1, smt, 2, 2), 1);
    NUXMivareDumpMediaBuffer(folder.File(name).c_str(), frame);
    EXPECT_EQ(folder.Size(name + ".bmp"), 54u + 2 * 2 * 4);
    NUXMivareDumpBMP(folder.File("direct").c_str(), frame);
    EXPECT_EQ(folder.Read(name + ".bmp"), folder.Read("direct"));
  }
}

TEST(DumpMedia, NamesNegativeSizesAsTheyAre) {
  const ScratchFolder folder;
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), PatternFrame(Describe(1, 17, -5, 10), 2));
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
    const auto frame = PatternFrame(Describe(row.media_type, row.smt, 3, 2), 4);
    NUXMivareDumpMediaBuffer(folder.File("missing/f").c_str(), frame);
    EXPECT_EQ(log.Count(6, "file[mivare/dump_image] line[" + std::to_string(row.line) + "]"), 1);
    EXPECT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(frame->locks, 0);
  }
  for (const int32_t smt : {55, 70, 71, 75, 76}) {
    SCOPED_TRACE(smt);
    const LogCapture log;
    NUXMivareDumpMediaBuffer(folder.File("missing/f").c_str(),
                             PatternFrame(Describe(1, smt, 3, 2), 4));
    ASSERT_EQ(log.AtLevel(6).size(), 1u);
    EXPECT_EQ(log.AtLevel(6)[0].text.find("file[mivare/dump_image] line["), 0u);
  }
}

TEST(DumpMedia, TruncatesWhatWasThere) {
  const ScratchFolder folder;
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), PatternFrame(Describe(1, 6, 5, 3), 2));
  EXPECT_EQ(folder.Size("f.nv12"), 20u);
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), PatternFrame(Describe(1, 6, 2, 2), 2));
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
    NUXMivareDumpMediaBuffer(prefix.c_str(), PatternFrame(Describe(1, 17, 5, 3), 2));
    EXPECT_EQ(log.Count(6, "file[mivare/dump_image] line[495]"), taken ? 0 : 1);
    EXPECT_EQ(folder.Has("g" + suffix) ? folder.Size("g" + suffix) : 0, taken ? 60u : 0u);
  }
  {
    const std::string prefix = LongName(folder, "h", kLongest + 1 - suffix.size());
    ASSERT_EQ((prefix + suffix).size(), kLongest + 1);
    const LogCapture log;
    NUXMivareDumpMediaBuffer(prefix.c_str(), PatternFrame(Describe(1, 17, 5, 3), 2));
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
    const auto frame = PatternFrame(Describe(row.media_type, row.smt, 3, 2), 4);
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
  NUXMivareDumpMediaBuffer(nullptr, PatternFrame(Describe(1, 1, 3, 2), 3));
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
  const auto frame = PatternFrame(Describe(1, 1, 3, 2), 3);
  frame->throws = true;
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
  EXPECT_EQ(log.AtLevel(6).size(), 1u);
  EXPECT_EQ(frame.use_count(), 1);
}

}  // namespace
}  // namespace mivare
