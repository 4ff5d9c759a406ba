#include "buffer2d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "aligned_heap.h"
#include "mivare/allocator.h"
#include "mivare/gpu_allocator.h"
#include "mivare/helper.h"
#include "platform/platform.h"
#include "support/failing_blocks.h"
#include "support/fake_buffer.h"
#include "support/fake_clock.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::FailingBlocks;
using test::FakeClock;
using test::FakeDesc;
using test::LogCapture;
using test::LogLine;
using test::MemoryListener;
using test::TrovelBalance;

constexpr char kTrace[] = "mivare::`anonymous-namespace'::_CreateMediaBuffer2D type";

MediaDescPtr Video(int32_t smt, int32_t width, int32_t height) {
  MediaDescPtr desc = MakeMediaDesc(1, smt);
  desc->SetWidthHeight(width, height);
  return desc;
}

std::unique_ptr<Buffer2d> Frame(int32_t smt, int32_t width, int32_t height) {
  const MediaDescPtr desc = Video(smt, width, height);
  auto frame = _CreateMediaBuffer2D(desc.get(), nullptr);
  EXPECT_NE(frame, nullptr);
  return frame;
}

// Whether there is exactly one line of `level` that matches as a whole.
bool HasOnly(const LogCapture& log, int32_t level, const std::string& pattern) {
  const std::vector<LogLine> lines = log.AtLevel(level);
  return lines.size() == 1 && lines[0].tag == "mivare" &&
         std::regex_match(lines[0].text, std::regex(pattern));
}

TEST(Buffer2d, LocksItsPlanesAtTheLayoutsOffsets) {
  LogCapture log;
  const auto frame = Frame(1, 1920, 1080);
  uint8_t untouched = 0;
  std::array<uint8_t*, 8> planes;
  planes.fill(&untouched);
  std::array<int32_t, 8> pitches;
  pitches.fill(77);
  uint32_t capacity = 77;
  EXPECT_EQ(frame->Lock(planes.data(), pitches.data(), nullptr, &capacity), 0);
  // Luma of 1920 x 1088, then two chroma planes of a quarter of that.
  EXPECT_EQ(planes[0], frame->Data());
  EXPECT_EQ(planes[1], frame->Data() + 2088960);
  EXPECT_EQ(planes[2], frame->Data() + 2611200);
  for (size_t i = 3; i < 8; ++i) EXPECT_EQ(planes[i], &untouched) << i;
  EXPECT_EQ(pitches, (std::array<int32_t, 8>{1920, 960, 960, 0, 0, 0, 0, 0}));
  EXPECT_EQ(capacity, 77U) << "a planar frame has none";
  EXPECT_EQ(frame->Unlock(), 0);
  EXPECT_EQ(frame->GetDesc(0)->GetFrameSize(), 3133440);
}

TEST(Buffer2d, LockWithANullArrayWritesNothing) {
  LogCapture log;
  const auto frame = Frame(1, 64, 64);
  log.Clear();
  uint8_t untouched = 0;
  std::array<uint8_t*, 8> planes;
  planes.fill(&untouched);
  std::array<int32_t, 8> pitches;
  pitches.fill(77);
  EXPECT_EQ(frame->Lock(nullptr, pitches.data(), nullptr, nullptr), -1);
  EXPECT_EQ(frame->Lock(planes.data(), nullptr, nullptr, nullptr), -1);
  for (size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(planes[i], &untouched);
    EXPECT_EQ(pitches[i], 77);
  }
  EXPECT_TRUE(log.Lines().empty());
}

