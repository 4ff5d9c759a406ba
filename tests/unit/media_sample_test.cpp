#include "mivare/media_sample.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mivare/allocator.h"
#include "mivare/helper.h"
#include "support/failing_new.h"
#include "support/fake_buffer.h"
#include "support/log_capture.h"
#include "support/recording_buffer.h"
#include "support/request.h"
#include "support/trovel_balance.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

class MediaSampleTest : public testing::Test {
 protected:
  ~MediaSampleTest() override { EXPECT_TRUE(log_.Lines().empty()) << "samples log nothing"; }

  /// A buffer whose clone is `clone`.
  static std::shared_ptr<RecordingBuffer> Cloning(std::shared_ptr<IMediaBuffer> clone) {
    auto buffer = std::make_shared<RecordingBuffer>();
    buffer->clone = std::move(clone);
    return buffer;
  }

  TrovelBalance balance_;
  LogCapture log_;
  std::shared_ptr<IMediaSample> sample_ = NUXMivareMediaSampleCreate(nullptr);
};

TEST_F(MediaSampleTest, StartsWithZerosAndNoBuffers) {
  EXPECT_EQ(sample_->GetParam1(), 0U);
  EXPECT_EQ(sample_->GetParam2(), 0U);
  EXPECT_EQ(sample_->GetParam3(), 0U);
  EXPECT_EQ(sample_->GetBufferCount(), 0U);
  EXPECT_EQ(sample_.use_count(), 1);
}

TEST_F(MediaSampleTest, StartsWithTheGivenValuesInTheirOrder) {
  const auto sample = NUXMivareMediaSampleCreate(1, UINT64_MAX, uint64_t{1} << 63U, nullptr);
  EXPECT_EQ(sample->GetParam1(), 1U);
  EXPECT_EQ(sample->GetParam2(), UINT64_MAX);
  EXPECT_EQ(sample->GetParam3(), uint64_t{1} << 63U);
  EXPECT_EQ(sample->GetBufferCount(), 0U);
}

TEST_F(MediaSampleTest, TheFactoriesLeaveTheErrorAlone) {
  int error = 77;
  EXPECT_NE(NUXMivareMediaSampleCreate(&error), nullptr);
  EXPECT_NE(NUXMivareMediaSampleCreate(1, 2, 3, &error), nullptr);
  EXPECT_EQ(error, 77);
}

TEST_F(MediaSampleTest, KeepsItsValuesBitForBit) {
  sample_->SetParam1(0x8000000000000001U);
  sample_->SetParam2(2);
  sample_->SetParam3(UINT64_MAX);
  EXPECT_EQ(sample_->GetParam1(), 0x8000000000000001U);
  EXPECT_EQ(sample_->GetParam2(), 2U);
  EXPECT_EQ(sample_->GetParam3(), UINT64_MAX);
}

TEST_F(MediaSampleTest, SharesBuffersInTheOrderTheyCame) {
  const auto first = std::make_shared<FakeBuffer>();
  const auto second = std::make_shared<FakeBuffer>();
  EXPECT_EQ(sample_->AddBuffer(first), 0);
  EXPECT_EQ(sample_->AddBuffer(second), 0);
  EXPECT_EQ(sample_->AddBuffer(first), 0) << "again";
  EXPECT_EQ(sample_->GetBufferCount(), 3U);
  EXPECT_EQ(sample_->GetBuffer(0), first);
  EXPECT_EQ(sample_->GetBuffer(1), second);
  EXPECT_EQ(sample_->GetBuffer(2), first);
  EXPECT_EQ(first.use_count(), 3);
}

TEST_F(MediaSampleTest, AnEmptyBufferIsIgnored) {
  sample_->AddBuffer(std::make_shared<FakeBuffer>());
  EXPECT_EQ(sample_->AddBuffer(nullptr), 0);
  EXPECT_EQ(sample_->GetBufferCount(), 1U);
}

TEST_F(MediaSampleTest, BehindTheLastBufferThereIsNone) {
  EXPECT_EQ(sample_->GetBuffer(0), nullptr);
  sample_->AddBuffer(std::make_shared<FakeBuffer>());
  EXPECT_NE(sample_->GetBuffer(0), nullptr);
  EXPECT_EQ(sample_->GetBuffer(1), nullptr);
  EXPECT_EQ(sample_->GetBuffer(UINT32_MAX), nullptr);
}

