// Many threads on one library. What these tests check by themselves is little: they are there for
// the sanitizers, and end only when nobody waits for ever.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "allocator_mgr.h"
#include "blank_pool.h"
#include "hybrid_frame.h"
#include "hybrid_frame_allocator.h"
#include "mivare/user_data.h"
#include "support/fake_clock.h"
#include "support/fake_gpu.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/together.h"
#include "support/trovel_balance.h"

namespace mivare::test {
namespace {

constexpr int kThreads = 8;

void Touch(IMediaBuffer& frame) {
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  if (frame.Lock(planes, pitches, nullptr, nullptr) == 0 && planes[0] != nullptr) {
    ++planes[0][0];
    frame.Unlock();
  }
  frame.GetDesc(0)->GetUserDataConfig()->Set("touched", 1);
}

class AllocatorStress : public testing::Test {
 protected:
  TrovelBalance balance_;
  LogCapture log_;
  FakeGpu gpu_;
};

TEST_F(AllocatorStress, EightThreadsShareOneRequestWhileTheWorkerTrims) {
  FakeClock clock;
  const std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(&gpu_);
  const MediaDescPtr host = VideoRequest(1, 64, 64);
  const MediaDescPtr device = VideoRequest(1, 64, 64, 1);
  const MediaDescPtr blank = VideoRequest(1, 64, 64, 1);
  for (const MediaDescPtr* desc : {&host, &device, &blank}) {
    (*desc)->GetUserDataConfig()->Set("note", "a text that is too long for its string");
  }
  blank->GetUserDataConfig()->Set("Blank", 1);
  std::atomic<int> running{kThreads};
  std::thread time([&] {
    while (running > 0) {
      clock.Advance(101);
      std::this_thread::yield();
    }
  });
  Together(kThreads, [&](int thread) {
    std::vector<std::shared_ptr<IMediaBuffer>> held;
    for (int i = 0; i < 2000; ++i) {
      const MediaDescPtr& desc = i % 3 == 0 ? host : i % 3 == 1 ? device : blank;
      std::shared_ptr<IMediaBuffer> frame = allocator->Alloc(desc.get(), nullptr, nullptr);
      if (frame == nullptr) {
        ADD_FAILURE() << "request " << i << " of thread " << thread;
        break;
      }
      Touch(*frame);
      if (i % 5 == 0) frame->GetDesc(0)->GetUserDataConfig()->Set("Blank", 1);
      if (i % 7 == 0) held.push_back(frame->Clone(0));
      held.push_back(std::move(frame));
      if (held.size() > static_cast<size_t>(4 + thread)) held.erase(held.begin());
    }
    --running;
  });
  time.join();
}

TEST_F(AllocatorStress, ClearsAndLowGpuMemoryStormTheWorker) {
  FakeClock clock;
  const std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(&gpu_);
  const MediaDescPtr desc = VideoRequest(1, 64, 64, 1);
  Together(kThreads, [&](int thread) {
    for (int i = 0; i < 1000; ++i) {
      if (thread % 4 == 0) {
        allocator->clear();
      } else {
        gpu_.available = i % 2 == 0 ? 1 : 0;
        allocator->Alloc(desc.get(), nullptr, nullptr);
      }
    }
  });
}

TEST_F(AllocatorStress, FramesAreDroppedWhileTheAllocatorEnds) {
  for (int round = 0; round < 20; ++round) {
    FakeClock clock;
    std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(&gpu_);
    const MediaDescPtr desc = VideoRequest(1, 64, 64, 1);
    std::vector<std::vector<std::shared_ptr<IMediaBuffer>>> held(kThreads);
    for (auto& frames : held) {
      for (int i = 0; i < 20; ++i) {
        frames.push_back(allocator->Alloc(desc.get(), nullptr, nullptr));
      }
    }
    Together(kThreads + 1, [&](int thread) {
      if (thread == kThreads) {
        allocator.reset();
      } else {
        held[thread].clear();
      }
    });
    EXPECT_EQ(gpu_.lives(), 0);
  }
}

TEST_F(AllocatorStress, InitAndUninitUnderLoad) {
  IAllocatorEx* manager = nullptr;
  ASSERT_EQ(NUXMivareDefaultAllocatorAcquire(&manager), 0);
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  Together(kThreads, [&](int thread) {
    for (int i = 0; i < 300; ++i) {
      if (thread < 3) {
        NUXMivareDefaultAllocatorInit(&gpu_);
        manager->Alloc(desc.get(), nullptr, nullptr);
        NUXMivareDefaultAllocatorUninit();
        continue;
      }
      uint64_t all = 0;
      uint64_t free = 0;
      manager->GetMemoryStatus(all, free);
      manager->SetMemoryLimit(static_cast<uint32_t>(i));
      if (const auto frame = manager->Alloc(desc.get(), nullptr, nullptr)) Touch(*frame);
      if (i % 10 == 0) manager->clear();
    }
  });
  EXPECT_EQ(AllocatorMgrDecoImpl::Instance().Current(), nullptr);
}

TEST_F(AllocatorStress, OnePoolIsTakenFromAndPutToByMany) {
  const auto pool = std::make_shared<BlankPool>();
  std::atomic<int> reissued{0};
  Together(kThreads, [&](int thread) {
    const MediaDescPtr desc = VideoRequest(1, 64, 64);
    for (int i = 0; i < 3000; ++i) {
      std::unique_ptr<HybridBuffer> free(pool->Take());
      if (free != nullptr) {
        ++reissued;
        HybridBuffer::Reissue(desc.get(), std::move(free));
      } else {
        HybridBuffer::Create(DeviceFrame(gpu_, *desc), {}, {}, pool);
      }
      if (thread == 0) {
        FrameList out;
        pool->Release(i % 2 == 0, static_cast<uint64_t>(i), &out);
      }
      pool->IsFresh(0);
    }
  });
  EXPECT_GT(reissued, 0);
  pool->Release(true, 0, nullptr);
  EXPECT_EQ(gpu_.lives(), 0);
}

TEST_F(AllocatorStress, LazyFramesAreFirstUsedByMany) {
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(&gpu_), 0);
  IAllocatorEx* manager = nullptr;
  ASSERT_EQ(NUXMivareDefaultAllocatorAcquire(&manager), 0);
  constexpr int kRounds = 50;
  constexpr int kUsers = 16;
  for (int round = 0; round < kRounds; ++round) {
    const std::shared_ptr<IMediaBuffer> lazy =
        manager->AllocLazy(VideoRequest(1, 64, 64, round % 2).get());
    std::vector<IMediaDesc*> seen(kUsers);
    Together(kUsers, [&](int user) {
      if (user % 4 == 0) {
        lazy->Unlock();
        lazy->Flush();
      }
      if (user % 4 == 1) {
        EXPECT_NE(lazy->Clone(0), nullptr);
      }
      seen[static_cast<size_t>(user)] = lazy->GetDesc(0);
    });
    ASSERT_NE(seen[0], nullptr);
    for (const IMediaDesc* desc : seen) EXPECT_EQ(desc, seen[0]) << "one frame";
  }
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
}

}  // namespace
}  // namespace mivare::test
