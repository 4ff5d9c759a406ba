#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "support/fake_desc.h"
#include "support/host_frame.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/scratch_folder.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::Bytes;
using test::HostFrame;
using test::LogCapture;
using test::Said;
using test::ScratchFolder;
using test::VideoRequest;

constexpr uint8_t kPad = test::kPadding;
constexpr int32_t kPitch = 8;

// A frame whose planes have 3 rows of 8 bytes, all padding so far.
std::shared_ptr<HostFrame> Blank(MediaDescPtr desc, size_t planes) {
  auto frame = std::make_shared<HostFrame>(std::move(desc));
  for (size_t i = 0; i < planes; ++i) {
    frame->memory[i].assign(size_t{kPitch} * 3, kPad);
    frame->planes[i] = frame->memory[i].data();
    frame->pitches[i] = kPitch;
  }
  return frame;
}

// 1, 2, 3, ...: what byte i of a file says is i + 1.
Bytes Counting(size_t count) {
  Bytes bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(i + 1);
  return bytes;
}

bool Load(const Bytes& file, const std::shared_ptr<IMediaBuffer>& frame) {
  const ScratchFolder folder;
  folder.Write("a.raw", file);
  return NUXMivareLoadMediaBuffer(folder.File("a.raw").c_str(), frame);
}

// Bytes of a plane: those of the file by their position from 1, the rest as they were.
Bytes Plane(const std::vector<Bytes>& rows) {
  Bytes plane(size_t{kPitch} * 3, kPad);
  for (size_t y = 0; y < rows.size(); ++y) {
    std::copy(rows[y].begin(), rows[y].end(), plane.begin() + static_cast<ptrdiff_t>(y * kPitch));
  }
  return plane;
}

