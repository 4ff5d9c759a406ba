#include "buffer_base.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "audio_volume.h"
#include "mivare/extend_data.h"
#include "mivare/helper.h"
#include "mivare/multi_camera.h"
#include "mivare/user_data.h"
#include "multi_camera.h"
#include "slot.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "support/trovel_balance.h"
#include "trovel/trovel.h"
#include "user_data_map.h"

namespace mivare {
namespace {

using test::FakeDesc;
using test::TrovelBalance;

// A buffer that tells what happens to it.
class ProbeBuffer : public BufferBase {
 public:
  ProbeBuffer(const std::shared_ptr<Slot>& owner, std::vector<std::string>* events,
              std::shared_ptr<IMediaDesc> desc = nullptr)
      : BufferBase(owner), events_(events) {
    SetDesc(std::move(desc));
  }
  ~ProbeBuffer() override { events_->emplace_back("destroyed"); }

  int32_t Lock(uint8_t**, int32_t*, void*, uint32_t*) override { return -1; }
  int32_t CopyFrom(IMediaBuffer*) override { return -1; }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t) override { return nullptr; }
  void Refresh() override { events_->emplace_back("refreshed"); }
  void OnRecycle() override { events_->emplace_back("recycled"); }

 private:
  std::vector<std::string>* events_;
};

using Events = std::vector<std::string>;

TEST(BufferBase, OperationsItLacksAnswerMinusOneFalseOrEmpty) {
  Events events;
  ProbeBuffer buffer(nullptr, &events);
  const uint8_t byte = 1;
  EXPECT_EQ(buffer.SetData(&byte, 1), -1);
  EXPECT_EQ(buffer.SetDataSize(1), -1);
  EXPECT_FALSE(buffer.AppendData(&byte, 1));
  EXPECT_EQ(buffer.QueryObject(1, 2), nullptr);
  EXPECT_EQ(buffer.QueryNative(0), nullptr);
  EXPECT_FALSE(buffer.IsDeviceMemory());
  buffer.Flush();
  EXPECT_EQ(events, Events{});
}

TEST(BufferBase, StartsWithoutDescription) {
  Events events;
  ProbeBuffer buffer(nullptr, &events);
  EXPECT_EQ(buffer.GetDesc(0), nullptr);
  EXPECT_EQ(buffer.GetDescRaw(), nullptr);
}

TEST(BufferBase, UnlockRefreshes) {
  Events events;
  ProbeBuffer buffer(nullptr, &events);
  EXPECT_EQ(buffer.Unlock(), 0);
  EXPECT_EQ(events, Events{"refreshed"});
}

TEST(BufferBase, LendsItsDescriptionWhateverTheFlags) {
  Events events;
  const auto desc = std::make_shared<FakeDesc>(1, 1);
  ProbeBuffer buffer(nullptr, &events, desc);
  EXPECT_EQ(buffer.GetDesc(0), desc.get());
  EXPECT_EQ(buffer.GetDesc(7), desc.get());
  EXPECT_EQ(buffer.GetDescRaw(), desc.get());
  EXPECT_EQ(desc.use_count(), 2) << "lending adds no reference";
}

TEST(BufferBase, NeverKeepsItsPoolAlive) {
  Events events;
  auto slot = std::make_shared<Slot>();
  ProbeBuffer buffer(slot, &events);
  EXPECT_EQ(slot.use_count(), 1);
  slot.reset();
  EXPECT_EQ(buffer.Owner().lock(), nullptr);
}

TEST(BufferBase, CarriesTheLibraryDescriptionOnlyForItsOwnKind) {
  class Peek : public ProbeBuffer {
   public:
    using ProbeBuffer::ProbeBuffer;
    bool Knows() const { return LibraryDesc() != nullptr; }
  };
  Events events;
  const MediaDescPtr video = MakeMediaDesc(1, 1);
  EXPECT_TRUE(Peek(nullptr, &events, video->CloneShared()).Knows());
  EXPECT_FALSE(Peek(nullptr, &events, std::make_shared<FakeDesc>(1, 1)).Knows());
  EXPECT_FALSE(Peek(nullptr, &events).Knows());
}

TEST(KindName, NamesEveryMediaType) {
  EXPECT_STREQ(KindName(0), "Unknown Buffer");
  EXPECT_STREQ(KindName(1), "Video Buffer");
  EXPECT_STREQ(KindName(2), "Audio Buffer");
  EXPECT_STREQ(KindName(3), "Unknown Buffer");
  EXPECT_STREQ(KindName(4), "Stream Buffer");
  EXPECT_STREQ(KindName(5), "Subtitle Buffer");
  EXPECT_STREQ(KindName(6), "Unknown Buffer");
  EXPECT_STREQ(KindName(0xFFFFFFFF), "Unknown Buffer");
}

// The stores of a description that has all of them.
struct Stores {
  std::shared_ptr<UserDataMap> user_data = std::make_shared<UserDataMap>();
  std::shared_ptr<ITrackAudioVolumeManager> volumes = MakeAudioVolumeManager();
  std::shared_ptr<IVideoMultiCameraFrameManger> cameras = MakeMultiCameraManager();

