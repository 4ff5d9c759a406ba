// Pools that threads have met in, and that the worker joins again.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "support/together.h"
#include "unit/blank_pool_fixture.h"

namespace mivare::test {
namespace {

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

  /// The worker looks often enough to see that nobody meets here any more.
  void LookTwice() {
    pool_->IsFresh(Now());
    pool_->IsFresh(Now());
  }

  std::vector<std::unique_ptr<HybridBuffer>> taken_;
};

TEST_F(SplitPoolTest, AThreadSeesItsFramesInTheOrderOfTheirReturn) { KeepTheOrder(); }

TEST_F(SplitPoolTest, FramesFromBeforeComeFirst) {
  pool_ = std::make_shared<BlankPool>();
  std::vector<IMediaBuffer*> frames = Fill(3);
  pool_->Split();
  const std::vector<IMediaBuffer*> later = Fill(2);
  frames.insert(frames.end(), later.begin(), later.end());
  EXPECT_EQ(TakeAll(), frames);
}

TEST_F(SplitPoolTest, AThreadThatHasNoneTakesTheOthers) {
  const std::vector<IMediaBuffer*> frames = FillElsewhere(3);
  EXPECT_EQ(TakeAll(), frames);
}

// Else those of one would lie there until they are too old.
TEST_F(SplitPoolTest, OthersFramesAreTakenInTurn) {
  constexpr uint32_t kLanes = 8;
  std::vector<IMediaBuffer*> one;
  std::vector<IMediaBuffer*> other;
  const uint32_t home = platform::ThreadNumber() % kLanes;  // which would come first
  uint32_t lane = home;
  // Each thread is there until those that it starts have ended, so that no two are the same.
  const std::function<void()> fill_two_lanes = [&] {
    const uint32_t mine = platform::ThreadNumber() % kLanes;
    if (one.empty() && mine != home) {
      lane = mine;
      one = Fill(2);
    } else if (mine != home && mine != lane) {
      other = Fill(2);
      return;
    }
    std::thread(fill_two_lanes).join();
  };
  std::thread(fill_two_lanes).join();
  const std::vector<IMediaBuffer*> taken = TakeAll();
  EXPECT_TRUE(taken == (std::vector<IMediaBuffer*>{one[0], other[0], one[1], other[1]}) ||
              taken == (std::vector<IMediaBuffer*>{other[0], one[0], other[1], one[1]}));
}

TEST_F(SplitPoolTest, TakeStampsOthersFramesToo) {
  FillElsewhere(1);
  clock_.Advance(250);
  const std::unique_ptr<HybridBuffer> taken(pool_->Take());
  EXPECT_EQ(taken->created_at(), Now());
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

TEST_F(SplitPoolTest, OthersFramesKeepItAwake) {
  FillElsewhere(1);
  FrameList out;
  pool_->Release(false, Now(), &out);
  EXPECT_TRUE(pool_->awake());
}

TEST_F(SplitPoolTest, WhenNoneMeetItIsOneQueueAgain) {
  std::vector<IMediaBuffer*> frames;
  for (int i = 0; i < 5; ++i) {
    for (const std::vector<IMediaBuffer*>& more : {FillElsewhere(2), Fill(1)}) {
      frames.insert(frames.end(), more.begin(), more.end());
    }
  }
  pool_->IsFresh(Now());
  EXPECT_TRUE(pool_->split()) << "they may have met since the look before";
  pool_->IsFresh(Now());
  EXPECT_FALSE(pool_->split());
  EXPECT_EQ(TakeAll(), frames);
}

TEST_F(SplitPoolTest, ItStaysSplitAsLongAsThreadsMeet) {
  for (int i = 0; i < 3; ++i) {
    pool_->Split();
    pool_->IsFresh(Now());
    EXPECT_TRUE(pool_->split());
  }
}

TEST_F(SplitPoolTest, FramesFromBeforeAreFirstInTheQueueToo) {
  LookTwice();
  std::vector<IMediaBuffer*> frames = Fill(2);
  pool_->Split();
  for (const std::vector<IMediaBuffer*>& more : {FillElsewhere(2), Fill(2)}) {
    frames.insert(frames.end(), more.begin(), more.end());
  }
  LookTwice();
  const std::vector<IMediaBuffer*> last = Fill(1);
  frames.insert(frames.end(), last.begin(), last.end());
  EXPECT_EQ(TakeAll(), frames);
}

TEST_F(SplitPoolTest, TheQueueHasThePlacesOfAllLanes) {
  FillElsewhere(20);
  Fill(11);
  LookTwice();
  Fill(1);
  EXPECT_EQ(Surplus(), 0U);
  Fill(1);
  EXPECT_EQ(Surplus(), 1U);
  pool_->Split();
  EXPECT_EQ(TakeAll().size(), 32U);
  FillElsewhere(16);
  Fill(16);
  EXPECT_EQ(Surplus(), 0U);
  Fill(1);
  EXPECT_EQ(Surplus(), 1U);
}

// What keeps a frame is whether the one returned before it is young.
TEST_F(SplitPoolTest, TheQueueAgesByItsFirstFrame) {
  std::shared_ptr<IMediaBuffer> old_frame = MakeFrame();
  clock_.Advance(400);
  Fill(1);
  std::thread([&] { old_frame.reset(); }).join();
  LookTwice();
  EXPECT_TRUE(pool_->IsFresh(Now()));
  EXPECT_EQ(Surplus(), 0U);
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

// The only one who uses a full pool gets each frame in its turn, and none becomes surplus, whatever
// the worker does meanwhile.
TEST_F(BlankPoolTest, JoiningHidesNoFrameAndKeepsTheirOrder) {
  const std::vector<IMediaBuffer*> frames = Fill(32);
  std::atomic<bool> done{false};
  std::thread worker([&] {
    for (int i = 0; i < 20'000; ++i) {
      pool_->Split();
      EXPECT_TRUE(pool_->IsFresh(Now()));
      EXPECT_TRUE(pool_->IsFresh(Now()));
    }
    done = true;
  });
  int missed = 0;
  int out_of_turn = 0;
  for (size_t turn = 0; !done; ++turn) {
    HybridBuffer* frame = pool_->Take();
    if (frame != frames[turn % frames.size()]) ++(frame == nullptr ? missed : out_of_turn);
    pool_->Put(frame);
  }
  worker.join();
  EXPECT_EQ(missed, 0);
  EXPECT_EQ(out_of_turn, 0);
  EXPECT_EQ(lives(), 32);
}

TEST_F(BlankPoolTest, ThreadsThatMeetLoseNoFrameAndShareNone) {
  std::atomic<uint32_t> reuses{0};
  Together(5, [&](int thread) {
    for (int i = 0; i < 500; ++i) {
      if (thread == 4) {  // the worker
        EXPECT_TRUE(pool_->IsFresh(Now()));
        continue;
      }
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

}  // namespace
}  // namespace mivare::test
