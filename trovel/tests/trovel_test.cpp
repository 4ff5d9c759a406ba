#include "trovel/trovel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace {

using trovel::AddResource;
using trovel::CountResources;
using trovel::LeakReport;
using trovel::RemoveResource;
using trovel::Resource;
using trovel::Snapshot;

// Addresses that stand for objects; nothing is ever read through them.
void* Object(uintptr_t address) { return reinterpret_cast<void*>(address); }

class Trovel : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(CountResources(nullptr), 0U); }
  void TearDown() override { EXPECT_EQ(CountResources(nullptr), 0U) << LeakReport(); }
};

TEST_F(Trovel, CountsARegistrationUntilItIsTakenBack) {
  EXPECT_EQ(AddResource("Video Buffer", Object(0x1000)), 0);
  EXPECT_EQ(CountResources("Video Buffer"), 1U);
  EXPECT_EQ(RemoveResource("Video Buffer", Object(0x1000)), 0);
  EXPECT_EQ(CountResources("Video Buffer"), 0U);
}

TEST_F(Trovel, RefusesToRemoveWhatIsNotThere) {
  EXPECT_EQ(RemoveResource("Video Buffer", Object(0x1000)), -1);
  AddResource("Video Buffer", Object(0x1000));
  EXPECT_EQ(RemoveResource("Audio Buffer", Object(0x1000)), -1);
  EXPECT_EQ(RemoveResource("Video Buffer", Object(0x1008)), -1);
  EXPECT_EQ(RemoveResource("Video Buffer", Object(0x1000)), 0);
  EXPECT_EQ(RemoveResource("Video Buffer", Object(0x1000)), -1);
}

TEST_F(Trovel, KeepsEveryRegistrationOfOnePair) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(AddResource("Video Buffer", Object(0x1000)), 0);
  EXPECT_EQ(CountResources("Video Buffer"), 3U);
  ASSERT_EQ(Snapshot().size(), 1U);
  EXPECT_EQ(Snapshot()[0].count, 3U);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(RemoveResource("Video Buffer", Object(0x1000)), 0);
  EXPECT_EQ(RemoveResource("Video Buffer", Object(0x1000)), -1);
}

TEST_F(Trovel, KeepsTwoNamesOfOneObjectApart) {
  AddResource("Audio Buffer", Object(0x1000));
  AddResource("Video Buffer", Object(0x1000));
  EXPECT_EQ(RemoveResource("Audio Buffer", Object(0x1000)), 0);
  EXPECT_EQ(CountResources("Audio Buffer"), 0U);
  EXPECT_EQ(CountResources("Video Buffer"), 1U);
  EXPECT_EQ(RemoveResource("Video Buffer", Object(0x1000)), 0);
}

TEST_F(Trovel, TakesANullObjectLikeAnyOther) {
  EXPECT_EQ(AddResource("Unknown Buffer", nullptr), 0);
  EXPECT_EQ(AddResource("Unknown Buffer", nullptr), 0);
  EXPECT_EQ(CountResources("Unknown Buffer"), 2U);
  EXPECT_EQ(RemoveResource("Unknown Buffer", nullptr), 0);
  EXPECT_EQ(RemoveResource("Unknown Buffer", nullptr), 0);
  EXPECT_EQ(RemoveResource("Unknown Buffer", nullptr), -1);
}

TEST_F(Trovel, TakesANullNameForTheEmptyOne) {
  EXPECT_EQ(AddResource(nullptr, Object(0x1000)), 0);
  EXPECT_EQ(CountResources(""), 1U);
  EXPECT_EQ(RemoveResource("", Object(0x1000)), 0);
  AddResource("", Object(0x1000));
  EXPECT_EQ(RemoveResource(nullptr, Object(0x1000)), 0);
}

TEST_F(Trovel, KeepsNamesByValue) {
  char name[] = "a name whose letters its caller writes over afterwards";
  AddResource(name, Object(0x1000));
  const std::string before = name;
  std::fill(name, name + 6, 'x');
  EXPECT_EQ(RemoveResource(name, Object(0x1000)), -1);
  EXPECT_EQ(RemoveResource(before.c_str(), Object(0x1000)), 0);
}

TEST_F(Trovel, ReusesNothingOfAnEarlierNameOrCount) {
  AddResource("a long name that does not fit in place anywhere", Object(0x1000));
  AddResource("a long name that does not fit in place anywhere", Object(0x1000));
  RemoveResource("a long name that does not fit in place anywhere", Object(0x1000));
  RemoveResource("a long name that does not fit in place anywhere", Object(0x1000));
  AddResource("short", Object(0x1000));
  ASSERT_EQ(Snapshot().size(), 1U);
  EXPECT_EQ(Snapshot()[0].name, "short");
  EXPECT_EQ(Snapshot()[0].count, 1U);
  EXPECT_EQ(RemoveResource("short", Object(0x1000)), 0);
}