  Stores() {
    user_data->Set("note", orlo::ValAny(5));
    volumes->GetVolumeConfig()->AddVolume("track", {1, 2});
    cameras->GetFrameConfig()->AddFrame("camera", 1, 2, 3);
  }
  void AttachTo(FakeDesc& desc) {
    desc.user_data = user_data.get();
    desc.audio_volumes = volumes.get();
    desc.cameras = cameras.get();
  }
  bool HasNote() {
    orlo::ValAny value;
    return user_data->Get("note", value) == 1;
  }
};

TEST(ResetFrameMetadata, EmptiesTheThreeStores) {
  FakeDesc desc(1, 1);
  Stores stores;
  stores.AttachTo(desc);
  ResetFrameMetadata(&desc);
  EXPECT_FALSE(stores.HasNote());
  EXPECT_EQ(stores.volumes->GetVolumeInquire(), nullptr);
  EXPECT_EQ(stores.cameras->GetFrameInquire(), nullptr);
}

TEST(ResetFrameMetadata, SkipsStoresThatAreMissing) {
  ResetFrameMetadata(nullptr);
  FakeDesc bare(1, 1);
  ResetFrameMetadata(&bare);
  FakeDesc desc(1, 1);
  Stores stores;
  stores.AttachTo(desc);
  desc.audio_volumes = nullptr;
  ResetFrameMetadata(&desc);
  EXPECT_FALSE(stores.HasNote());
  EXPECT_EQ(stores.cameras->GetFrameInquire(), nullptr);
}

TEST(ResetFrameMetadata, SkipsStoresOfAHostThatLendNoFace) {
  class Volumes : public ITrackAudioVolumeManager {
   public:
    IAudioVolumeInquire* GetVolumeInquire() override { return nullptr; }
    IAudioVolumeConfig* GetVolumeConfig() override { return nullptr; }
  };
  class Cameras : public IVideoMultiCameraFrameManger {
   public:
    IVideoMultiCameraFrameInquire* GetFrameInquire() override { return nullptr; }
    IVideoMultiCameraFrameConfig* GetFrameConfig() override { return nullptr; }
  };
  FakeDesc desc(1, 1);
  Stores stores;
  stores.AttachTo(desc);
  Volumes volumes;
  Cameras cameras;
  desc.audio_volumes = static_cast<ITrackAudioVolumeManager*>(&volumes);
  desc.cameras = static_cast<IVideoMultiCameraFrameManger*>(&cameras);
  ResetFrameMetadata(&desc);
  EXPECT_FALSE(stores.HasNote());
}

TEST(ResetFrameMetadata, KeepsTheExtendData) {
  const MediaDescPtr desc = MakeMediaDesc(1, 1);
  void* store = nullptr;
  desc->QueryProperty(kExtendDataKey, &store);
  auto* extend = static_cast<IExtendData*>(store);
  ASSERT_NE(extend, nullptr);
  const uint8_t bytes[] = {1, 2, 3};
  ASSERT_TRUE(extend->SetExtendData("key", bytes, 3));
  ResetFrameMetadata(desc.get());
  EXPECT_EQ(extend->GetExtendDataLength("key"), 3U);
}

TEST(ReleasePath, ResetsRecyclesAndPools) {
  TrovelBalance balance;
  Events events;
  const auto desc = std::make_shared<FakeDesc>(1, 1);
  Stores stores;
  stores.AttachTo(*desc);
  const auto slot = std::make_shared<Slot>();
  slot->Adopt(1);
  auto* buffer = new ProbeBuffer(slot, &events, desc);
  WrapBuffer(PooledBuffer(buffer), 1).reset();
  EXPECT_EQ(events, Events{"recycled"});
  EXPECT_FALSE(stores.HasNote());
  EXPECT_EQ(stores.volumes->GetVolumeInquire(), nullptr);
  EXPECT_EQ(stores.cameras->GetFrameInquire(), nullptr);
  EXPECT_EQ(slot->Take().get(), buffer);
  EXPECT_EQ(slot.use_count(), 1) << "the release drops the reference it took";
}

TEST(ReleasePath, DestroysWithoutRecyclingWhenThePoolIsGone) {
  TrovelBalance balance;
  Events events;
  const auto desc = std::make_shared<FakeDesc>(1, 1);
  Stores stores;
  stores.AttachTo(*desc);
  auto slot = std::make_shared<Slot>();
  std::shared_ptr<IMediaBuffer> handle =
      WrapBuffer(PooledBuffer(new ProbeBuffer(slot, &events, desc)), 1);
  slot.reset();
  EXPECT_EQ(trovel::CountResources("Video Buffer"), 1U);
  handle.reset();
  EXPECT_EQ(trovel::CountResources("Video Buffer"), 0U);
  EXPECT_EQ(events, Events{"destroyed"});
  EXPECT_FALSE(stores.HasNote());
}

TEST(ReleasePath, DestroysABufferThatNeverHadAPool) {
  Events events;
  RecycleBuffer(new ProbeBuffer(nullptr, &events));
  EXPECT_EQ(events, Events{"destroyed"});
  RecycleBuffer(nullptr);
}

TEST(ReleasePath, TakesTheRegistrationBackFirst) {
  // The user data of the description sees the registrations at the moment it is cleared.
  class Watcher : public IUserDataConfig {
   public:
    int32_t Set(const char*, const orlo::ValAny&) override { return 0; }
    int32_t Remove(const char*) override { return 0; }
    int32_t Clear() override {
      registered = trovel::CountResources("Audio Buffer");
      ++clears;
      return 0;
    }
    void CopyFrom(IUserDataInquire*) override {}
    size_t registered = 99;
    int clears = 0;
  };
  TrovelBalance balance;
  Events events;
  Watcher watcher;
  const auto desc = std::make_shared<FakeDesc>(2, 20001);
  desc->user_data = &watcher;
  auto handle = WrapBuffer(PooledBuffer(new ProbeBuffer(nullptr, &events, desc)), 2);
  ASSERT_EQ(trovel::CountResources("Audio Buffer"), 1U);
  handle.reset();
  EXPECT_EQ(watcher.clears, 1);
  EXPECT_EQ(watcher.registered, 0U);
}

TEST(ReleasePath, GivesTheBufferBackAlsoWhenAStoreThrows) {
  class Thrower : public IUserDataConfig {
   public:
    int32_t Set(const char*, const orlo::ValAny&) override { return 0; }
    int32_t Remove(const char*) override { return 0; }
    int32_t Clear() override { throw 7; }
    void CopyFrom(IUserDataInquire*) override {}
  };
  TrovelBalance balance;
  Events events;
  Thrower thrower;
  const auto desc = std::make_shared<FakeDesc>(1, 1);
  desc->user_data = &thrower;
  const auto slot = std::make_shared<Slot>();
  slot->Adopt(1);
  WrapBuffer(PooledBuffer(new ProbeBuffer(slot, &events, desc)), 1).reset();
  EXPECT_EQ(events, Events{"recycled"});
}

TEST(WrapBuffer, RegistersTheAddressUnderTheKindOfTheRequest) {
  struct Case {
    uint32_t media_type;
    const char* kind;
  };
  const Case cases[] = {{1, "Video Buffer"},   {2, "Audio Buffer"},    {3, "Unknown Buffer"},
                        {4, "Stream Buffer"},  {5, "Subtitle Buffer"}, {6, "Unknown Buffer"},
                        {0, "Unknown Buffer"}, {77, "Unknown Buffer"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.media_type);
    TrovelBalance balance;
    Events events;
    // The buffer's own description says something else.
    auto handle = WrapBuffer(
        PooledBuffer(new ProbeBuffer(nullptr, &events, std::make_shared<FakeDesc>(2, 20001))),
        c.media_type);
    bool found = false;
    for (const trovel::Resource& resource : trovel::Snapshot()) {
      found = found ||
              (resource.name == c.kind && resource.object == handle.get() && resource.count == 1);
    }
    EXPECT_TRUE(found) << trovel::LeakReport();
  }
}

TEST(WrapBuffer, RegistersNullLikeAnyOther) {
  TrovelBalance balance;
  std::shared_ptr<IMediaBuffer> handle = WrapBuffer(nullptr, 5);
  EXPECT_EQ(handle.get(), nullptr);
  EXPECT_EQ(handle.use_count(), 1) << "it owns a control block";
  EXPECT_EQ(trovel::CountResources("Subtitle Buffer"), 1U);
  std::shared_ptr<IMediaBuffer> second = handle;
  handle.reset();
  EXPECT_EQ(trovel::CountResources("Subtitle Buffer"), 1U);
  second.reset();
  EXPECT_EQ(trovel::CountResources("Subtitle Buffer"), 0U);
}

}  // namespace
}  // namespace mivare
