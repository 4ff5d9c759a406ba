#include "extend_keys.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "mivare/extend_data.h"
#include "user_data_map.h"

namespace mivare {
namespace {

/// Notes what is removed.
class RecordingConfig : public IUserDataConfig {
 public:
  int32_t Set(const char*, const orlo::ValAny&) override {
    others += 1;
    return 1;
  }
  int32_t Remove(const char* key) override {
    removed.emplace_back(key);
    return 0;
  }
  int32_t Clear() override {
    others += 1;
    return 0;
  }
  void CopyFrom(IUserDataInquire*) override { others += 1; }

  std::vector<std::string> removed;
  int others = 0;
};

TEST(ExtendKeys, CountsThree) { EXPECT_EQ(NUXMivareGetExtendKeyCount(), 3); }

TEST(ExtendKeys, HandsOutTheThreeExtendDataKeys) {
  EXPECT_STREQ(NUXMivareGetExtendKey(0), "Mivare Frame Extend Data : PQ");
  EXPECT_STREQ(NUXMivareGetExtendKey(1), "Mivare Frame Extend Data : AiBodyFeatureData");
  EXPECT_STREQ(NUXMivareGetExtendKey(2), "Mivare Frame Extend Data : AiFaceFeatureData");
}

TEST(ExtendKeys, HandsOutTheSameTextEachTime) {
  EXPECT_EQ(static_cast<const void*>(NUXMivareGetExtendKey(1)),
            static_cast<const void*>(NUXMivareGetExtendKey(1)));
}

TEST(ExtendKeys, EndsAtThree) {
  EXPECT_EQ(NUXMivareGetExtendKey(3), nullptr);
  EXPECT_EQ(NUXMivareGetExtendKey(4), nullptr);
  EXPECT_EQ(NUXMivareGetExtendKey(INT_MAX), nullptr);
}

TEST(ExtendKeys, FindsTheHintsBelowZeroAndNothingBelowTheTable) {
  EXPECT_STREQ(NUXMivareGetExtendKey(-1), "user_keys::adjustlayer-workmode");
  EXPECT_STREQ(NUXMivareGetExtendKey(-6), "Blank");
  EXPECT_EQ(NUXMivareGetExtendKey(-7), nullptr);
  EXPECT_EQ(NUXMivareGetExtendKey(INT_MIN), nullptr);
}

TEST(ExtendKeys, ListsAllNineInOrder) {
  const std::vector<std::string> expected = {
      "Blank",
      "AllocHostMem",
      "PlatformCompatible",
      "PlatformExpect",
      "user_keys::IsOld",
      "user_keys::adjustlayer-workmode",
      "Mivare Frame Extend Data : PQ",
      "Mivare Frame Extend Data : AiBodyFeatureData",
      "Mivare Frame Extend Data : AiFaceFeatureData",
  };
  EXPECT_EQ(std::vector<std::string>(kKeyTable.begin(), kKeyTable.end()), expected);
}

TEST(RemoveReservedUserDataKeys, RemovesTheSixInTableOrder) {
  RecordingConfig config;
  RemoveReservedUserDataKeys(&config);
  EXPECT_EQ(config.removed, (std::vector<std::string>{"Blank", "AllocHostMem", "PlatformCompatible",
                                                      "PlatformExpect", "user_keys::IsOld",
                                                      "user_keys::adjustlayer-workmode"}));
  EXPECT_EQ(config.others, 0);
}

TEST(RemoveReservedUserDataKeys, IgnoresNull) {
  IUserDataConfig* none = nullptr;
  EXPECT_NO_THROW(RemoveReservedUserDataKeys(none));
}

TEST(RemoveReservedUserDataKeys, LeavesOtherKeys) {
  UserDataMap map;
  for (const char* key :
       {"Blank", "AllocHostMem", "PlatformCompatible", "PlatformExpect", "user_keys::IsOld",
        "user_keys::adjustlayer-workmode", "blank", "Mivare Frame Extend Data : PQ", "timestamp"}) {
    map.Set(key, orlo::ValAny(1));
  }
  RemoveReservedUserDataKeys(&map);
  std::vector<std::string> left;
  std::string key;
  orlo::ValAny value;
  map.Lock();
  for (bool first = true; map.Enumerate(first, key, value) == 0; first = false) left.push_back(key);
  map.Unlock();
  EXPECT_EQ(left,
            (std::vector<std::string>{"Mivare Frame Extend Data : PQ", "blank", "timestamp"}));
}

}  // namespace
}  // namespace mivare
