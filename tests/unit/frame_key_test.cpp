#include "frame_key.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "mivare/user_data.h"
#include "orlo/val_any.h"
#include "support/generated.h"
#include "support/request.h"

namespace mivare::test {
namespace {

std::string Key(const IMediaDesc& desc, bool blank) { return FrameKey(desc, blank).Text(); }

TEST(FrameKeyTest, NamesAHostFrame) {
  const MediaDescPtr desc = VideoRequest(1, 1920, 1080);
  EXPECT_EQ(Key(*desc, false), "type[C] fmt[1] 1920x1080 blank=0");
  EXPECT_EQ(Key(*desc, true), "type[C] fmt[1] 1920x1080 blank=1");
}

TEST(FrameKeyTest, HostFramesIgnoreTheDeviceHints) {
  const MediaDescPtr desc = VideoRequest(45, 320, 240);
  desc->SetPlatform(3);
  desc->GetUserDataConfig()->Set("AllocHostMem", true);
  desc->GetUserDataConfig()->Set("PlatformCompatible", "no number");
  EXPECT_EQ(Key(*desc, false), "type[C] fmt[45] 320x240 blank=0");
}

TEST(FrameKeyTest, NamesADeviceFrameWithTwoSpacesBeforeBlank) {
  const MediaDescPtr desc = VideoRequest(6, 1280, 720, 1);
  desc->SetPlatform(2);
  desc->SetTexType(7);
  EXPECT_EQ(Key(*desc, false),
            "type[G] fmt[6] plat[2] TexType[7] host[0] compatible[0] 1280x720  blank=0");
  desc->GetUserDataConfig()->Set("AllocHostMem", false);  // presence counts
  desc->GetUserDataConfig()->Set("PlatformCompatible", 5);
  EXPECT_EQ(Key(*desc, true),
            "type[G] fmt[6] plat[2] TexType[7] host[1] compatible[5] 1280x720  blank=1");
}

TEST(FrameKeyTest, AnyLocationButZeroIsADevice) {
  EXPECT_EQ(Key(*VideoRequest(1, 64, 64, 9), false),
            "type[G] fmt[1] plat[0] TexType[0] host[0] compatible[0] 64x64  blank=0");
}

TEST(FrameKeyTest, TheLongestTextKeepsItsEnd) {
  const MediaDescPtr desc = VideoRequest(10, 100000, 65535, 1);
  desc->SetPlatform(static_cast<uint32_t>(INT32_MIN));
  desc->SetTexType(static_cast<uint32_t>(INT32_MIN));
  desc->GetUserDataConfig()->Set("PlatformCompatible", INT32_MIN);
  EXPECT_EQ(Key(*desc, true),
            "type[G] fmt[10] plat[-2147483648] TexType[-2147483648] host[0] "
            "compatible[-2147483648] 100000x65535  blank=1");
}

TEST(FrameKeyTest, RefusesACompatibleValueThatIsNoInt32) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64, 1);
  for (const orlo::ValAny& value :
       {orlo::ValAny("text"), orlo::ValAny(int64_t{1} << 31), orlo::ValAny()}) {
    desc->GetUserDataConfig()->Set("PlatformCompatible", value);
    EXPECT_THROW(FrameKey(*desc, false), orlo::AnyBadAccess);
  }
  desc->GetUserDataConfig()->Set("PlatformCompatible", true);
  EXPECT_EQ(Key(*desc, false),
            "type[G] fmt[1] plat[0] TexType[0] host[0] compatible[1] 64x64  blank=0");
}

// Pools are found by the key and ordered by the text: the one must tell apart what the other does.
TEST(FrameKeyTest, KeysAreEqualExactlyWhenTheirTextsAre) {
  Generated generated(11);
  const auto make = [&] {
    const MediaDescPtr desc = VideoRequest(generated.Pick({1, 45}), generated.Pick({64, 65}),
                                           generated.Pick({64, 65}), generated.Pick({0U, 1U, 2U}));
    desc->SetPlatform(generated.Pick({0U, 1U, UINT32_MAX}));
    desc->SetTexType(generated.Pick({0U, 1U}));
    IUserDataConfig* hints = desc->GetUserDataConfig();
    if (generated.Chance(2)) hints->Set("AllocHostMem", true);
    if (generated.Chance(2)) hints->Set("PlatformCompatible", generated.Pick({0, 1, -1}));
    return FrameKey(*desc, generated.Chance(2));
  };
  int equal = 0;
  for (int i = 0; i < 5000; ++i) {
    const FrameKey a = make();
    const FrameKey b = make();
    ASSERT_EQ(a == b, a.Text() == b.Text()) << a.Text() << " and " << b.Text();
    if (a == b) {
      ++equal;
      ASSERT_EQ(a.Hash(), b.Hash());
    }
  }
  EXPECT_GT(equal, 10);
}

}  // namespace
}  // namespace mivare::test
