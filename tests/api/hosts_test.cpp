// Hosts implement the interfaces too. Each class here overrides every operation with the exact
// types the headers give, is destroyed through the interface, and where the library calls hosts'
// objects, is called by it.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "mivare/mivare.h"

namespace mivare {
namespace {

int alive = 0;

// Counts the living, so that a destructor which is not virtual shows.
struct Counted {
  Counted() { ++alive; }
  ~Counted() { --alive; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
};

class HostSubtitle final : public ISubtitleDesc {
 public:
  int32_t GetFirstPair(uint32_t* a, uint32_t* b) const override {
    *a = *b = 1;
    return 0;
  }
  int32_t GetSecondPair(uint32_t* a, uint32_t* b) const override {
    *a = *b = 2;
    return 0;
  }
  const char* GetText() const override { return "host"; }
  int32_t SetFirstPair(uint32_t, uint32_t) override { return 0; }
  int32_t SetSecondPair(const uint32_t*, const uint32_t*) override { return 0; }
  void SetText(const char*) override {}

 private:
  Counted counted_;
};

class HostDesc final : public IMediaDesc {
 public:
  uint32_t GetMediaType() const override { return 1; }
  int32_t GetSmt() const override { return 45; }
  int32_t GetMediaTypeAndSmt(uint32_t*, uint32_t*) const override { return -1; }
  uint32_t GetTag() const override { return 1; }
  void SetTag(uint32_t) override {}
  uint32_t GetWidth() const override { return 16; }
  void SetWidthHeight(int32_t, int32_t) override {}
  uint32_t GetHeight() const override { return 9; }
  void SetDisplayAspectRatio(orlo::Rational value) override { ratio = value; }
  orlo::Rational GetDisplayAspectRatio() const override { return ratio; }
  uint32_t GetInterlace() const override { return interlace; }
  void SetInterlace(uint32_t value) override { interlace = value; }
  uint32_t GetRotation() const override { return rotation; }
  void SetRotation(uint32_t value) override { rotation = value; }
  uint32_t GetFilpType() const override { return filp; }
  void SetFilpType(uint32_t value) override { filp = value; }
  uint32_t GetBitDepth() const override { return 8; }
  void SetVideoSignalRange(uint32_t value) override { range = value; }
  uint32_t GetVideoSignalRange() const override { return range; }
  void SetVideoMatrix(uint32_t value) override { matrix = value; }
  uint32_t GetVideoMatrix() const override { return matrix; }
  void SetTransferCharacter(uint32_t value) override { transfer = value; }
  uint32_t GetTransferCharacter() const override { return transfer; }
  void SetColorPrimary(uint32_t value) override { primary = value; }
  uint32_t GetColorPrimary() const override { return primary; }
  void SetChannels(uint32_t) override {}
  uint32_t GetChannels() const override { return 0; }
  void SetChannelLayout(uint64_t) override {}
  uint64_t GetChannelLayout() const override { return 0; }
  void SetSampleRate(uint32_t) override {}
  uint32_t GetSampleRate() const override { return 0; }
  uint32_t GetBitsPerSample() const override { return 0; }
  IMediaDesc* Clone() const override { return nullptr; }
  int32_t SetPitches(const int32_t*) override { return -1; }
  int32_t GetPitches(int32_t*) const override { return -1; }
  uint32_t GetPlatform() const override { return 0; }
  void SetPlatform(uint32_t) override {}
  uint32_t GetTexType() const override { return 0; }
  void SetTexType(uint32_t) override {}
  uint32_t GetMemoryLocation() const override { return 0; }
  bool SetMemoryLocation(uint32_t) override { return true; }
  ISubtitleDesc* QuerySubtitle() override { return nullptr; }
  const ISubtitleDesc* QuerySubtitle() const override { return nullptr; }
  bool QueryIndex(uint32_t*) override { return false; }
  void Reserved() override {}
  IUserDataConfig* GetUserDataConfig() override { return nullptr; }
  IUserDataInquire* GetUserDataInquire() const override { return nullptr; }
  uint32_t GetColorSpace() const override { return space; }
  bool SetColorSpace(uint32_t value) override {
    space = value;
    return true;
  }
  void QueryProperty(const char*, void** out) override { *out = nullptr; }
  bool ResetPitches() override { return false; }
  int32_t GetFrameSize() override { return -1; }
  std::shared_ptr<IMediaDesc> CloneShared() const override { return nullptr; }
  bool CopyFrom(const IMediaDesc&) override { return false; }