TEST(Buffer2d, LockWithoutALayoutZeroesBothArrays) {
  LogCapture log;
  FakeDesc foreign(1, 1);
  const auto frame = _CreateMediaBuffer2D(&foreign, nullptr);
  ASSERT_NE(frame, nullptr);
  log.Clear();
  uint8_t untouched = 0;
  std::array<uint8_t*, 8> planes;
  planes.fill(&untouched);
  std::array<int32_t, 8> pitches;
  pitches.fill(77);
  EXPECT_EQ(frame->Lock(planes.data(), pitches.data(), nullptr, nullptr), -2);
  EXPECT_EQ(planes, (std::array<uint8_t*, 8>{}));
  EXPECT_EQ(pitches, (std::array<int32_t, 8>{}));
  EXPECT_TRUE(HasOnly(log, 6, R"(error\. mivare::Buffer2d::Lock line\[[0-9]+\])"));
}

TEST(Buffer2d, LockBeforeInitHasNoLayout) {
  LogCapture log;
  Buffer2d frame(nullptr);
  std::array<uint8_t*, 8> planes;
  std::array<int32_t, 8> pitches;
  EXPECT_EQ(frame.Lock(planes.data(), pitches.data(), nullptr, nullptr), -2);
}

TEST(Buffer2d, LeavesLinearOperationsToTheBase) {
  LogCapture log;
  const auto frame = Frame(1, 64, 64);
  const uint8_t byte = 1;
  EXPECT_EQ(frame->SetData(&byte, 1), -1);
  EXPECT_EQ(frame->SetDataSize(1), -1);
  EXPECT_FALSE(frame->AppendData(&byte, 1));
  EXPECT_EQ(frame->QueryObject(0, 0), nullptr);
  EXPECT_EQ(frame->QueryNative(0), nullptr);
  EXPECT_FALSE(frame->IsDeviceMemory());
}

TEST(Buffer2d, TracesItsCreationWhetherItSucceedsOrNot) {
  LogCapture log;
  Frame(45, 100, 50);
  EXPECT_EQ(log.Lines(),
            (std::vector<LogLine>{{"mivare", 0, std::string(kTrace) + "[45] [100 x 50]"}}));
  log.Clear();
  FakeDesc broken(1, 7, 30, 20);
  broken.cloneable = false;
  EXPECT_EQ(_CreateMediaBuffer2D(&broken, nullptr), nullptr);
  EXPECT_EQ(log.Count(0, std::string(kTrace) + "[7] [30 x 20]"), 1);
  EXPECT_EQ(log.Lines().back().level, 0) << "the trace comes last";
  broken.throws_at_clone = true;
  EXPECT_EQ(_CreateMediaBuffer2D(&broken, nullptr), nullptr);
  EXPECT_EQ(log.Count(0, std::string(kTrace) + "[7] [30 x 20]"), 2);
}

TEST(Buffer2d, RefusesNull) {
  LogCapture log;
  EXPECT_EQ(_CreateMediaBuffer2D(nullptr, nullptr), nullptr);
  EXPECT_TRUE(HasOnly(log, 6, R"(error\. mivare::Buffer2d::Init line\[[0-9]+\])"));
}

TEST(Buffer2d, RefusesADescriptionThatCannotBeCloned) {
  LogCapture log;
  FakeDesc desc(1, 1);
  desc.cloneable = false;
  EXPECT_EQ(_CreateMediaBuffer2D(&desc, nullptr), nullptr);
  EXPECT_TRUE(HasOnly(log, 6, R"(error\. mivare::Buffer2d::Init line\[[0-9]+\])"));
}

TEST(Buffer2d, RefusesAFrameWithoutLength) {
  LogCapture log;
  const MediaDescPtr sizeless = MakeMediaDesc(1, 1);
  EXPECT_EQ(_CreateMediaBuffer2D(sizeless.get(), nullptr), nullptr);
  EXPECT_EQ(log.Count(6, "mivare::Buffer2d::Init error. width[0] height[0]"), 1);
  for (const int32_t length : {0, -1, INT32_MIN}) {
    FakeDesc desc(1, 1, 20, 10);
    desc.frame_sizes = {length};
    EXPECT_EQ(_CreateMediaBuffer2D(&desc, nullptr), nullptr) << length;
  }
  EXPECT_EQ(log.Count(6, "mivare::Buffer2d::Init error. width[20] height[10]"), 3);
}

