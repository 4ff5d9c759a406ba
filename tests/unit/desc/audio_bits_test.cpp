// Descriptions without a picture.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "audio_desc.h"
#include "bits_desc.h"
#include "desc/yv12x.h"
#include "mivare/user_data.h"
#include "support/log_capture.h"

namespace mivare::test {
namespace {

using desc::AudioDescBase;
using desc::BitsDesc;

// What every description without a picture answers, whatever is set.
void ExpectNoPicture(IMediaDesc& desc) {
  LogCapture log;
  desc.SetWidthHeight(10, 20);
  desc.SetDisplayAspectRatio({16, 9});
  desc.SetInterlace(2);
  desc.SetRotation(2);
  desc.SetFilpType(2);
  desc.SetVideoSignalRange(2);
  desc.SetVideoMatrix(2);
  desc.SetTransferCharacter(2);
  desc.SetColorPrimary(2);
  EXPECT_FALSE(desc.SetColorSpace(2));
  EXPECT_EQ(desc.GetWidth(), 0U);
  EXPECT_EQ(desc.GetHeight(), 0U);
  EXPECT_EQ(desc.GetDisplayAspectRatio(), (orlo::Rational{1, 1}));
  EXPECT_EQ(desc.GetInterlace(), 0U);
  EXPECT_EQ(desc.GetRotation(), 0U);
  EXPECT_EQ(desc.GetFilpType(), 0U);
  EXPECT_EQ(desc.GetBitDepth(), 0U);
  EXPECT_EQ(desc.GetVideoSignalRange(), 1U);
  EXPECT_EQ(desc.GetVideoMatrix(), 0U);
  EXPECT_EQ(desc.GetTransferCharacter(), 0U);
  EXPECT_EQ(desc.GetColorPrimary(), 0U);
  EXPECT_EQ(desc.GetColorSpace(), 0xFFFFFFFFU);

  std::array<int32_t, 8> pitches{1, 2, 3, 4, 5, 6, 7, 8};
  const auto before = pitches;
  EXPECT_EQ(desc.SetPitches(pitches.data()), 0);
  EXPECT_EQ(desc.SetPitches(nullptr), 0);
  EXPECT_EQ(desc.GetPitches(pitches.data()), 0);
  EXPECT_EQ(pitches, before) << "nothing is written";
  EXPECT_EQ(desc.GetPitches(nullptr), 0);
  EXPECT_FALSE(desc.ResetPitches());
  EXPECT_EQ(desc.GetFrameSize(), -1);
  EXPECT_EQ(desc.GetFrameSize(), -1);

  EXPECT_EQ(desc.QuerySubtitle(), nullptr);
  EXPECT_EQ(static_cast<const IMediaDesc&>(desc).QuerySubtitle(), nullptr);
  uint32_t index = 1;
  EXPECT_FALSE(desc.QueryIndex(&index));
  EXPECT_EQ(index, UINT32_MAX);
  desc.Reserved();
  EXPECT_TRUE(log.Lines().empty());
}

void ExpectPlainFields(IMediaDesc& desc) {
  desc.SetPlatform(3);
  desc.SetTexType(4);
  EXPECT_TRUE(desc.SetMemoryLocation(1));
  EXPECT_EQ(desc.GetPlatform(), 3U);
  EXPECT_EQ(desc.GetTexType(), 4U);
  EXPECT_EQ(desc.GetMemoryLocation(), 1U);
}

TEST(AudioDesc, Of20003StartsWithTheDefaults) {
  AudioDescBase desc(20003);
  EXPECT_EQ(desc.GetBitsPerSample(), 32U);
  EXPECT_EQ(desc.GetChannels(), 2U);
  EXPECT_EQ(desc.GetSampleRate(), 44100U);
  EXPECT_EQ(desc.GetChannelLayout(), 3U);
  EXPECT_EQ(desc.GetFrameSize(), -1);
  EXPECT_EQ(desc.GetMediaType(), 2U);
  EXPECT_EQ(desc.GetTag(), 1U);
  EXPECT_EQ(desc.GetBlockAlign(), 0U);
}

TEST(AudioDesc, TakesTheSampleWidthFromTheCode) {
  struct Case {
    int32_t smt;
    uint32_t bits;
  };
  for (const Case& row : {Case{20001, 8}, Case{20002, 16}, Case{20003, 32}, Case{20004, 32},
                          Case{20005, 64}, Case{20006, 8}, Case{20007, 16}, Case{20008, 32},
                          Case{20009, 32}, Case{20010, 64}, Case{20000, 16}, Case{20011, 16},
                          Case{0, 16}, Case{-1, 16}, Case{INT32_MIN, 16}, Case{INT32_MAX, 16}}) {
    SCOPED_TRACE(row.smt);
    const AudioDescBase desc(row.smt);
    EXPECT_EQ(desc.GetSmt(), row.smt);
    EXPECT_EQ(desc.GetBitsPerSample(), row.bits);
  }
}

TEST(AudioDesc, StoresItsPropertiesAndHasNoPicture) {
  AudioDescBase desc(20002);
  desc.SetTag(9);
  desc.SetChannels(6);
  desc.SetChannelLayout(0x8000000000000001U);
  desc.SetSampleRate(96000);
  desc.SetBlockAlign(24);
  desc.ReservedFirst();
  desc.ReservedSecond();
  EXPECT_EQ(desc.GetTag(), 9U);
  EXPECT_EQ(desc.GetChannels(), 6U);
  EXPECT_EQ(desc.GetChannelLayout(), 0x8000000000000001U);
  EXPECT_EQ(desc.GetSampleRate(), 96000U);
  EXPECT_EQ(desc.GetBlockAlign(), 24U);
  ExpectNoPicture(desc);
  ExpectPlainFields(desc);

  uint32_t media_type = 0;
  uint32_t smt = 0;
  EXPECT_EQ(desc.GetMediaTypeAndSmt(&media_type, &smt), 0);
  EXPECT_EQ(media_type, 2U);
  EXPECT_EQ(smt, 20002U);
  EXPECT_EQ(desc.GetMediaTypeAndSmt(nullptr, &smt), -1);
  EXPECT_EQ(desc.GetMediaTypeAndSmt(&media_type, nullptr), -1);
}

TEST(AudioDesc, CopiesFromAnotherChannelsRateAndLayoutAlone) {
  AudioDescBase source(20005);
  source.SetChannels(8);
  source.SetSampleRate(8000);
  source.SetChannelLayout(255);
  source.SetTag(4);
  source.SetBlockAlign(5);
  source.GetUserDataConfig()->Set("key", 1);
  AudioDescBase target(20001);
  EXPECT_TRUE(target.CopyFrom(source));
  EXPECT_EQ(target.GetChannels(), 8U);
  EXPECT_EQ(target.GetSampleRate(), 8000U);
  EXPECT_EQ(target.GetChannelLayout(), 255U);
  EXPECT_EQ(target.GetTag(), 1U);
  EXPECT_EQ(target.GetBlockAlign(), 0U);
  EXPECT_EQ(target.GetSmt(), 20001);
  EXPECT_EQ(target.GetBitsPerSample(), 8U);
  orlo::ValAny value;
  EXPECT_EQ(target.GetUserDataInquire()->Get("key", value), 0);

  EXPECT_TRUE(target.CopyFrom(desc::Yv12x(1, 1)));
  EXPECT_EQ(target.GetChannels(), 0U);
}

TEST(BitsDesc, TakesTheMediaTypeFromTheCode) {
  struct Case {
    int32_t smt;
    uint32_t media_type;
  };
  for (const Case& row : {Case{10000, 1}, Case{30000, 2}, Case{31100, 5}, Case{0, 1}, Case{-3, 1},
                          Case{31000, 1}, Case{30001, 1}}) {
    SCOPED_TRACE(row.smt);
    const BitsDesc desc(row.smt);
    EXPECT_EQ(desc.GetMediaType(), row.media_type);
    EXPECT_EQ(desc.GetSmt(), row.smt);
    uint32_t media_type = 0;
    uint32_t smt = 0;
    EXPECT_EQ(desc.GetMediaTypeAndSmt(&media_type, &smt), 0);
    EXPECT_EQ(media_type, row.media_type);
    EXPECT_EQ(smt, static_cast<uint32_t>(row.smt));
    EXPECT_EQ(desc.GetMediaTypeAndSmt(nullptr, nullptr), -1);
  }
}

TEST(BitsDesc, KeepsTag1AndHasNeitherPictureNorSound) {
  BitsDesc desc(30000);
  desc.SetTag(7);
  EXPECT_EQ(desc.GetTag(), 1U);
  desc.SetChannels(3);
  desc.SetChannelLayout(3);
  desc.SetSampleRate(3);
  EXPECT_EQ(desc.GetChannels(), 0U);
  EXPECT_EQ(desc.GetChannelLayout(), 0U);
  EXPECT_EQ(desc.GetSampleRate(), 0U);
  EXPECT_EQ(desc.GetBitsPerSample(), 0U);
  EXPECT_EQ(desc.ReservedStatus(), 0);
  desc.ReservedAction();
  ExpectNoPicture(desc);
  ExpectPlainFields(desc);
}

TEST(BitsDesc, CopiesFromAnotherUserDataTypeAndSmt) {
  AudioDescBase source(20004);
  source.GetUserDataConfig()->Set("theirs", 2);
  source.GetUserDataConfig()->Set("both", 2);
  source.GetUserDataConfig()->Set("Blank", true);
  BitsDesc target(10000);
  target.GetUserDataConfig()->Set("mine", 1);
  target.GetUserDataConfig()->Set("both", 1);
  EXPECT_TRUE(target.CopyFrom(source));
  EXPECT_EQ(target.GetMediaType(), 2U);
  EXPECT_EQ(target.GetSmt(), 20004);
  IUserDataInquire* data = target.GetUserDataInquire();
  orlo::ValAny value;
  ASSERT_EQ(data->Get("mine", value), 1);
  EXPECT_EQ(value.ToInt32(), 1);
  ASSERT_EQ(data->Get("both", value), 1);
  EXPECT_EQ(value.ToInt32(), 2);
  ASSERT_EQ(data->Get("theirs", value), 1);
  EXPECT_EQ(value.ToInt32(), 2);
  EXPECT_EQ(data->Get("Blank", value), 1) << "merging strips nothing";
}

}  // namespace
}  // namespace mivare::test
