#include "user_data_map.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "unit/user_data_entries.h"

namespace mivare {
namespace {

using orlo::ValAny;
using test::Counted;
using test::Entry;
using test::Enumerated;
using test::NumberAt;

/// A value whose destructor comes back to the map.
struct Reentrant {
  UserDataMap* map;
  int* finds;
  ~Reentrant() {
    ValAny out;
    *finds += map->Get("other", out);
  }
};

static_assert(std::is_base_of_v<IUserDataInquire, UserDataMap>);
static_assert(std::is_base_of_v<IUserDataConfig, UserDataMap>);

TEST(UserDataMap, PutsTheReadFaceFirst) {
  UserDataMap map;
  EXPECT_EQ(static_cast<void*>(static_cast<IUserDataInquire*>(&map)), static_cast<void*>(&map));
  EXPECT_LT(static_cast<void*>(static_cast<IUserDataInquire*>(&map)),
            static_cast<void*>(static_cast<IUserDataConfig*>(&map)));
}

TEST(UserDataMap, RefusesAnEmptyOrNullKey) {
  UserDataMap map;
  EXPECT_EQ(map.Set("", ValAny(1)), 0);
  EXPECT_EQ(map.Set(nullptr, ValAny(1)), 0);
  EXPECT_TRUE(Enumerated(map).empty());
  EXPECT_EQ(map.Set("key", ValAny(7)), 1);

  ValAny out(5);
  EXPECT_EQ(map.Get("", out), 0);
  EXPECT_EQ(map.Get(nullptr, out), 0);
  EXPECT_EQ(map.Get("absent", out), 0);
  EXPECT_EQ(out.ToInt32(), 5);
  EXPECT_EQ(map.Remove(""), 0);
  EXPECT_EQ(map.Remove(nullptr), 0);
  EXPECT_EQ(map.Remove("absent"), 0);
  EXPECT_EQ(NumberAt(map, "key"), 7);
}

TEST(UserDataMap, ARefusedSetDoesNotAllowSteppingOn) {
  UserDataMap filled;
  filled.Set("a", ValAny(1));
  filled.Set("b", ValAny(2));
  UserDataMap map;
  map.CopyFrom(&filled);
  EXPECT_EQ(map.Set("", ValAny(3)), 0);
  EXPECT_EQ(Enumerated(map, kEnumerateRefused), (std::vector<Entry>{{"a", 1}}));
}

TEST(UserDataMap, KeepsEveryKindOfValue) {
  UserDataMap map;
  int object = 0;
  map.Set("bool", ValAny(true));
  map.Set("double", ValAny(2.5));
  map.Set("pointer", ValAny(&object));
  map.Set("text", ValAny("words"));
  map.Set("empty", ValAny());

  ValAny out;
  ASSERT_EQ(map.Get("bool", out), 1);
  EXPECT_EQ(out.GetTag(), 1U);
  EXPECT_TRUE(out.Get<bool>());
  ASSERT_EQ(map.Get("double", out), 1);
  EXPECT_EQ(out.Get<double>(), 2.5);
  ASSERT_EQ(map.Get("pointer", out), 1);
  EXPECT_EQ(out.Get<int*>(), &object);
  ASSERT_EQ(map.Get("text", out), 1);
  EXPECT_EQ(out.Get<std::string>(), "words");
  ASSERT_EQ(map.Get("empty", out), 1);
  EXPECT_TRUE(out.IsEmpty());
}

TEST(UserDataMap, ComparesKeysByteByByte) {
  UserDataMap map;
  map.Set("b", ValAny(3));
  map.Set("\xC3\xA9", ValAny(5));
  map.Set("B", ValAny(1));
  map.Set("ba", ValAny(4));
  map.Set("a", ValAny(2));
  // Upper case before lower, prefixes before what they begin, bytes above 127 last.
  EXPECT_EQ(Enumerated(map),
            (std::vector<Entry>{{"B", 1}, {"a", 2}, {"b", 3}, {"ba", 4}, {"\xC3\xA9", 5}}));
}

TEST(UserDataMap, OverwritingDeletesTheOldHolderExactlyOnce) {
  Counted::Tally old_tally;
  Counted::Tally new_tally;
  {
    UserDataMap map;
    {
      const ValAny value(Counted(&old_tally, 1));
      ASSERT_GE(value.GetTag(), 255U);
      map.Set("key", value);
    }
    EXPECT_EQ(old_tally.alive, 1);
    const int destroyed = old_tally.destroyed;

    const ValAny replacement(Counted(&new_tally, 2));
    EXPECT_EQ(map.Set("key", replacement), 1);
    EXPECT_EQ(old_tally.alive, 0);
    EXPECT_EQ(old_tally.destroyed, destroyed + 1);

    ValAny out;
    ASSERT_EQ(map.Get("key", out), 1);
    EXPECT_EQ(out.Get<Counted>().number, 2);
    EXPECT_EQ(new_tally.alive, 3);  // the map's, `replacement`, `out`
  }
  EXPECT_EQ(new_tally.alive, 0);
}

TEST(UserDataMap, EachWayOutDeletesTheHolderExactlyOnce) {
  struct Case {
    const char* name;
    void (*act)(UserDataMap&);
  };
  const Case cases[] = {
      {"Remove", [](UserDataMap& map) { map.Remove("key"); }},
      {"Clear", [](UserDataMap& map) { map.Clear(); }},
      {"Set", [](UserDataMap& map) { map.Set("key", ValAny(1)); }},
      {"CopyFrom",
       [](UserDataMap& map) {
         UserDataMap other;
         other.Set("key", ValAny(1));
         map.CopyFrom(&other);
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Counted::Tally tally;
    UserDataMap map;
    map.Set("key", ValAny(Counted(&tally, 1)));
    ASSERT_EQ(tally.alive, 1);
    const int destroyed = tally.destroyed;
    c.act(map);
    EXPECT_EQ(tally.alive, 0);
    EXPECT_EQ(tally.destroyed, destroyed + 1);
  }
}

TEST(UserDataMap, ValuesLeaveTheMapOutsideItsLock) {
  struct Case {
    const char* name;
    void (*act)(UserDataMap&);
    int other_after;  // whether "other" is still there when the value goes
  };
  const Case cases[] = {
      {"Remove", [](UserDataMap& map) { map.Remove("key"); }, 1},
      {"Clear", [](UserDataMap& map) { map.Clear(); }, 0},
      {"Set", [](UserDataMap& map) { map.Set("key", ValAny(1)); }, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    UserDataMap map;
    map.Set("other", ValAny(1));
    int finds = 0;
    map.Set("key", ValAny(Reentrant{&map, &finds}));
    finds = 0;
    c.act(map);  // would never return if the destructor ran under the lock
    EXPECT_EQ(finds, c.other_after);
  }
}

TEST(UserDataMap, AValueThatCannotBeCopiedLeavesTheMapAsItWas) {
  Counted::Tally tally;
  UserDataMap map;
  map.Set("key", ValAny(1));
  {
    const ValAny value(Counted(&tally, 2));
    tally.refuse_copies = true;
    EXPECT_THROW(map.Set("key", value), std::bad_alloc);
    EXPECT_THROW(map.Set("new", value), std::bad_alloc);
  }
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"key", 1}}));
}

TEST(UserDataMap, EnumerateOnAnEmptyMapEndsAtOnce) {
  UserDataMap map;
  std::string key = "before";
  ValAny value(9);
  map.Lock();
  EXPECT_EQ(map.Enumerate(true, key, value), 1U);
  EXPECT_EQ(map.Enumerate(false, key, value), 1U);
  map.Unlock();
  EXPECT_EQ(key, "before");
  EXPECT_EQ(value.ToInt32(), 9);
}

TEST(UserDataMap, EnumerateDeliversWhatSetFilledInKeyOrder) {
  UserDataMap map;
  map.Set("c", ValAny(3));
  map.Set("a", ValAny(1));
  map.Set("b", ValAny(2));
  const std::vector<Entry> expected = {{"a", 1}, {"b", 2}, {"c", 3}};
  EXPECT_EQ(Enumerated(map), expected);
  EXPECT_EQ(Enumerated(map), expected);  // `first` starts over
}

TEST(UserDataMap, EnumerateStaysAtItsEnd) {
  UserDataMap map;
  map.Set("a", ValAny(1));
  std::string key;
  ValAny value;
  map.Lock();
  EXPECT_EQ(map.Enumerate(true, key, value), 0U);
  EXPECT_EQ(map.Enumerate(false, key, value), 1U);
  EXPECT_EQ(map.Enumerate(false, key, value), 1U);
  map.Unlock();
  EXPECT_EQ(key, "a");
}

TEST(UserDataMap, EnumerateStepsFromTheStartWithoutAFirst) {
  UserDataMap map;
  map.Set("a", ValAny(1));
  map.Set("b", ValAny(2));
  std::string key;
  ValAny value;
  map.Lock();
  EXPECT_EQ(map.Enumerate(false, key, value), 0U);
  EXPECT_EQ(key, "a");
  EXPECT_EQ(map.Enumerate(false, key, value), 0U);
  EXPECT_EQ(key, "b");
  EXPECT_EQ(map.Enumerate(false, key, value), 1U);
  map.Unlock();
}

TEST(UserDataMap, ClearAndRemoveKeepPositionAndPermission) {
  UserDataMap map;
  map.Set("a", ValAny(1));
  map.Set("b", ValAny(2));
  std::string key;
  ValAny value;
  map.Lock();
  map.Enumerate(true, key, value);
  map.Enumerate(false, key, value);  // position 2
  map.Unlock();
  EXPECT_EQ(map.Clear(), 0);
  EXPECT_TRUE(Enumerated(map).empty());

  UserDataMap other;
  for (const char* name : {"p", "q", "r", "s"}) other.Set(name, ValAny(1));
  map.CopyFrom(&other);  // does not touch position or permission
  map.Lock();
  EXPECT_EQ(map.Enumerate(false, key, value), 0U);
  map.Unlock();
  EXPECT_EQ(key, "r");

  EXPECT_EQ(map.Remove("p"), 0);
  map.Lock();
  EXPECT_EQ(map.Enumerate(false, key, value), 1U);  // position 3 of q, r, s
  map.Unlock();
}

TEST(UserDataMap, ACloneDeliversItsFirstEntryAndRefusesTheNext) {
  UserDataMap map;
  map.Set("a", ValAny(1));
  map.Set("b", ValAny(2));
  const std::shared_ptr<IUserDataInquire> clone = map.Clone();
  std::string key;
  ValAny value;
  clone->Lock();
  EXPECT_EQ(clone->Enumerate(true, key, value), 0U);
  EXPECT_EQ(key, "a");
  EXPECT_EQ(value.ToInt32(), 1);
  EXPECT_EQ(clone->Enumerate(false, key, value), 0xFFFFFFFFU);
  EXPECT_EQ(key, "a");
  EXPECT_EQ(value.ToInt32(), 1);
  clone->Unlock();
}

TEST(UserDataMap, ACloneIsItsOwnMap) {
  Counted::Tally tally;
  UserDataMap map;
  map.Set("held", ValAny(Counted(&tally, 4)));
  map.Set("number", ValAny(1));
  const std::shared_ptr<UserDataMap> clone = map.CloneMap();
  EXPECT_EQ(tally.alive, 2);
  map.Set("number", ValAny(2));
  map.Remove("held");
  EXPECT_EQ(tally.alive, 1);
  EXPECT_EQ(NumberAt(*clone, "number"), 1);
  clone->Set("late", ValAny(3));
  EXPECT_EQ(NumberAt(map, "late"), -1);
  EXPECT_EQ(NumberAt(*clone, "late"), 3);
}

TEST(UserDataMap, ACloneOfAnEmptyMapIsEmpty) {
  UserDataMap map;
  EXPECT_TRUE(Enumerated(*map.CloneMap()).empty());
}

TEST(UserDataMap, LockKeepsOtherThreadsOut) {
  UserDataMap map;
  std::atomic<bool> started{false};
  std::atomic<bool> stored{false};
  map.Lock();
  std::thread writer([&] {
    started = true;
    map.Set("a", ValAny(1));
    stored = true;
  });
  while (!started) std::this_thread::yield();
  std::string key;
  ValAny value;
  for (int i = 0; i < 1000 && !stored; ++i) {
    EXPECT_EQ(map.Enumerate(true, key, value), 1U);
    std::this_thread::yield();
  }
  EXPECT_FALSE(stored);
  map.Unlock();
  writer.join();
  EXPECT_EQ(NumberAt(map, "a"), 1);
}

TEST(UserDataMap, SurvivesManyThreads) {
  UserDataMap map;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&map, &wrong, t] {
      const std::string own = "own" + std::to_string(t);
      for (int i = 0; i < 300; ++i) {
        map.Set(own.c_str(), ValAny(i));
        map.Set("shared", ValAny(std::to_string(i)));
        if (NumberAt(map, own.c_str()) != i) ++wrong;
        UserDataMap copy;
        copy.CopyFrom(&map);
        if (NumberAt(*map.CloneMap(), own.c_str()) != i || NumberAt(copy, own.c_str()) != i) {
          ++wrong;
        }
        map.Remove(i % 2 == 0 ? "shared" : own.c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(map.Clear(), 0);
  EXPECT_TRUE(Enumerated(map).empty());
}

}  // namespace
}  // namespace mivare
