#include "blank_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "frame_list.h"
#include "hybrid_frame.h"
#include "support/fake_clock.h"
#include "support/fake_gpu.h"
#include "support/request.h"
#include "support/together.h"
#include "support/trovel_balance.h"

namespace mivare::test {
namespace {

constexpr uint64_t kMs = 1000;

class BlankPoolTest : public testing::Test {
 protected:
  ~BlankPoolTest() override {
    FrameList left;
    pool_->Close(left);
  }

  uint64_t Now() { return static_cast<uint64_t>(clock_.WallMs()) * kMs; }
  int lives() const { return gpu_.lives(); }

  /// A frame out of any pool, which goes to the tested one when its handle is dropped.
  std::shared_ptr<IMediaBuffer> MakeFrame() {
    return HybridBuffer::Create(DeviceFrame(gpu_, *VideoRequest(1, 64, 64)), {}, {}, pool_);
  }
  /// Leaves `count` frames in the pool, in the order of the result.
  std::vector<IMediaBuffer*> Fill(int count) {
    std::vector<std::shared_ptr<IMediaBuffer>> handles;
    std::vector<IMediaBuffer*> frames;
    handles.reserve(static_cast<size_t>(count));
    frames.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) handles.push_back(MakeFrame());
    for (auto& handle : handles) {
      frames.push_back(handle.get());
      handle.reset();
    }
    return frames;
  }

  /// The only thread here gets back what it returned, in that order.
  void KeepTheOrder() {
    std::vector<IMediaBuffer*> expected = Fill(32);
    for (int i = 0; i < 70; ++i) {
      HybridBuffer* taken = pool_->Take();
      ASSERT_EQ(taken, expected.front());
      expected.erase(expected.begin());
      ASSERT_TRUE(pool_->Put(taken));
      expected.push_back(taken);
    }
  }

  TrovelBalance balance_;
  FakeClock clock_;
  FakeGpu gpu_;
  std::shared_ptr<BlankPool> pool_ = std::make_shared<BlankPool>();
};

TEST_F(BlankPoolTest, HandsFramesOutInTheOrderOfTheirReturn) {
  const std::vector<IMediaBuffer*> frames = Fill(3);
  for (IMediaBuffer* frame : frames) {
    const std::unique_ptr<HybridBuffer> taken(pool_->Take());
    EXPECT_EQ(taken.get(), frame);
  }
  EXPECT_EQ(pool_->Take(), nullptr);
}

TEST_F(BlankPoolTest, KeepsTheOrderHoweverOftenFramesComeAndGo) { KeepTheOrder(); }

TEST_F(BlankPoolTest, TakeStampsTheFrameWithTheTime) {
  Fill(1);
  clock_.Advance(250);
  const std::unique_ptr<HybridBuffer> taken(pool_->Take());
  EXPECT_EQ(taken->created_at(), Now());
}

TEST_F(BlankPoolTest, PutLeavesTheStampAlone) {
  Fill(1);
  HybridBuffer* taken = pool_->Take();
  const uint64_t stamp = taken->created_at();
  clock_.Advance(50);
  pool_->Put(taken);
  EXPECT_EQ(taken->created_at(), stamp);
}

TEST_F(BlankPoolTest, PutIgnoresNull) {
  EXPECT_FALSE(pool_->Put(nullptr));
  EXPECT_EQ(pool_->Take(), nullptr);
  EXPECT_TRUE(pool_->IsFresh(Now()));
}

TEST_F(BlankPoolTest, The33rdFrameIsSurplusAndGoesAtTheNextReleaseAlthoughRecent) {
  const std::vector<IMediaBuffer*> frames = Fill(33);
  EXPECT_FALSE(pool_->IsFresh(Now()));
  FrameList out;
  pool_->Release(false, Now(), &out);
  EXPECT_EQ(out.DestroyAll(), 1U);
  EXPECT_EQ(lives(), 32);
  EXPECT_TRUE(pool_->IsFresh(Now()));
  const std::unique_ptr<HybridBuffer> taken(pool_->Take());
  EXPECT_EQ(taken.get(), frames.front());
}

TEST_F(BlankPoolTest, ThirtyTwoFramesLeaveNoSurplus) {
  Fill(32);
  EXPECT_TRUE(pool_->IsFresh(Now()));
}

TEST_F(BlankPoolTest, SurplusFramesAreNeverTaken) {
  Fill(34);
  for (int i = 0; i < 32; ++i) {
    const std::unique_ptr<HybridBuffer> taken(pool_->Take());
    ASSERT_NE(taken, nullptr);
  }
  EXPECT_EQ(pool_->Take(), nullptr);
  EXPECT_EQ(lives(), 2);
}

TEST_F(BlankPoolTest, AnEmptyPoolIsFresh) { EXPECT_TRUE(pool_->IsFresh(Now())); }

TEST_F(BlankPoolTest, IsFreshUpTo299MsAndReleasesFrom301MsOn) {
  const struct {
    int64_t age_ms;
    bool fresh;
    bool kept;
  } cases[] = {{0, true, true},
               {299, true, true},
               {300, false, true},
               {301, false, false},
               {1000, false, false}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.age_ms);
    Fill(1);
    clock_.Advance(row.age_ms);
    EXPECT_EQ(pool_->IsFresh(Now()), row.fresh);
    FrameList out;
    pool_->Release(false, Now(), &out);
    EXPECT_EQ(out.empty(), row.kept);
    EXPECT_EQ(out.DestroyAll() + (row.kept ? 1U : 0U), 1U);
    pool_->Release(true, Now(), nullptr);
  }
}