  orlo::Rational ratio{1, 1};
  uint32_t interlace = 0;
  uint32_t rotation = 0;
  uint32_t filp = 0;
  uint32_t range = 0;
  uint32_t matrix = 0;
  uint32_t transfer = 0;
  uint32_t primary = 0;
  uint32_t space = 0;

 private:
  Counted counted_;
};

class HostBuffer final : public IMediaBuffer {
 public:
  int32_t Lock(uint8_t* [8], int32_t[8], void*, uint32_t*) override { return -2; }
  int32_t Unlock() override { return 0; }
  int32_t CopyFrom(IMediaBuffer*) override { return -1; }
  int32_t SetData(const uint8_t*, int32_t) override { return -1; }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t) override { return nullptr; }
  IMediaDesc* GetDesc(uint32_t) override { return nullptr; }
  int32_t SetDataSize(int32_t) override { return -1; }
  std::shared_ptr<void> QueryObject(uint32_t, uint64_t) override { return nullptr; }
  void* QueryNative(uint32_t) override { return nullptr; }
  bool IsDeviceMemory() override { return true; }
  bool AppendData(const uint8_t*, uint32_t) override { return false; }
  void Flush() override {}

 private:
  Counted counted_;
};

class HostAllocator final : public IAllocatorEx {
 public:
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc*, IMediaBuffer*, void*) override {
    return nullptr;
  }
  int32_t GetMemoryStatus(uint64_t&, uint64_t&) override { return -1; }
  void clear() override {}
  void SetMemoryLimit(uint32_t) override {}
  bool FillBlank(IMediaBuffer*) override { return false; }
  std::shared_ptr<IMediaBuffer> AllocLazy(IMediaDesc*) override { return nullptr; }
  void reduce_memory() override {}
  int64_t GetGpuAvailableMemory() override { return 0; }

 private:
  Counted counted_;
};

class HostGpuAllocator final : public IGpuAllocator {
 public:
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer*, void*) override {
    calls.push_back("Alloc " + std::to_string(desc->GetWidth()));
    return nullptr;
  }
  bool FillBlank(std::shared_ptr<IMediaBuffer>) override { return false; }
  bool Download(IMediaBuffer*, IMediaBuffer*) override { return false; }
  int64_t GetAvailableMemory() override {
    calls.emplace_back("GetAvailableMemory");
    return int64_t{3} << 30U;
  }

  std::vector<std::string> calls;

 private:
  Counted counted_;
};

class HostSample final : public IMediaSample {
 public:
  std::shared_ptr<IMediaSample> Clone() override { return nullptr; }
  uint64_t GetParam1() override { return 0; }
  void SetParam1(uint64_t) override {}
  uint64_t GetParam2() override { return 0; }
  void SetParam2(uint64_t) override {}
  uint64_t GetParam3() override { return 0; }
  void SetParam3(uint64_t) override {}
  uint32_t GetBufferCount() override { return 0; }
  std::shared_ptr<IMediaBuffer> GetBuffer(uint32_t) override { return nullptr; }
  int32_t AddBuffer(std::shared_ptr<IMediaBuffer>) override { return 0; }
  int32_t ClearBuffers() override { return 0; }

 private:
  Counted counted_;
};

class HostUserData final : public IUserDataInquire, public IUserDataConfig {
 public:
  int32_t Get(const char*, orlo::ValAny&) override { return 0; }
  bool Lock() override { return true; }
  int32_t Unlock() override { return 0; }
  uint32_t Enumerate(bool, std::string&, orlo::ValAny&) override { return kEnumerateRefused; }
  std::shared_ptr<IUserDataInquire> Clone() override { return nullptr; }
  int32_t Set(const char*, const orlo::ValAny&) override { return 0; }
  int32_t Remove(const char*) override { return 0; }
  int32_t Clear() override { return 0; }
  void CopyFrom(IUserDataInquire*) override {}

 private:
  Counted counted_;
};