TEST_F(Trovel, CountsAllNamesTogetherForANullName) {
  AddResource("Audio Buffer", Object(0x1000));
  AddResource("Video Buffer", Object(0x2000));
  AddResource("Video Buffer", Object(0x2000));
  EXPECT_EQ(CountResources(nullptr), 3U);
  EXPECT_EQ(CountResources("Video Buffer"), 2U);
  EXPECT_EQ(CountResources("Stream Buffer"), 0U);
  RemoveResource("Audio Buffer", Object(0x1000));
  RemoveResource("Video Buffer", Object(0x2000));
  RemoveResource("Video Buffer", Object(0x2000));
}

TEST_F(Trovel, OrdersItsSnapshotByNameThenAddress) {
  AddResource("b", Object(0x10));
  AddResource("a", Object(0xFFFFFFFFFFFFFFF0));
  AddResource("b", Object(0x8));
  AddResource("a", Object(0x20));
  AddResource("B", Object(0x30));
  const std::vector<Resource> all = Snapshot();
  ASSERT_EQ(all.size(), 5U);
  EXPECT_EQ(all[0].name, "B");
  EXPECT_EQ(all[1].name, "a");
  EXPECT_EQ(all[1].object, Object(0x20));
  EXPECT_EQ(all[2].object, Object(0xFFFFFFFFFFFFFFF0));
  EXPECT_EQ(all[3].name, "b");
  EXPECT_EQ(all[3].object, Object(0x8));
  EXPECT_EQ(all[4].object, Object(0x10));
  for (const Resource& one : all) EXPECT_EQ(RemoveResource(one.name.c_str(), one.object), 0);
}

TEST_F(Trovel, ReportsOneLineAName) {
  AddResource("Video Buffer", Object(0x2000));
  AddResource("Video Buffer", Object(0x1000));
  AddResource("Video Buffer", Object(0x1000));
  AddResource("Audio Buffer", Object(0xABCDEF));
  EXPECT_EQ(LeakReport(),
            "\"Audio Buffer\": 1 alive at 0xabcdef\n"
            "\"Video Buffer\": 3 alive at 0x1000 (2 times) 0x2000\n");
  RemoveResource("Video Buffer", Object(0x2000));
  RemoveResource("Video Buffer", Object(0x1000));
  RemoveResource("Video Buffer", Object(0x1000));
  RemoveResource("Audio Buffer", Object(0xABCDEF));
}

TEST_F(Trovel, ReportsNothingWhenNothingIsAlive) { EXPECT_EQ(LeakReport(), ""); }

// Far more than the table has room for at first, so that every part of it grows several times.
TEST_F(Trovel, FindsEveryOneOfManyObjects) {
  constexpr uintptr_t kCount = 20000;
  for (uintptr_t i = 0; i < kCount; ++i) ASSERT_EQ(AddResource("many", Object(i * 64)), 0);
  EXPECT_EQ(CountResources("many"), kCount);
  const std::vector<Resource> all = Snapshot();
  ASSERT_EQ(all.size(), kCount);
  for (uintptr_t i = 0; i < kCount; ++i) ASSERT_EQ(all[i].object, Object(i * 64));
  for (uintptr_t i = kCount; i-- > 0;) ASSERT_EQ(RemoveResource("many", Object(i * 64)), 0) << i;
  EXPECT_EQ(RemoveResource("many", Object(0)), -1);
}

TEST_F(Trovel, LosesNothingBetweenThreads) {
  constexpr int kThreads = 4;
  constexpr uintptr_t kRounds = 2000;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&failures, t] {
      for (uintptr_t i = 0; i < kRounds; ++i) {
        // One object of all threads, one of this thread's own that stays, one that goes at once.
        failures += AddResource("shared", Object(0x40)) != 0;
        failures += AddResource("kept", Object((i * kThreads + t + 1) * 64)) != 0;
        failures += AddResource("brief", Object((i * kThreads + t + 1) * 64)) != 0;
        failures += RemoveResource("brief", Object((i * kThreads + t + 1) * 64)) != 0;
        if (i % 500 == 0) failures += CountResources("kept") <= i;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(CountResources("shared"), kThreads * kRounds);
  EXPECT_EQ(CountResources("kept"), kThreads * kRounds);
  EXPECT_EQ(CountResources("brief"), 0U);
  for (const Resource& one : Snapshot()) {
    for (size_t i = 0; i < one.count; ++i) RemoveResource(one.name.c_str(), one.object);
  }
}

}  // namespace
