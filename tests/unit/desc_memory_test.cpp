// Descriptions and their stores while memory runs out at every single point of an operation.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "audio_volume.h"
#include "bits_desc.h"
#include "desc_factory.h"
#include "extend_data_impl.h"
#include "mivare/media_desc.h"
#include "multi_camera.h"
#include "orlo/log.h"
#include "support/failing_new.h"
#include "unit/desc/families.h"
#include "user_data_map.h"

namespace mivare::test {
namespace {

using desc::BitsDesc;
using desc::Yv12x;

constexpr char kPq[] = "Mivare Frame Extend Data : PQ";
constexpr char kFace[] = "Mivare Frame Extend Data : AiFaceFeatureData";

// Log lines need memory too; here they go nowhere.
class DescMemoryTest : public ::testing::Test {
 protected:
  DescMemoryTest() : level_(orlo::SetDefaultLogLevel(INT32_MAX)) {}
  ~DescMemoryTest() override { orlo::SetDefaultLogLevel(level_); }

  /// Runs `operation` once for each allocation that it makes, with that one failing, and once more
  /// with none. `prepare` gives it something new to work on each time; `check` looks at that
  /// afterwards and is told whether memory failed.
  template <class Prepare, class Operation, class Check>
  static void RunOut(Prepare prepare, Operation operation, Check check) {
    uint64_t nth = 1;
    for (bool fired = true; fired; ++nth) {
      SCOPED_TRACE(nth);
      auto subject = prepare();
      {
        const FailingNew failing(nth);
        operation(subject);
        fired = failing.fired();
      }
      check(subject, fired);
    }
    EXPECT_GT(nth, 2U) << "nothing was allocated";
  }