class HostExtendData final : public IExtendData {
 public:
  uint32_t GetExtendDataLength(const char*) override { return 0; }
  bool GetExtendData(const char*, uint8_t*, int32_t*) override { return false; }
  bool SetExtendData(const char*, const uint8_t*, int32_t) override { return false; }
  void RemoveExtendData(const char*) override {}
  std::shared_ptr<IExtendData> Clone() override { return nullptr; }

 private:
  Counted counted_;
};

// One track, read once.
class HostVolumes final : public ITrackAudioVolumeManager,
                          public IAudioVolumeInquire,
                          public IAudioVolumeConfig {
 public:
  IAudioVolumeInquire* GetVolumeInquire() override { return this; }
  IAudioVolumeConfig* GetVolumeConfig() override { return this; }
  void Release() override {}
  IAudioVolumeInquire* NextVolume() override { return nullptr; }
  int32_t GetVolume(std::string& track, std::vector<uint64_t>& values) override {
    track = name;
    values = volumes;
    return 1;
  }
  bool AddVolume(const std::string& track, const std::vector<uint64_t>& values) override {
    name = track;
    volumes = values;
    return true;
  }
  int32_t ClearVolumes() override { return 0; }

  std::string name;
  std::vector<uint64_t> volumes;

 private:
  Counted counted_;
};

class HostCameras final : public IVideoMultiCameraFrameManger,
                          public IVideoMultiCameraFrameInquire,
                          public IVideoMultiCameraFrameConfig {
 public:
  struct Record {
    std::string name;
    uint32_t value1;
    uint32_t value2;
    uint64_t data;
  };

  IVideoMultiCameraFrameInquire* GetFrameInquire() override {
    return records.empty() ? nullptr : this;
  }
  IVideoMultiCameraFrameConfig* GetFrameConfig() override { return this; }
  void Release() override {}
  IVideoMultiCameraFrameInquire* NextFrame() override {
    if (records.empty()) return nullptr;
    records.erase(records.begin());
    return this;
  }
  int32_t GetFrame(std::string& name, uint32_t& value1, uint32_t& value2, uint64_t& data) override {
    if (records.empty()) return 0;
    const Record& newest = records.back();
    name = newest.name;
    value1 = newest.value1;
    value2 = newest.value2;
    data = newest.data;
    return 1;
  }
  bool AddFrame(const std::string& name, const uint32_t& value1, const uint32_t& value2,
                const uint64_t& data) override {
    records.push_back({name, value1, value2, data});
    return true;
  }
  int32_t ClearFrames() override {
    records.clear();
    return 0;
  }

  std::vector<Record> records;

 private:
  Counted counted_;
};

template <class Interface, class Host>
void ExpectDestroyedThrough() {
  static_assert(std::is_abstract_v<Interface>);
  const int before = alive;
  std::unique_ptr<Interface> object = std::make_unique<Host>();
  EXPECT_EQ(alive, before + 1);
  object.reset();
  EXPECT_EQ(alive, before);
}

TEST(Hosts, ObjectsAreDestroyedThroughTheirInterfaces) {
  ExpectDestroyedThrough<ISubtitleDesc, HostSubtitle>();
  ExpectDestroyedThrough<IMediaDesc, HostDesc>();
  ExpectDestroyedThrough<IMediaBuffer, HostBuffer>();
  ExpectDestroyedThrough<IAllocator, HostAllocator>();
  ExpectDestroyedThrough<IAllocatorEx, HostAllocator>();
  ExpectDestroyedThrough<IGpuAllocator, HostGpuAllocator>();
  ExpectDestroyedThrough<IMediaSample, HostSample>();
  ExpectDestroyedThrough<IUserDataInquire, HostUserData>();
  ExpectDestroyedThrough<IUserDataConfig, HostUserData>();
  ExpectDestroyedThrough<IExtendData, HostExtendData>();
  ExpectDestroyedThrough<ITrackAudioVolumeManager, HostVolumes>();
  ExpectDestroyedThrough<IAudioVolumeInquire, HostVolumes>();
  ExpectDestroyedThrough<IAudioVolumeConfig, HostVolumes>();
  ExpectDestroyedThrough<IVideoMultiCameraFrameManger, HostCameras>();
  ExpectDestroyedThrough<IVideoMultiCameraFrameInquire, HostCameras>();
  ExpectDestroyedThrough<IVideoMultiCameraFrameConfig, HostCameras>();
}

