#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "support/host_frame.h"
#include "support/request.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::AudioRequest;
using test::HostFrame;
using test::VideoRequest;
using Bytes = std::vector<uint8_t>;

// Eight bytes of ones, of which `valid` are said to be valid.
std::shared_ptr<HostFrame> Ones(MediaDescPtr desc, int32_t valid, uint32_t capacity) {
  auto buffer = std::make_shared<HostFrame>(std::move(desc));
  buffer->memory[0].assign(8, 1);
  buffer->planes[0] = buffer->memory[0].data();
  buffer->pitches[0] = valid;
  buffer->capacity = capacity;
  return buffer;
}

size_t Zeros(const HostFrame& buffer) {
  const Bytes& bytes = buffer.memory[0];
  const auto count = static_cast<size_t>(std::count(bytes.begin(), bytes.end(), 0));
  EXPECT_EQ(std::count(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(count), 0),
            static_cast<ptrdiff_t>(count))
      << "from the front";
  return count;
}

TEST(ZeroBuffer, ClearsTheValidBytesOfAnAudioBuffer) {
  const auto audio = Ones(AudioRequest(), 5, 8);
  EXPECT_EQ(NUXMivareZeroBuffer(audio.get()), 0);
  EXPECT_EQ(Zeros(*audio), 5U);
  EXPECT_EQ(audio->locks, 1);
  EXPECT_EQ(audio->unlocks, 1);
  EXPECT_FALSE(audio->lock_was_for_reading);
}

TEST(ZeroBuffer, ClearsNoMoreThanThereIs) {
  struct Case {
    int32_t valid;
    uint32_t capacity;
    size_t cleared;
  };
  for (const Case& row : {
           Case{8, 8, 8},
           Case{9, 8, 8},
           Case{INT32_MAX, 8, 8},
           Case{8, 3, 3},
           Case{8, 0x80000001, 8},
           Case{6, 0, 6},  // a buffer that does not tell
           Case{0, 8, 0},
           Case{-1, 8, 0},
           Case{INT32_MIN, 8, 0},
           Case{-1, 0, 0},
       }) {
    SCOPED_TRACE(testing::Message() << row.valid << " of " << row.capacity);
    const auto audio = Ones(AudioRequest(), row.valid, row.capacity);
    EXPECT_EQ(NUXMivareZeroBuffer(audio.get()), 0);
    EXPECT_EQ(Zeros(*audio), row.cleared);
    EXPECT_EQ(audio->unlocks, 1);
  }
}

TEST(ZeroBuffer, LeavesOtherMediaAsTheyAre) {
  MediaDescPtr descriptions[] = {VideoRequest(1, 2, 2), VideoRequest(45, 2, 1),
                                 MakeMediaDesc(5, 45), MakeMediaDesc(5, 31100)};
  for (MediaDescPtr& desc : descriptions) {
    ASSERT_NE(desc, nullptr);
    SCOPED_TRACE(desc->GetSmt());
    const auto buffer = Ones(std::move(desc), 8, 8);
    EXPECT_EQ(NUXMivareZeroBuffer(buffer.get()), 0);
    EXPECT_EQ(Zeros(*buffer), 0U);
    EXPECT_EQ(buffer->locks, 0);
  }
}

TEST(ZeroBuffer, RefusesWhatIsMissing) {
  EXPECT_EQ(NUXMivareZeroBuffer(nullptr), -1);
  HostFrame bare(nullptr);
  EXPECT_EQ(NUXMivareZeroBuffer(&bare), -1);
}

// Memory that belongs to a device.
class DeviceBuffer final : public HostFrame {
 public:
  using HostFrame::HostFrame;
  std::shared_ptr<void> QueryObject(uint32_t, uint64_t) override { return object; }
  std::shared_ptr<void> object = std::make_shared<int>(1);
};

TEST(ZeroBuffer, RefusesABufferWithAnObjectBehindItWhateverItsMedia) {
  for (const bool audio : {true, false}) {
    DeviceBuffer buffer(audio ? AudioRequest() : VideoRequest(1, 2, 2));
    EXPECT_EQ(NUXMivareZeroBuffer(&buffer), -1);
    EXPECT_EQ(buffer.locks, 0);
    buffer.object = nullptr;
    EXPECT_EQ(NUXMivareZeroBuffer(&buffer), 0);
  }
}

TEST(ZeroBuffer, ClearsNothingThatCannotBeLocked) {
  const auto audio = Ones(AudioRequest(), 8, 8);
  audio->lock_status = -2;
  EXPECT_EQ(NUXMivareZeroBuffer(audio.get()), 0);
  EXPECT_EQ(Zeros(*audio), 0U);
  EXPECT_EQ(audio->unlocks, 0);
}

TEST(ZeroBuffer, ClearsNothingWithoutABlock) {
  const auto audio = Ones(AudioRequest(), 8, 0);
  audio->planes[0] = nullptr;
  EXPECT_EQ(NUXMivareZeroBuffer(audio.get()), 0);
  EXPECT_EQ(audio->unlocks, 1);
}

TEST(ZeroBuffer, LetsNoExceptionOut) {
  const auto audio = Ones(AudioRequest(), 8, 8);
  audio->throws = true;
  EXPECT_EQ(NUXMivareZeroBuffer(audio.get()), -1);
}

TEST(ZeroBuffer, ClearsAudioOfTheLibrary) {
  const test::TrovelBalance balance;
  const auto allocator = MakeCpuAllocator();
  const MediaDescPtr desc = AudioRequest();
  const auto audio = allocator->Alloc(desc.get(), nullptr, nullptr);
  ASSERT_NE(audio, nullptr);
  const Bytes ones(100, 1);
  ASSERT_EQ(audio->SetData(ones.data(), 100), 0);
  ASSERT_EQ(audio->SetDataSize(60), 0);
  EXPECT_EQ(NUXMivareZeroBuffer(audio.get()), 0);
  {
    const LockedBuffer lock(*audio);
    EXPECT_EQ(Bytes(lock.plane(0), lock.plane(0) + 100), [] {
      Bytes bytes(100, 1);
      std::fill_n(bytes.begin(), 60, uint8_t{0});
      return bytes;
    }());
  }
  ASSERT_EQ(audio->SetDataSize(1 << 30), 0);  // more than the block holds
  EXPECT_EQ(NUXMivareZeroBuffer(audio.get()), 0);
  const LockedBuffer lock(*audio);
  EXPECT_EQ(lock.plane(0)[lock.capacity() - 1], 0);
}

}  // namespace
}  // namespace mivare
