#include "orlo/val_any.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

using orlo::AnyBadAccess;
using orlo::AnyHolder;
using orlo::ValAny;

/// The 16 bytes as another module sees them.
struct Raw {
  uint64_t payload;
  uint32_t tag;
  uint32_t spare;
};
Raw RawOf(const ValAny& value) {
  Raw raw;
  std::memcpy(&raw, static_cast<const void*>(&value), sizeof(raw));
  return raw;
}

/// A value as another module made it.
ValAny Made(const Raw& raw) {
  ValAny value;
  std::memcpy(static_cast<void*>(&value), &raw, sizeof(raw));
  return value;
}

/// Counts its instances, and throws from its copies on demand.
struct Counted {
  static inline int alive = 0;
  static inline int copies = 0;
  static inline bool throws = false;

  explicit Counted(int n) : number(n) { ++alive; }
  Counted(const Counted& other) : number(other.number) {
    if (throws) throw std::bad_alloc();
    ++alive;
    ++copies;
  }
  Counted(Counted&& other) noexcept : number(other.number) { ++alive; }
  Counted& operator=(const Counted&) = default;
  ~Counted() { --alive; }

  int number;
};

/// A holder as another module writes one.
class ForeignHolder final : public AnyHolder {
 public:
  ForeignHolder(int* deleted, int* cloned) : deleted_(deleted), cloned_(cloned) {}
  ~ForeignHolder() override { ++*deleted_; }
  const std::type_info& Type() const noexcept override { return typeid(*this); }
  AnyHolder* Clone() const override {
    ++*cloned_;
    return new ForeignHolder(deleted_, cloned_);
  }

 private:
  int* deleted_;
  int* cloned_;
};

Raw RawOfHolder(AnyHolder* holder, uint32_t tag) {
  return {reinterpret_cast<uintptr_t>(holder), tag, 0};
}

TEST(ValAnyLayout, PutsThePayloadAt0AndTheTagAt8) {
  static_assert(sizeof(ValAny) == 16 && alignof(ValAny) == 8);
  static_assert(!std::is_polymorphic_v<ValAny>);
  const Raw raw = RawOf(ValAny(uint64_t{0x0123456789ABCDEF}));
  EXPECT_EQ(raw.payload, 0x0123456789ABCDEFU);
  EXPECT_EQ(raw.tag, uint32_t{ValAny::kUInt64});
}

TEST(ValAnyLayout, IsAllZeroWhenEmpty) {
  const Raw raw = RawOf(ValAny());
  EXPECT_EQ(raw.payload, 0U);
  EXPECT_EQ(raw.tag, 0U);
  EXPECT_EQ(raw.spare, 0U);
}

TEST(ValAnyLayout, StoresTrueAsTag1WithPayloadByte1) {
  EXPECT_EQ(RawOf(ValAny(true)).tag, 1U);
  EXPECT_EQ(RawOf(ValAny(true)).payload, 1U);
  EXPECT_EQ(RawOf(ValAny(false)).tag, 1U);
  EXPECT_EQ(RawOf(ValAny(false)).payload, 0U);
}

TEST(ValAnyLayout, TagsEveryKindByItsWidth) {
  int number = 0;
  char letters[] = "letters";
  EXPECT_EQ(ValAny(int8_t{1}).GetTag(), 2U);
  EXPECT_EQ(ValAny(uint8_t{1}).GetTag(), 3U);
  EXPECT_EQ(ValAny(int16_t{1}).GetTag(), 4U);
  EXPECT_EQ(ValAny(uint16_t{1}).GetTag(), 5U);
  EXPECT_EQ(ValAny(int32_t{1}).GetTag(), 6U);
  EXPECT_EQ(ValAny(uint32_t{1}).GetTag(), 7U);
  EXPECT_EQ(ValAny(int64_t{1}).GetTag(), 8U);
  EXPECT_EQ(ValAny(uint64_t{1}).GetTag(), 9U);
  EXPECT_EQ(ValAny(1.0F).GetTag(), 10U);
  EXPECT_EQ(ValAny(1.0).GetTag(), 11U);
  EXPECT_EQ(ValAny(&number).GetTag(), 12U);
  EXPECT_EQ(ValAny(static_cast<const void*>(&number)).GetTag(), 12U);
  EXPECT_EQ(ValAny(nullptr).GetTag(), 12U);
  EXPECT_EQ(ValAny("text").GetTag(), 255U);
  EXPECT_EQ(ValAny(letters).GetTag(), 255U);
  EXPECT_EQ(ValAny(std::string("text")).GetTag(), 255U);
  EXPECT_EQ(ValAny(std::vector<int>{1}).GetTag(), 256U);
  EXPECT_EQ(ValAny(1.0L).GetTag(), 256U);
}

