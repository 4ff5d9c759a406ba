#include "awake_pools.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "blank_pool.h"
#include "buffer_base.h"
#include "frame_list.h"
#include "hybrid_frame.h"
#include "slot.h"
#include "support/fake_clock.h"
#include "support/fake_gpu.h"
#include "support/request.h"

namespace mivare::test {
namespace {

class AwakePoolsTest : public testing::Test {
 protected:
  /// Leaves a frame in the pool.
  void PutFrame(const std::shared_ptr<BlankPool>& pool) {
    HybridBuffer::Create(DeviceFrame(gpu_, *VideoRequest(1, 64, 64)), {}, {}, pool).reset();
  }
  uint64_t Now() { return static_cast<uint64_t>(clock_.WallMs()) * 1000; }

  FakeClock clock_;
  const FakeGpu gpu_{};
  const std::shared_ptr<AwakePools> all_ = std::make_shared<AwakePools>();
};

TEST_F(AwakePoolsTest, CountsEachPoolOnce) {
  Wakefulness one(all_);
  {
    Wakefulness other(all_);
    EXPECT_FALSE(all_->any());
    one.Wake();
    one.Wake();
    other.Wake();
    one.Sleep();
    one.Sleep();
    EXPECT_TRUE(all_->any());
  }  // a pool that goes is asleep
  EXPECT_FALSE(all_->any());
}

TEST_F(AwakePoolsTest, APoolOfFramesSleepsWhenATrimmingLeavesNone) {
  const auto pool = std::make_shared<BlankPool>(all_);
  EXPECT_FALSE(pool->awake());
  PutFrame(pool);
  EXPECT_TRUE(pool->awake());
  EXPECT_TRUE(pool->IsFresh(Now()));
  EXPECT_TRUE(pool->awake());
  clock_.Advance(301);
  FrameList out;
  pool->Release(false, Now(), &out);
  EXPECT_FALSE(pool->awake());
  EXPECT_FALSE(all_->any());
}

TEST_F(AwakePoolsTest, APoolWhoseFramesAreOutSleepsFromTheNextPassOn) {
  const auto pool = std::make_shared<BlankPool>(all_);
  PutFrame(pool);
  HybridBuffer* taken = pool->Take();
  EXPECT_TRUE(pool->awake());
  EXPECT_TRUE(pool->IsFresh(Now()));
  EXPECT_FALSE(pool->awake());
  ASSERT_TRUE(pool->Put(taken));
  EXPECT_TRUE(pool->awake());
  FrameList out;
  pool->Close(out);
  EXPECT_FALSE(pool->awake());
}

TEST_F(AwakePoolsTest, SurplusAloneKeepsAPoolAwake) {
  const auto pool = std::make_shared<BlankPool>(all_);
  std::vector<std::shared_ptr<IMediaBuffer>> frames;
  frames.reserve(33);
  for (int i = 0; i < 33; ++i) {
    frames.push_back(
        HybridBuffer::Create(DeviceFrame(gpu_, *VideoRequest(1, 64, 64)), {}, {}, pool));
  }
  frames.clear();
  for (int i = 0; i < 32; ++i) delete pool->Take();
  EXPECT_FALSE(pool->IsFresh(Now()));
  EXPECT_TRUE(pool->awake());
  FrameList out;
  pool->Release(false, Now(), &out);
  EXPECT_EQ(out.DestroyAll(), 1U);
  EXPECT_FALSE(pool->awake());
}

class PlainBuffer final : public BufferBase {
 public:
  using BufferBase::BufferBase;
  int32_t Lock(uint8_t**, int32_t*, void*, uint32_t*) override { return -2; }
  int32_t CopyFrom(IMediaBuffer*) override { return -1; }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t) override { return {}; }
};

TEST_F(AwakePoolsTest, ASlotSleepsWhenItIsCleared) {
  const auto slot = std::make_shared<Slot>(all_);
  EXPECT_FALSE(slot->awake());
  slot->Adopt(64);
  EXPECT_FALSE(slot->awake());
  ASSERT_TRUE(slot->Put(std::make_unique<PlainBuffer>(slot)));
  EXPECT_TRUE(slot->awake());
  EXPECT_EQ(slot->Clear(), 1U);
  EXPECT_FALSE(slot->awake());
  EXPECT_FALSE(all_->any());
}

}  // namespace
}  // namespace mivare::test
