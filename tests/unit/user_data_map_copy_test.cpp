// Merging one user data map into another, and maps that are not the library's.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "support/together.h"
#include "unit/user_data_entries.h"
#include "user_data_map.h"

namespace mivare {
namespace {

using orlo::ValAny;
using test::Counted;
using test::Entry;
using test::Enumerated;
using test::NumberAt;
using test::Together;

/// A read face that is not a UserDataMap: delivers what it is given and notes how it was used.
class ForeignMap : public IUserDataInquire {
 public:
  explicit ForeignMap(std::vector<Entry> entries) : entries_(std::move(entries)) {}

  int32_t Get(const char*, ValAny&) override {
    calls += "get ";
    return 0;
  }
  bool Lock() override {
    calls += "lock ";
    return true;
  }
  int32_t Unlock() override {
    calls += "unlock ";
    return 0;
  }
  uint32_t Enumerate(bool first, std::string& key, ValAny& value) override {
    calls += first ? "first " : "next ";
    if (first) next_ = 0;
    if (next_ == throw_at) throw std::bad_alloc();
    if (next_ == entries_.size()) return end;
    key = entries_[next_].first;
    value = ValAny(entries_[next_].second);
    ++next_;
    return 0;
  }
  std::shared_ptr<IUserDataInquire> Clone() override { return nullptr; }

  std::string calls;
  uint32_t end = 1;
  size_t throw_at = SIZE_MAX;

 private:
  std::vector<Entry> entries_;
  size_t next_ = 0;
};

TEST(UserDataMapCopy, FromNullOrItselfDoesNothing) {
  UserDataMap map;
  map.Set("a", ValAny(1));
  map.CopyFrom(nullptr);
  map.CopyFrom(&map);
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"a", 1}}));
}

TEST(UserDataMapCopy, FromAnotherMapMerges) {
  UserDataMap source;
  source.Set("both", ValAny(1));
  source.Set("theirs", ValAny(2));
  UserDataMap map;
  map.Set("both", ValAny(10));
  map.Set("mine", ValAny(20));
  map.CopyFrom(&source);
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"both", 1}, {"mine", 20}, {"theirs", 2}}));
  EXPECT_EQ(Enumerated(source), (std::vector<Entry>{{"both", 1}, {"theirs", 2}}));
}

// The map's own lock is not taken, but what is not replaced stays where readers find it.
TEST(UserDataMapCopy, FromAnotherMapLeavesWhatItDoesNotReplaceToReaders) {
  UserDataMap source;
  source.Set("replaced", ValAny(2));
  UserDataMap map;
  map.Set("replaced", ValAny(1));
  map.Set("read", ValAny(7));
  std::atomic<bool> done{false};
  Together(2, [&](int thread) {
    if (thread == 0) {
      for (int i = 0; i < 2000; ++i) map.CopyFrom(&source);
      done = true;
      return;
    }
    do {
      EXPECT_EQ(NumberAt(map, "read"), 7);
    } while (!done);
  });
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"read", 7}, {"replaced", 2}}));
}

TEST(UserDataMapCopy, FromAnotherMapDoesNotAllowSteppingOn) {
  UserDataMap source;
  source.Set("a", ValAny(1));
  source.Set("b", ValAny(2));
  UserDataMap map;
  map.CopyFrom(&source);
  EXPECT_EQ(Enumerated(map, kEnumerateRefused), (std::vector<Entry>{{"a", 1}}));
  map.Set("b", ValAny(3));
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"a", 1}, {"b", 3}}));
}

TEST(UserDataMapCopy, FromAnotherMapLeavesItsOwnMutexAlone) {
  UserDataMap source;
  source.Set("a", ValAny(1));
  UserDataMap map;
  map.Lock();
  map.CopyFrom(&source);  // would never return if it took the mutex
  map.Unlock();
  EXPECT_EQ(NumberAt(map, "a"), 1);
}

TEST(UserDataMapCopy, FromAnotherMapUnlocksTheSourceWhenMemoryEnds) {
  Counted::Tally tally;
  UserDataMap source;
  source.Set("a", ValAny(1));
  source.Set("held", ValAny(Counted(&tally, 1)));
  UserDataMap map;
  map.Set("mine", ValAny(3));
  tally.refuse_copies = true;
  EXPECT_THROW(map.CopyFrom(&source), std::bad_alloc);
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"mine", 3}}));
  EXPECT_EQ(NumberAt(source, "a"), 1);  // would never return if it were still locked
}

TEST(UserDataMapCopy, FromAForeignMapStepsThroughItUnderItsLock) {
  ForeignMap source({{"b", 2}, {"", 9}, {"a", 1}});
  UserDataMap map;
  map.Set("b", ValAny(10));
  map.Set("mine", ValAny(20));
  map.CopyFrom(&source);
  EXPECT_EQ(source.calls, "lock first next next next unlock ");
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"a", 1}, {"b", 2}, {"mine", 20}}));
}

TEST(UserDataMapCopy, FromAForeignMapAllowsSteppingOn) {
  ForeignMap source({{"a", 1}, {"b", 2}});
  UserDataMap map;
  map.CopyFrom(&source);
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"a", 1}, {"b", 2}}));
}

TEST(UserDataMapCopy, FromAForeignMapStopsAtAnyOtherAnswer) {
  for (const uint32_t end : {1U, 2U, kEnumerateRefused}) {
    SCOPED_TRACE(end);
    ForeignMap source({});
    source.end = end;
    UserDataMap map;
    map.CopyFrom(&source);
    EXPECT_EQ(source.calls, "lock first unlock ");
    EXPECT_TRUE(Enumerated(map).empty());
  }
}

TEST(UserDataMapCopy, FromAForeignMapUnlocksItWhenItThrows) {
  ForeignMap source({{"a", 1}, {"b", 2}});
  source.throw_at = 1;
  UserDataMap map;
  EXPECT_THROW(map.CopyFrom(&source), std::bad_alloc);
  EXPECT_EQ(source.calls, "lock first next unlock ");
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"a", 1}}));
}

}  // namespace
}  // namespace mivare
