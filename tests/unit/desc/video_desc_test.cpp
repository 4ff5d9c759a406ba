// What all pictures have in common: size, ratio, colour, subtitle part, copying from another.
#include "desc/video_desc.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "audio_desc.h"
#include "mivare/user_data.h"
#include "support/log_capture.h"
#include "unit/desc/families.h"

namespace mivare::test {
namespace {

using desc::Bgrax;
using desc::Yv12x;
using orlo::Rational;

TEST(VideoDesc, StartsWithoutSizeAndWithTheDefaults) {
  Yv12x desc(3, 5);
  EXPECT_EQ(desc.GetMediaType(), 5U);
  EXPECT_EQ(desc.GetSmt(), 3);
  EXPECT_EQ(desc.GetTag(), 1U);
  EXPECT_EQ(desc.GetBitDepth(), 12U);
  EXPECT_EQ(desc.GetWidth(), 0U);
  EXPECT_EQ(desc.GetHeight(), 0U);
  EXPECT_EQ(desc.GetDisplayAspectRatio(), (Rational{0, 0}));
  EXPECT_EQ(desc.GetInterlace(), 0U);
  EXPECT_EQ(desc.GetRotation(), 0U);
  EXPECT_EQ(desc.GetFilpType(), 0U);
  EXPECT_EQ(desc.GetVideoSignalRange(), 1U);
  EXPECT_EQ(desc.GetVideoMatrix(), 1U);
  EXPECT_EQ(desc.GetTransferCharacter(), 1U);
  EXPECT_EQ(desc.GetColorPrimary(), 0U);
  EXPECT_EQ(desc.GetColorSpace(), 0U);
  EXPECT_EQ(desc.GetMemoryLocation(), 0U);
  EXPECT_EQ(desc.GetPlatform(), 0U);
  EXPECT_EQ(desc.GetTexType(), 0U);
  EXPECT_EQ(desc.DataLength(), -1);
  EXPECT_EQ(PitchesOf(desc), WithReserved({0, 0, 0, 0}));
}

TEST(VideoDesc, KeepsEachPropertyApart) {
  Yv12x desc(1, 1);
  desc.SetTag(11);
  desc.SetInterlace(12);
  desc.SetRotation(13);
  desc.SetFilpType(14);
  desc.SetVideoSignalRange(15);
  desc.SetVideoMatrix(16);
  desc.SetTransferCharacter(17);
  desc.SetColorPrimary(18);
  desc.SetPlatform(19);
  desc.SetTexType(20);
  EXPECT_TRUE(desc.SetMemoryLocation(21));
  EXPECT_EQ(desc.GetTag(), 11U);
  EXPECT_EQ(desc.GetInterlace(), 12U);
  EXPECT_EQ(desc.GetRotation(), 13U);
  EXPECT_EQ(desc.GetFilpType(), 14U);
  EXPECT_EQ(desc.GetVideoSignalRange(), 15U);
  EXPECT_EQ(desc.GetVideoMatrix(), 16U);
  EXPECT_EQ(desc.GetTransferCharacter(), 17U);
  EXPECT_EQ(desc.GetColorPrimary(), 18U);
  EXPECT_EQ(desc.GetPlatform(), 19U);
  EXPECT_EQ(desc.GetTexType(), 20U);
  EXPECT_EQ(desc.GetMemoryLocation(), 21U);
}

TEST(VideoDesc, HasNoSound) {
  Yv12x desc(1, 1);
  desc.SetChannels(6);
  desc.SetChannelLayout(63);
  desc.SetSampleRate(48000);
  EXPECT_EQ(desc.GetChannels(), 0U);
  EXPECT_EQ(desc.GetChannelLayout(), 0U);
  EXPECT_EQ(desc.GetSampleRate(), 0U);
  EXPECT_EQ(desc.GetBitsPerSample(), 0U);
}

TEST(VideoDesc, WritesTypeAndSmtOnlyTogether) {
  const Yv12x desc(4, 1);
  uint32_t media_type = 77;
  uint32_t smt = 78;
  EXPECT_EQ(desc.GetMediaTypeAndSmt(nullptr, &smt), -1);
  EXPECT_EQ(desc.GetMediaTypeAndSmt(&media_type, nullptr), -1);
  EXPECT_EQ(media_type, 77U);
  EXPECT_EQ(smt, 78U);
  EXPECT_EQ(desc.GetMediaTypeAndSmt(&media_type, &smt), 0);
  EXPECT_EQ(media_type, 1U);
  EXPECT_EQ(smt, 4U);
}

TEST(SetWidthHeight, RefusesWhatHasNoPixelsOrExceedsTheCapacity) {
  struct Case {
    int32_t width;
    int32_t height;
  };
  for (const Case& row : {Case{0, 10}, Case{10, 0}, Case{10, -1}, Case{10, INT32_MIN},
                          Case{200001, 10}, Case{10, 65537}, Case{INT32_MAX, INT32_MAX}}) {
    SCOPED_TRACE(testing::Message() << row.width << " x " << row.height);
    Yv12x desc(1, 1);
    desc.SetWidthHeight(7, 9);
    LogCapture log;
    desc.SetWidthHeight(row.width, row.height);
    EXPECT_EQ(desc.GetWidth(), 7U);
    EXPECT_EQ(desc.GetHeight(), 9U);
    EXPECT_EQ(desc.GetDisplayAspectRatio(), (Rational{7, 9}));
    const std::vector<LogLine> expected = {
        {"mivare", 6,
         "error! mivare::desc::VideoDescBase::SetWidthHeight width[" + std::to_string(row.width) +
             "] x height[" + std::to_string(row.height) + "]"}};
    EXPECT_EQ(log.Lines(), expected);
  }
}

TEST(SetWidthHeight, AcceptsTheCapacityAndNegativeWidths) {
  LogCapture log;
  Yv12x desc(1, 1);
  desc.SetWidthHeight(200000, 65536);
  EXPECT_EQ(desc.GetWidth(), 200000U);
  EXPECT_EQ(desc.GetHeight(), 65536U);
  desc.SetWidthHeight(-5, 10);
  EXPECT_EQ(desc.GetWidth(), 0xFFFFFFFBU);
  EXPECT_EQ(desc.GetHeight(), 10U);
  EXPECT_EQ(desc.GetDisplayAspectRatio(), (Rational{-5, 10})) << "not reduced";
  desc.SetWidthHeight(INT32_MIN, 1);
  EXPECT_EQ(desc.GetWidth(), 0x80000000U);
  EXPECT_TRUE(log.Lines().empty());
  EXPECT_EQ(desc.GetFrameSize(), 0);  // 2^31 * 64 wraps to 0
  EXPECT_EQ(PitchesOf(desc), WithReserved({INT32_MIN, INT32_MIN / 2, INT32_MIN / 2, 0}));
  desc.ResetPitches();  // (-2^31 + 1) / 2 toward zero
  EXPECT_EQ(PitchesOf(desc), WithReserved({INT32_MIN, -1073741823, -1073741823, 0}));
}

TEST(SetDisplayAspectRatio, StoresTheReducedRatio) {
  Yv12x desc(1, 1);
  LogCapture log;
  desc.SetDisplayAspectRatio({1920, 1080});
  EXPECT_EQ(desc.GetDisplayAspectRatio(), (Rational{16, 9}));
  EXPECT_TRUE(log.Lines().empty());
  desc.SetDisplayAspectRatio({0, 1});
  EXPECT_EQ(desc.GetDisplayAspectRatio(), (Rational{0, 1}));
  EXPECT_EQ(log.Lines(),
            (std::vector<LogLine>{{"orlo", 7, "ration den zero! file[orlo::Normalize] line[99]"}}));
}

TEST(SetColorSpace, SetsTransferMatrixAndPrimariesByPreset) {
  struct Case {
    uint32_t preset;
    uint32_t transfer;
    uint32_t matrix;
    uint32_t primaries;
  };
  for (const Case& row :
       {Case{1, 7, 7, 6}, Case{2, 9, 7, 6}, Case{3, 8, 1, 8}, Case{4, 4, 1, 9}, Case{5, 6, 7, 6},
        Case{0, 1, 1, 0}, Case{6, 1, 1, 0}, Case{UINT32_MAX, 1, 1, 0}}) {
    SCOPED_TRACE(row.preset);
    Yv12x desc(1, 1);
    desc.SetTransferCharacter(50);
    desc.SetVideoMatrix(51);
    desc.SetColorPrimary(52);
    desc.SetVideoSignalRange(53);
    EXPECT_TRUE(desc.SetColorSpace(row.preset));
    EXPECT_EQ(desc.GetColorSpace(), row.preset);
    EXPECT_EQ(desc.GetTransferCharacter(), row.transfer);
    EXPECT_EQ(desc.GetVideoMatrix(), row.matrix);
    EXPECT_EQ(desc.GetColorPrimary(), row.primaries);
    EXPECT_EQ(desc.GetVideoSignalRange(), 53U);
  }
}

TEST(SetColorSpace, OfZeroEqualsTheDefaults) {
  const Yv12x fresh(1, 1);
  Yv12x desc(1, 1);
  desc.SetColorSpace(3);
  desc.SetColorSpace(0);
  EXPECT_EQ(desc.GetTransferCharacter(), fresh.GetTransferCharacter());
  EXPECT_EQ(desc.GetVideoMatrix(), fresh.GetVideoMatrix());
  EXPECT_EQ(desc.GetColorPrimary(), fresh.GetColorPrimary());
}

TEST(QuerySubtitle, IsAnsweredByMediaType5Alone) {
  Bgrax subtitle(45, 5);
  ASSERT_NE(subtitle.QuerySubtitle(), nullptr);
  const IMediaDesc& same = subtitle;
  EXPECT_EQ(same.QuerySubtitle(), subtitle.QuerySubtitle());
  Bgrax video(45, 1);
  EXPECT_EQ(video.QuerySubtitle(), nullptr);
  const IMediaDesc& same_video = video;
  EXPECT_EQ(same_video.QuerySubtitle(), nullptr);
}

TEST(VideoSlots, BehindTheInterfaceDoNothing) {
  Yv12x desc(1, 1);
  EXPECT_EQ(desc.ReservedStatus(), 0);
  desc.ReservedAction();
  desc.Reserved();
  uint32_t index = 5;
  EXPECT_FALSE(desc.QueryIndex(&index));
  EXPECT_EQ(index, UINT32_MAX);
  EXPECT_FALSE(desc.QueryIndex(nullptr));
}

TEST(VideoCopyFrom, TakesSizeAndSubtitlePairsButNeitherTextNorUserData) {
  Bgrax source(45, 5);
  source.SetWidthHeight(320, 200);
  source.SetInterlace(3);
  source.QuerySubtitle()->SetFirstPair(1, 2);
  const uint32_t three = 3;
  const uint32_t four = 4;
  source.QuerySubtitle()->SetSecondPair(&three, &four);
  source.QuerySubtitle()->SetText("text");
  source.GetUserDataConfig()->Set("key", 1);

  Bgrax target(45, 5);
  target.QuerySubtitle()->SetText("mine");
  EXPECT_TRUE(target.CopyFrom(source));
  EXPECT_EQ(target.GetWidth(), 320U);
  EXPECT_EQ(target.GetHeight(), 200U);
  EXPECT_EQ(target.GetInterlace(), 0U);
  uint32_t a = 0;
  uint32_t b = 0;
  EXPECT_EQ(target.QuerySubtitle()->GetFirstPair(&a, &b), 0);
  EXPECT_EQ(a, 1U);
  EXPECT_EQ(b, 2U);
  EXPECT_EQ(target.QuerySubtitle()->GetSecondPair(&a, &b), 0);
  EXPECT_EQ(a, 3U);
  EXPECT_EQ(b, 4U);
  EXPECT_STREQ(target.QuerySubtitle()->GetText(), "mine");
  orlo::ValAny value;
  EXPECT_EQ(target.GetUserDataInquire()->Get("key", value), 0);

  // Without a subtitle part at the source the pairs stay.
  Bgrax video(45, 1);
  video.SetWidthHeight(64, 64);
  EXPECT_TRUE(target.CopyFrom(video));
  EXPECT_EQ(target.GetWidth(), 64U);
  target.QuerySubtitle()->GetFirstPair(&a, &b);
  EXPECT_EQ(a, 1U);
}

TEST(VideoCopyFrom, SetsTheSizeUnderTheUsualRules) {
  Yv12x desc(1, 1);
  desc.SetWidthHeight(10, 10);
  LogCapture log;
  EXPECT_TRUE(desc.CopyFrom(desc::AudioDescBase(20001)));
  EXPECT_EQ(desc.GetWidth(), 10U);
  EXPECT_EQ(log.CountContaining("width[0] x height[0]"), 1);
}

TEST(Subtitle, SetsOnePairByValueAndTheOtherThroughPointers) {
  Subtitle subtitle;
  uint32_t a = 9;
  uint32_t b = 9;
  EXPECT_EQ(subtitle.GetFirstPair(&a, &b), 0);
  EXPECT_EQ(a + b, 0U);
  a = b = 9;
  EXPECT_EQ(subtitle.GetSecondPair(&a, &b), 0);
  EXPECT_EQ(a + b, 0U);

  EXPECT_EQ(subtitle.SetFirstPair(5, 6), 0);
  const uint32_t seven = 7;
  const uint32_t eight = 8;
  EXPECT_EQ(subtitle.SetSecondPair(&seven, &eight), 0);
  subtitle.GetFirstPair(&a, &b);
  EXPECT_EQ(a, 5U);
  EXPECT_EQ(b, 6U);
  subtitle.GetSecondPair(&a, &b);
  EXPECT_EQ(a, 7U);
  EXPECT_EQ(b, 8U);
}

TEST(Subtitle, KeepsItsTextForNullAndEmptiesItForTheEmptyText) {
  Subtitle subtitle;
  EXPECT_STREQ(subtitle.GetText(), "");
  subtitle.SetText("first");
  subtitle.SetText(nullptr);
  EXPECT_STREQ(subtitle.GetText(), "first");
  subtitle.SetText(subtitle.GetText() + 2);  // a part of itself
  EXPECT_STREQ(subtitle.GetText(), "rst");
  subtitle.SetText("");
  EXPECT_STREQ(subtitle.GetText(), "");
}

}  // namespace
}  // namespace mivare::test