 private:
  int32_t level_;
};

template <class Store>
Store* StoreOf(IMediaDesc& desc, const char* key) {
  void* store = nullptr;
  desc.QueryProperty(key, &store);
  return static_cast<Store*>(store);
}

int RecordsIn(IMediaDesc& desc) {
  auto* cameras = StoreOf<IVideoMultiCameraFrameManger>(desc, kMultiCameraKey);
  int records = 0;
  for (; cameras->GetFrameInquire() != nullptr; ++records) {
    cameras->GetFrameInquire()->NextFrame();
  }
  return records;
}

uint32_t LengthIn(IMediaDesc& desc, const char* key) {
  return StoreOf<IExtendData>(desc, kExtendDataKey)->GetExtendDataLength(key);
}

bool HasNote(const IMediaDesc& desc, const char* key) {
  orlo::ValAny value;
  return desc.GetUserDataInquire()->Get(key, value) == 1;
}

/// A laid out picture with something in every store.
std::unique_ptr<IMediaDesc> FullDesc() {
  auto desc = std::make_unique<Yv12x>(1, 5);
  desc->SetWidthHeight(64, 64);
  desc->GetFrameSize();
  desc->QuerySubtitle()->SetText("a text that is too long to be kept in place");
  desc->GetUserDataConfig()->Set("note", std::string("kept"));
  desc->GetUserDataConfig()->Set("number", 1);
  const std::vector<uint8_t> block(2000);
  StoreOf<IExtendData>(*desc, kExtendDataKey)->SetExtendData(kPq, block.data(), 2000);
  StoreOf<IExtendData>(*desc, kExtendDataKey)->SetExtendData(kFace, block.data(), 10);
  auto* cameras = StoreOf<IVideoMultiCameraFrameManger>(*desc, kMultiCameraKey);
  cameras->GetFrameConfig()->AddFrame("A", 1, 2, 3);
  cameras->GetFrameConfig()->AddFrame("B", 4, 5, 6);
  return desc;
}

TEST_F(DescMemoryTest, ADescriptionIsMadeWholeOrNotAtAll) {
  struct Case {
    uint32_t media_type;
    int32_t smt;
  };
  for (const Case& row : {Case{1, 1}, Case{2, 20001}, Case{2, 30000}, Case{5, 45}}) {
    SCOPED_TRACE(row.smt);
    RunOut([] { return std::unique_ptr<IMediaDesc>(); },
           [&](auto& made) { made.reset(NUXMivareMediaDescCreateEx(row.media_type, row.smt)); },
           [](auto& made, bool fired) { EXPECT_EQ(made == nullptr, fired); });
  }
  const Yv12x source(1, 1);
  RunOut([] { return std::shared_ptr<IMediaDesc>(); },
         [&](auto& made) { made = CreateDescLike(source); },
         [](auto& made, bool fired) { EXPECT_EQ(made == nullptr, fired); });
}

TEST_F(DescMemoryTest, ACloneIsWholeOrNull) {
  struct Copy {
    std::unique_ptr<IMediaDesc> source = FullDesc();
    std::unique_ptr<IMediaDesc> alone;
    std::shared_ptr<IMediaDesc> shared;
  };
  const auto check = [](IMediaDesc& source, IMediaDesc* clone, bool fired) {
    ASSERT_EQ(clone == nullptr, fired);
    EXPECT_TRUE(HasNote(source, "note"));
    EXPECT_EQ(LengthIn(source, kPq), 2000U);
    if (fired) return;
    EXPECT_TRUE(HasNote(*clone, "note"));
    EXPECT_EQ(LengthIn(*clone, kPq), 2000U);
    EXPECT_EQ(RecordsIn(*clone), 3);
    EXPECT_EQ(RecordsIn(source), 0);
  };
  RunOut([] { return Copy(); }, [](Copy& copy) { copy.alone.reset(copy.source->Clone()); },
         [&](Copy& copy, bool fired) { check(*copy.source, copy.alone.get(), fired); });
  RunOut([] { return Copy(); }, [](Copy& copy) { copy.shared = copy.source->CloneShared(); },
         [&](Copy& copy, bool fired) { check(*copy.source, copy.shared.get(), fired); });
}

TEST_F(DescMemoryTest, ALayoutNeedsNoMemory) {
  Yv12x desc(1, 1);
  desc.SetWidthHeight(64, 64);
  const FailingNew failing(1);
  EXPECT_EQ(desc.GetFrameSize(), 6144);
  EXPECT_FALSE(failing.fired());
}

TEST_F(DescMemoryTest, CopyingPropertiesLeavesWholeBlocks) {
  struct Copy {
    std::unique_ptr<IMediaDesc> source = FullDesc();
    Yv12x destination{1, 1};
  };
  RunOut(
      [] { return std::make_unique<Copy>(); },
      [](auto& copy) { NUXMivareCopyMediaExtraProperty(&copy->destination, copy->source.get()); },
      [](auto& copy, bool fired) {
        const uint32_t pq = LengthIn(copy->destination, kPq);
        const uint32_t face = LengthIn(copy->destination, kFace);
        EXPECT_TRUE(pq == 2000U || (fired && pq == 0U)) << pq;
        EXPECT_TRUE(face == 10U || (fired && face == 0U)) << face;
      });
}

TEST_F(DescMemoryTest, CopyingUserDataLetsNoExceptionOut) {
  struct Copy {
    std::unique_ptr<IMediaDesc> source = FullDesc();
    Yv12x destination{1, 1};
  };
  RunOut([] { return std::make_unique<Copy>(); },
         [](auto& copy) { NUXMivareCopyUserData(&copy->destination, copy->source.get()); },
         [](auto& copy, bool fired) {
           EXPECT_EQ(HasNote(copy->destination, "note"), !fired);
           EXPECT_EQ(HasNote(copy->destination, "number"), !fired);
         });

  struct Merge {
    std::unique_ptr<IMediaDesc> source = FullDesc();
    BitsDesc destination{10000};
    bool merged = false;
  };
  RunOut([] { return std::make_unique<Merge>(); },
         [](auto& merge) { merge->merged = merge->destination.CopyFrom(*merge->source); },
         [](auto& merge, bool fired) {
           EXPECT_EQ(merge->merged, !fired);
           EXPECT_EQ(HasNote(merge->destination, "note"), !fired);
           EXPECT_EQ(merge->destination.GetMediaType(), 5U);
         });
}

// The stores themselves pass the failure on and stay as they were.
template <class Operation>
bool Throws(Operation operation) {
  try {
    operation();
    return false;
  } catch (const std::bad_alloc&) {
    return true;
  }
}

TEST_F(DescMemoryTest, StoresThrowAndStayAsTheyWere) {
  RunOut(
      [] {
        auto map = std::make_shared<UserDataMap>();
        map->Set("key", orlo::ValAny(1));
        return std::pair(map, false);
      },
      [](auto& work) {
        work.second = Throws([&] { work.first->Set("key", std::vector<int>{2}); });
      },
      [](auto& work, bool fired) {
        EXPECT_EQ(work.second, fired);
        orlo::ValAny value;
        ASSERT_EQ(work.first->Get("key", value), 1);
        EXPECT_EQ(value.GetTag(), fired ? 6U : 256U);
      });

  RunOut(
      [] {
        auto store = MakeExtendData();
        const uint8_t byte = 1;
        store->SetExtendData("old", &byte, 1);
        return std::pair(store, false);
      },
      [](auto& work) {
        static const uint8_t bytes[100] = {};
        work.second = Throws([&] {
          work.first->SetExtendData("old", bytes, 100);
          work.first->SetExtendData("new", bytes, 100);
        });
      },
      [](auto& work, bool fired) {
        EXPECT_EQ(work.second, fired);
        const uint32_t old_length = work.first->GetExtendDataLength("old");
        const uint32_t new_length = work.first->GetExtendDataLength("new");
        EXPECT_TRUE(old_length == 100U || (fired && old_length == 1U)) << old_length;
        EXPECT_EQ(new_length, fired ? 0U : 100U);
      });
}

TEST_F(DescMemoryTest, CopiesBetweenManagersFail) {
  struct Volumes {
    std::shared_ptr<ITrackAudioVolumeManager> source = MakeAudioVolumeManager();
    std::shared_ptr<ITrackAudioVolumeManager> destination = MakeAudioVolumeManager();
    int32_t status = 1;
  };
  RunOut(
      [] {
        Volumes volumes;
        volumes.source->GetVolumeConfig()->AddVolume("a", {1, 2});
        volumes.source->GetVolumeConfig()->AddVolume("b", {3});
        return volumes;
      },
      [](Volumes& volumes) {
        volumes.status =
            NUXMivareCopyAudioVolumeData(volumes.source.get(), volumes.destination.get());
      },
      [](Volumes& volumes, bool fired) { EXPECT_EQ(volumes.status, fired ? -1 : 0); });

  struct Cameras {
    std::shared_ptr<IVideoMultiCameraFrameManger> source = MakeMultiCameraManager();
    std::shared_ptr<IVideoMultiCameraFrameManger> destination = MakeMultiCameraManager();
    int32_t status = 1;
  };
  RunOut(
      [] {
        Cameras cameras;
        cameras.source->GetFrameConfig()->AddFrame("A", 1, 2, 3);
        return cameras;
      },
      [](Cameras& cameras) {
        cameras.status =
            NUXMivareCopyVideoMultiCameraFrame(cameras.source.get(), cameras.destination.get());
      },
      [](Cameras& cameras, bool fired) { EXPECT_EQ(cameras.status, fired ? -1 : 0); });
}

}  // namespace
}  // namespace mivare::test
