#include "blank_pool.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "unit/blank_pool_fixture.h"

namespace mivare::test {
namespace {

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
  std::vector<int> gone;
  std::vector<std::shared_ptr<IMediaBuffer>> handles;
  for (int i = 0; i < 34; ++i) {
    auto storage = DeviceFrame(gpu_, *VideoRequest(1, 64, 64));
    storage->on_destroy = [&gone, i] { gone.push_back(i); };
    handles.push_back(HybridBuffer::Create(std::move(storage), {}, {}, pool_));
  }
  for (auto& handle : handles) handle.reset();
  FrameList out;
  pool_->Release(true, Now(), &out);
  EXPECT_EQ(pool_->Take(), nullptr);
  EXPECT_EQ(lives(), 34);
  EXPECT_EQ(out.DestroyAll(), 34U);
  EXPECT_EQ(lives(), 0);
  std::vector<int> expected = {32, 33};
  for (int i = 0; i < 32; ++i) expected.push_back(i);
  EXPECT_EQ(gone, expected);
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
