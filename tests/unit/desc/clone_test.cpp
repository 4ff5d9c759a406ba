// Copies of descriptions: what goes along, what stays behind, what they do to the source.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>
#include <vector>

#include "audio_desc.h"
#include "bits_desc.h"
#include "mivare/audio_volume.h"
#include "mivare/extend_data.h"
#include "mivare/multi_camera.h"
#include "mivare/user_data.h"
#include "support/failing_new.h"
#include "support/log_capture.h"
#include "unit/desc/families.h"

namespace mivare::test {
namespace {

using desc::AudioDescBase;
using desc::Bgrax;
using desc::BitsDesc;
using desc::Gray;
using desc::Nv12x;
using desc::Nv16x;
using desc::Nv24x;
using desc::Yuvax;
using desc::Yv12x;
using desc::Yv16x;
using desc::Yv24x;

template <class Store>
Store* StoreOf(IMediaDesc& desc, const char* key) {
  void* store = nullptr;
  desc.QueryProperty(key, &store);
  return static_cast<Store*>(store);
}

bool HasKey(const IMediaDesc& desc, const char* key) {
  orlo::ValAny value;
  return desc.GetUserDataInquire()->Get(key, value) == 1;
}

// Both ways to copy a description, so that each claim is checked for both.
using CloneWay = std::function<std::shared_ptr<IMediaDesc>(const IMediaDesc&)>;
const CloneWay kCloneWays[] = {
    [](const IMediaDesc& desc) { return std::shared_ptr<IMediaDesc>(desc.Clone()); },
    [](const IMediaDesc& desc) { return desc.CloneShared(); },
};

TEST(Clone, IsOfTheSameClass) {
  const std::vector<std::shared_ptr<IMediaDesc>> sources = {
      std::make_shared<Gray>(15000, 1), std::make_shared<Yv12x>(2, 1),
      std::make_shared<Yv16x>(66, 1),   std::make_shared<Yv24x>(71, 1),
      std::make_shared<Nv12x>(12, 1),   std::make_shared<Nv16x>(30, 1),
      std::make_shared<Nv24x>(30, 1),   std::make_shared<Yuvax>(57, 1),
      std::make_shared<Bgrax>(45, 5),   std::make_shared<AudioDescBase>(20005),
      std::make_shared<BitsDesc>(31100)};
  for (const auto& source : sources) {
    for (const CloneWay& way : kCloneWays) {
      const IMediaDesc& original = *source;
      SCOPED_TRACE(typeid(original).name());
      const auto copy = way(original);
      ASSERT_NE(copy, nullptr);
      const IMediaDesc& made = *copy;
      EXPECT_TRUE(typeid(made) == typeid(original));
      EXPECT_EQ(copy->GetMediaType(), source->GetMediaType());
      EXPECT_EQ(copy->GetSmt(), source->GetSmt());
      EXPECT_EQ(copy->GetBitDepth(), source->GetBitDepth());
      EXPECT_EQ(copy->GetBitsPerSample(), source->GetBitsPerSample());
      EXPECT_NE(copy->GetUserDataConfig(), source->GetUserDataConfig());
    }
  }
}

TEST(Clone, OfAPictureHasAllItsFields) {
  for (const CloneWay& way : kCloneWays) {
    Yv16x source(65, 5);
    source.SetWidthHeight(100, 50);
    EXPECT_EQ(source.GetFrameSize(), 3 * 128 * 64);
    const std::array<int32_t, 8> pitches = {1, 2, 3, 4, 5, 6, 7, 8};
    source.StorePitches(pitches.data());
    source.SetTag(21);
    source.SetInterlace(22);
    source.SetRotation(23);
    source.SetFilpType(24);
    source.SetColorSpace(2);
    source.SetVideoSignalRange(25);
    source.SetVideoMatrix(26);
    source.SetTransferCharacter(27);
    source.SetColorPrimary(28);
    source.SetPlatform(29);
    source.SetTexType(30);
    source.SetMemoryLocation(1);
    source.SetDisplayAspectRatio({4, 3});
    source.QuerySubtitle()->SetFirstPair(31, 32);
    const uint32_t second = 33;
    source.QuerySubtitle()->SetSecondPair(&second, &second);
    source.QuerySubtitle()->SetText("words");

    const auto copy = std::dynamic_pointer_cast<Yv16x>(way(source));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetMediaType(), 5U);
    EXPECT_EQ(copy->GetWidth(), 100U);
    EXPECT_EQ(copy->GetHeight(), 50U);
    EXPECT_EQ(copy->DataLength(), 3 * 128 * 64);
    EXPECT_EQ(OffsetsOf(*copy), OffsetsOf(source));
    EXPECT_EQ(copy->PlaneOffsets().size(), 4U);
    EXPECT_EQ(PitchesOf(*copy), pitches);
    EXPECT_EQ(copy->GetTag(), 21U);
    EXPECT_EQ(copy->GetInterlace(), 22U);
    EXPECT_EQ(copy->GetRotation(), 23U);
    EXPECT_EQ(copy->GetFilpType(), 24U);
    EXPECT_EQ(copy->GetColorSpace(), 2U);
    EXPECT_EQ(copy->GetVideoSignalRange(), 25U);
    EXPECT_EQ(copy->GetVideoMatrix(), 26U);
    EXPECT_EQ(copy->GetTransferCharacter(), 27U);
    EXPECT_EQ(copy->GetColorPrimary(), 28U);
    EXPECT_EQ(copy->GetPlatform(), 29U);
    EXPECT_EQ(copy->GetTexType(), 30U);
    EXPECT_EQ(copy->GetMemoryLocation(), 1U);
    EXPECT_EQ(copy->GetDisplayAspectRatio(), (orlo::Rational{4, 3}));
    uint32_t a = 0;
    uint32_t b = 0;
    copy->QuerySubtitle()->GetFirstPair(&a, &b);
    EXPECT_EQ(a, 31U);
    EXPECT_EQ(b, 32U);
    copy->QuerySubtitle()->GetSecondPair(&a, &b);
    EXPECT_EQ(a, 33U);
    EXPECT_EQ(b, 33U);
    EXPECT_STREQ(copy->QuerySubtitle()->GetText(), "words");
    EXPECT_NE(copy->QuerySubtitle(), source.QuerySubtitle());

    // The narrowed capacity too: 128 x 64.
    LogCapture log;
    copy->SetWidthHeight(129, 50);
    copy->SetWidthHeight(100, 65);
    EXPECT_EQ(log.AtLevel(6).size(), 2U);
    copy->SetWidthHeight(128, 64);
    EXPECT_EQ(copy->GetWidth(), 128U);
  }
}

TEST(Clone, OfSoundAndBitstreamsHasAllTheirFields) {
  for (const CloneWay& way : kCloneWays) {
    AudioDescBase audio(20005);
    audio.SetTag(2);
    audio.SetChannels(6);
    audio.SetSampleRate(48000);
    audio.SetChannelLayout(63);
    audio.SetBlockAlign(48);
    audio.SetDataLength(1000);
    audio.SetPlatform(3);
    const auto copy = std::dynamic_pointer_cast<AudioDescBase>(way(audio));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetTag(), 2U);
    EXPECT_EQ(copy->GetChannels(), 6U);
    EXPECT_EQ(copy->GetSampleRate(), 48000U);
    EXPECT_EQ(copy->GetChannelLayout(), 63U);
    EXPECT_EQ(copy->GetBlockAlign(), 48U);
    EXPECT_EQ(copy->GetFrameSize(), 1000);
    EXPECT_EQ(copy->GetPlatform(), 3U);
    EXPECT_EQ(copy->GetBitsPerSample(), 64U);

    BitsDesc bits(30000);
    bits.CopyFrom(Yv12x(4, 5));
    const auto bits_copy = way(bits);
    ASSERT_NE(bits_copy, nullptr);
    EXPECT_EQ(bits_copy->GetMediaType(), 5U);
    EXPECT_EQ(bits_copy->GetSmt(), 4);
  }
}