// A pointer to a virtual member holds one more than the member's offset in the table; the
// destructor has the first two entries, of which it fills the pair.
TEST(ValAnyLayout, FindsTypeAndCloneBehindTheDestructor) {
  const auto slot_of = [](auto member) {
    std::array<uintptr_t, 2> raw{};
    static_assert(sizeof(raw) == sizeof(member));
    std::memcpy(raw.data(), &member, sizeof(member));
    return (raw[0] - 1) / sizeof(void*);
  };
  EXPECT_EQ(slot_of(&AnyHolder::Type), 2U);
  EXPECT_EQ(slot_of(&AnyHolder::Clone), 3U);
}

TEST(ValAnyCopy, CopiesAll16BytesOfAnInPlaceValue) {
  for (const uint32_t tag : {1U, 12U, 100U, 254U}) {
    const ValAny source = Made({0xFEDCBA9876543210U, tag, 0x5A5A5A5AU});
    const ValAny constructed(source);
    ValAny assigned(7);
    assigned = source;
    for (const Raw& copy : {RawOf(constructed), RawOf(assigned)}) {
      EXPECT_EQ(copy.payload, 0xFEDCBA9876543210U);
      EXPECT_EQ(copy.tag, tag);
      EXPECT_EQ(copy.spare, 0x5A5A5A5AU);
    }
  }
}

TEST(ValAnyCopy, ClonesAForeignHolderAndDeletesEachOnce) {
  for (const uint32_t tag : {255U, 256U, 70000U}) {
    int deleted = 0;
    int cloned = 0;
    {
      const ValAny source = Made(RawOfHolder(new ForeignHolder(&deleted, &cloned), tag));
      ValAny copy;
      copy = source;
      EXPECT_EQ(cloned, 1);
      EXPECT_EQ(copy.GetTag(), tag);
      EXPECT_NE(RawOf(copy).payload, RawOf(source).payload);
      copy = 1;
      EXPECT_EQ(deleted, 1);
      EXPECT_EQ(copy.GetTag(), uint32_t{ValAny::kInt32});
    }
    EXPECT_EQ(deleted, 2);
    EXPECT_EQ(cloned, 1);
  }
}

TEST(ValAnyCopy, CopiesAHeldNullAsNull) {
  const ValAny source = Made(RawOfHolder(nullptr, 300));
  const ValAny copy(source);
  EXPECT_EQ(RawOf(copy).payload, 0U);
  EXPECT_EQ(copy.GetTag(), 300U);
  EXPECT_EQ(copy.GetIf<std::string>(), nullptr);
  EXPECT_THROW(copy.Get<std::string>(), AnyBadAccess);
}

TEST(ValAnyCopy, KeepsAValueThatIsAssignedToItself) {
  ValAny value(Counted(5));
  const uint64_t holder = RawOf(value).payload;
  ValAny& alias = value;
  value = alias;
  EXPECT_EQ(RawOf(value).payload, holder);
  value = std::move(alias);
  EXPECT_EQ(RawOf(value).payload, holder);
  EXPECT_EQ(value.GetIf<Counted>()->number, 5);
  value.Reset();
  EXPECT_EQ(Counted::alive, 0);
}

TEST(ValAnyCopy, MovesAHolderWithoutACopy) {
  ValAny source(Counted(5));
  Counted::copies = 0;
  ValAny target(std::move(source));
  EXPECT_TRUE(source.IsEmpty());  // NOLINT(bugprone-use-after-move)
  ValAny assigned(Counted(6));
  assigned = std::move(target);
  EXPECT_TRUE(target.IsEmpty());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(assigned.GetIf<Counted>()->number, 5);
  EXPECT_EQ(Counted::copies, 0);
  EXPECT_EQ(Counted::alive, 1);
  assigned.Reset();
  EXPECT_EQ(Counted::alive, 0);
}

TEST(ValAnyCopy, MovesAValueOutOfTheOneItReplaces) {
  ValAny value(std::vector<ValAny>{ValAny("inner")});
  auto& inner = const_cast<std::vector<ValAny>&>(*value.GetIf<std::vector<ValAny>>());
  value = std::move(inner[0]);
  EXPECT_EQ(value.Get<std::string>(), "inner");
}

