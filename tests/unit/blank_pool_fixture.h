// A pool of frames alone in the world, and a GPU that counts what lives.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "blank_pool.h"
#include "frame_list.h"
#include "hybrid_frame.h"
#include "support/fake_clock.h"
#include "support/fake_gpu.h"
#include "support/request.h"
#include "support/trovel_balance.h"

namespace mivare::test {

class BlankPoolTest : public testing::Test {
 protected:
  ~BlankPoolTest() override {
    FrameList left;
    pool_->Close(left);
  }

  uint64_t Now() { return static_cast<uint64_t>(clock_.WallMs()) * 1000; }
  int lives() const { return gpu_.lives(); }

  /// A frame out of any pool, which goes to the tested one when its handle is dropped.
  std::shared_ptr<IMediaBuffer> MakeFrame() {
    return HybridBuffer::Create(DeviceFrame(gpu_, *VideoRequest(1, 64, 64)), {}, {}, pool_);
  }
  /// Leaves `count` frames in the pool, in the order of the result.
  std::vector<IMediaBuffer*> Fill(int count) {
    std::vector<std::shared_ptr<IMediaBuffer>> handles;
    std::vector<IMediaBuffer*> frames;
    handles.reserve(static_cast<size_t>(count));
    frames.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) handles.push_back(MakeFrame());
    for (auto& handle : handles) {
      frames.push_back(handle.get());
      handle.reset();
    }
    return frames;
  }

  /// The only thread here gets back what it returned, in that order.
  void KeepTheOrder() {
    std::vector<IMediaBuffer*> expected = Fill(32);
    for (int i = 0; i < 70; ++i) {
      HybridBuffer* taken = pool_->Take();
      ASSERT_EQ(taken, expected.front());
      expected.erase(expected.begin());
      ASSERT_TRUE(pool_->Put(taken));
      expected.push_back(taken);
    }
  }

  TrovelBalance balance_;
  FakeClock clock_;
  FakeGpu gpu_;
  std::shared_ptr<BlankPool> pool_ = std::make_shared<BlankPool>();
};

}  // namespace mivare::test
