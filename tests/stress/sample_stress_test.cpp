// Many threads on one sample. What matters is what the sanitizers see, and that every thread ends.
#include <gtest/gtest.h>

#include <memory>

#include "mivare/media_sample.h"
#include "support/fake_buffer.h"
#include "support/together.h"

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
  Together(kThreads, [&](int thread) {
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
  EXPECT_EQ(sample->ClearBuffers(), 0);
  EXPECT_EQ(sample->GetBufferCount(), 0U);
}

}  // namespace
}  // namespace mivare::test