TEST(ValAnyCopy, LeavesTheTargetEmptyWhenACloneThrows) {
  {
    const ValAny source(Counted(5));
    ValAny target(Counted(6));
    Counted::throws = true;
    EXPECT_THROW(target = source, std::bad_alloc);
    EXPECT_THROW(ValAny{source}, std::bad_alloc);
    Counted::throws = false;
    EXPECT_TRUE(target.IsEmpty());
    EXPECT_EQ(RawOf(target).payload, 0U);
    EXPECT_EQ(source.GetIf<Counted>()->number, 5);
    EXPECT_EQ(Counted::alive, 1);
  }
  EXPECT_EQ(Counted::alive, 0);
}

TEST(ValAnyCopy, DestroysTheOldValueBeforeItClones) {
  struct Witness {
    explicit Witness(std::vector<std::string>* l) : log(l) {}
    Witness(const Witness& other) : log(other.log) { log->push_back("clone"); }
    Witness& operator=(const Witness&) = default;
    ~Witness() { log->push_back("destroy"); }
    std::vector<std::string>* log;
  };
  std::vector<std::string> log;
  const Witness witness(&log);
  const ValAny source(witness);
  ValAny target(witness);
  log.clear();
  target = source;
  EXPECT_EQ(log, (std::vector<std::string>{"destroy", "clone"}));
}

TEST(ValAnyHeld, KeepsTextsOfItsOwn) {
  char letters[] = "letters";
  const ValAny value(letters);
  letters[0] = 'L';
  EXPECT_EQ(value.Get<std::string>(), "letters");
  EXPECT_EQ(*value.GetIf<std::string>(), "letters");
  EXPECT_EQ(ValAny(static_cast<const char*>(nullptr)).Get<std::string>(), "");
}

TEST(ValAnyHeld, TakesAnyCopyableType) {
  enum class Mode { kOff, kOn };
  const std::map<std::string, ValAny> map{{"key", ValAny(7)}};
  EXPECT_EQ((ValAny(map).Get<std::map<std::string, ValAny>>().at("key").ToInt32()), 7);
  EXPECT_EQ(ValAny(Mode::kOn).Get<Mode>(), Mode::kOn);
  EXPECT_EQ(ValAny(1.5L).Get<long double>(), 1.5L);
  static_assert(!std::is_constructible_v<ValAny, std::unique_ptr<int>>);
}

TEST(ValAnyHeld, IsReadAsItsOwnTypeOnly) {
  const ValAny text("7");
  EXPECT_EQ(text.GetIf<std::vector<int>>(), nullptr);
  EXPECT_THROW(text.Get<std::vector<int>>(), AnyBadAccess);
  EXPECT_THROW(text.Get<int32_t>(), AnyBadAccess);
  EXPECT_THROW(text.Get<const char*>(), AnyBadAccess);
  EXPECT_THROW(text.Get<bool>(), AnyBadAccess);
  EXPECT_EQ(ValAny(7).GetIf<std::string>(), nullptr);
  EXPECT_EQ(ValAny().GetIf<std::string>(), nullptr);
}

TEST(ValAnyPointer, GivesTheAddressBack) {
  int number = 3;
  EXPECT_EQ(ValAny(&number).Get<int*>(), &number);
  EXPECT_EQ(ValAny(&number).Get<void*>(), &number);
  EXPECT_EQ(ValAny(nullptr).Get<int*>(), nullptr);
  EXPECT_THROW(ValAny(int64_t{1}).Get<int*>(), AnyBadAccess);
  EXPECT_THROW(ValAny(&number).Get<int64_t>(), AnyBadAccess);
  EXPECT_THROW(ValAny(&number).Get<bool>(), AnyBadAccess);
  EXPECT_THROW(ValAny().Get<int*>(), AnyBadAccess);
}

TEST(ValAnyToInt32, TakesWhateverFits) {
  const struct {
    const char* name;
    ValAny value;
    int32_t number;
  } cases[] = {
      {"true", true, 1},
      {"false", false, 0},
      {"int8", int8_t{-128}, -128},
      {"uint8", uint8_t{255}, 255},
      {"int16", int16_t{-32768}, -32768},
      {"uint16", uint16_t{65535}, 65535},
      {"int32 smallest", std::numeric_limits<int32_t>::min(), INT32_MIN},
      {"int32 largest", std::numeric_limits<int32_t>::max(), INT32_MAX},
      {"uint32", uint32_t{2147483647}, INT32_MAX},
      {"int64 smallest", int64_t{INT32_MIN}, INT32_MIN},
      {"int64 largest", int64_t{INT32_MAX}, INT32_MAX},
      {"uint64", uint64_t{2147483647}, INT32_MAX},
      {"float", -1.9F, -1},
      {"float smallest", -2147483648.0F, INT32_MIN},
      {"float largest", 2147483520.0F, 2147483520},
      {"double smallest", -2147483648.9, INT32_MIN},
      {"double largest", 2147483647.9, INT32_MAX},
      {"double negative zero", -0.0, 0},
      {"a letter", 'A', 65},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    EXPECT_EQ(one.value.ToInt32(), one.number);
  }
}

