// Descriptions and stores of a host's own making, which do what those of the library never do.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "blank_pool.h"
#include "desc/yv12x.h"
#include "frame_key.h"
#include "hybrid_frame.h"
#include "mivare/allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/extend_data.h"
#include "mivare/multi_camera.h"
#include "support/fake_desc.h"
#include "support/fake_gpu.h"
#include "support/host_frame.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/scratch_folder.h"
#include "support/trovel_balance.h"
#include "user_data_map.h"

namespace mivare::test {
namespace {

/// Says any length of a block and gives what it likes.
class LooseStore final : public IExtendData {
 public:
  struct Block {
    uint32_t said;
    std::vector<uint8_t> given;  ///< empty: refuses
  };
  std::map<std::string, Block> blocks;
  std::vector<std::string> asked;

  uint32_t GetExtendDataLength(const char* key) override { return blocks[key].said; }
  bool GetExtendData(const char* key, uint8_t* destination, int32_t* length) override {
    asked.emplace_back(key);
    const std::vector<uint8_t>& given = blocks[key].given;
    if (given.empty() || *length < static_cast<int32_t>(given.size())) return false;
    std::copy(given.begin(), given.end(), destination);
    *length = static_cast<int32_t>(given.size());
    return true;
  }
  bool SetExtendData(const char*, const uint8_t*, int32_t) override { return false; }
  void RemoveExtendData(const char*) override {}
  std::shared_ptr<IExtendData> Clone() override { return nullptr; }
};

TEST(CopyMediaExtraProperty, TakesOfAHostsStoreWhatItReallyGives) {
  const LogCapture quiet;
  const std::string too_long = NUXMivareGetExtendKey(0);
  const std::string refused = NUXMivareGetExtendKey(1);
  const std::string shorter = NUXMivareGetExtendKey(2);
  LooseStore store;
  store.blocks[too_long] = {0x80000000U, {1}};
  store.blocks[refused] = {4, {}};
  store.blocks[shorter] = {4, {7, 8, 9}};
  FakeDesc source(1, 1);
  source.extend_data = static_cast<IExtendData*>(&store);
  desc::Yv12x destination(1, 1);
  NUXMivareCopyMediaExtraProperty(&destination, &source);

  EXPECT_EQ(store.asked, (std::vector<std::string>{refused, shorter}));
  void* copied = nullptr;
  destination.QueryProperty(kExtendDataKey, &copied);
  auto* to = static_cast<IExtendData*>(copied);
  EXPECT_EQ(to->GetExtendDataLength(too_long.c_str()), 0u);
  EXPECT_EQ(to->GetExtendDataLength(refused.c_str()), 0u);
  ASSERT_EQ(to->GetExtendDataLength(shorter.c_str()), 3u);
  std::vector<uint8_t> block(3);
  int32_t room = 3;
  EXPECT_TRUE(to->GetExtendData(shorter.c_str(), block.data(), &room));
  EXPECT_EQ(block, (std::vector<uint8_t>{7, 8, 9}));
}

TEST(FrameKeyTest, ADeviceFrameWithoutUserDataHasNoHints) {
  FakeDesc desc(1, 1, 64, 48);
  desc.memory_location = 1;
  EXPECT_EQ(FrameKey(desc, false).Text(),
            "type[G] fmt[1] plat[0] TexType[0] host[0] compatible[0] 64x48  blank=0");
}

class ThrowingDesc final : public FakeDesc {
 public:
  using FakeDesc::FakeDesc;
  IUserDataConfig* GetUserDataConfig() override { throw 7; }
};

TEST(HybridFrame, GoesWhenItsDescriptionThrowsOnTheWayBackToThePool) {
  const TrovelBalance balance;
  LogCapture log;
  const auto pool = std::make_shared<BlankPool>();
  auto storage = std::make_shared<HostFrame>(MediaDescPtr(new ThrowingDesc(1, 1)));
  const std::weak_ptr<HostFrame> watched = storage;
  std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Create(std::move(storage), {}, {}, pool);
  ASSERT_NE(frame, nullptr);
  frame.reset();
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(pool->Take(), nullptr);
  EXPECT_EQ(log.CountContaining("error! file[mivare/hybrid_frame] line["), 1);
}

TEST(HybridFrame, GoesBackToThePoolWithoutUserDataToClear) {
  const TrovelBalance balance;
  const auto pool = std::make_shared<BlankPool>();
  auto storage = std::make_shared<HostFrame>(MediaDescPtr(new FakeDesc(1, 1)));
  std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Create(std::move(storage), {}, {}, pool);
  const void* address = frame.get();
  frame.reset();
  const std::unique_ptr<HybridBuffer> pooled(pool->Take());
  EXPECT_EQ(pooled.get(), address);
}

TEST(HybridFrameAllocator, AFailedRequestThatIsNeitherVideoNorAudioIsLoggedByItsTypeAlone) {
  const LogCapture log;
  NUXMivareDefaultAllocatorInit(nullptr);
  IAllocatorEx* manager = nullptr;
  NUXMivareDefaultAllocatorAcquire(&manager);
  FakeDesc subtitle(5, 28);
  EXPECT_EQ(manager->Alloc(&subtitle, nullptr, nullptr), nullptr);
  EXPECT_EQ(log.Count(6, "mivare::hybrid_frame_allocator::Alloc mmt[5]"), 1);
  EXPECT_EQ(log.CountContaining("mivare::hybrid_frame_allocator::Alloc"), 1);
  EXPECT_EQ(log.CountContaining("mivare::allocator::Alloc"), 0);
  NUXMivareDefaultAllocatorUninit();
}

/// Its copies share its notes, unlike those of the library's, which lose the hints.
class NotedDesc final : public FakeDesc {
 public:
  using FakeDesc::FakeDesc;
  std::shared_ptr<UserDataMap> notes = std::make_shared<UserDataMap>();
  IMediaDesc* Clone() const override { return new NotedDesc(*this); }
  IUserDataInquire* GetUserDataInquire() const override { return notes.get(); }
};

TEST(DumpDeviceFrame, IsDumpedItselfWhenItsNotesAskForWhatCannotBe) {
  const TrovelBalance balance;
  const ScratchFolder folder;
  const LogCapture log;
  FakeGpu gpu;
  auto desc = std::make_unique<NotedDesc>(1, 6, 2, 2);
  desc->memory_location = 1;
  desc->notes->Set("PlatformCompatible", "no number");
  const auto frame = PatternFrame(MediaDescPtr(desc.release()), 2);
  NUXMivareDefaultAllocatorInit(&gpu);
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
  NUXMivareDefaultAllocatorUninit();
  EXPECT_EQ(folder.Read("f.nv12"), (Bytes{0x00, 0x01, 0x10, 0x11, 0x40, 0x41}));
  EXPECT_EQ(log.Count(6, "error! file[mivare/dump_image] line[724]"), 1);
  EXPECT_EQ(gpu.Count("Alloc"), 0);
}

/// Looks at a file when it is unlocked.
class WatchingFrame final : public HostFrame {
 public:
  WatchingFrame(MediaDescPtr description, const ScratchFolder& folder, std::string name)
      : HostFrame(std::move(description)), folder_(folder), name_(std::move(name)) {
    AddPlane(0, 4, 4, 2);
  }
  int32_t Unlock() override {
    size = folder_.Size(name_);
    return HostFrame::Unlock();
  }