TEST(Buffer2d, PrintsANegativeWidthAsItWasSet) {
  LogCapture log;
  const MediaDescPtr desc = Video(1, -5, 10);
  EXPECT_EQ(_CreateMediaBuffer2D(desc.get(), nullptr), nullptr);
  EXPECT_EQ(log.Count(6, "mivare::Buffer2d::Init error. width[-5] height[10]"), 1);
  EXPECT_EQ(log.Count(0, std::string(kTrace) + "[1] [-5 x 10]"), 1);
}

TEST(Buffer2d, Accepts30720By17280) {
  LogCapture log;
  const auto frame = Frame(15000, 30720, 17280);
  EXPECT_TRUE(frame->IsVirtualAlloc());
  EXPECT_TRUE(log.AtLevel(6).empty());
}

TEST(Buffer2d, Refuses30721By17280) {
  LogCapture log;
  const MediaDescPtr desc = Video(15000, 30721, 17280);
  EXPECT_EQ(_CreateMediaBuffer2D(desc.get(), nullptr), nullptr);
  EXPECT_EQ(log.Count(6,
                      "mivare::Buffer2d::Init error. width[30721] height[17280] exceed 30720 * "
                      "17280"),
            1);
  EXPECT_EQ(log.AtLevel(6).size(), 1U);
}

TEST(Buffer2d, JudgesTheWrappedProductOfWidthAndHeight) {
  LogCapture log;
  // 65536 x 65536 is 0 in 32 bits.
  FakeDesc wraps_to_nothing(1, 1, 65536, 65536);
  EXPECT_NE(_CreateMediaBuffer2D(&wraps_to_nothing, nullptr), nullptr);
  FakeDesc one_more(1, 1, 530841601, 1);
  EXPECT_EQ(_CreateMediaBuffer2D(&one_more, nullptr), nullptr);
  FakeDesc just_right(1, 1, 530841600, 1);
  EXPECT_NE(_CreateMediaBuffer2D(&just_right, nullptr), nullptr);
}

TEST(Buffer2d, AsksItsCloneForSizesNeverTheRequest) {
  LogCapture log;
  const MediaDescPtr desc = Video(1, 100, 100);
  const auto frame = _CreateMediaBuffer2D(desc.get(), nullptr);
  ASSERT_NE(frame, nullptr);
  EXPECT_NE(frame->GetDesc(0), desc.get());
  int32_t pitches[8];
  desc->GetPitches(pitches);
  EXPECT_EQ(pitches[0], 0) << "no layout was computed on the request";
  desc->SetWidthHeight(200, 200);
  EXPECT_EQ(frame->GetDesc(0)->GetWidth(), 100U);
}

TEST(Buffer2d, TakesTheHeapBelow2MiBAndTheSystemFromThere) {
  LogCapture log;
  FakeDesc below(1, 1);
  below.frame_sizes = {2097151};
  const auto heap = _CreateMediaBuffer2D(&below, nullptr);
  ASSERT_NE(heap, nullptr);
  EXPECT_FALSE(heap->IsVirtualAlloc());
  EXPECT_EQ(reinterpret_cast<uintptr_t>(heap->Data()) % 64, 0U);
  EXPECT_EQ(BlockSize(heap->Data()), 2097151U);
  heap->Data()[2097150] = 1;

  FakeDesc exact(1, 1);
  exact.frame_sizes = {2097152};
  const auto system = _CreateMediaBuffer2D(&exact, nullptr);
  ASSERT_NE(system, nullptr);
  EXPECT_TRUE(system->IsVirtualAlloc());
  EXPECT_EQ(reinterpret_cast<uintptr_t>(system->Data()) % 4096, 0U);
  system->Data()[2097151] = 1;
}

