#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "mivare/allocator.h"
#include "mivare/media_sample.h"
#include "support/fake_buffer.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

class AudioSampleCountTest : public testing::Test {
 protected:
  ~AudioSampleCountTest() override { EXPECT_TRUE(log_.Lines().empty()); }

  /// For `channels` of 16-bit samples and a lock that reports `length` bytes.
  static float Count(uint32_t channels, int32_t length) {
    FakeDesc desc(2, 20002);
    desc.channels = channels;
    FakeBuffer buffer(&desc);
    buffer.pitches[0] = length;
    buffer.pitches[1] = 77;
    return NUXMivareGetAudioSampleCount(&buffer);
  }

  LogCapture log_;
};

TEST_F(AudioSampleCountTest, ANullBufferHasNone) {
  EXPECT_EQ(NUXMivareGetAudioSampleCount(nullptr), -1.0F);
}

TEST_F(AudioSampleCountTest, ABufferWithoutADescriptionHasNone) {
  FakeBuffer buffer;
  EXPECT_EQ(NUXMivareGetAudioSampleCount(&buffer), -1.0F);
  EXPECT_TRUE(buffer.lock_reasons.empty());
}

TEST_F(AudioSampleCountTest, VideoHasNone) {
  for (const uint32_t type : {0U, 1U, 3U, 5U}) {
    FakeDesc desc(type, 20001);
    FakeBuffer buffer(&desc);
    EXPECT_EQ(NUXMivareGetAudioSampleCount(&buffer), -1.0F) << type;
    EXPECT_TRUE(buffer.lock_reasons.empty());
  }
  const MediaDescPtr video = VideoRequest(1, 64, 64);
  FakeBuffer buffer(video.get());
  EXPECT_EQ(NUXMivareGetAudioSampleCount(&buffer), -1.0F);
}

TEST_F(AudioSampleCountTest, OnlyPcmFormatsAreCounted) {
  const struct {
    int32_t smt;
    float count;
  } cases[] = {{19999, -2.0F}, {20000, 1.0F}, {20001, 1.0F}, {29999, 1.0F},
               {30000, -2.0F}, {0, -2.0F},    {-1, -2.0F},   {INT32_MIN, -2.0F}};
  for (const auto& row : cases) {
    SCOPED_TRACE("smt " + std::to_string(row.smt));
    FakeDesc desc(2, row.smt);
    FakeBuffer buffer(&desc);
    buffer.pitches[0] = 4;  // two channels of 16 bits
    EXPECT_EQ(NUXMivareGetAudioSampleCount(&buffer), row.count);
  }
}

TEST_F(AudioSampleCountTest, AnAudioBitstreamIsNoPcm) {
  const MediaDescPtr desc = MakeMediaDesc(2, 30000);
  ASSERT_NE(desc, nullptr);
  FakeBuffer buffer(desc.get());
  EXPECT_EQ(NUXMivareGetAudioSampleCount(&buffer), -2.0F);
}

TEST_F(AudioSampleCountTest, DividesTheBytesByThoseOfAFrame) {
  const struct {
    const char* name;
    uint32_t channels;
    int32_t length;
    float count;
  } cases[] = {
      {"4096 bytes of two channels", 2, 4096, 1024.0F},
      {"nothing", 2, 0, 0.0F},
      {"a broken last frame", 2, 10, 2.5F},
      {"six channels", 6, 60, 5.0F},
      {"a negative length", 2, -8, -2.0F},
      {"the largest length, in single precision", 2, INT32_MAX, 536870912.0F},
      // 2^28 * 16 wraps to 0 before the shift: see the infinities; 2^28 + 2 leaves 32 bits
      {"a product that wraps", 0x10000002U, 8, 2.0F},
      // 0xFFFFFFFF * 16 = 0xFFFFFFF0, shifted right without a sign
      {"unsigned throughout", 0xFFFFFFFFU, 536870910, 1.0F},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Count(row.channels, row.length), row.count);
  }
}

TEST_F(AudioSampleCountTest, NoBytesPerFrameGiveInfinitiesAndNaN) {
  EXPECT_EQ(Count(0, 5), std::numeric_limits<float>::infinity());
  EXPECT_EQ(Count(0, -5), -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(Count(0, 0)));
  EXPECT_EQ(Count(0x10000000U, 5), std::numeric_limits<float>::infinity());
}

TEST_F(AudioSampleCountTest, LocksOnceForReadingAndUnlocks) {
  FakeDesc desc(2, 20001);
  FakeBuffer buffer(&desc);
  NUXMivareGetAudioSampleCount(&buffer);
  EXPECT_EQ(buffer.lock_reasons, (std::vector<void*>{nullptr}));
  EXPECT_EQ(buffer.unlocks, 1);
}

TEST_F(AudioSampleCountTest, ABufferThatCannotBeLockedHasNoBytes) {
  FakeDesc desc(2, 20001);
  FakeBuffer buffer(&desc);
  buffer.pitches[0] = 400;
  buffer.lock_status = -2;
  EXPECT_EQ(NUXMivareGetAudioSampleCount(&buffer), 0.0F);
}

TEST_F(AudioSampleCountTest, AnExceptionOfTheBufferStaysInside) {
  FakeDesc desc(2, 20001);
  FakeBuffer buffer(&desc);
  buffer.throws = true;
  EXPECT_EQ(NUXMivareGetAudioSampleCount(&buffer), -1.0F);
}

// 20002 and 20007 are 16-bit.
TEST(AudioSampleCountOnRealBuffers, CountsWhatAnAudioBufferHolds) {
  const TrovelBalance balance;
  WorkerClock clock;
  const LogCapture log;
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
  IAllocatorEx* manager = nullptr;
  ASSERT_EQ(NUXMivareDefaultAllocatorAcquire(&manager), 0);
  for (const int32_t smt : {20002, 20007}) {
    const MediaDescPtr desc = AudioRequest(smt);
    const auto buffer = manager->Alloc(desc.get(), nullptr, nullptr);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(NUXMivareGetAudioSampleCount(buffer.get()), 0.0F);
    const std::vector<uint8_t> bytes(4096);
    ASSERT_EQ(buffer->SetData(bytes.data(), 4096), 0);
    EXPECT_EQ(NUXMivareGetAudioSampleCount(buffer.get()), 1024.0F);
  }
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
}

}  // namespace
}  // namespace mivare::test
