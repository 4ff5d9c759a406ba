// What a user data map keeps for its next entries, and what it never keeps.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "support/failing_new.h"
#include "unit/user_data_entries.h"
#include "user_data_map.h"

namespace mivare {
namespace {

using orlo::ValAny;
using test::Counted;
using test::Entry;
using test::Enumerated;
using test::FailingNew;
using test::HeapLedger;
using test::NumberAt;

std::string Key(int number) { return "user_keys::number-" + std::to_string(number); }

void Fill(UserDataMap& map, int count) {
  for (int i = 0; i < count; ++i) map.Set(Key(i).c_str(), ValAny(i));
}

TEST(UserDataMapMemory, AnEmptyMapTakesNoLock) {
  UserDataMap map;
  UserDataMap other;
  ValAny out;
  map.Lock();
  // None of these would return if it took the mutex.
  EXPECT_EQ(map.Get("a", out), 0);
  EXPECT_FALSE(map.Contains("a"));
  EXPECT_EQ(map.Remove("a"), 0);
  EXPECT_EQ(map.Clear(), 0);
  EXPECT_NE(map.CloneMap(), nullptr);
  other.CopyFrom(&map);
  other.ReplaceWith(map);
  map.Unlock();
  // And one that was emptied is as good.
  map.Set("a", ValAny(1));
  map.Remove("a");
  map.Lock();
  EXPECT_EQ(map.Get("a", out), 0);
  map.Unlock();
  map.Set("a", ValAny(2));
  EXPECT_TRUE(map.Contains("a"));
}

TEST(UserDataMapMemory, AMapWithoutHintsIsAskedForOneWithoutItsLock) {
  UserDataMap map;
  map.Set("a", ValAny(1));
  const auto asked_without_lock = [&map] {
    map.Lock();
    const bool found = map.HasHint("Blank");  // would never return if it took the mutex
    map.Unlock();
    return found;
  };
  EXPECT_FALSE(asked_without_lock());
  map.Set("Blank", ValAny(1));
  EXPECT_TRUE(map.HasHint("Blank"));
  EXPECT_FALSE(map.HasHint("AllocHostMem"));
  EXPECT_FALSE(map.HasHint(nullptr));
  EXPECT_TRUE(map.CloneMap()->HasHint("Blank"));
  UserDataMap copy;
  copy.CopyFrom(&map);
  EXPECT_TRUE(copy.HasHint("Blank"));
  copy.ReplaceWith(map);
  EXPECT_FALSE(copy.HasHint("Blank"));

  map.Remove("Blank");
  EXPECT_FALSE(map.HasHint("Blank"));
  map.Remove("a");
  EXPECT_FALSE(asked_without_lock());
  map.Set("Blank", ValAny(1));
  EXPECT_TRUE(map.HasHint("Blank"));
  map.Clear();
  EXPECT_FALSE(asked_without_lock());
}

TEST(UserDataMapMemory, AHintIsFoundWhateverElseHasLeft) {
  UserDataMap map;
  map.Set("Blank", ValAny(1));
  map.Set("note", ValAny(2));
  map.Remove("note");
  EXPECT_TRUE(map.HasHint("Blank"));
  map.Set("AllocHostMem", ValAny(3));
  map.Remove("AllocHostMem");
  EXPECT_TRUE(map.HasHint("Blank"));
}

TEST(UserDataMapMemory, ClearingAndCopyingAgainAsksForNone) {
  UserDataMap source;
  Fill(source, 8);
  UserDataMap map;
  map.CopyFrom(&source);
  map.Clear();
  const FailingNew failing(1);
  for (int i = 0; i < 3; ++i) {
    map.CopyFrom(&source);
    map.Clear();
  }
  EXPECT_FALSE(failing.fired());
}

TEST(UserDataMapMemory, RemovingAndSettingAgainAsksForNone) {
  UserDataMap map;
  Fill(map, 3);
  const std::string key = Key(1);
  const ValAny value(5);
  const FailingNew failing(1);
  for (int i = 0; i < 3; ++i) {
    map.Remove(key.c_str());
    map.Set(key.c_str(), value);
  }
  EXPECT_FALSE(failing.fired());
}

TEST(UserDataMapMemory, HeldValuesAskForTheirHolderAlone) {
  Counted::Tally tally;
  UserDataMap source;
  source.Set("user_keys::a counted value", ValAny(Counted(&tally, 1)));
  source.Set("user_keys::another counted value", ValAny(Counted(&tally, 2)));
  UserDataMap map;
  map.CopyFrom(&source);
  map.Clear();
  const FailingNew failing(3);
  map.CopyFrom(&source);
  EXPECT_FALSE(failing.fired());
  EXPECT_EQ(tally.alive, 4);
}

TEST(UserDataMapMemory, AClearedValueIsGoneAtOnce) {
  Counted::Tally tally;
  UserDataMap map;
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 12; ++i) map.Set(Key(i).c_str(), ValAny(Counted(&tally, i)));
    EXPECT_EQ(tally.alive, 12);
    map.Clear();
    EXPECT_EQ(tally.alive, 0);
  }
  map.Set("a", ValAny(Counted(&tally, 1)));
  map.Remove("a");
  EXPECT_EQ(tally.alive, 0);
}