TEST_F(BlankPoolTest, TheLimitsHoldToTheMicrosecond) {
  Fill(1);
  const uint64_t put = Now();
  EXPECT_TRUE(pool_->IsFresh(put + 299'999));
  EXPECT_FALSE(pool_->IsFresh(put + 300'000));
  FrameList out;
  pool_->Release(false, put + 300'999, &out);
  EXPECT_TRUE(out.empty());
  pool_->Release(false, put + 301'000, &out);
  EXPECT_EQ(out.DestroyAll(), 1U);
}

TEST_F(BlankPoolTest, ReleaseStopsAtTheFirstYoungFrame) {
  Fill(1);
  clock_.Advance(301);
  std::shared_ptr<IMediaBuffer> young = MakeFrame();
  young.reset();
  // Behind the young one, however old: the first frame in the way keeps it.
  FrameList out;
  pool_->Release(false, Now(), &out);
  EXPECT_EQ(out.DestroyAll(), 1U);
  EXPECT_EQ(lives(), 1);
}

TEST_F(BlankPoolTest, ForceEmptiesBothListsSurplusFirst) {
  const std::vector<IMediaBuffer*> frames = Fill(34);
  FrameList out;
  pool_->Release(true, Now(), &out);
  EXPECT_EQ(pool_->Take(), nullptr);
  EXPECT_EQ(lives(), 34);
  EXPECT_EQ(out.DestroyAll(), 34U);
  EXPECT_EQ(lives(), 0);
}

TEST_F(BlankPoolTest, WithoutAListEverythingIsDestroyedWhateverForceAndTimeSay) {
  Fill(33);
  pool_->Release(false, Now(), nullptr);
  EXPECT_EQ(lives(), 0);
  EXPECT_EQ(pool_->Take(), nullptr);
}

TEST_F(BlankPoolTest, AClockThatStepsBackMakesThePoolStale) {
  Fill(1);
  clock_.StepWall(-5000);
  EXPECT_FALSE(pool_->IsFresh(Now()));
}

TEST_F(BlankPoolTest, AClosedPoolGivesItsFramesUpAndTakesNone) {
  std::shared_ptr<IMediaBuffer> out_frame = MakeFrame();
  Fill(33);
  FrameList out;
  pool_->Close(out);
  EXPECT_EQ(out.DestroyAll(), 33U);
  EXPECT_EQ(lives(), 1);
  out_frame.reset();  // destroyed by whoever drops it
  EXPECT_EQ(lives(), 0);
}

TEST_F(BlankPoolTest, AFramesOwnDestructorMayUseThePool) {
  auto storage = DeviceFrame(gpu_, *VideoRequest(1, 64, 64));
  int taken = -1;
  storage->on_destroy = [&] { taken = pool_->Take() != nullptr ? 1 : 0; };
  HybridBuffer::Create(std::move(storage), {}, {}, pool_).reset();
  pool_->Release(true, Now(), nullptr);  // a lock held meanwhile would block here for good
  EXPECT_EQ(taken, 0);
}

// --- split among threads

class SplitPoolTest : public BlankPoolTest {
 protected:
  SplitPoolTest() { pool_->Split(); }

  /// Has another thread put `count` new frames in, in the order of the result.
  std::vector<IMediaBuffer*> FillElsewhere(int count) {
    std::vector<IMediaBuffer*> frames;
    std::thread([&] { frames = Fill(count); }).join();
    return frames;
  }
  std::vector<IMediaBuffer*> TakeAll() {
    std::vector<IMediaBuffer*> frames;
    while (HybridBuffer* frame = pool_->Take()) {
      frames.push_back(frame);
      taken_.emplace_back(frame);
    }
    return frames;
  }
  uint32_t Surplus() {
    FrameList out;
    pool_->Release(false, Now(), &out);
    return out.DestroyAll();
  }

  std::vector<std::unique_ptr<HybridBuffer>> taken_;
};

TEST_F(SplitPoolTest, AThreadSeesItsFramesInTheOrderOfTheirReturn) { KeepTheOrder(); }

TEST_F(SplitPoolTest, FramesFromBeforeAreFound) {
  pool_ = std::make_shared<BlankPool>();
  const std::vector<IMediaBuffer*> frames = Fill(3);
  pool_->Split();
  EXPECT_EQ(TakeAll(), frames);
}

TEST_F(SplitPoolTest, AThreadThatHasNoneTakesTheOthers) {
  const std::vector<IMediaBuffer*> frames = FillElsewhere(3);
  EXPECT_EQ(TakeAll(), frames);
}

TEST_F(SplitPoolTest, ThirtyTwoFramesAreKeptInAll) {
  FillElsewhere(20);
  Fill(20);
  EXPECT_FALSE(pool_->IsFresh(Now()));
  EXPECT_EQ(Surplus(), 8U);
  EXPECT_TRUE(pool_->IsFresh(Now()));
  EXPECT_EQ(TakeAll().size(), 32U);
}

TEST_F(SplitPoolTest, PlacesThatAThreadLeavesEmptyAreForOthers) {
  FillElsewhere(32);
  EXPECT_EQ(TakeAll().size(), 32U);
  FillElsewhere(20);
  Fill(12);
  EXPECT_EQ(Surplus(), 0U);
  Fill(1);
  EXPECT_EQ(Surplus(), 1U);
}

TEST_F(SplitPoolTest, EveryThreadsFramesAgeAndGo) {
  FillElsewhere(1);
  clock_.Advance(299);
  Fill(1);
  EXPECT_TRUE(pool_->IsFresh(Now()));
  clock_.Advance(1);
  EXPECT_FALSE(pool_->IsFresh(Now()));
  clock_.Advance(1);
  EXPECT_EQ(Surplus(), 1U);  // the older one, which is 301 ms old
  EXPECT_EQ(lives(), 1);
}

TEST_F(SplitPoolTest, ItsEndReachesEveryThreadsFrames) {
  FillElsewhere(2);
  Fill(2);
  FrameList out;
  pool_->Close(out);
  EXPECT_EQ(out.DestroyAll(), 4U);
  MakeFrame().reset();
  EXPECT_EQ(lives(), 0);
}

TEST_F(BlankPoolTest, TheWorkersLookDoesNotSplitIt) {
  Fill(1);
  std::atomic<bool> done{false};
  std::thread user([&] {
    for (int i = 0; i < 20'000; ++i) pool_->Put(pool_->Take());
    done = true;
  });
  while (!done) {
    EXPECT_TRUE(pool_->IsFresh(Now()));
    FrameList out;
    pool_->Release(false, Now(), &out);
  }
  user.join();
  EXPECT_FALSE(pool_->split());
  EXPECT_EQ(lives(), 1);
}

TEST_F(BlankPoolTest, ThreadsThatMeetLoseNoFrameAndShareNone) {
  std::atomic<uint32_t> reuses{0};
  Together(4, [&](int) {
    for (int i = 0; i < 500; ++i) {
      HybridBuffer* frame = pool_->Take();
      if (frame == nullptr) {
        MakeFrame().reset();
        continue;
      }
      IMediaDesc* desc = frame->GetDesc(0);
      desc->SetRotation(desc->GetRotation() + 1);  // a race, were the frame handed out twice
      ++reuses;
      pool_->Put(frame);
    }
  });
  uint32_t rotations = 0;
  const int alive = lives();
  std::vector<std::unique_ptr<HybridBuffer>> taken;
  while (HybridBuffer* frame = pool_->Take()) {
    rotations += frame->GetDesc(0)->GetRotation();
    taken.emplace_back(frame);
  }
  EXPECT_EQ(taken.size(), static_cast<size_t>(alive));
  EXPECT_EQ(rotations, reuses);
}

// --- lists

TEST_F(BlankPoolTest, ListsJoinInOrderAndDestroyWhatIsLeft) {
  const std::vector<IMediaBuffer*> frames = Fill(4);
  {
    FrameList first;
    FrameList second;
    first.Append(pool_->Take());
    second.Append(pool_->Take());
    second.Append(pool_->Take());
    first.Append(second);
    EXPECT_TRUE(second.empty());
    first.Append(second);  // nothing more to take
    first.Append(pool_->Take());
    EXPECT_EQ(first.DestroyAll(), 4U);
    EXPECT_TRUE(first.empty());
    Fill(1);
    first.Append(pool_->Take());
    EXPECT_EQ(lives(), 1);
  }
  EXPECT_EQ(lives(), 0);
}

}  // namespace
}  // namespace mivare::test
