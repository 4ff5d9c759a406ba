// Who gets which frame, and which frames go, while many threads hold frames for as long as they
// like. Time is the test's own.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "orlo/val_any.h"
#include "stress/scenario.h"
#include "support/request.h"
#include "support/together.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

using Frame = std::shared_ptr<IMediaBuffer>;

Frame Request(const MediaDescPtr& desc) { return Manager().Alloc(desc.get(), nullptr, nullptr); }

class PoolStress : public Scenario {
 protected:
  void TearDown() override {
    library_.Close();
    Scenario::TearDown();
  }

  WorkerClock clock_;
  Library library_{&gpu_};
};

// What one user of one key expects: frames come back in the order of their return, and those that
// were handed out 301 ms ago or earlier go at a pass, up to the first younger one.
class ExpectedPool {
 public:
  struct Held {
    Frame frame;
    int64_t handed_out;
    int32_t stamp;
  };

  void Take(const MediaDescPtr& desc, int64_t now, int32_t stamp) {
    Held held{Request(desc), now, stamp};
    ASSERT_NE(held.frame, nullptr);
    FakeFrame* native = &Native(*held.frame);
    if (!pooled_.empty()) {
      EXPECT_EQ(native, pooled_.front().native) << "the frame returned first is handed out first";
      EXPECT_EQ(native->picture, pooled_.front().stamp) << "with what its last user left in it";
      pooled_.pop_front();
    }
    native->picture = stamp;
    held_.push_back(std::move(held));
  }

  void Drop(size_t index) {
    Held held = std::move(held_[index]);
    held_.erase(held_.begin() + static_cast<ptrdiff_t>(index));
    EXPECT_TRUE(HasStamp(*held.frame, held.stamp));
    pooled_.push_back({&Native(*held.frame), held.handed_out, held.stamp});
  }

  void Pass(int64_t now) {
    if (pooled_.empty() || now - pooled_.front().handed_out < 300) return;
    while (!pooled_.empty() && now - pooled_.front().handed_out >= 301) pooled_.pop_front();
  }

  const std::vector<Held>& held() const { return held_; }
  size_t alive() const { return held_.size() + pooled_.size(); }

 private:
  struct Pooled {
    FakeFrame* native;
    int64_t handed_out;
    int32_t stamp;
  };
  std::vector<Held> held_;
  std::deque<Pooled> pooled_;  // never as many as would be surplus
};

TEST_F(PoolStress, FramesHeldPast301MsGoAndYoungerOnesServeAgain) {
  constexpr int kKeys = 6;
  std::vector<MediaDescPtr> requests;
  requests.reserve(kKeys);
  std::vector<ExpectedPool> expected(kKeys);
  for (int key = 0; key < kKeys; ++key) {
    requests.push_back(VideoRequest(key % 2 == 0 ? 1 : 45, 64 + key / 2, 16, 1));
  }
  int64_t now = 0;
  int64_t until_pass = 100;
  MeetingPoint meeting(kKeys + 1);
  clock_.Settle();
  const int rounds = Rounds(250);
  Together(kKeys + 1, [&](int thread) {
    Dice dice(thread);
    for (int round = 0; round < rounds; ++round) {
      meeting.Meet();
      At("requesting and dropping between two moments");
      if (thread < kKeys) {
        ExpectedPool& mine = expected[static_cast<size_t>(thread)];
        // Each frame is to be held for 0 to 600 ms.
        for (size_t i = mine.held().size(); i-- > 0;) {
          if (dice.Throw(600) < now - mine.held()[i].handed_out) mine.Drop(i);
        }
        for (int n = dice.Throw(3); n > 0; --n) {
          mine.Take(requests[static_cast<size_t>(thread)], now, round);
        }
      }
      meeting.Meet();
      if (thread < kKeys) continue;
      At("moving the time");
      const int64_t step = 1 + dice.Throw(60);
      now += step;
      if (step < until_pass) {
        clock_.Advance(step);
        until_pass -= step;
        continue;
      }
      clock_.Pass(step);
      until_pass = 100;
      size_t alive = 0;
      for (ExpectedPool& pool : expected) {
        pool.Pass(now);
        alive += pool.alive();
      }
      EXPECT_EQ(gpu_.lives(), static_cast<int>(alive)) << "at " << now << " ms";
    }
  });
  EXPECT_LT(gpu_.Count("Alloc"), rounds * kKeys);
}

TEST_F(PoolStress, OfFortyFramesDroppedAtOnceEightLeaveAndTheRestComeBackInDropOrder) {
  const MediaDescPtr request = VideoRequest(45, 64, 16, 1);
  for (int round = 1; round <= Rounds(20); ++round) {
    std::vector<Frame> frames(40);
    for (Frame& frame : frames) frame = Request(request);
    EXPECT_EQ(gpu_.lives(), 40);
    std::mutex mutex;
    std::vector<FakeFrame*> order;
    Together(8, [&](int thread) {
      for (size_t i = static_cast<size_t>(thread); i < frames.size(); i += 8) {
        const std::lock_guard lock(mutex);  // so that the order is known
        order.push_back(&Native(*frames[i]));
        frames[i].reset();
      }
    });
    EXPECT_EQ(gpu_.lives(), 40) << "nothing goes before the pass";
    clock_.Pass();
    EXPECT_EQ(gpu_.lives(), 32);
    std::vector<Frame> again;
    for (size_t i = 0; i < 32; ++i) {
      again.push_back(Request(request));
      EXPECT_EQ(&Native(*again.back()), order[i]) << i;
    }
    const int made = gpu_.Count("Alloc");
    again.push_back(Request(request));
    EXPECT_EQ(gpu_.Count("Alloc"), made + 1) << "the 33rd is new";
    again.clear();
    clock_.Pass(400);
    EXPECT_EQ(gpu_.lives(), 0);
  }
}