  uintmax_t size = 0;

 private:
  const ScratchFolder& folder_;
  std::string name_;
};

TEST(DumpMedia, HasWrittenEverythingWhenItUnlocks) {
  const ScratchFolder folder;
  const auto picture = std::make_shared<WatchingFrame>(Describe(1, 6, 4, 2), folder, "f.nv12");
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), picture);
  EXPECT_EQ(picture->size, 8u);
  const auto sound = std::make_shared<WatchingFrame>(AudioRequest(), folder, "f.pcm");
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), sound);
  EXPECT_EQ(sound->size, 4u);
}

/// Its frames do not say what they are.
class SilentGpu final : public IGpuAllocator {
 public:
  std::shared_ptr<HostFrame> given;

  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc*, IMediaBuffer*, void*) override {
    given = std::make_shared<HostFrame>(nullptr);
    return given;
  }
  bool FillBlank(std::shared_ptr<IMediaBuffer>) override { return false; }
  bool Download(IMediaBuffer*, IMediaBuffer*) override { return false; }
  int64_t GetAvailableMemory() override { return 0; }
};

TEST(DumpDeviceFrame, IsDumpedItselfWhenItsCopyDoesNotSayWhatItIs) {
  const TrovelBalance balance;
  const ScratchFolder folder;
  const LogCapture log;
  SilentGpu gpu;
  auto desc = std::make_unique<FakeDesc>(1, 6, 2, 2);
  desc->memory_location = 1;
  const auto frame = PatternFrame(MediaDescPtr(desc.release()), 2);
  NUXMivareDefaultAllocatorInit(&gpu);
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
  NUXMivareDefaultAllocatorUninit();
  EXPECT_EQ(folder.Read("f.nv12"), (Bytes{0x00, 0x01, 0x10, 0x11, 0x40, 0x41}));
  EXPECT_EQ(log.Count(6, "error! file[mivare/dump_image] line[724]"), 1);
  ASSERT_NE(gpu.given, nullptr);
  EXPECT_EQ(gpu.given->locks, 0);
  EXPECT_EQ(gpu.given.use_count(), 1);
}

TEST(BufferMd5, OfAPictureThatIsNegativeOneWayIsRefusedEvenIfItHasNoBytes) {
  for (const auto& [width, height] : {std::pair(-1, 0), std::pair(0, -1)}) {
    SCOPED_TRACE(testing::Message() << width << " x " << height);
    HostFrame frame(Said(1, static_cast<uint32_t>(width), static_cast<uint32_t>(height)));
    frame.AddPlane(0, 16, 16, 1);
    std::string digest = "old";
    EXPECT_EQ(NUXMivareMediaBuffer2MD5(&frame, &digest), -1);
    EXPECT_EQ(digest, "old");
  }
}

/// Has a queue, but nothing in it to read.
class SilentCameras final : public IVideoMultiCameraFrameManger,
                            public IVideoMultiCameraFrameInquire,
                            public IVideoMultiCameraFrameConfig {
 public:
  std::vector<std::string> added;

  IVideoMultiCameraFrameInquire* GetFrameInquire() override { return this; }
  IVideoMultiCameraFrameConfig* GetFrameConfig() override { return this; }
  void Release() override {}
  IVideoMultiCameraFrameInquire* NextFrame() override { return nullptr; }
  int32_t GetFrame(std::string&, uint32_t&, uint32_t&, uint64_t&) override { return 0; }
  bool AddFrame(const std::string& name, const uint32_t& value1, const uint32_t& value2,
                const uint64_t& data) override {
    added.push_back("'" + name + "' " + std::to_string(value1) + " " + std::to_string(value2) +
                    " " + std::to_string(data));
    return true;
  }
  int32_t ClearFrames() override { return 0; }
};

TEST(CopyVideoMultiCameraFrame, OfAQueueThatGivesNothingIsARecordOfZeros) {
  SilentCameras source;
  SilentCameras destination;
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(&source, &destination), 0);
  EXPECT_EQ(destination.added, (std::vector<std::string>{"'' 0 0 0"}));
}

}  // namespace
}  // namespace mivare::test
