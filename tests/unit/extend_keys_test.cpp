#include "extend_keys.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mivare/extend_data.h"
#include "mivare/helper.h"
#include "support/failing_new.h"
#include "support/fake_desc.h"
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

TEST(HasHint, CountsByPresenceWithoutCopyingTheValue) {
  const MediaDescPtr desc = MakeMediaDesc(1, 1);
  EXPECT_FALSE(HasHint(*desc, "Blank"));
  EXPECT_FALSE(HasHint(*desc, nullptr));
  for (const orlo::ValAny& value : {orlo::ValAny(), orlo::ValAny("a text")}) {
    desc->GetUserDataConfig()->Set("Blank", value);
    const test::FailingNew failing(1);
    EXPECT_TRUE(HasHint(*desc, "Blank"));
    EXPECT_FALSE(HasHint(*desc, "AllocHostMem"));
    EXPECT_FALSE(failing.fired());
  }
}

/// A host's own user data: an answer, or a failure where it is negative.
class HostNotes : public IUserDataInquire {
 public:
  explicit HostNotes(int32_t get_result) : answer(get_result) {}
  int32_t Get(const char*, orlo::ValAny&) override {
    if (answer < 0) throw 7;
    return answer;
  }
  bool Lock() override { return true; }
  int32_t Unlock() override { return 0; }
  uint32_t Enumerate(bool, std::string&, orlo::ValAny&) override { return 1; }
  std::shared_ptr<IUserDataInquire> Clone() override { return nullptr; }

  int32_t answer;
};

TEST(HasHint, AsksUserDataOfAHostsMaking) {
  class Desc : public test::FakeDesc {
   public:
    using FakeDesc::FakeDesc;
    IUserDataInquire* GetUserDataInquire() const override { return notes; }
    IUserDataInquire* notes = nullptr;
  };
  Desc desc(1, 1);
  EXPECT_FALSE(HasHint(desc, "Blank"));
  for (const int32_t answer : {0, 1, -1}) {
    SCOPED_TRACE(answer);
    HostNotes notes(answer);
    desc.notes = &notes;
    EXPECT_EQ(HasHint(desc, "Blank"), answer != 0);
  }
}

}  // namespace
}  // namespace mivare