TEST(Buffer2d, ShowsTheCachedViewOfPlane0) {
  LogCapture log;
  const Buffer2d::View fresh = Buffer2d(nullptr).CachedView();
  EXPECT_EQ(fresh.bit_depth, 8U);
  EXPECT_EQ(fresh.channels, 4U);
  EXPECT_EQ(fresh.pixels, nullptr);

  struct Case {
    int32_t smt;
    uint32_t bit_depth;
    uint32_t channels;
    uint32_t pitch;  // of 100 pixels in rows of 128
  };
  const Case cases[] = {{1, 8, 1, 128},    {2, 10, 1, 256},   {44, 8, 4, 512}, {45, 8, 4, 512},
                        {46, 10, 1, 1024}, {48, 16, 1, 1024}, {50, 8, 1, 512}, {15000, 8, 1, 128}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.smt);
    const auto frame = Frame(c.smt, 100, 50);
    const Buffer2d::View& view = frame->CachedView();
    EXPECT_EQ(view.bit_depth, c.bit_depth);
    EXPECT_EQ(view.channels, c.channels);
    EXPECT_EQ(view.width, 100U);
    EXPECT_EQ(view.height, 50U);
    EXPECT_EQ(view.pixels, frame->Data());
    EXPECT_EQ(view.pitch, c.pitch);
  }
}

TEST(Buffer2d, UnlockRenewsTheCachedView) {
  LogCapture log;
  const auto frame = Frame(1, 100, 50);
  frame->GetDesc(0)->SetWidthHeight(90, 40);
  frame->GetDesc(0)->ResetPitches();
  EXPECT_EQ(frame->CachedView().width, 100U);
  EXPECT_EQ(frame->Unlock(), 0);
  EXPECT_EQ(frame->CachedView().width, 90U);
  EXPECT_EQ(frame->CachedView().height, 40U);
  EXPECT_EQ(frame->CachedView().pitch, 90U);
}

TEST(Buffer2dCopyFrom, CopiesEqualFrames) {
  LogCapture log;
  const auto from = Frame(1, 100, 50);
  const auto to = Frame(1, 100, 50);
  std::memset(from->Data(), 0x5A, 12288);
  std::memset(to->Data(), 0, 12288);
  EXPECT_EQ(to->CopyFrom(from.get()), 0);
  EXPECT_EQ(to->Data()[0], 0x5A);
  EXPECT_EQ(to->Data()[6399], 0x5A) << "whole pitches of the 50 visible rows of 128";
  EXPECT_EQ(to->Data()[6400], 0) << "not the padding rows";
  EXPECT_EQ(to->Data()[8192], 0x5A);
  EXPECT_TRUE(log.AtLevel(6).empty());
}

TEST(Buffer2dCopyFrom, RefusesNull) {
  LogCapture log;
  const auto frame = Frame(1, 64, 64);
  EXPECT_EQ(frame->CopyFrom(nullptr), -1);
  EXPECT_TRUE(HasOnly(log, 6, R"(error\. mivare::Buffer2d::CopyFrom line\[[0-9]+\])"));
}

TEST(Buffer2dCopyFrom, RefusesASourceWithoutDescription) {
  LogCapture log;
  const auto frame = Frame(1, 64, 64);
  Buffer2d bare(nullptr);
  EXPECT_EQ(frame->CopyFrom(&bare), -1);
  EXPECT_EQ(bare.CopyFrom(frame.get()), -1);
}

TEST(Buffer2dCopyFrom, LetsNothingOutThatAHostsSourceThrows) {
  struct Source final : test::FakeBuffer {
    IMediaDesc* GetDesc(uint32_t) override { throw 7; }
  } source;
  LogCapture log;
  const auto frame = Frame(1, 64, 64);
  EXPECT_EQ(frame->CopyFrom(&source), -1);
  EXPECT_TRUE(HasOnly(log, 6, R"(error\. mivare::Buffer2d::CopyFrom line\[[0-9]+\])"));
}

