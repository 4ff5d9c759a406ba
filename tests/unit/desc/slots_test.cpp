// The slots that description classes add behind those of IMediaDesc. The numbers count both slots
// of the destructor and the 54 operations after it.
#include <gtest/gtest.h>

#include "audio_desc.h"
#include "bits_desc.h"
#include "support/slot_of.h"
#include "unit/desc/families.h"

namespace mivare::test {
namespace {

using desc::AudioDescBase;
using desc::BitsDesc;
using desc::VideoDescBase;
using desc::Yv12x;

TEST(DescSlots, OfPicturesAreFiveMore) {
  EXPECT_EQ(SlotOf(&IMediaDesc::CopyFrom), 55U);
  EXPECT_EQ(SlotOf(&VideoDescBase::ValidatePitches), 56U);
  EXPECT_EQ(SlotOf(&VideoDescBase::ResetPitchesNow), 57U);
  EXPECT_EQ(SlotOf(&VideoDescBase::ReservedStatus), 58U);
  EXPECT_EQ(SlotOf(&VideoDescBase::ReservedAction), 59U);
  EXPECT_EQ(SlotOf(&VideoDescBase::StorePitches), 60U);
  EXPECT_EQ(SlotOf(&Yv12x::ValidatePitches), 56U) << "families override, they add none";
  EXPECT_EQ(SlotOf(&Yv12x::ResetPitchesNow), 57U);
}

TEST(DescSlots, OfSoundAreFourMore) {
  EXPECT_EQ(SlotOf(&AudioDescBase::ReservedFirst), 56U);
  EXPECT_EQ(SlotOf(&AudioDescBase::ReservedSecond), 57U);
  EXPECT_EQ(SlotOf(&AudioDescBase::GetBlockAlign), 58U);
  EXPECT_EQ(SlotOf(&AudioDescBase::SetBlockAlign), 59U);
}

TEST(DescSlots, OfBitstreamsAreTwoMore) {
  EXPECT_EQ(SlotOf(&BitsDesc::ReservedStatus), 56U);
  EXPECT_EQ(SlotOf(&BitsDesc::ReservedAction), 57U);
}

}  // namespace
}  // namespace mivare::test
