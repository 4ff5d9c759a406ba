// What becomes of the size of a buffer that the CPU allocator's pools hand to another request.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <utility>

#include "allocator.h"
#include "mivare/media_desc.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"

namespace mivare::test {
namespace {

using Size = std::pair<uint32_t, uint32_t>;  // width, height

class AllocatorReuseTest : public testing::Test {
 protected:
  /// The size of the buffer that `first` left in its pool, once `second` has got it.
  Size SizeOfReused(IMediaDesc& first, IMediaDesc& second) {
    std::shared_ptr<IMediaBuffer> buffer = cpu_->Alloc(&first, nullptr, nullptr);
    EXPECT_NE(buffer, nullptr);
    const IMediaBuffer* address = buffer.get();
    buffer.reset();
    buffer = cpu_->Alloc(&second, nullptr, nullptr);
    EXPECT_EQ(buffer.get(), address);
    const IMediaDesc* desc = buffer->GetDesc(0);
    return {desc->GetWidth(), desc->GetHeight()};
  }

  LogCapture log_;
  TrovelBalance balance_;
  std::shared_ptr<IAllocatorEx> cpu_ = MakeCpuAllocator();
};

TEST_F(AllocatorReuseTest, ASubtitlePictureKeepsTheSizeItWasMadeFor) {
  const MediaDescPtr smaller = Describe(5, 45, 60, 50);
  const MediaDescPtr larger = Describe(5, 45, 64, 64);
  EXPECT_EQ(SizeOfReused(*smaller, *larger), (Size{60, 50}));
}

TEST_F(AllocatorReuseTest, AVideoFrameTakesTheSizeOfAnAudioRequest) {
  const MediaDescPtr video = Describe(1, 5, 64, 48);  // formats without a pool share one
  FakeDesc audio(2, 20005, 32, 16);
  EXPECT_EQ(SizeOfReused(*video, audio), (Size{32, 16}));
}

TEST_F(AllocatorReuseTest, AnAudioBufferTakesNoSizeOfAVideoRequest) {
  FakeDesc audio(2, 20005, 32, 16);
  const MediaDescPtr video = Describe(1, 5, 64, 48);
  EXPECT_EQ(SizeOfReused(audio, *video), (Size{32, 16}));
}

}  // namespace
}  // namespace mivare::test