TEST_F(MediaSampleTest, ClearedBuffersSurviveWhereSomebodyElseHoldsThem) {
  const auto held = std::make_shared<FakeBuffer>();
  std::weak_ptr<FakeBuffer> dropped;
  {
    const auto only_in_the_sample = std::make_shared<FakeBuffer>();
    dropped = only_in_the_sample;
    sample_->AddBuffer(only_in_the_sample);
  }
  sample_->AddBuffer(held);
  EXPECT_FALSE(dropped.expired());
  EXPECT_EQ(sample_->ClearBuffers(), 0);
  EXPECT_EQ(sample_->GetBufferCount(), 0U);
  EXPECT_TRUE(dropped.expired());
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_EQ(sample_->ClearBuffers(), 0) << "again";
  sample_->AddBuffer(held);
  EXPECT_EQ(sample_->GetBufferCount(), 1U);
}

// Buffers whose end asks the sample they were in.
TEST_F(MediaSampleTest, ABufferMayComeBackToTheSampleThatDropsIt) {
  class Curious final : public FakeBuffer {
   public:
    explicit Curious(IMediaSample* sample) : sample_(sample) {}
    ~Curious() override { EXPECT_EQ(sample_->GetBufferCount(), 0U); }

   private:
    IMediaSample* sample_;
  };
  sample_->AddBuffer(std::make_shared<Curious>(sample_.get()));
  sample_->ClearBuffers();
}

TEST_F(MediaSampleTest, TheLastOwnerDropsTheBuffers) {
  const auto buffer = std::make_shared<FakeBuffer>();
  sample_->AddBuffer(buffer);
  std::shared_ptr<IMediaSample> other = sample_;
  sample_.reset();
  EXPECT_EQ(buffer.use_count(), 2);
  other.reset();
  EXPECT_EQ(buffer.use_count(), 1);
}

TEST_F(MediaSampleTest, CloneTakesTheValuesAndADeepCopyOfEachBuffer) {
  const auto first_copy = std::make_shared<FakeBuffer>();
  const auto second_copy = std::make_shared<FakeBuffer>();
  const auto first = Cloning(first_copy);
  const auto sample = NUXMivareMediaSampleCreate(1, 2, 3, nullptr);
  sample->AddBuffer(first);
  sample->AddBuffer(Cloning(second_copy));
  const std::shared_ptr<IMediaSample> copy = sample->Clone();
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, sample);
  EXPECT_EQ(first->calls, (std::vector<std::string>{"Clone 0"}));
  EXPECT_EQ(copy->GetParam1(), 1U);
  EXPECT_EQ(copy->GetParam2(), 2U);
  EXPECT_EQ(copy->GetParam3(), 3U);
  ASSERT_EQ(copy->GetBufferCount(), 2U);
  EXPECT_EQ(copy->GetBuffer(0), first_copy);
  EXPECT_EQ(copy->GetBuffer(1), second_copy);
  sample->ClearBuffers();
  sample->SetParam1(9);
  EXPECT_EQ(copy->GetBufferCount(), 2U);
  EXPECT_EQ(copy->GetParam1(), 1U);
}

TEST_F(MediaSampleTest, CloneLeavesOutWhatCannotBeCloned) {
  const auto last_copy = std::make_shared<FakeBuffer>();
  sample_->AddBuffer(Cloning(nullptr));
  sample_->AddBuffer(Cloning(last_copy));
  const std::shared_ptr<IMediaSample> copy = sample_->Clone();
  ASSERT_EQ(copy->GetBufferCount(), 1U);
  EXPECT_EQ(copy->GetBuffer(0), last_copy);
  EXPECT_EQ(sample_->GetBufferCount(), 2U);
}

