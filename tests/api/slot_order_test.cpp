// The interfaces cross the boundary as tables of slots: this pins the number and order of every
// table as this compiler lays it out. What modules of other compilers see is in abi/slots.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "mivare/mivare.h"
#include "orlo/val_any.h"
#include "support/slot_of.h"

namespace mivare {
namespace {

using test::SlotOf;

struct Slot {
  std::string name;
  size_t index;
};

// A class's first own virtual function follows those it inherits, so its slot is their number.
template <class Interface>
struct Probe : Interface {
  virtual void Next() = 0;
};

// `first`: the slots in front, for the destructor (complete, deleting) and a base class.
template <class Interface>
void ExpectOrder(const std::vector<Slot>& slots, size_t first = 2) {
  for (size_t i = 0; i < slots.size(); ++i) {
    EXPECT_EQ(slots[i].index, first + i) << slots[i].name;
  }
  EXPECT_EQ(SlotOf(&Probe<Interface>::Next), first + slots.size()) << "slots more or less";
  EXPECT_EQ(sizeof(Interface), sizeof(void*)) << "an interface is its table and nothing else";
  EXPECT_TRUE(std::has_virtual_destructor_v<Interface>);
}

#define SLOT(interface, name) \
  Slot { #name, SlotOf(&interface::name) }

TEST(SlotOrder, MediaDesc) {
  ExpectOrder<IMediaDesc>({
      SLOT(IMediaDesc, GetMediaType),
      SLOT(IMediaDesc, GetSmt),
      SLOT(IMediaDesc, GetMediaTypeAndSmt),
      SLOT(IMediaDesc, GetTag),
      SLOT(IMediaDesc, SetTag),
      SLOT(IMediaDesc, GetWidth),
      SLOT(IMediaDesc, SetWidthHeight),
      SLOT(IMediaDesc, GetHeight),
      SLOT(IMediaDesc, SetDisplayAspectRatio),
      SLOT(IMediaDesc, GetDisplayAspectRatio),
      SLOT(IMediaDesc, GetInterlace),
      SLOT(IMediaDesc, SetInterlace),
      SLOT(IMediaDesc, GetRotation),
      SLOT(IMediaDesc, SetRotation),
      SLOT(IMediaDesc, GetFilpType),
      SLOT(IMediaDesc, SetFilpType),
      SLOT(IMediaDesc, GetBitDepth),
      SLOT(IMediaDesc, SetVideoSignalRange),
      SLOT(IMediaDesc, GetVideoSignalRange),
      SLOT(IMediaDesc, SetVideoMatrix),
      SLOT(IMediaDesc, GetVideoMatrix),
      SLOT(IMediaDesc, SetTransferCharacter),
      SLOT(IMediaDesc, GetTransferCharacter),
      SLOT(IMediaDesc, SetColorPrimary),
      SLOT(IMediaDesc, GetColorPrimary),
      SLOT(IMediaDesc, SetChannels),
      SLOT(IMediaDesc, GetChannels),
      SLOT(IMediaDesc, SetChannelLayout),
      SLOT(IMediaDesc, GetChannelLayout),
      SLOT(IMediaDesc, SetSampleRate),
      SLOT(IMediaDesc, GetSampleRate),
      SLOT(IMediaDesc, GetBitsPerSample),
      SLOT(IMediaDesc, Clone),
      SLOT(IMediaDesc, SetPitches),
      SLOT(IMediaDesc, GetPitches),
      SLOT(IMediaDesc, GetPlatform),
      SLOT(IMediaDesc, SetPlatform),
      SLOT(IMediaDesc, GetTexType),
      SLOT(IMediaDesc, SetTexType),
      SLOT(IMediaDesc, GetMemoryLocation),
      SLOT(IMediaDesc, SetMemoryLocation),
      {"QuerySubtitle",
       SlotOf(static_cast<ISubtitleDesc* (IMediaDesc::*)()>(&IMediaDesc::QuerySubtitle))},
      {"QuerySubtitle const", SlotOf(static_cast<const ISubtitleDesc* (IMediaDesc::*)() const>(
                                  &IMediaDesc::QuerySubtitle))},
      SLOT(IMediaDesc, QueryIndex),
      SLOT(IMediaDesc, Reserved),
      SLOT(IMediaDesc, GetUserDataConfig),
      SLOT(IMediaDesc, GetUserDataInquire),
      SLOT(IMediaDesc, GetColorSpace),
      SLOT(IMediaDesc, SetColorSpace),
      SLOT(IMediaDesc, QueryProperty),
      SLOT(IMediaDesc, ResetPitches),
      SLOT(IMediaDesc, GetFrameSize),
      SLOT(IMediaDesc, CloneShared),
      SLOT(IMediaDesc, CopyFrom),
  });
}

TEST(SlotOrder, SubtitleDesc) {
  ExpectOrder<ISubtitleDesc>({
      SLOT(ISubtitleDesc, GetFirstPair),
      SLOT(ISubtitleDesc, GetSecondPair),
      SLOT(ISubtitleDesc, GetText),
      SLOT(ISubtitleDesc, SetFirstPair),
      SLOT(ISubtitleDesc, SetSecondPair),
      SLOT(ISubtitleDesc, SetText),
  });
}

TEST(SlotOrder, MediaBuffer) {
  ExpectOrder<IMediaBuffer>({
      SLOT(IMediaBuffer, Lock),
      SLOT(IMediaBuffer, Unlock),
      SLOT(IMediaBuffer, CopyFrom),
      SLOT(IMediaBuffer, SetData),
      SLOT(IMediaBuffer, Clone),
      SLOT(IMediaBuffer, GetDesc),
      SLOT(IMediaBuffer, SetDataSize),
      SLOT(IMediaBuffer, QueryObject),
      SLOT(IMediaBuffer, QueryNative),
      SLOT(IMediaBuffer, IsDeviceMemory),
      SLOT(IMediaBuffer, AppendData),
      SLOT(IMediaBuffer, Flush),
  });
}

TEST(SlotOrder, Allocator) {
  ExpectOrder<IAllocator>({
      SLOT(IAllocator, Alloc),
      SLOT(IAllocator, GetMemoryStatus),
      SLOT(IAllocator, clear),
      SLOT(IAllocator, SetMemoryLimit),
      SLOT(IAllocator, FillBlank),
  });
}

TEST(SlotOrder, AllocatorExFollowsAllocator) {
  static_assert(std::is_base_of_v<IAllocator, IAllocatorEx>);
  // Two for the destructor, five of IAllocator.
  ExpectOrder<IAllocatorEx>(
      {
          SLOT(IAllocatorEx, AllocLazy),
          SLOT(IAllocatorEx, reduce_memory),
          SLOT(IAllocatorEx, GetGpuAvailableMemory),
      },
      7);
}

TEST(SlotOrder, GpuAllocator) {
  ExpectOrder<IGpuAllocator>({
      SLOT(IGpuAllocator, Alloc),
      SLOT(IGpuAllocator, FillBlank),
      SLOT(IGpuAllocator, Download),
      SLOT(IGpuAllocator, GetAvailableMemory),
  });
}

TEST(SlotOrder, MediaSample) {
  ExpectOrder<IMediaSample>({
      SLOT(IMediaSample, Clone),
      SLOT(IMediaSample, GetParam1),
      SLOT(IMediaSample, SetParam1),
      SLOT(IMediaSample, GetParam2),
      SLOT(IMediaSample, SetParam2),
      SLOT(IMediaSample, GetParam3),
      SLOT(IMediaSample, SetParam3),
      SLOT(IMediaSample, GetBufferCount),
      SLOT(IMediaSample, GetBuffer),
      SLOT(IMediaSample, AddBuffer),
      SLOT(IMediaSample, ClearBuffers),
  });
}

TEST(SlotOrder, UserDataInquire) {
  ExpectOrder<IUserDataInquire>({
      SLOT(IUserDataInquire, Get),
      SLOT(IUserDataInquire, Lock),
      SLOT(IUserDataInquire, Unlock),
      SLOT(IUserDataInquire, Enumerate),
      SLOT(IUserDataInquire, Clone),
  });
}

TEST(SlotOrder, UserDataConfig) {
  ExpectOrder<IUserDataConfig>({
      SLOT(IUserDataConfig, Set),
      SLOT(IUserDataConfig, Remove),
      SLOT(IUserDataConfig, Clear),
      SLOT(IUserDataConfig, CopyFrom),
  });
}

TEST(SlotOrder, ExtendData) {
  ExpectOrder<IExtendData>({
      SLOT(IExtendData, GetExtendDataLength),
      SLOT(IExtendData, GetExtendData),
      SLOT(IExtendData, SetExtendData),
      SLOT(IExtendData, RemoveExtendData),
      SLOT(IExtendData, Clone),
  });
}

TEST(SlotOrder, AudioVolumeFaces) {
  ExpectOrder<IAudioVolumeInquire>({
      SLOT(IAudioVolumeInquire, Release),
      SLOT(IAudioVolumeInquire, NextVolume),
      SLOT(IAudioVolumeInquire, GetVolume),
  });
  ExpectOrder<IAudioVolumeConfig>({
      SLOT(IAudioVolumeConfig, Release),
      SLOT(IAudioVolumeConfig, AddVolume),
      SLOT(IAudioVolumeConfig, ClearVolumes),
  });
  ExpectOrder<ITrackAudioVolumeManager>({
      SLOT(ITrackAudioVolumeManager, GetVolumeInquire),
      SLOT(ITrackAudioVolumeManager, GetVolumeConfig),
  });
}

TEST(SlotOrder, MultiCameraFaces) {
  ExpectOrder<IVideoMultiCameraFrameInquire>({
      SLOT(IVideoMultiCameraFrameInquire, Release),
      SLOT(IVideoMultiCameraFrameInquire, NextFrame),
      SLOT(IVideoMultiCameraFrameInquire, GetFrame),
  });
  ExpectOrder<IVideoMultiCameraFrameConfig>({
      SLOT(IVideoMultiCameraFrameConfig, Release),
      SLOT(IVideoMultiCameraFrameConfig, AddFrame),
      SLOT(IVideoMultiCameraFrameConfig, ClearFrames),
  });
  ExpectOrder<IVideoMultiCameraFrameManger>({
      SLOT(IVideoMultiCameraFrameManger, GetFrameInquire),
      SLOT(IVideoMultiCameraFrameManger, GetFrameConfig),
  });
}

// Destructor, Type, Clone: counted as operations, the clone is the third.
TEST(SlotOrder, AnyHolderClonesInItsThirdOperation) {
  EXPECT_EQ(SlotOf(&orlo::AnyHolder::Type), 2U);
  EXPECT_EQ(SlotOf(&orlo::AnyHolder::Clone), 3U);
}

TEST(ValueLayout, AnyHasItsPayloadFirstAndItsTagAtEight) {
  EXPECT_EQ(sizeof(orlo::ValAny), 16U);
  EXPECT_FALSE(std::is_polymorphic_v<orlo::ValAny>);
  const orlo::ValAny value(int64_t{0x0102030405060708});
  int64_t payload = 0;
  uint32_t tag = 0;
  const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
  std::memcpy(&payload, bytes, sizeof(payload));
  std::memcpy(&tag, bytes + 8, sizeof(tag));
  EXPECT_EQ(payload, 0x0102030405060708);
  EXPECT_EQ(tag, 8U);
}

TEST(ValueLayout, TrueIsTagOneWithPayloadByteOne) {
  const orlo::ValAny value(true);
  const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
  uint32_t tag = 0;
  std::memcpy(&tag, bytes + 8, sizeof(tag));
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(tag, 1U);
}

TEST(ValueLayout, RationalIsTwoSignedWords) {
  EXPECT_EQ(sizeof(orlo::Rational), 16U);
  EXPECT_EQ(offsetof(orlo::Rational, num), 0U);
  EXPECT_EQ(offsetof(orlo::Rational, den), 8U);
}

}  // namespace
}  // namespace mivare