TEST(Buffer2dCopyFrom, RefusesAnotherFormatOrSizeAndChangesNothing) {
  struct Case {
    int32_t smt, width, height;
    const char* pairs;
  };
  const Case cases[] = {
      {6, 64, 64, R"(type\[6:1\] width\[64:64\] height\[64:64\])"},
      {1, 63, 64, R"(type\[1:1\] width\[63:64\] height\[64:64\])"},
      {1, 64, 62, R"(type\[1:1\] width\[64:64\] height\[62:64\])"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.pairs);
    LogCapture log;
    const auto to = Frame(1, 64, 64);
    const auto from = Frame(c.smt, c.width, c.height);
    std::memset(to->Data(), 1, 6144);
    std::memset(from->Data(), 2, 6144);
    EXPECT_EQ(to->CopyFrom(from.get()), -2);
    EXPECT_TRUE(std::all_of(to->Data(), to->Data() + 6144, [](uint8_t b) { return b == 1; }));
    EXPECT_TRUE(HasOnly(
        log, 6, std::string(R"(error\. mivare::Buffer2d::CopyFrom line\[[0-9]+\] )") + c.pairs));
  }
}

TEST(Buffer2dCopyFrom, ReportsACopyThatFailed) {
  LogCapture log;
  // Subtitle pictures are not copied plane by plane.
  const MediaDescPtr desc = MakeMediaDesc(5, 45);
  desc->SetWidthHeight(64, 64);
  const auto to = _CreateMediaBuffer2D(desc.get(), nullptr);
  const auto from = _CreateMediaBuffer2D(desc.get(), nullptr);
  ASSERT_NE(to, nullptr);
  EXPECT_EQ(to->CopyFrom(from.get()), -1);
  EXPECT_TRUE(HasOnly(log, 6, R"(error\. file\[mivare/buffer2d\] line\[[0-9]+\])"));
}

TEST(Buffer2dCopyFrom, NeedsAnAlphaPitch) {
  LogCapture log;
  const auto to = Frame(55, 64, 64);
  const auto from = Frame(55, 64, 64);
  EXPECT_EQ(to->CopyFrom(from.get()), -1);
  to->GetDesc(0)->ResetPitches();
  EXPECT_EQ(to->CopyFrom(from.get()), -1);
  from->GetDesc(0)->ResetPitches();
  EXPECT_EQ(to->CopyFrom(from.get()), 0);
}

TEST(Buffer2dFailure, OfTheHeapIsLoggedAndSignalled) {
  LogCapture log;
  MemoryListener listener;
  const FailingBlocks failing;
  const MediaDescPtr desc = Video(1, 64, 64);
  EXPECT_EQ(_CreateMediaBuffer2D(desc.get(), nullptr), nullptr);
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], (LogLine{"mivare", 7, "mivare::_malloc try malloc[6144] memory!"}));
  EXPECT_EQ(lines[1].level, 4);
  EXPECT_EQ(lines[1].text.find("[SystemInfo] Total: "), 0U);
  EXPECT_EQ(lines[2].level, 6);
  EXPECT_TRUE(std::regex_match(
      lines[2].text,
      std::regex(R"(error\. mivare::Buffer2d::Init line\[[0-9]+\] length\[6144\])")));
  EXPECT_EQ(lines[3], (LogLine{"mivare", 0, std::string(kTrace) + "[1] [64 x 64]"}));
  EXPECT_EQ(listener.Count(), 1);
}

TEST(Buffer2dFailure, OfTheSystemIsLoggedAndSignalled) {
  LogCapture log;
  MemoryListener listener;
  const FailingBlocks failing;
  const MediaDescPtr desc = Video(1, 1920, 1080);
  EXPECT_EQ(_CreateMediaBuffer2D(desc.get(), nullptr), nullptr);
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0],
            (LogLine{"mivare", 7,
                     "mivare::Buffer2d::AllocMemory try VirtualAlloc [3133440] memory! lasterror=" +
                         std::to_string(static_cast<int32_t>(FailingBlocks::LastSystemError()))}));
  EXPECT_NE(FailingBlocks::LastSystemError(), 0U);
  EXPECT_EQ(lines[1].text.find("[SystemInfo] Total: "), 0U);
  EXPECT_TRUE(std::regex_match(
      lines[2].text,
      std::regex(R"(error\. mivare::Buffer2d::Init line\[[0-9]+\] length\[3133440\])")));
  EXPECT_EQ(lines[3].level, 0);
  EXPECT_EQ(listener.Count(), 1);
}