TEST_F(PoolStress, TenThousandRefusedHintsLeaveThePoolAsItWas) {
  const MediaDescPtr request = VideoRequest(45, 64, 16, 1);
  std::vector<Frame> frames(16);
  for (Frame& frame : frames) frame = Request(request);
  std::vector<FakeFrame*> order;
  for (Frame& frame : frames) {
    order.push_back(&Native(*frame));
    frame.reset();
  }
  const int made = gpu_.Count("Alloc");
  const int refusals = Rounds(10'000) / 8;
  std::atomic<int> refused{0};
  Together(8, [&](int thread) {
    const MediaDescPtr bad = VideoRequest(45, 64, 16, 1);
    IUserDataConfig& hints = *bad->GetUserDataConfig();
    for (int i = 0; i < refusals; ++i) {
      At("a request with a hint that is no number");
      switch ((thread + i) % 4) {
        case 0: hints.Set("PlatformCompatible", "a text"); break;
        case 1: hints.Set("PlatformCompatible", int64_t{1} << 40U); break;
        case 2: hints.Set("PlatformCompatible", std::vector<int>{1}); break;
        default: hints.Set("PlatformCompatible", 1e300); break;
      }
      if (i % 2 == 0) {
        hints.Set("Blank", 1);
      } else {
        hints.Remove("Blank");
      }
      try {
        Request(bad);
        ADD_FAILURE() << "served";
      } catch (const orlo::AnyBadAccess&) {
        ++refused;
      }
    }
  });
  EXPECT_EQ(refused, refusals * 8);
  EXPECT_EQ(gpu_.Count("Alloc"), made);
  EXPECT_EQ(gpu_.lives(), 16);
  for (size_t i = 0; i < order.size(); ++i) {
    frames[i] = Request(request);
    EXPECT_EQ(&Native(*frames[i]), order[i]) << i;
  }
}

TEST_F(PoolStress, ClonesHoldTheirOriginalsPictureWhileTheWorkerTrims) {
  const MediaDescPtr request = VideoRequest(45, 64, 16);
  std::atomic<int> running{6};
  Together(7, [&](int thread) {
    if (thread == 6) {
      while (running > 0) {
        At("a pass amid clones");
        clock_.Pass(302);
      }
      return;
    }
    for (int i = 0; i < Rounds(150); ++i) {
      At("cloning while the worker trims");
      const Frame original = Request(request);
      ASSERT_NE(original, nullptr);
      Stamp(*original, i);
      std::vector<Frame> copies;
      for (int n = 0; n < 4; ++n) {
        copies.push_back(original->Clone(0));
        ASSERT_NE(copies.back(), nullptr);
        EXPECT_TRUE(HasStamp(*copies.back(), i));
        Stamp(*copies.back(), ~i);
      }
      EXPECT_TRUE(HasStamp(*original, i)) << "a clone has a memory of its own";
    }
    --running;
  });
}

TEST_F(PoolStress, AWallClockThatStepsAnHourLosesPooledFramesAndNothingElse) {
  constexpr int64_t kHour = 3'600'000;
  const MediaDescPtr request = VideoRequest(45, 64, 16, 1);
  for (const int64_t step : {-kHour, kHour, -kHour, kHour}) {
    Frame out = Request(request);
    Stamp(*out, 5);
    { const Frame pooled = Request(request); }
    EXPECT_EQ(gpu_.lives(), 2);
    clock_.StepWall(step);
    clock_.Pass();
    EXPECT_EQ(gpu_.lives(), 1) << "handed out at no time that is near";
    EXPECT_TRUE(HasStamp(*out, 5));
    FakeFrame* native = &Native(*out);
    out.reset();
    EXPECT_EQ(&Native(*Request(request)), native)
        << "dropped after the step, requested before a pass";
    clock_.Pass();
    EXPECT_EQ(gpu_.lives(), 1) << "young by the new time";
    clock_.Pass(302);
    EXPECT_EQ(gpu_.lives(), 0);
  }
  EXPECT_EQ(log_.CountContaining("[SystemInfo]"), 0) << "reports go by the clock that never steps";

  std::atomic<int> running{6};
  Together(7, [&](int thread) {
    if (thread == 6) {
      for (int i = 0; running > 0; ++i) {
        At("stepping the wall clock");
        clock_.StepWall(i % 2 == 0 ? kHour : -kHour);
        clock_.Pass();  // the worker goes on by the clock that never steps
      }
      return;
    }
    const MediaDescPtr mine = VideoRequest(45, 64, 16, static_cast<uint32_t>(thread % 2));
    std::array<Frame, 4> held;
    for (int i = 0; i < Rounds(200); ++i) {
      At("requesting while the wall clock steps");
      Frame& place = held[static_cast<size_t>(i % 4)];
      if (place != nullptr) {
        EXPECT_TRUE(HasStamp(*place, i - 4));
      }
      place = Request(mine);
      ASSERT_NE(place, nullptr);
      Stamp(*place, i);
    }
    --running;
  });
}

}  // namespace
}  // namespace mivare::test