TEST(ValAnyToInt32, RefusesWhateverDoesNotFit) {
  const struct {
    const char* name;
    ValAny value;
  } cases[] = {
      {"empty", ValAny()},
      {"uint32 just above", uint32_t{2147483648}},
      {"uint32 largest", std::numeric_limits<uint32_t>::max()},
      {"int64 just above", int64_t{INT32_MAX} + 1},
      {"int64 just below", int64_t{INT32_MIN} - 1},
      {"int64 that would wrap to 0", int64_t{1} << 32},
      {"uint64 just above", uint64_t{2147483648}},
      {"uint64 largest", std::numeric_limits<uint64_t>::max()},
      {"float just above", 2147483648.0F},
      {"float just below", -2147483904.0F},
      {"double just above", 2147483648.0},
      {"double just below", -2147483649.0},
      {"float NaN", std::numeric_limits<float>::quiet_NaN()},
      {"double NaN", std::numeric_limits<double>::quiet_NaN()},
      {"infinity", std::numeric_limits<double>::infinity()},
      {"negative infinity", -std::numeric_limits<float>::infinity()},
      {"a pointer", static_cast<void*>(nullptr)},
      {"a text", "7"},
      {"a tag nobody knows", Made({1, 200, 0})},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    EXPECT_THROW(one.value.ToInt32(), AnyBadAccess);
  }
}

TEST(ValAnyGet, ChecksTheBoundsOfOtherTargets) {
  EXPECT_EQ(ValAny(-1).Get<int8_t>(), -1);
  EXPECT_EQ(ValAny(255).Get<uint8_t>(), 255);
  EXPECT_THROW(ValAny(256).Get<uint8_t>(), AnyBadAccess);
  EXPECT_THROW(ValAny(-1).Get<uint8_t>(), AnyBadAccess);
  EXPECT_THROW(ValAny(-1).Get<uint64_t>(), AnyBadAccess);
  EXPECT_THROW(ValAny(128).Get<int8_t>(), AnyBadAccess);
  EXPECT_EQ(ValAny(-0.9).Get<uint32_t>(), 0U);
  EXPECT_THROW(ValAny(-1.0).Get<uint32_t>(), AnyBadAccess);
  EXPECT_EQ(ValAny(-9223372036854775808.0).Get<int64_t>(), INT64_MIN);
  EXPECT_THROW(ValAny(9223372036854775808.0).Get<int64_t>(), AnyBadAccess);
  EXPECT_EQ(ValAny(18446744073709549568.0).Get<uint64_t>(), 18446744073709549568U);
  EXPECT_THROW(ValAny(18446744073709551616.0).Get<uint64_t>(), AnyBadAccess);
  EXPECT_THROW(ValAny(std::numeric_limits<uint64_t>::max()).Get<int64_t>(), AnyBadAccess);
}

TEST(ValAnyGet, ReadsAnyNumberAsNotZero) {
  EXPECT_TRUE(ValAny(256).Get<bool>());
  EXPECT_TRUE(ValAny(-0.25).Get<bool>());
  EXPECT_FALSE(ValAny(0).Get<bool>());
  EXPECT_FALSE(ValAny(-0.0F).Get<bool>());
  EXPECT_THROW(ValAny().Get<bool>(), AnyBadAccess);
}

TEST(ValAnyGet, RoundsToFloatingPointTargets) {
  EXPECT_EQ(ValAny(16777217).Get<float>(), 16777216.0F);
  EXPECT_EQ(ValAny(0.1).Get<float>(), 0.1F);
  EXPECT_EQ(ValAny(0.5F).Get<double>(), 0.5);
  EXPECT_EQ(ValAny(true).Get<double>(), 1.0);
  EXPECT_THROW(ValAny(1e39).Get<float>(), AnyBadAccess);
  EXPECT_THROW(ValAny(-1e39).Get<float>(), AnyBadAccess);
  EXPECT_EQ(ValAny(std::numeric_limits<double>::infinity()).Get<float>(),
            std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(ValAny(std::numeric_limits<double>::quiet_NaN()).Get<float>()));
}

TEST(ValAnyGet, SaysWhatWentWrong) {
  try {
    ValAny().ToInt32();
    FAIL() << "an empty value has no number";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "ValAny Bad Access");
  }
}

}  // namespace
