// A host whose GPU has little memory left.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "mivare/mivare.h"
#include "support/log_capture.h"

namespace mivare {
namespace {

class FullGpu final : public IGpuAllocator {
 public:
  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc*, IMediaBuffer*, void*) override {
    return nullptr;
  }
  bool FillBlank(std::shared_ptr<IMediaBuffer>) override { return false; }
  bool Download(IMediaBuffer*, IMediaBuffer*) override { return false; }
  int64_t GetAvailableMemory() override { return available; }

  int64_t available = 100 << 20;
};

// The first request of a process is no exception.
TEST(GpuMemory, IsReportedOnceWhenItIsLowFromTheStart) {
  const test::LogCapture log;
  FullGpu gpu;
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(&gpu), 0);
  IAllocatorEx* allocator = nullptr;
  ASSERT_EQ(NUXMivareDefaultAllocatorAcquire(&allocator), 0);
  const MediaDescPtr desc = MakeMediaDesc(1, 45);
  desc->SetWidthHeight(320, 180);
  desc->SetMemoryLocation(1);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(allocator->Alloc(desc.get(), nullptr, nullptr), nullptr);
  EXPECT_EQ(log.Count(4, "GPU Available 100MB Memory < 512MB,releae pool!!"), 1);
  gpu.available = 0;  // the episode is over
  EXPECT_EQ(allocator->Alloc(desc.get(), nullptr, nullptr), nullptr);
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
}

}  // namespace
}  // namespace mivare