// The lock is held while buffers are cloned: what another thread adds comes after the clone.
TEST_F(MediaSampleTest, CloneHoldsTheListThroughout) {
  class Cloner final : public FakeBuffer {
   public:
    std::shared_ptr<IMediaBuffer> Clone(uint32_t) override {
      other = std::thread([this] {
        started.set_value();
        sample->AddBuffer(std::make_shared<FakeBuffer>());
        done = true;
      });
      started.get_future().wait();
      EXPECT_FALSE(done);
      return std::make_shared<FakeBuffer>();
    }
    IMediaSample* sample = nullptr;
    std::thread other;
    std::promise<void> started;
    std::atomic<bool> done{false};
  };
  const auto cloner = std::make_shared<Cloner>();
  cloner->sample = sample_.get();
  sample_->AddBuffer(cloner);
  EXPECT_EQ(sample_->Clone()->GetBufferCount(), 1U);
  cloner->other.join();
  EXPECT_EQ(sample_->GetBufferCount(), 2U);
}

TEST_F(MediaSampleTest, AnExceptionOfABuffersCloneLeavesTheSampleUsable) {
  class Thrower final : public FakeBuffer {
   public:
    std::shared_ptr<IMediaBuffer> Clone(uint32_t) override { throw 7; }
  };
  sample_->AddBuffer(std::make_shared<Thrower>());
  EXPECT_THROW(sample_->Clone(), int);
  std::thread([&] { EXPECT_EQ(sample_->GetBufferCount(), 1U); }).join();
}

// Object and count are separate: dropping the sample gives the object's memory back although a weak
// handle stays. One allocation for both would show as one failing request instead of two.
TEST_F(MediaSampleTest, IsTwoAllocationsAndReportsEitherFailureAsAnException) {
  for (const bool with_values : {false, true}) {
    const auto create = [with_values](int* error) {
      return with_values ? NUXMivareMediaSampleCreate(1, 2, 3, error)
                         : NUXMivareMediaSampleCreate(error);
    };
    int error = 5;
    for (uint64_t nth = 1; nth <= 2; ++nth) {
      const FailingNew failing(nth);
      EXPECT_THROW(create(&error), std::bad_alloc) << nth;
    }
    const FailingNew failing(3);
    EXPECT_NE(create(&error), nullptr);
    EXPECT_FALSE(failing.fired());
    EXPECT_EQ(error, 5);
  }
}

TEST_F(MediaSampleTest, AddBufferWithoutMemoryLeavesTheListAsItWas) {
  const auto buffer = std::make_shared<FakeBuffer>();
  {
    const FailingNew failing(1);
    EXPECT_THROW(sample_->AddBuffer(buffer), std::bad_alloc);
  }
  EXPECT_EQ(sample_->GetBufferCount(), 0U);
  EXPECT_EQ(buffer.use_count(), 1);
  EXPECT_EQ(sample_->AddBuffer(buffer), 0);
}

TEST(MediaSampleOnRealFrames, ACloneSharesNothingWithItsSource) {
  const TrovelBalance balance;
  WorkerClock clock;
  const LogCapture log;
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
  IAllocatorEx* manager = nullptr;
  ASSERT_EQ(NUXMivareDefaultAllocatorAcquire(&manager), 0);
  {
    const auto sample = NUXMivareMediaSampleCreate(nullptr);
    sample->AddBuffer(manager->Alloc(VideoRequest(1, 64, 64).get(), nullptr, nullptr));
    sample->AddBuffer(manager->Alloc(AudioRequest().get(), nullptr, nullptr));
    const uint8_t bytes[3] = {1, 2, 3};
    ASSERT_EQ(sample->GetBuffer(1)->SetData(bytes, 3), 0);
    LockedBuffer(*sample->GetBuffer(0), true).plane(0)[0] = 200;
    const std::shared_ptr<IMediaSample> copy = sample->Clone();
    LockedBuffer(*sample->GetBuffer(0), true).plane(0)[0] = 100;
    sample->ClearBuffers();
    ASSERT_EQ(copy->GetBufferCount(), 2U);
    EXPECT_EQ(LockedBuffer(*copy->GetBuffer(0)).plane(0)[0], 200);
    EXPECT_EQ(LockedBuffer(*copy->GetBuffer(1)).pitch(0), 3);
  }
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
}

}  // namespace
}  // namespace mivare::test