TEST(LoadMedia, ReadsYv12PlaneAfterPlaneIntoTheRows) {
  const LogCapture log;
  const auto frame = Blank(VideoRequest(1, 5, 3), 3);
  EXPECT_TRUE(Load(Counting(19), frame));
  EXPECT_EQ(frame->memory[0], Plane({{1, 2, 3, 4, 5}, {6, 7, 8, 9, 10}, {11, 12, 13, 14, 15}}));
  EXPECT_EQ(frame->memory[1], Plane({{16, 17}}));
  EXPECT_EQ(frame->memory[2], Plane({{18, 19}}));
  EXPECT_EQ(frame->locks, 1);
  EXPECT_EQ(frame->unlocks, 1);
  EXPECT_FALSE(frame->lock_was_for_reading);
  EXPECT_EQ(frame.use_count(), 1);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(LoadMedia, ReadsNv12PairsAsWideAsTheLuma) {
  const auto frame = Blank(VideoRequest(6, 5, 3), 2);
  EXPECT_TRUE(Load(Counting(20), frame));
  EXPECT_EQ(frame->memory[0], Plane({{1, 2, 3, 4, 5}, {6, 7, 8, 9, 10}, {11, 12, 13, 14, 15}}));
  EXPECT_EQ(frame->memory[1], Plane({{16, 17, 18, 19, 20}}));
}

TEST(LoadMedia, ReadsNoChromaOfASingleRow) {
  for (const int32_t smt : {1, 6}) {
    SCOPED_TRACE(smt);
    const auto frame = Blank(VideoRequest(smt, 4, 1), 3);
    EXPECT_TRUE(Load(Counting(20), frame));
    EXPECT_EQ(frame->memory[0], Plane({{1, 2, 3, 4}}));
    EXPECT_EQ(frame->memory[1], Plane({}));
    EXPECT_EQ(frame->memory[2], Plane({}));
  }
}

TEST(LoadMedia, ReadsNothingMoreThanTheFrameHolds) {
  const auto frame = Blank(VideoRequest(1, 2, 2), 3);
  EXPECT_TRUE(Load(Counting(1000), frame));
  EXPECT_EQ(frame->memory[0], Plane({{1, 2}, {3, 4}}));
  EXPECT_EQ(frame->memory[1], Plane({{5}}));
  EXPECT_EQ(frame->memory[2], Plane({{6}}));
}

TEST(LoadMedia, LeavesTheRestOfTheFrameToAShortFile) {
  for (size_t length = 0; length <= 6; ++length) {
    SCOPED_TRACE(length);
    const auto frame = Blank(VideoRequest(1, 2, 2), 3);
    EXPECT_TRUE(Load(Counting(length), frame));
    const auto at = [length](uint8_t value) { return value <= length ? value : kPad; };
    EXPECT_EQ(frame->memory[0], Plane({{at(1), at(2)}, {at(3), at(4)}}));
    EXPECT_EQ(frame->memory[1], Plane({{at(5)}}));
    EXPECT_EQ(frame->memory[2], Plane({{at(6)}}));
  }
}

TEST(LoadMedia, FollowsRowsThatLieUpsideDownInMemory) {
  const auto frame = Blank(VideoRequest(6, 2, 2), 2);
  frame->planes[0] += kPitch;
  frame->pitches[0] = -kPitch;
  EXPECT_TRUE(Load(Counting(6), frame));
  EXPECT_EQ(frame->memory[0], Plane({{3, 4}, {1, 2}}));
  EXPECT_EQ(frame->memory[1], Plane({{5, 6}}));
}

TEST(LoadMedia, LeavesOutPlanesThatAreNotThere) {
  const auto frame = Blank(VideoRequest(1, 2, 2), 3);
  frame->planes[1] = nullptr;
  EXPECT_TRUE(Load(Counting(5), frame));
  EXPECT_EQ(frame->memory[0], Plane({{1, 2}, {3, 4}}));
  EXPECT_EQ(frame->memory[2], Plane({{5}}));
}

TEST(LoadMedia, ReadsNothingForSizesBelowOne) {
  struct Case {
    uint32_t width;
    uint32_t height;
  };
  for (const Case& row : {Case{0, 2}, {2, 0}, {0xFFFFFFFE, 2}, {2, 0xFFFFFFFE}, {0x80000000, 1}}) {
    SCOPED_TRACE(testing::Message() << row.width << " x " << row.height);
    const auto frame = Blank(Said(1, row.width, row.height), 3);
    EXPECT_TRUE(Load(Counting(20), frame));
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(frame->memory[i], Plane({}));
  }
}

TEST(LoadMedia, HandsPackedFormatsToTheBmpLoaderWhichTakesOneOfThem) {
  Bytes file(54);
  file[18] = 1;  // width
  file[22] = 1;  // height
  file[28] = 32;
  file.insert(file.end(), {1, 2, 3, 4});
  for (const int32_t smt : {44, 45, 48}) {
    SCOPED_TRACE(smt);
    const LogCapture log;
    const auto frame = Blank(VideoRequest(smt, 1, 1), 1);
    EXPECT_EQ(Load(file, frame), smt == 45);
    EXPECT_EQ(frame->memory[0], smt == 45 ? Plane({{1, 2, 3, 4}}) : Plane({}));
    EXPECT_EQ(frame.use_count(), 1);
    EXPECT_TRUE(log.Lines().empty());
  }
}

TEST(LoadMedia, RefusesEveryOtherFormat) {
  for (const int32_t smt : {0,  2,  5,  7,  8,  11, 16, 17, 22, 26, 35, 46,    47,
                            49, 50, 51, 55, 60, 61, 65, 70, 71, 75, 76, 15000, 20001}) {
    SCOPED_TRACE(smt);
    const LogCapture log;
    const auto frame = Blank(Said(smt, 2, 2), 4);
    EXPECT_FALSE(Load(Counting(20), frame));
    EXPECT_EQ(frame->locks, 0);
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.AtLevel(6).size(), 1U);
    EXPECT_EQ(log.CountContaining("error! file[mivare/dump_image] line["), 1);
    EXPECT_EQ(log.CountContaining("], smt " + std::to_string(smt)), 1);
  }
}