// Says what GPU memory there is.
class Gpu final : public IGpuAllocator {
 public:
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc*, IMediaBuffer*, void*) override { return {}; }
  bool FillBlank(std::shared_ptr<IMediaBuffer>) override { return false; }
  bool Download(IMediaBuffer*, IMediaBuffer*) override { return false; }
  int64_t GetAvailableMemory() override {
    if (throws) throw 7;
    return int64_t{700} << 20;
  }
  bool throws = false;
};

TEST(Buffer2dFailure, ReportsTheGpuMemoryOfTheCurrentAllocator) {
  LogCapture log;
  FakeClock clock;
  Gpu gpu;
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(&gpu), 0);
  {
    MemoryListener listener;
    const FailingBlocks failing;
    const MediaDescPtr heap = Video(1, 64, 64);
    const MediaDescPtr system = Video(1, 1920, 1080);
    EXPECT_EQ(_CreateMediaBuffer2D(heap.get(), nullptr), nullptr);
    EXPECT_EQ(_CreateMediaBuffer2D(system.get(), nullptr), nullptr);
    EXPECT_EQ(log.CountContaining("(GPU:700.00MB)"), 2);
    gpu.throws = true;
    EXPECT_EQ(_CreateMediaBuffer2D(heap.get(), nullptr), nullptr);
    EXPECT_EQ(listener.Count(), 3) << "the event comes whatever the host's allocator does";
    gpu.throws = false;
  }
  NUXMivareDefaultAllocatorUninit();
}

TEST(Buffer2dClone, IsAPlanarFrameOfTheCurrentAllocator) {
  LogCapture log;
  TrovelBalance balance;
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
  {
    const auto frame = Frame(1, 100, 50);
    std::memset(frame->Data(), 0x33, 12288);
    const std::shared_ptr<IMediaBuffer> clone = frame->Clone(0);
    ASSERT_NE(clone, nullptr);
    auto* planar = dynamic_cast<Buffer2d*>(clone.get());
    ASSERT_NE(planar, nullptr);
    EXPECT_EQ(planar->Data()[6272], 0x33);
    EXPECT_EQ(planar->GetDesc(0)->GetWidth(), 100U);
    EXPECT_NE(planar->Owner().lock(), nullptr);
  }
  NUXMivareDefaultAllocatorUninit();
}

TEST(Buffer2dClone, ComesWithoutAPictureWhereThatCannotBeCopied) {
  LogCapture log;
  TrovelBalance balance;
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
  for (const auto& [media_type, smt] : {std::pair{1U, 55}, std::pair{5U, 45}}) {
    SCOPED_TRACE(smt);
    const MediaDescPtr desc = MakeMediaDesc(media_type, smt);
    desc->SetWidthHeight(64, 64);
    const auto frame = _CreateMediaBuffer2D(desc.get(), nullptr);
    ASSERT_NE(frame, nullptr);
    const std::shared_ptr<IMediaBuffer> clone = frame->Clone(0);
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->GetDesc(0)->GetSmt(), smt);
    EXPECT_EQ(clone->CopyFrom(frame.get()), -1);
  }
  NUXMivareDefaultAllocatorUninit();
}

TEST(Buffer2dClone, IsEmptyWithoutAnAllocator) {
  LogCapture log;
  TrovelBalance balance;
  EXPECT_EQ(Frame(1, 64, 64)->Clone(0), nullptr);
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
  EXPECT_EQ(Buffer2d(nullptr).Clone(0), nullptr) << "no description";
  {
    const auto frame = Frame(1, 64, 64);
    const FailingBlocks failing;
    EXPECT_EQ(frame->Clone(0), nullptr);
  }
  NUXMivareDefaultAllocatorUninit();
}

}  // namespace
}  // namespace mivare
