#include "slot.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

#include "buffer1d.h"
#include "support/fake_clock.h"
#include "support/fake_desc.h"

namespace mivare {
namespace {

using test::FakeClock;
using test::FakeDesc;

std::unique_ptr<BufferBase> MakeBuffer(FakeDesc& desc) {
  auto buffer = std::make_unique<Buffer1d>(nullptr);
  EXPECT_TRUE(buffer->Init(&desc));
  return buffer;
}

TEST(Slot, GivesTheBufferReleasedLast) {
  FakeDesc desc(2, 30000);
  Slot slot;
  std::vector<BufferBase*> released;
  for (int i = 0; i < 3; ++i) {
    slot.Adopt(10);
    auto buffer = MakeBuffer(desc);
    released.push_back(buffer.get());
    EXPECT_TRUE(slot.Put(std::move(buffer)));
  }
  EXPECT_EQ(slot.Take().get(), released[2]);
  EXPECT_EQ(slot.Take().get(), released[1]);
  EXPECT_EQ(slot.Take().get(), released[0]);
  EXPECT_EQ(slot.Take(), nullptr);
}

TEST(Slot, RefusesNull) {
  Slot slot;
  slot.Adopt(10);
  EXPECT_FALSE(slot.Put(nullptr));
  EXPECT_EQ(slot.Take(), nullptr);
}

TEST(Slot, RefusesAStrangerItHasNoRoomFor) {
  FakeDesc desc(2, 30000);
  Slot slot;
  EXPECT_FALSE(slot.Put(MakeBuffer(desc)));
  EXPECT_EQ(desc.Alive(), 1);
}

TEST(Slot, HasRoomForEveryBufferItAdopted) {
  constexpr int kMany = 1000;
  FakeDesc desc(2, 30000);
  Slot slot;
  for (int i = 0; i < kMany; ++i) slot.Adopt(10);
  for (int i = 0; i < kMany; ++i) {
    ASSERT_TRUE(slot.Put(std::make_unique<Buffer1d>(nullptr))) << i;
  }
}

TEST(Slot, StatusCountsLiveAndPooledInTheFirstBuffersSize) {
  FakeDesc desc(2, 30000);
  Slot slot;
  uint64_t all = 1;
  uint64_t free = 1;
  EXPECT_EQ(slot.Status(all, free), 0);
  EXPECT_EQ(all, 0U);
  EXPECT_EQ(free, 0U);
  slot.Adopt(0);  // says nothing: the next one decides
  slot.Adopt(100);
  slot.Adopt(7);
  slot.Put(MakeBuffer(desc));
  EXPECT_EQ(slot.Status(all, free), 0);
  EXPECT_EQ(all, 300U);
  EXPECT_EQ(free, 100U);
}

TEST(Slot, StatusIsComputedIn64Bits) {
  Slot slot;
  for (int i = 0; i < 4; ++i) slot.Adopt(0x7FFFFFFF);
  uint64_t all = 0;
  uint64_t free = 0;
  slot.Status(all, free);
  EXPECT_EQ(all, 8589934588U);
}

TEST(Slot, ClearDestroysThePooledAndCountsThemOut) {
  FakeDesc desc(2, 30000);
  Slot slot;
  for (int i = 0; i < 3; ++i) slot.Adopt(100);
  slot.Put(MakeBuffer(desc));
  slot.Put(MakeBuffer(desc));
  EXPECT_EQ(desc.Alive(), 3);
  EXPECT_EQ(slot.Clear(), 2U);
  EXPECT_EQ(desc.Alive(), 1);
  uint64_t all = 0;
  uint64_t free = 0;
  slot.Status(all, free);
  EXPECT_EQ(all, 100U) << "the live one stays counted";
  EXPECT_EQ(free, 0U);
  EXPECT_EQ(slot.Clear(), 0U);
  EXPECT_TRUE(slot.Put(MakeBuffer(desc))) << "the live one still has its room";
}

TEST(Slot, DestroysThePooledAtItsEnd) {
  FakeDesc desc(2, 30000);
  {
    Slot slot;
    slot.Adopt(100);
    slot.Put(MakeBuffer(desc));
    EXPECT_EQ(desc.Alive(), 2);
  }
  EXPECT_EQ(desc.Alive(), 1);
}

TEST(Slot, IsRecentlyUsedFor200MsAfterItWasMade) {
  FakeClock clock;
  Slot slot;
  EXPECT_TRUE(slot.IsRecentlyUsed());
  clock.Advance(199);
  EXPECT_TRUE(slot.IsRecentlyUsed());
  clock.Advance(1);
  EXPECT_FALSE(slot.IsRecentlyUsed());
}

TEST(Slot, OnlyASuccessfulTakeCountsAsUse) {
  FakeClock clock;
  FakeDesc desc(2, 30000);
  Slot slot;
  slot.Adopt(1);
  clock.Advance(200);
  EXPECT_EQ(slot.Take(), nullptr);
  EXPECT_FALSE(slot.IsRecentlyUsed()) << "nothing was taken";
  slot.Put(MakeBuffer(desc));
  EXPECT_FALSE(slot.IsRecentlyUsed()) << "a return is no use";
  EXPECT_NE(slot.Take(), nullptr);
  EXPECT_TRUE(slot.IsRecentlyUsed());
  clock.Advance(199);
  EXPECT_TRUE(slot.IsRecentlyUsed());
  clock.Advance(1);
  EXPECT_FALSE(slot.IsRecentlyUsed());
}

TEST(Slot, CountsAsUsedWhileTheClockIsBehindTheLastUse) {
  FakeClock clock;
  Slot slot;
  clock.Advance(500);
  EXPECT_FALSE(slot.IsRecentlyUsed());
  clock.StepWall(-501);
  EXPECT_TRUE(slot.IsRecentlyUsed());
}

TEST(Slot, SurvivesAnyReadingOfTheClock) {
  FakeClock clock(std::numeric_limits<int64_t>::max());
  Slot slot;
  EXPECT_TRUE(slot.IsRecentlyUsed());
  clock.StepWall(-1);
  EXPECT_TRUE(slot.IsRecentlyUsed()) << "one millisecond back";
}

TEST(Slot, ServesManyThreads) {
  FakeDesc desc(2, 30000);
  Slot slot;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&slot] {
      for (int i = 0; i < 500; ++i) {
        auto buffer = slot.Take();
        if (buffer == nullptr) {
          buffer = std::make_unique<Buffer1d>(nullptr);
          slot.Adopt(1);
        }
        if (i % 100 == 99) slot.Clear();
        uint64_t all = 0;
        uint64_t free = 0;
        slot.Status(all, free);
        EXPECT_GE(all, free);
        EXPECT_TRUE(slot.Put(std::move(buffer)));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  uint64_t all = 0;
  uint64_t free = 0;
  slot.Status(all, free);
  EXPECT_EQ(all, free) << "everything is back";
  EXPECT_EQ(slot.Clear(), free);
}

}  // namespace
}  // namespace mivare
