// Requests while memory runs out: the n-th allocation fails, for every n until nothing does.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "allocator_mgr.h"
#include "hybrid_frame_allocator.h"
#include "mivare/user_data.h"
#include "support/failing_new.h"
#include "support/fake_gpu.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

constexpr uint64_t kEnough = 10'000;

class ShortMemoryTest : public testing::Test {
 protected:
  /// Runs `step` with each allocation of it failing in turn; a run that was not touched ends it.
  static void FailEach(const std::function<void()>& step) {
    for (uint64_t n = 1; n < kEnough; ++n) {
      SCOPED_TRACE(n);
      const FailingNew failing(n);
      step();
      if (!failing.fired()) return;
    }
    FAIL() << "the step never got through";
  }
  static MediaDescPtr WithNotes(MediaDescPtr desc) {
    desc->GetUserDataConfig()->Set("a note that is too long for its string", 5);
    desc->GetUserDataConfig()->Set("text", "a text that is too long for its string as well");
    return desc;
  }

  TrovelBalance balance_;
  WorkerClock clock_;
  LogCapture log_;
  FakeGpu gpu_;
};

TEST_F(ShortMemoryTest, CreationFailsWholeOrNotAtAll) {
  std::shared_ptr<IAllocator> made;
  int failures = 0;
  FailEach([&] {
    made = hybrid_frame_allocator::Create(&gpu_);
    if (made == nullptr) ++failures;
  });
  EXPECT_NE(made, nullptr);
  EXPECT_GT(failures, 3);
  EXPECT_EQ(log_.Count(6, "error! file[mivare/hybrid_frame_allocator] line[540]"), failures);
  const int without_decorator =
      log_.Count(6, "error! file[mivare/hybrid_frame_allocator] line[374]");
  EXPECT_GT(without_decorator, 0);
  EXPECT_EQ(log_.Count(6, "error! file[mivare/allocator_mgr] line[205]"), without_decorator);
}

TEST_F(ShortMemoryTest, AFailedInitIsLoggedAndUndoneByUninit) {
  for (uint64_t n = 1; n <= 3; ++n) {
    log_.Clear();
    {
      const FailingNew failing(n);
      EXPECT_EQ(NUXMivareDefaultAllocatorInit(&gpu_), 0);
      ASSERT_TRUE(failing.fired());
    }
    EXPECT_EQ(AllocatorMgrDecoImpl::Instance().Current(), nullptr);
    EXPECT_EQ(log_.Count(6, "error! file[mivare/allocator_mgr] line[216]"), 1);
    EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
  }
  NUXMivareDefaultAllocatorInit(&gpu_);
  EXPECT_NE(AllocatorMgrDecoImpl::Instance().Current(), nullptr);
  NUXMivareDefaultAllocatorUninit();
}

class ShortMemoryRequestTest : public ShortMemoryTest,
                               public testing::WithParamInterface<std::pair<uint32_t, bool>> {};

TEST_P(ShortMemoryRequestTest, LosesNoFrameAndNoRegistration) {
  const auto [location, blank] = GetParam();
  std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(&gpu_);
  clock_.Settle();
  const MediaDescPtr desc = WithNotes(VideoRequest(1, 128, 64, location));
  if (blank) desc->GetUserDataConfig()->Set("Blank", 1);
  int failures = 0;
  for (const bool warm : {false, true}) {
    SCOPED_TRACE(warm);
    FailEach([&, alloc = allocator.get(), request = desc.get()] {
      std::shared_ptr<IMediaBuffer> frame = alloc->Alloc(request, nullptr, nullptr);
      if (frame == nullptr) ++failures;
    });
  }
  EXPECT_GT(failures, 0);
  EXPECT_EQ(log_.CountContaining("mivare::hybrid_frame_allocator::Alloc mmt[1]"), failures);
  EXPECT_LE(gpu_.lives(), 1);
  const std::shared_ptr<IMediaBuffer> frame = allocator->Alloc(desc.get(), nullptr, nullptr);
  ASSERT_NE(frame, nullptr);
  orlo::ValAny value;
  EXPECT_EQ(frame->GetDesc(0)->GetUserDataInquire()->Get("text", value), 1);
}