TEST(Clone, LosesTheSixHintsAndKeepsOtherUserData) {
  for (const CloneWay& way : kCloneWays) {
    Yv12x source(1, 1);
    const char* const hints[] = {
        "Blank",          "AllocHostMem",     "PlatformCompatible",
        "PlatformExpect", "user_keys::IsOld", "user_keys::adjustlayer-workmode"};
    for (const char* key : hints) source.GetUserDataConfig()->Set(key, 1);
    source.GetUserDataConfig()->Set("blank", 5);
    source.GetUserDataConfig()->Set("note", std::string("kept"));
    const auto copy = way(source);
    ASSERT_NE(copy, nullptr);
    for (const char* key : hints) {
      SCOPED_TRACE(key);
      EXPECT_FALSE(HasKey(*copy, key));
      EXPECT_TRUE(HasKey(source, key));
    }
    EXPECT_TRUE(HasKey(*copy, "blank"));
    orlo::ValAny note;
    ASSERT_EQ(copy->GetUserDataInquire()->Get("note", note), 1);
    EXPECT_EQ(note.Get<std::string>(), "kept");

    // Of its own from now on.
    copy->GetUserDataConfig()->Set("note", 2);
    source.GetUserDataInquire()->Get("note", note);
    EXPECT_EQ(note.Get<std::string>(), "kept");
  }
}