TEST(Hosts, UpdatesReachAHostsDescription) {
  HostDesc desc;
  NUXMivareMediaDescUpdateInterlace(&desc, 11);
  NUXMivareMediaDescUpdateRotation(&desc, 12);
  NUXMivareMediaDescUpdateFilpType(&desc, 13);
  NUXMivareMediaDescUpdateVideoSignalRange(&desc, 14);
  NUXMivareMediaDescUpdateVideoMatrix(&desc, 15);
  NUXMivareMediaDescUpdateTransferCharacter(&desc, 16);
  NUXMivareMediaDescUpdateColorPrimary(&desc, 17);
  EXPECT_EQ(desc.interlace, 11U);
  EXPECT_EQ(desc.rotation, 12U);
  EXPECT_EQ(desc.filp, 13U);
  EXPECT_EQ(desc.range, 14U);
  EXPECT_EQ(desc.matrix, 15U);
  EXPECT_EQ(desc.transfer, 16U);
  EXPECT_EQ(desc.primary, 17U);
}

TEST(Hosts, TheLibraryDestroysAHostsDescription) {
  const int before = alive;
  IMediaDesc* desc = new HostDesc;
  NUXMivareMediaDescDestroy(&desc);
  EXPECT_EQ(desc, nullptr);
  EXPECT_EQ(alive, before);
}

TEST(Hosts, ExtraPropertiesGoFromAHostsDescriptionToTheLibrarys) {
  HostDesc source;
  source.interlace = 21;
  source.rotation = 22;
  source.primary = 23;
  source.ratio = {16, 9};
  const MediaDescPtr destination = MakeMediaDesc(1, 1);
  ASSERT_NE(destination, nullptr);
  NUXMivareCopyMediaExtraProperty(destination.get(), &source);
  EXPECT_EQ(destination->GetInterlace(), 21U);
  EXPECT_EQ(destination->GetRotation(), 22U);
  EXPECT_EQ(destination->GetColorPrimary(), 23U);
  EXPECT_EQ(destination->GetDisplayAspectRatio(), (orlo::Rational{16, 9}));
}

TEST(Hosts, VolumesGoBetweenHostsManagers) {
  HostVolumes source;
  source.AddVolume("track", {1, 2, 3});
  HostVolumes destination;
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(&source, &destination), 0);
  EXPECT_EQ(destination.name, "track");
  EXPECT_EQ(destination.volumes, (std::vector<uint64_t>{1, 2, 3}));
}

TEST(Hosts, CameraRecordsGoBetweenHostsManagers) {
  HostCameras source;
  source.AddFrame("one", 1, 2, 3);
  HostCameras destination;
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(&source, &destination), 0);
  EXPECT_TRUE(source.records.empty());
  ASSERT_EQ(destination.records.size(), 2U);
  EXPECT_EQ(destination.records[0].name, "one");
  EXPECT_EQ(destination.records[0].value1, 1U);
  EXPECT_EQ(destination.records[0].value2, 2U);
  EXPECT_EQ(destination.records[0].data, 3U);
  EXPECT_EQ(destination.records[1].name, "");
  EXPECT_EQ(destination.records[1].value1, 1U);
}

TEST(Hosts, RequestsForDeviceMemoryReachTheGpuAllocator) {
  HostGpuAllocator gpu;
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(&gpu), 0);
  IAllocatorEx* allocator = nullptr;
  ASSERT_EQ(NUXMivareDefaultAllocatorAcquire(&allocator), 0);
  const MediaDescPtr desc = MakeMediaDesc(1, 45);
  ASSERT_NE(desc, nullptr);
  desc->SetWidthHeight(320, 180);
  desc->SetMemoryLocation(1);
  EXPECT_EQ(allocator->Alloc(desc.get(), nullptr, nullptr), nullptr);
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
  EXPECT_EQ(gpu.calls, (std::vector<std::string>{"GetAvailableMemory", "Alloc 320"}));
}

}  // namespace
}  // namespace mivare
