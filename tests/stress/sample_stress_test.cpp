// Many threads on one sample. What matters is what the sanitizers see, and that every thread ends.
#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include "mivare/media_sample.h"
#include "support/fake_buffer.h"

namespace mivare::test {
namespace {

class Cloneable final : public FakeBuffer {
 public:
  std::shared_ptr<IMediaBuffer> Clone(uint32_t) override { return std::make_shared<Cloneable>(); }
};

TEST(SampleStress, TheListIsUsedByMany) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 500;
  const auto sample = NUXMivareMediaSampleCreate(1, 2, 3, nullptr);
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      start.arrive_and_wait();
      for (int i = 0; i < kRounds; ++i) {
        sample->AddBuffer(std::make_shared<Cloneable>());
        const uint32_t count = sample->GetBufferCount();
        if (const auto buffer = sample->GetBuffer(count / 2)) buffer->GetDesc(0);
        if (i % 16 == 0) {
          const auto copy = sample->Clone();
          EXPECT_EQ(copy->GetParam3(), 3U);
          for (uint32_t k = 0; k < copy->GetBufferCount(); ++k) {
            EXPECT_NE(copy->GetBuffer(k), nullptr);
          }
        }
        if (i % 64 == thread) sample->ClearBuffers();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sample->ClearBuffers(), 0);
  EXPECT_EQ(sample->GetBufferCount(), 0U);
}

}  // namespace
}  // namespace mivare::test