TEST(UserDataMapMemory, AnEntryUsedAgainHasNothingOfItsFormerLife) {
  UserDataMap map;
  map.Set("a key that is longer than the next", ValAny(std::string("and its text")));
  map.Clear();
  map.Set("short", ValAny());
  ValAny out(1);
  EXPECT_EQ(map.Get("short", out), 1);
  EXPECT_TRUE(out.IsEmpty());
  EXPECT_FALSE(map.Contains("a key that is longer than the next"));
  map.Set("short", ValAny(3));
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"short", 3}}));
}

TEST(UserDataMapMemory, KeepsEightSmallEntriesAtMost) {
  const auto kept = [](int count, size_t key_length) {
    const HeapLedger ledger;
    UserDataMap map;
    for (int i = 0; i < count; ++i) {
      map.Set((std::string(key_length, 'k') + Key(i)).c_str(), ValAny(i));
    }
    map.Clear();
    return ledger.Alive();
  };
  const size_t eight = kept(8, 0);
  EXPECT_EQ(eight, 8U * 2 + 1) << "eight entries, their keys, and the list of entries";
  EXPECT_EQ(kept(1000, 0), 8U * 2) << "and no list that grew large";
  EXPECT_EQ(kept(8, 64), 1U) << "nor large keys";
}

TEST(UserDataMapMemory, ThousandsComeAndGo) {
  UserDataMap source;
  Fill(source, 3000);
  UserDataMap map;
  for (int i = 2000; i < 4000; ++i) map.Set(Key(i).c_str(), ValAny(-i));
  map.CopyFrom(&source);
  for (int i = 0; i < 4000; ++i) ASSERT_EQ(NumberAt(map, Key(i).c_str()), i < 3000 ? i : -i);
  for (int i = 0; i < 4000; i += 2) map.Remove(Key(i).c_str());
  const std::vector<Entry> left = Enumerated(map);
  EXPECT_EQ(left.size(), 2000U);
  EXPECT_TRUE(std::is_sorted(left.begin(), left.end()));
}

// A value that owns the map which it is stored in.
struct Owner {
  std::shared_ptr<UserDataMap> map;
};

TEST(UserDataMapMemory, AValueMayTakeTheMapAlongWhenItGoes) {
  void (*const acts[])(UserDataMap&) = {
      [](UserDataMap& map) { map.Clear(); },
      [](UserDataMap& map) { map.Remove("owner"); },
      [](UserDataMap& map) { map.Set("owner", ValAny(1)); },
      [](UserDataMap& map) {
        UserDataMap other;
        other.Set("owner", ValAny(1));
        map.CopyFrom(&other);
      },
  };
  for (const auto act : acts) {
    auto owned = std::make_shared<UserDataMap>();
    const std::weak_ptr<UserDataMap> watched = owned;
    UserDataMap& map = *owned;
    map.Set("owner", ValAny(Owner{std::move(owned)}));
    ASSERT_FALSE(watched.expired());
    act(map);
    EXPECT_TRUE(watched.expired());
  }
}

TEST(UserDataMapMemory, ReplacingLeavesTheHintsBehind) {
  Counted::Tally tally;
  UserDataMap source;
  source.Set("Blank", ValAny(Counted(&tally, 1)));
  source.Set("a", ValAny(2));
  UserDataMap map;
  map.Set("b", ValAny(3));
  map.Set("Blank", ValAny(4));
  tally.refuse_copies = true;  // nobody copies a hint
  map.ReplaceWith(source);
  EXPECT_EQ(Enumerated(map), (std::vector<Entry>{{"a", 2}}));
  EXPECT_TRUE(source.Contains("Blank"));
}

TEST(UserDataMapMemory, ReplacingThatFailsLeavesNothing) {
  Counted::Tally tally;
  UserDataMap source;
  source.Set("a", ValAny(1));
  source.Set("held", ValAny(Counted(&tally, 1)));
  UserDataMap map;
  map.Set("b", ValAny(3));
  tally.refuse_copies = true;
  EXPECT_THROW(map.ReplaceWith(source), std::bad_alloc);
  EXPECT_TRUE(Enumerated(map).empty());
  tally.refuse_copies = false;
  map.ReplaceWith(source);
  EXPECT_TRUE(map.Contains("held"));
}

}  // namespace
}  // namespace mivare
