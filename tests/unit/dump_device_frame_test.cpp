// Dumps of frames in device memory, which are read through a copy that the host's allocator makes.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "mivare/allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/gpu_allocator.h"
#include "mivare/helper.h"
#include "support/fake_desc.h"
#include "support/host_frame.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/scratch_folder.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::Bytes;
using test::Describe;
using test::FakeDesc;
using test::HostFrame;
using test::LogCapture;
using test::PatternFrame;
using test::ScratchFolder;

// A host's GPU whose readable frames are like the one that dumps ask for, filled by a pattern of
// their own.
class ReadableGpu final : public IGpuAllocator {
 public:
  int32_t copy_status = 0;
  bool works = true;
  bool throws = false;

  MediaDescPtr request;  ///< what the last Alloc was asked for
  bool had_source = false;
  bool had_reserved = false;
  std::shared_ptr<HostFrame> given;

  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                      void* reserved) override {
    if (throws) throw 7;
    request.reset(desc->Clone());
    had_source = source != nullptr;
    had_reserved = reserved != nullptr;
    if (!works) return nullptr;
    given = PatternFrame(MediaDescPtr(desc->Clone()), 4);
    given->copy_status = copy_status;
    return given;
  }
  bool FillBlank(std::shared_ptr<IMediaBuffer>) override { return false; }
  bool Download(IMediaBuffer*, IMediaBuffer*) override { return false; }
  int64_t GetAvailableMemory() override { return 0; }
};

// Brings the library up for a scope.
class Library {
 public:
  explicit Library(IGpuAllocator* gpu) { NUXMivareDefaultAllocatorInit(gpu); }
  ~Library() { NUXMivareDefaultAllocatorUninit(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

// A device frame whose own planes hold zeros, so that it shows which frame was dumped.
std::shared_ptr<HostFrame> DeviceFrame(MediaDescPtr desc) {
  desc->SetMemoryLocation(1);
  auto frame = PatternFrame(std::move(desc), 4);
  for (auto& plane : frame->memory) std::fill(plane.begin(), plane.end(), uint8_t{0});
  return frame;
}

const Bytes kOfTheCopy = {0x00, 0x01, 0x10, 0x11, 0x40, 0x41};
const Bytes kOfTheFrame = {0, 0, 0, 0, 0, 0};

TEST(DumpDeviceFrame, IsReadThroughACopyThatTheHostsAllocatorMakes) {
  for (const int32_t status : {0, 1}) {
    SCOPED_TRACE(status);
    const test::TrovelBalance balance;
    const ScratchFolder folder;
    const LogCapture log;
    ReadableGpu gpu;
    gpu.copy_status = status;
    {
      const Library library(&gpu);
      const auto frame = DeviceFrame(Describe(1, 6, 2, 2));
      NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
      ASSERT_NE(gpu.request, nullptr);
      EXPECT_EQ(gpu.request->GetPlatform(), 2u);
      EXPECT_EQ(gpu.request->GetTexType(), 6u);
      EXPECT_EQ(gpu.request->GetMemoryLocation(), 1u);
      EXPECT_FALSE(gpu.had_source);
      EXPECT_FALSE(gpu.had_reserved);
      EXPECT_EQ(gpu.given->copied_from, frame.get());
      EXPECT_EQ(gpu.given->locks, 1);
      EXPECT_EQ(frame->locks, 0);
      EXPECT_EQ(frame->desc->GetPlatform(), 0u);
      EXPECT_EQ(frame.use_count(), 1);
    }
    EXPECT_EQ(folder.Read("f.nv12"), kOfTheCopy);
    EXPECT_TRUE(log.AtLevel(6).empty());
  }
}

TEST(DumpDeviceFrame, IsReadThroughACopyForAnImageToo) {
  const test::TrovelBalance balance;
  const ScratchFolder folder;
  ReadableGpu gpu;
  const Library library(&gpu);
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), DeviceFrame(Describe(1, 45, 1, 2)));
  const Bytes file = folder.Read("f.bmp");
  ASSERT_EQ(file.size(), 54u + 8);
  EXPECT_EQ(Bytes(file.begin() + 54, file.end()),
            (Bytes{0x10, 0x11, 0x12, 0x13, 0x00, 0x01, 0x02, 0x03}));
}

TEST(DumpDeviceFrame, IsDumpedItselfWhenTheCopyFails) {
  for (const int32_t status : {-2, -1, 2}) {
    SCOPED_TRACE(status);
    const test::TrovelBalance balance;
    const ScratchFolder folder;
    const LogCapture log;
    ReadableGpu gpu;
    gpu.copy_status = status;
    {
      const Library library(&gpu);
      NUXMivareDumpMediaBuffer(folder.File("f").c_str(), DeviceFrame(Describe(1, 6, 2, 2)));
    }
    EXPECT_EQ(folder.Read("f.nv12"), kOfTheFrame);
    EXPECT_EQ(log.Count(6, "error! file[mivare/dump_image] line[730]"), 1);
  }
}

TEST(DumpDeviceFrame, IsDumpedItselfWhenThereIsNoFrameForTheCopy) {
  const test::TrovelBalance balance;
  const std::string line = "error! file[mivare/dump_image] line[724]";
  ReadableGpu gpu;
  for (const bool throws : {false, true}) {
    SCOPED_TRACE(throws);
    gpu.works = false;
    gpu.throws = throws;
    const ScratchFolder folder;
    const LogCapture log;
    {
      const Library library(&gpu);
      NUXMivareDumpMediaBuffer(folder.File("f").c_str(), DeviceFrame(Describe(1, 6, 2, 2)));
    }
    EXPECT_EQ(folder.Read("f.nv12"), kOfTheFrame);
    EXPECT_EQ(log.Count(6, line), 1);
  }
  const ScratchFolder folder;
  const LogCapture log;
  NUXMivareDumpMediaBuffer(folder.File("before").c_str(), DeviceFrame(Describe(1, 6, 2, 2)));
  EXPECT_EQ(folder.Read("before.nv12"), kOfTheFrame);
  EXPECT_EQ(log.Count(6, line), 1);
}

TEST(DumpDeviceFrame, IsDumpedItselfWhenItsDescriptionCannotBeCloned) {
  const ScratchFolder folder;
  const LogCapture log;
  auto desc = std::make_unique<FakeDesc>(1, 6, 2, 2);
  desc->cloneable = false;
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), DeviceFrame(MediaDescPtr(desc.release())));
  EXPECT_EQ(folder.Read("f.nv12"), kOfTheFrame);
  EXPECT_EQ(log.Count(6, "error! file[mivare/dump_image] line[716]"), 1);
  EXPECT_EQ(log.Lines().size(), 1u);
}

TEST(DumpDeviceFrame, DestroysTheDescriptionOfItsRequest) {
  const ScratchFolder folder;
  const LogCapture log;
  auto desc = std::make_unique<FakeDesc>(1, 6, 2, 2);
  const std::shared_ptr<int> alive = desc->alive;
  const auto frame = DeviceFrame(MediaDescPtr(desc.release()));
  NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
  EXPECT_EQ(alive.use_count(), 2);  // this one and the frame's
}

}  // namespace
}  // namespace mivare