INSTANTIATE_TEST_SUITE_P(Roads, ShortMemoryRequestTest,
                         testing::Values(std::pair{0U, false}, std::pair{0U, true},
                                         std::pair{1U, false}, std::pair{1U, true}));

TEST_F(ShortMemoryTest, AClonedFrameIsWholeOrNotThere) {
  const std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(&gpu_);
  clock_.Settle();
  const MediaDescPtr desc = WithNotes(VideoRequest(1, 64, 64, 1));
  const std::shared_ptr<IMediaBuffer> frame = allocator->Alloc(desc.get(), nullptr, nullptr);
  int clones = 0;
  FailEach([&] {
    std::shared_ptr<IMediaBuffer> clone = frame->Clone(0);
    if (clone != nullptr) ++clones;
  });
  EXPECT_GT(clones, 0);
}

TEST_F(ShortMemoryTest, TheReleaseOfAFrameNeedsNoMemory) {
  const std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(&gpu_);
  clock_.Settle();
  std::vector<std::shared_ptr<IMediaBuffer>> frames;
  const MediaDescPtr desc = WithNotes(VideoRequest(1, 64, 64, 1));
  for (int i = 0; i < 40; ++i) frames.push_back(allocator->Alloc(desc.get(), nullptr, nullptr));
  {
    const FailingNew failing(1);
    for (auto& frame : frames) frame.reset();
    EXPECT_FALSE(failing.fired());
  }
  EXPECT_EQ(gpu_.lives(), 40);
}

TEST_F(ShortMemoryTest, ARequestWithoutAPoolOrAFrameSaysSo) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  bool fired = true;
  for (uint64_t n = 1; fired && n < kEnough; ++n) {
    // Nothing is pooled yet: the request asks for all it can ask for.
    const std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(&gpu_);
    clock_.Settle();
    const FailingNew failing(n);
    allocator->Alloc(desc.get(), nullptr, nullptr);
    fired = failing.fired();
  }
  EXPECT_GE(log_.Count(6, "error! file[mivare/hybrid_frame_allocator] line[476]"), 2);
  // At least for the frame and for the count of its handle.
  EXPECT_GE(log_.Count(6, "error! file[mivare/hybrid_frame_allocator] line[488]"), 2);
}

TEST_F(ShortMemoryTest, TheReleaseOfAFrameThatATextMarksBlankNeedsNoMemory) {
  const std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(&gpu_);
  clock_.Settle();
  const MediaDescPtr desc = VideoRequest(1, 64, 64, 1);
  desc->GetUserDataConfig()->Set("Blank", 1);
  std::shared_ptr<IMediaBuffer> frame = allocator->Alloc(desc.get(), nullptr, nullptr);
  const void* first = frame.get();
  frame->GetDesc(0)->GetUserDataConfig()->Set("Blank", "held");
  {
    const FailingNew failing(1);
    frame.reset();
    EXPECT_FALSE(failing.fired());
  }
  frame = allocator->Alloc(desc.get(), nullptr, nullptr);
  EXPECT_EQ(frame.get(), first);
  EXPECT_EQ(gpu_.Count("FillBlank"), 1);  // from the blank pool: black as it is
}

TEST_F(ShortMemoryTest, AClearQueuesItsReductionBeforeItClearsTheCpuAllocator) {
  const std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(&gpu_);
  clock_.Settle();
  log_.Clear();
  {
    const FailingNew failing(1);
    allocator->clear();
    EXPECT_TRUE(failing.fired());
  }
  // The reduction is lost, and said to be, before the CPU allocator has its turn.
  const std::vector<LogLine> lines = log_.Lines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_NE(lines[0].text.find("error! file[mivare/hybrid_frame_allocator]"), std::string::npos);
  EXPECT_EQ(lines[1].text, "mivare::allocator::clear before status all[0]mb, free[0]mb");
  EXPECT_EQ(lines[2].text, "mivare::allocator::clear done. status all[0]mb, free[0]mb");
}

}  // namespace
}  // namespace mivare::test
