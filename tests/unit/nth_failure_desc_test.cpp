// Descriptions and their stores while each piece of memory in turn is missing.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "audio_volume.h"
#include "desc_factory.h"
#include "extend_data_impl.h"
#include "mivare/helper.h"
#include "mivare/media_desc.h"
#include "multi_camera.h"
#include "support/nth_failure.h"
#include "support/request.h"
#include "user_data_map.h"

namespace mivare::test {
namespace {

constexpr char kPq[] = "Mivare Frame Extend Data : PQ";
constexpr char kFace[] = "Mivare Frame Extend Data : AiFaceFeatureData";
constexpr char kLong[] = "a text that is too long to be kept in place";

template <class Store>
Store* StoreOf(IMediaDesc& desc, const char* key) {
  void* store = nullptr;
  desc.QueryProperty(key, &store);
  return static_cast<Store*>(store);
}

// Something in every store, and a layout where there is one.
MediaDescPtr FullDesc(uint32_t media_type, int32_t smt) {
  MediaDescPtr desc = Describe(media_type, smt, 64, 64);
  desc->GetFrameSize();
  if (desc->QuerySubtitle() != nullptr) desc->QuerySubtitle()->SetText(kLong);
  desc->GetUserDataConfig()->Set(kLong, std::string(kLong));
  desc->GetUserDataConfig()->Set("number", 1);
  desc->GetUserDataConfig()->Set("Blank", 1);
  const std::vector<uint8_t> block(2000);
  auto* extend_data = StoreOf<IExtendData>(*desc, kExtendDataKey);
  extend_data->SetExtendData(kPq, block.data(), 2000);
  extend_data->SetExtendData(kFace, block.data(), 10);
  auto* volumes = StoreOf<ITrackAudioVolumeManager>(*desc, kAudioVolumeKey);
  volumes->GetVolumeConfig()->AddVolume(kLong, {1, 2, 3});
  auto* cameras = StoreOf<IVideoMultiCameraFrameManger>(*desc, kMultiCameraKey);
  cameras->GetFrameConfig()->AddFrame(kLong, 1, 2, 3);
  return desc;
}

void ExpectNotes(IMediaDesc& desc) {
  for (const char* key : {kLong, "number"}) {
    orlo::ValAny value;
    EXPECT_EQ(desc.GetUserDataInquire()->Get(key, value), 1) << key;
  }
}

void ExpectBlocks(IMediaDesc& desc) {
  auto* extend_data = StoreOf<IExtendData>(desc, kExtendDataKey);
  EXPECT_EQ(extend_data->GetExtendDataLength(kPq), 2000U);
  EXPECT_EQ(extend_data->GetExtendDataLength(kFace), 10U);
}

struct Code {
  uint32_t media_type;
  int32_t smt;
};
// One of each class, and of each where the media type is kept beside it.
constexpr Code kCodes[] = {{1, 1},  {1, 6},  {1, 16},    {1, 26},    {1, 45},    {1, 55},
                           {1, 60}, {1, 70}, {1, 79},    {1, 15000}, {2, 20001}, {2, 30000},
                           {5, 1},  {5, 45}, {5, 15000}, {5, 31100}};

template <class Handle>
struct Made {
  MediaDescPtr source;
  Handle handle;
};

template <class Handle, class Make, class Check>
Operation Making(const std::string& name, Code code, Make make, Check check) {
  return {.name = name + "_" + std::to_string(code.media_type) + "_" + std::to_string(code.smt),
          .prepare = [code, make, check] {
            const auto world = std::make_shared<Made<Handle>>();
            world->source = FullDesc(code.media_type, code.smt);
            return Attempt{.act =
                               [world, make, code] {
                                 world->handle = make(*world->source, code);
                                 return world->handle != nullptr;
                               },
                           .check = [world, check] { check(*world->handle); },
                           .drop = [world] { world->handle.reset(); }};
          }};
}

std::vector<Operation> Descriptions() {
  std::vector<Operation> operations;
  const auto whole = [](IMediaDesc& made) {
    ExpectNotes(made);
    ExpectBlocks(made);
    EXPECT_EQ(made.GetUserDataInquire()->Clone() != nullptr, true);
  };
  const auto with_stores = [](IMediaDesc& made) {
    EXPECT_NE(made.GetUserDataConfig(), nullptr);
    EXPECT_NE(StoreOf<IExtendData>(made, kExtendDataKey), nullptr);
    EXPECT_NE(StoreOf<ITrackAudioVolumeManager>(made, kAudioVolumeKey), nullptr);
    EXPECT_NE(StoreOf<IVideoMultiCameraFrameManger>(made, kMultiCameraKey), nullptr);
  };
  for (const Code code : kCodes) {
    operations.push_back(Making<MediaDescPtr>(
        "Create", code,
        [](IMediaDesc&, Code c) {
          return MediaDescPtr(NUXMivareMediaDescCreateEx(c.media_type, c.smt));
        },
        with_stores));
    operations.push_back(Making<MediaDescPtr>(
        "Clone", code, [](IMediaDesc& source, Code) { return MediaDescPtr(source.Clone()); },
        whole));
    operations.push_back(Making<std::shared_ptr<IMediaDesc>>(
        "CloneShared", code, [](IMediaDesc& source, Code) { return source.CloneShared(); }, whole));
  }
  for (const int32_t smt : {1, 6, 16, 26, 45, 55, 60, 70, 15000}) {
    operations.push_back(Making<std::shared_ptr<IMediaDesc>>(
        "CreateLike", {1, smt}, [](IMediaDesc& source, Code) { return CreateDescLike(source); },
        with_stores));
  }
  return operations;
}

struct Pair {
  MediaDescPtr source = FullDesc(1, 1);
  MediaDescPtr destination = Describe(1, 1, 64, 64);
};

// The exports have no value for short memory: what they leave tells.
Operation CopyExport(const char* name, void (*copy)(IMediaDesc*, IMediaDesc*),
                     bool (*arrived)(IMediaDesc&), bool (*is_clean)(IMediaDesc&)) {
  return {.name = name, .prepare = [copy, arrived, is_clean] {
            const auto world = std::make_shared<Pair>();
            world->destination->GetUserDataConfig()->Set("old", 1);
            return Attempt{.act = [world, copy, arrived, is_clean] {
              copy(world->destination.get(), world->source.get());
              const OwnMemory own;
              const bool whole = arrived(*world->destination);
              EXPECT_TRUE(whole || is_clean(*world->destination)) << "half a copy";
              ExpectNotes(*world->source);
              ExpectBlocks(*world->source);
              return whole;
            }};
          }};
}

bool Has(IMediaDesc& desc, const char* key) {
  orlo::ValAny value;
  return desc.GetUserDataInquire()->Get(key, value) == 1;
}

uint32_t LengthOf(IMediaDesc& desc, const char* key) {
  return StoreOf<IExtendData>(desc, kExtendDataKey)->GetExtendDataLength(key);
}

/// A store before and after: `act` throws where memory is short, and then nothing has changed.
template <class World, class Act, class Check>
Operation StoreOperation(const char* name, Act act, Check check) {
  return {.name = name, .prepare = [act, check] {
            const auto world = std::make_shared<World>();
            return Attempt{.act =
                               [world, act, check] {
                                 const bool done = Done([&] { act(*world); });
                                 const OwnMemory own;
                                 check(*world, done);
                                 return done;
                               },
                           .drop = [world] { world->Drop(); }};
          }};
}

/// User data of a host's own, which the map has to walk.
class ForeignNotes final : public IUserDataInquire {
 public:
  explicit ForeignNotes(std::shared_ptr<UserDataMap> map) : map_(std::move(map)) {}
  int32_t Get(const char* key, orlo::ValAny& value) override { return map_->Get(key, value); }
  bool Lock() override { return map_->Lock(); }
  int32_t Unlock() override { return map_->Unlock(); }
  uint32_t Enumerate(bool first, std::string& key, orlo::ValAny& value) override {
    return map_->Enumerate(first, key, value);
  }
  std::shared_ptr<IUserDataInquire> Clone() override { return map_->Clone(); }

