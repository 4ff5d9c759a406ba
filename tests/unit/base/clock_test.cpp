#include "base/clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <thread>

#include "platform/platform.h"
#include "support/fake_clock.h"

namespace mivare {
namespace {

using test::FakeClock;

TEST(CurrentClock, IsThePlatformsByDefault) {
  const int64_t wall = platform::WallClockMs();
  const int64_t steady = platform::SteadyClockMs();
  // An hour is far more than a test takes, and far less than what tells the two clocks apart.
  EXPECT_NEAR(static_cast<double>(CurrentClock().WallMs()), static_cast<double>(wall), 3.6e6);
  EXPECT_GE(CurrentClock().SteadyMs(), steady);
  EXPECT_NEAR(static_cast<double>(CurrentClock().SteadyMs()), static_cast<double>(steady), 3.6e6);
}

TEST(CurrentClock, IsTheReplacementWhileThatLives) {
  {
    FakeClock fake(1234, 56);
    EXPECT_EQ(&CurrentClock(), &fake);
    EXPECT_EQ(CurrentClock().WallMs(), 1234);
    EXPECT_EQ(CurrentClock().SteadyMs(), 56);
  }
  EXPECT_GT(CurrentClock().WallMs(), 1234);
}

TEST(CurrentClock, PlatformWaitEndsAtOnceWhenReady) {
  std::mutex mutex;
  std::condition_variable wake;
  std::unique_lock lock(mutex);
  int asked = 0;
  CurrentClock().Wait(wake, lock, 3'600'000, [&] {
    ++asked;
    return true;
  });
  EXPECT_EQ(asked, 1);
  EXPECT_TRUE(lock.owns_lock());
}

TEST(CurrentClock, PlatformWaitEndsWhenItsTimeIsUp) {
  std::mutex mutex;
  std::condition_variable wake;
  std::unique_lock lock(mutex);
  CurrentClock().Wait(wake, lock, 0, [] { return false; });
  EXPECT_TRUE(lock.owns_lock());
}

TEST(CurrentClock, PlatformWaitIsWokenByItsCondition) {
  std::mutex mutex;
  std::condition_variable wake;
  bool ready = false;
  std::thread waker([&] {
    const std::lock_guard lock(mutex);
    ready = true;
    wake.notify_all();
  });
  {
    std::unique_lock lock(mutex);
    CurrentClock().Wait(wake, lock, 3'600'000, [&] { return ready; });
    EXPECT_TRUE(ready);
  }
  waker.join();
}

TEST(NowMicroseconds, AreMillisecondsTimesAThousand) {
  FakeClock fake(1'700'000'000'123, 0);
  EXPECT_EQ(NowMicroseconds(), 1'700'000'000'123'000);
  fake.StepWall(-1);
  EXPECT_EQ(NowMicroseconds(), 1'700'000'000'122'000);
}

TEST(NowMicroseconds, WrapForAnImpossibleClock) {
  // (2^63 - 1) * 1000 = 2^63 * 1000 - 1000, and 2^63 * 1000 is a multiple of 2^64.
  FakeClock fake(std::numeric_limits<int64_t>::max(), 0);
  EXPECT_EQ(NowMicroseconds(), -1000);
}

TEST(FakeClock, StandsStillUntilMoved) {
  FakeClock fake(1000, 10);
  EXPECT_EQ(fake.WallMs(), 1000);
  EXPECT_EQ(fake.WallMs(), 1000);
  fake.Advance(301);
  EXPECT_EQ(fake.WallMs(), 1301);
  EXPECT_EQ(fake.SteadyMs(), 311);
}

TEST(FakeClock, SteppingTheWallLeavesTheSteadyClock) {
  FakeClock fake(1000, 10);
  fake.StepWall(-5000);
  EXPECT_EQ(fake.WallMs(), -4000);
  EXPECT_EQ(fake.SteadyMs(), 10);
}

TEST(FakeClock, WaitEndsWhenFakeTimePassesIt) {
  FakeClock fake;
  std::mutex mutex;
  std::condition_variable wake;
  std::atomic<bool> over{false};
  std::thread waiter([&] {
    std::unique_lock lock(mutex);
    fake.Wait(wake, lock, 100, [] { return false; });
    over = true;
  });
  fake.AwaitWaiters(1);
  fake.Advance(99);
  EXPECT_FALSE(over);  // one millisecond is missing, however long this takes
  fake.Advance(1);
  waiter.join();
  EXPECT_TRUE(over);
  EXPECT_EQ(fake.WaitsBegun(), 1U);
}

TEST(FakeClock, WaitEndsWhenItsConditionComesTrue) {
  FakeClock fake;
  std::mutex mutex;
  std::condition_variable wake;
  bool ready = false;
  std::thread waiter([&] {
    std::unique_lock lock(mutex);
    fake.Wait(wake, lock, 1'000'000, [&] { return ready; });
  });
  fake.AwaitWaits(1);
  {
    const std::lock_guard lock(mutex);
    ready = true;
  }
  wake.notify_all();
  waiter.join();
  EXPECT_EQ(fake.SteadyMs(), 5000);  // no fake time went by
}

}  // namespace
}  // namespace mivare
