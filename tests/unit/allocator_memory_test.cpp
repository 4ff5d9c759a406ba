// The CPU allocator while memory runs out at every single point of a request, and a release path
// that needs none.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "allocator.h"
#include "mivare/helper.h"
#include "mivare/user_data.h"
#include "orlo/log.h"
#include "support/failing_new.h"
#include "support/fake_desc.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::FailingNew;
using test::FakeDesc;
using test::TrovelBalance;

// Log lines need memory too; here they go nowhere.
class AllocatorMemoryTest : public ::testing::Test {
 protected:
  AllocatorMemoryTest() : level_(orlo::SetDefaultLogLevel(INT32_MAX)) {}
  ~AllocatorMemoryTest() override { orlo::SetDefaultLogLevel(level_); }

  static MediaDescPtr Request(uint32_t media_type, int32_t smt) {
    MediaDescPtr desc = MakeMediaDesc(media_type, smt);
    desc->SetWidthHeight(64, 64);
    return desc;
  }

 private:
  int32_t level_;
};

TEST_F(AllocatorMemoryTest, ARequestSurvivesEveryFailure) {
  for (const MediaDescPtr& desc : {Request(1, 1), Request(2, 20001)}) {
    uint64_t nth = 0;
    bool fired = true;
    while (fired) {
      ++nth;
      SCOPED_TRACE(nth);
      TrovelBalance balance;
      const std::shared_ptr<IAllocatorEx> cpu = MakeCpuAllocator();
      std::shared_ptr<IMediaBuffer> buffer;
      {
        const FailingNew failing(nth);
        buffer = cpu->Alloc(desc.get(), nullptr, nullptr);
        fired = failing.fired();
      }
      ASSERT_TRUE(fired || buffer != nullptr) << "without a failure there is a buffer";
      uint64_t all = 0;
      uint64_t free = 0;
      cpu->GetMemoryStatus(all, free);
      EXPECT_EQ(free, buffer != nullptr ? 0 : all) << "what is counted is in use or pooled";
      EXPECT_NE(cpu->Alloc(desc.get(), nullptr, nullptr), nullptr) << "and life goes on";
    }
    EXPECT_GT(nth, 5U) << "a request is more than five allocations";
  }
}

TEST_F(AllocatorMemoryTest, AWarmRequestThatFailsGivesTheBufferBack) {
  TrovelBalance balance;
  FakeDesc desc(1, 1);
  const std::shared_ptr<IAllocatorEx> cpu = MakeCpuAllocator();
  cpu->Alloc(&desc, nullptr, nullptr).reset();
  bool fired = true;
  for (uint64_t nth = 1; fired; ++nth) {
    SCOPED_TRACE(nth);
    std::shared_ptr<IMediaBuffer> buffer;
    {
      const FailingNew failing(nth);
      buffer = cpu->Alloc(&desc, nullptr, nullptr);
      fired = failing.fired();
    }
    EXPECT_TRUE(fired || buffer != nullptr);
    buffer.reset();
    uint64_t all = 0;
    uint64_t free = 0;
    cpu->GetMemoryStatus(all, free);
    EXPECT_EQ(all, 4096U);
    EXPECT_EQ(free, 4096U);
  }
}

// With weak references to all earlier handles the room for their counts is taken, and each handle
// asks for memory.
TEST_F(AllocatorMemoryTest, ABufferWithoutMemoryForItsHandleIsBackInItsPool) {
  TrovelBalance balance;
  FakeDesc desc(1, 1);
  const std::shared_ptr<IAllocatorEx> cpu = MakeCpuAllocator();
  std::shared_ptr<IMediaBuffer> buffer = cpu->Alloc(&desc, nullptr, nullptr);
  IMediaBuffer* address = buffer.get();
  // The host's own note of the buffer, to be left alone: what is taken back was put there before.
  trovel::AddResource("Video Buffer", address);
  const size_t idle = trovel::CountResources("Video Buffer") - 1;
  std::vector<std::weak_ptr<IMediaBuffer>> weak{buffer};
  buffer.reset();
  int failures = 0;
  for (int round = 0; round < 3; ++round) {
    for (uint64_t nth = 1; buffer == nullptr; ++nth) {
      SCOPED_TRACE(nth);
      {
        const FailingNew failing(nth);
        buffer = cpu->Alloc(&desc, nullptr, nullptr);
        ASSERT_NE(failing.fired(), buffer != nullptr);
      }
      if (buffer == nullptr) {
        ++failures;
        EXPECT_EQ(trovel::CountResources("Video Buffer"), idle);
      }
    }
    EXPECT_EQ(buffer.get(), address);
    for (const auto& earlier : weak) EXPECT_TRUE(earlier.expired());
    weak.push_back(buffer);
    buffer.reset();
  }
  EXPECT_GE(failures, 3) << "one a round: for the second room, then from the heap";
  EXPECT_EQ(trovel::RemoveResource("Video Buffer", address), 0);
}

TEST_F(AllocatorMemoryTest, AReleaseAllocatesNothing) {
  TrovelBalance balance;
  std::shared_ptr<IAllocatorEx> cpu = MakeCpuAllocator();
  for (const MediaDescPtr& desc : {Request(1, 1), Request(2, 20001)}) {
    constexpr int kMany = 40;
    std::shared_ptr<IMediaBuffer> buffers[kMany];
    for (auto& buffer : buffers) {
      buffer = cpu->Alloc(desc.get(), nullptr, nullptr);
      buffer->GetDesc(0)->GetUserDataConfig()->Set("note", orlo::ValAny(1));
    }
    std::shared_ptr<IMediaBuffer> late = cpu->Alloc(desc.get(), nullptr, nullptr);
    {
      const FailingNew failing(1);
      for (auto& buffer : buffers) buffer.reset();
      EXPECT_FALSE(failing.fired());
    }
    cpu = MakeCpuAllocator();
    const FailingNew failing(1);
    late.reset();
    EXPECT_FALSE(failing.fired()) << "nor when the pool is gone";
  }
}

}  // namespace
}  // namespace mivare