TEST(Clone, DoesNotEnumerateBeyondTheFirstEntryUntilASetOfItsOwn) {
  Yv12x source(1, 1);
  source.GetUserDataConfig()->Set("a", 1);
  source.GetUserDataConfig()->Set("b", 2);
  const auto copy = source.CloneShared();
  std::string key;
  orlo::ValAny value;
  EXPECT_EQ(copy->GetUserDataInquire()->Enumerate(true, key, value), 0U);
  EXPECT_EQ(key, "a");
  EXPECT_EQ(copy->GetUserDataInquire()->Enumerate(false, key, value), kEnumerateRefused);
}

TEST(Clone, HasACopyOfTheExtendData) {
  for (const CloneWay& way : kCloneWays) {
    const LogCapture quiet;
    Yv12x source(1, 1);
    auto* data = StoreOf<IExtendData>(source, kExtendDataKey);
    ASSERT_NE(data, nullptr);
    const uint8_t bytes[] = {1, 2, 3};
    ASSERT_TRUE(data->SetExtendData("any key", bytes, 3));
    const auto copy = way(source);
    ASSERT_NE(copy, nullptr);
    auto* copied = StoreOf<IExtendData>(*copy, kExtendDataKey);
    ASSERT_NE(copied, nullptr);
    EXPECT_NE(copied, data);
    EXPECT_EQ(copied->GetExtendDataLength("any key"), 3U);
    data->RemoveExtendData("any key");
    EXPECT_EQ(copied->GetExtendDataLength("any key"), 3U);
  }
}

TEST(Clone, HasNoAudioVolumeManager) {
  for (const CloneWay& way : kCloneWays) {
    Yv12x source(1, 1);
    EXPECT_NE(StoreOf<ITrackAudioVolumeManager>(source, kAudioVolumeKey), nullptr);
    const auto copy = way(source);
    ASSERT_NE(copy, nullptr);
    void* manager = &source;
    copy->QueryProperty("C7DC208C-0DC8-4E71-869D-99D8500B10C8", &manager);
    EXPECT_EQ(manager, nullptr) << "the empty store is written as null";
    // And a copy of the copy lives without one too.
    EXPECT_NE(way(*copy), nullptr);
  }
}

TEST(Clone, DrainsTheCameraQueueOfItsSource) {
  for (const CloneWay& way : kCloneWays) {
    Yv12x source(1, 1);
    auto* cameras = StoreOf<IVideoMultiCameraFrameManger>(source, kMultiCameraKey);
    ASSERT_NE(cameras, nullptr);
    cameras->GetFrameConfig()->AddFrame("A", 1, 2, 3);
    cameras->GetFrameConfig()->AddFrame("B", 4, 5, 6);
    const auto copy = way(source);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(cameras->GetFrameInquire(), nullptr) << "the source is left empty";

    auto* moved = StoreOf<IVideoMultiCameraFrameManger>(*copy, kMultiCameraKey);
    ASSERT_NE(moved, nullptr);
    ASSERT_NE(moved, cameras);
    IVideoMultiCameraFrameInquire* reader = moved->GetFrameInquire();
    ASSERT_NE(reader, nullptr);
    std::string name = "unset";
    uint32_t value1 = 0;
    uint32_t value2 = 0;
    uint64_t data = 0;
    EXPECT_EQ(reader->GetFrame(name, value1, value2, data), 1);
    EXPECT_EQ(name, "");  // the newest: an empty name with B's numbers
    EXPECT_EQ(value1, 4U);
    EXPECT_EQ(value2, 5U);
    EXPECT_EQ(data, 6U);
    int records = 0;
    while (moved->GetFrameInquire() != nullptr) {
      ++records;
      reader->NextFrame();
    }
    EXPECT_EQ(records, 3);
  }
}

// A value that cannot be copied when memory is short.
struct Uncopyable {
  Uncopyable() = default;
  Uncopyable(const Uncopyable& other) : short_of_memory(other.short_of_memory) {
    if (*short_of_memory) throw std::bad_alloc();
  }
  std::shared_ptr<bool> short_of_memory = std::make_shared<bool>(false);
};