TEST(LoadMedia, RefusesAnEmptyBuffer) {
  const LogCapture log;
  EXPECT_FALSE(NUXMivareLoadMediaBuffer("a", nullptr));
  EXPECT_FALSE(NUXMivareLoadMediaBuffer(nullptr, nullptr));
  EXPECT_EQ(log.Count(6, "error! mivare::NUXMivareLoadMediaBuffer line[1043]: mb is nullptr!"), 2);
  EXPECT_EQ(log.Lines().size(), 2U);
}

TEST(LoadMedia, LogsWhatElseItCannotDo) {
  const ScratchFolder folder;
  const LogCapture log;
  const auto frame = Blank(VideoRequest(1, 2, 2), 3);
  EXPECT_FALSE(NUXMivareLoadMediaBuffer(nullptr, frame));
  EXPECT_EQ(log.CountContaining("error! file[mivare/dump_image] line["), 1);
  EXPECT_FALSE(Load(Counting(6), std::make_shared<HostFrame>(nullptr)));
  EXPECT_EQ(log.CountContaining("error! file[mivare/dump_image] line["), 2);
  EXPECT_FALSE(NUXMivareLoadMediaBuffer(folder.File("missing").c_str(), frame));
  EXPECT_TRUE(folder.IsEmpty()) << "nothing is created";
  EXPECT_EQ(log.CountContaining("file[mivare/dump_image] line["), 3);
  EXPECT_EQ(frame->locks, 0);
  frame->lock_status = -2;
  EXPECT_FALSE(Load(Counting(6), frame));
  EXPECT_EQ(frame->unlocks, 0);
  frame->throws = true;
  EXPECT_FALSE(Load(Counting(6), frame));
  EXPECT_EQ(log.AtLevel(6).size(), 5U);
  EXPECT_EQ(log.Lines().size(), 5U);
  EXPECT_EQ(frame.use_count(), 1);
}

TEST(LoadMedia, GivesBackEverySampleThatWasDumped) {
  const test::TrovelBalance balance;
  const ScratchFolder folder;
  const auto allocator = MakeCpuAllocator();
  struct Case {
    int32_t smt;
    const char* file;
    int32_t width;
    int32_t height;
    size_t bytes;
  };
  for (const Case& row : {
           Case{1, "f.yv12", 98, 66, 98 * 66 + 2 * 49 * 33},
           {1, "f.yv12", 101, 35, 101 * 35 + 2 * 50 * 17},
           {1, "f.yv12", 1, 1, 1},
           {6, "f.nv12", 98, 66, 98 * 66 + 98 * 33},
           {6, "f.nv12", 101, 35, 101 * 35 + 101 * 17},
           {45, "f.bmp", 101, 35, 54 + 4 * 101 * 35},
       }) {
    SCOPED_TRACE(testing::Message() << row.smt << ", " << row.width << " x " << row.height);
    const MediaDescPtr desc = VideoRequest(row.smt, row.width, row.height);
    const auto loaded = allocator->Alloc(desc.get(), nullptr, nullptr);
    ASSERT_NE(loaded, nullptr);
    // A file that no dump has made comes back as it was, by way of a frame.
    Bytes file(row.bytes);
    for (size_t i = 0; i < file.size(); ++i) file[i] = static_cast<uint8_t>(i * 7 + i / 251);
    if (row.smt == 45) {
      NUXMivareDumpMediaBuffer(folder.File("f").c_str(), loaded);
      const Bytes dump = folder.Read(row.file);
      ASSERT_EQ(dump.size(), row.bytes);
      std::copy(dump.begin(), dump.begin() + 54, file.begin());
    }
    folder.Write(row.file, file);
    ASSERT_TRUE(NUXMivareLoadMediaBuffer(folder.File(row.file).c_str(), loaded));
    folder.Write(row.file, {});
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(), loaded);
    EXPECT_EQ(folder.Read(row.file), file);
  }
}

}  // namespace
}  // namespace mivare