 private:
  std::shared_ptr<UserDataMap> map_;
};

struct Maps {
  std::shared_ptr<UserDataMap> source = std::make_shared<UserDataMap>();
  std::shared_ptr<UserDataMap> map = std::make_shared<UserDataMap>();
  std::shared_ptr<IUserDataInquire> foreign = std::make_shared<ForeignNotes>(source);
  std::shared_ptr<IUserDataInquire> clone;
  Maps() {
    source->Set(kLong, std::string(kLong));
    source->Set("other", 2);
    map->Set("old", 1);
  }
  void Drop() {
    clone.reset();
    map->Clear();
    map.reset();
  }
  int32_t tag(const char* key) const {
    orlo::ValAny value;
    return map->Get(key, value) == 1 ? static_cast<int32_t>(value.GetTag()) : -1;
  }
};

struct Blocks {
  std::shared_ptr<IExtendData> store = MakeExtendData();
  std::shared_ptr<IExtendData> clone;
  std::vector<uint8_t> bytes = std::vector<uint8_t>(100);
  Blocks() { store->SetExtendData("old", bytes.data(), 1); }
  void Drop() {
    clone.reset();
    store->RemoveExtendData("old");
    store.reset();
  }
};

struct Volumes {
  std::shared_ptr<ITrackAudioVolumeManager> source = MakeAudioVolumeManager();
  std::shared_ptr<ITrackAudioVolumeManager> manager = MakeAudioVolumeManager();
  const std::string track = kLong;
  const std::vector<uint64_t> values = {1, 2, 3};
  int32_t status = 0;
  Volumes() {
    source->GetVolumeConfig()->AddVolume(kLong, values);
    source->GetVolumeConfig()->AddVolume("another track, of a long name as well", values);
  }
  void Drop() {
    manager->GetVolumeConfig()->ClearVolumes();
    manager.reset();
  }
  int count() const {
    int count = 0;
    for (auto* at = manager->GetVolumeInquire(); at != nullptr; at = at->NextVolume()) ++count;
    return count;
  }
};

struct Cameras {
  std::shared_ptr<IVideoMultiCameraFrameManger> source = MakeMultiCameraManager();
  std::shared_ptr<IVideoMultiCameraFrameManger> manager = MakeMultiCameraManager();
  const std::string name = kLong;
  Cameras() { source->GetFrameConfig()->AddFrame(kLong, 1, 2, 3); }
  void Drop() {
    manager->GetFrameConfig()->ClearFrames();
    manager.reset();
  }
  bool empty() const { return manager->GetFrameInquire() == nullptr; }
};

std::vector<Operation> Stores() {
  return {
      CopyExport(
          "CopyUserData", NUXMivareCopyUserData,
          [](IMediaDesc& desc) { return Has(desc, kLong) && Has(desc, "number"); },
          [](IMediaDesc& desc) {
            return !Has(desc, "old") && !Has(desc, kLong) && !Has(desc, "number");
          }),
      CopyExport(
          "CopyMediaExtraProperty", NUXMivareCopyMediaExtraProperty,
          [](IMediaDesc& desc) {
            return LengthOf(desc, kPq) == 2000 && LengthOf(desc, kFace) == 10;
          },
          [](IMediaDesc& desc) {  // blocks are whole or missing
            return (LengthOf(desc, kPq) == 2000 || LengthOf(desc, kPq) == 0) &&
                   (LengthOf(desc, kFace) == 10 || LengthOf(desc, kFace) == 0);
          }),
      StoreOperation<Maps>(
          "UserDataSetNew", [](Maps& w) { w.map->Set(kLong, std::string(kLong)); },
          [](Maps& w, bool done) {
            EXPECT_EQ(w.tag(kLong) >= 255, done);
            EXPECT_EQ(w.tag("old"), 6);
          }),
      StoreOperation<Maps>(
          "UserDataReplace", [](Maps& w) { w.map->Set("old", std::vector<int>{2}); },
          [](Maps& w, bool done) { EXPECT_EQ(w.tag("old") >= 255, done); }),
      StoreOperation<Maps>(
          "UserDataGet",
          [](Maps& w) {
            orlo::ValAny value;
            w.source->Get(kLong, value);
          },
          [](Maps&, bool) {}),
      StoreOperation<Maps>(
          "UserDataCopy", [](Maps& w) { w.map->CopyFrom(w.source.get()); },
          [](Maps& w, bool done) {
            EXPECT_EQ(w.tag(kLong) >= 255, done);
            EXPECT_EQ(w.tag("other"), done ? 6 : -1);
            EXPECT_EQ(w.tag("old"), 6);
          }),
      StoreOperation<Maps>(
          "UserDataCopyOfAHosts", [](Maps& w) { w.map->CopyFrom(w.foreign.get()); },
          [](Maps& w, bool done) {
            EXPECT_EQ(w.tag("old"), 6);
            if (done) {
              EXPECT_EQ(w.tag("other"), 6);
            }
          }),
      StoreOperation<Maps>(
          "UserDataClone", [](Maps& w) { w.clone = w.source->Clone(); },
          [](Maps& w, bool done) { EXPECT_EQ(w.clone != nullptr, done); }),
      StoreOperation<Blocks>(
          "ExtendDataSetNew", [](Blocks& w) { w.store->SetExtendData(kLong, w.bytes.data(), 100); },
          [](Blocks& w, bool done) {
            EXPECT_EQ(w.store->GetExtendDataLength(kLong), done ? 100U : 0U);
            EXPECT_EQ(w.store->GetExtendDataLength("old"), 1U);
          }),
      StoreOperation<Blocks>(
          "ExtendDataReplace",
          [](Blocks& w) { w.store->SetExtendData("old", w.bytes.data(), 100); },
          [](Blocks& w, bool done) {
            EXPECT_EQ(w.store->GetExtendDataLength("old"), done ? 100U : 1U);
          }),
      StoreOperation<Blocks>(
          "ExtendDataClone", [](Blocks& w) { w.clone = w.store->Clone(); },
          [](Blocks& w, bool done) { EXPECT_EQ(w.clone != nullptr, done); }),
      StoreOperation<Volumes>(
          "VolumeAdd",
          [](Volumes& w) { w.manager->GetVolumeConfig()->AddVolume(w.track, w.values); },
          [](Volumes& w, bool done) { EXPECT_EQ(w.count(), done ? 1 : 0); }),
      StoreOperation<Volumes>(
          "VolumeCopy",
          [](Volumes& w) {
            w.status = NUXMivareCopyAudioVolumeData(w.source.get(), w.manager.get());
            EXPECT_TRUE(w.status == 0 || w.status == -1);
            if (w.status != 0) throw std::bad_alloc();
          },
          [](Volumes& w, bool done) {
            EXPECT_LE(w.count(), 2);
            if (done) {
              EXPECT_EQ(w.count(), 2);
            }
          }),
      StoreOperation<Cameras>(
          "CameraAdd", [](Cameras& w) { w.manager->GetFrameConfig()->AddFrame(w.name, 1, 2, 3); },
          [](Cameras& w, bool done) { EXPECT_EQ(w.empty(), !done); }),
      StoreOperation<Cameras>(
          "CameraCopy",
          [](Cameras& w) {
            if (w.source->GetFrameInquire() == nullptr)
              w.source->GetFrameConfig()->AddFrame("", 1, 2, 3);
            const int32_t status =
                NUXMivareCopyVideoMultiCameraFrame(w.source.get(), w.manager.get());
            EXPECT_TRUE(status == 0 || status == -1);
            if (status != 0) throw std::bad_alloc();
          },
          [](Cameras& w, bool done) {
            if (done) {
              EXPECT_FALSE(w.empty());
            }
          }),
  };
}

class NthFailureOfADescription : public testing::TestWithParam<Operation> {};

TEST_P(NthFailureOfADescription, LeavesAllOrNothing) {
  const uint64_t points = NthFailure(GetParam()).FailEach(Memory::kHeap);
  RecordProperty("heap", static_cast<int>(points));
  EXPECT_GT(points, 0U) << "nothing was allocated";
}

std::string NameOf(const testing::TestParamInfo<Operation>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Kinds, NthFailureOfADescription, testing::ValuesIn(Descriptions()),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Stores, NthFailureOfADescription, testing::ValuesIn(Stores()), NameOf);

}  // namespace
}  // namespace mivare::test