TEST(Clone, IsNullWhenMemoryIsShortForUserDataAndLeavesTheSourceAsItWas) {
  Yv12x source(1, 1);
  const Uncopyable value;
  source.GetUserDataConfig()->Set("value", orlo::ValAny(value));
  auto* cameras = StoreOf<IVideoMultiCameraFrameManger>(source, kMultiCameraKey);
  cameras->GetFrameConfig()->AddFrame("A", 1, 2, 3);
  *value.short_of_memory = true;
  EXPECT_EQ(source.Clone(), nullptr);
  EXPECT_EQ(source.CloneShared(), nullptr);
  EXPECT_NE(cameras->GetFrameInquire(), nullptr) << "the queue is moved after it";
  BitsDesc bits(10000);
  EXPECT_FALSE(bits.CopyFrom(source)) << "nothing is thrown either";
  *value.short_of_memory = false;
  EXPECT_NE(source.CloneShared(), nullptr);
}

TEST(Clone, OfEmptyStoresIsOnePieceOfMemory) {
  Yv12x source(1, 1);
  source.SetWidthHeight(1920, 1080);
  source.GetFrameSize();
  {
    const FailingNew failing(2);
    const std::unique_ptr<IMediaDesc> copy(source.Clone());
    EXPECT_FALSE(failing.fired());
  }
  const FailingNew failing(2);
  const std::shared_ptr<IMediaDesc> copy = source.CloneShared();
  EXPECT_FALSE(failing.fired());
}

TEST(QueryProperty, FindsTheThreeStoresByTheirExactKeys) {
  Yv12x desc(1, 1);
  struct Case {
    const char* key;
    bool known;
  };
  for (const Case& row : {Case{"ABA838FB-3F86-4B1E-A4EE-140330ED5FAA", true},
                          Case{"C7DC208C-0DC8-4E71-869D-99D8500B10C8", true},
                          Case{"4A1F6927-DCB4-4432-8213-5B115ED8806A", true},
                          Case{"c7dc208c-0dc8-4e71-869d-99d8500b10c8", false},
                          Case{"ABA838FB-3F86-4B1E-A4EE-140330ED5FA", false},
                          Case{"ABA838FB-3F86-4B1E-A4EE-140330ED5FAAA", false}, Case{"", false}}) {
    SCOPED_TRACE(row.key);
    void* const untouched = &desc;
    void* out = untouched;
    desc.QueryProperty(row.key, &out);
    EXPECT_EQ(out != untouched, row.known);
    EXPECT_NE(out, nullptr);
    desc.QueryProperty(row.key, nullptr);
  }
  void* out = &desc;
  desc.QueryProperty(nullptr, &out);
  EXPECT_EQ(out, &desc);
  desc.QueryProperty(nullptr, nullptr);
}

TEST(QueryProperty, LendsEachStoreUnderItsOwnKey) {
  EXPECT_STREQ(kExtendDataKey, "ABA838FB-3F86-4B1E-A4EE-140330ED5FAA");
  EXPECT_STREQ(kAudioVolumeKey, "C7DC208C-0DC8-4E71-869D-99D8500B10C8");
  EXPECT_STREQ(kMultiCameraKey, "4A1F6927-DCB4-4432-8213-5B115ED8806A");

  const LogCapture quiet;
  Yv12x desc(1, 1);
  const uint8_t byte = 7;
  EXPECT_TRUE(StoreOf<IExtendData>(desc, kExtendDataKey)->SetExtendData("key", &byte, 1));
  // The managers are their own reading faces; no other store is.
  auto* volumes = StoreOf<ITrackAudioVolumeManager>(desc, kAudioVolumeKey);
  EXPECT_NE(dynamic_cast<IAudioVolumeInquire*>(volumes), nullptr);
  auto* cameras = StoreOf<IVideoMultiCameraFrameManger>(desc, kMultiCameraKey);
  EXPECT_NE(dynamic_cast<IVideoMultiCameraFrameInquire*>(cameras), nullptr);
}

TEST(UserData, HasTwoFacesOfOneMap) {
  AudioDescBase desc(20001);
  desc.GetUserDataConfig()->Set("key", 3);
  EXPECT_TRUE(HasKey(desc, "key"));
  EXPECT_NE(desc.GetUserDataInquire(), nullptr);
}

}  // namespace
}  // namespace mivare::test
