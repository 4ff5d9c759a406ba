// The CPU allocator's pools under churn: audio with changing limits, and the one pool that all
// formats without a key share.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include "allocator.h"
#include "buffer2d.h"
#include "mivare/helper.h"
#include "stress/scenario.h"
#include "support/request.h"
#include "support/together.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

struct Memory {
  uint64_t all = 1;
  uint64_t free = 1;
};

Memory StatusOf(IAllocator& allocator) {
  Memory memory;
  EXPECT_EQ(allocator.GetMemoryStatus(memory.all, memory.free), 0);
  return memory;
}

class AudioStress : public Scenario {
 protected:
  void TearDown() override {
    library_.Close();
    Scenario::TearDown();
  }

  WorkerClock clock_;
  Library library_{&gpu_};
};

// Whether an audio buffer holds `count` bytes of this value and nothing else.
bool Holds(IMediaBuffer& audio, uint8_t value, int32_t count) {
  const LockedBuffer locked(audio);
  if (!locked.ok() || locked.pitch(0) != count) return false;
  const std::vector<uint8_t> expected(static_cast<size_t>(count), value);
  return std::memcmp(locked.plane(0), expected.data(), expected.size()) == 0;
}

TEST_F(AudioStress, ChurnsWithChangingLimitsStatusAndClearFromFourThreads) {
  constexpr uint32_t kLimits[] = {0, 4095, 4096};
  std::atomic<int> running{4};
  Together(5, [&](int thread) {
    if (thread == 4) {
      while (running > 0) {
        At("a pass amid audio");
        clock_.Pass();
      }
      return;
    }
    const MediaDescPtr requests[] = {AudioRequest(), AudioRequest(20006), AudioRequest(20005)};
    Dice dice(thread);
    for (int i = 0; i < Rounds(400); ++i) {
      At("using audio while limits change");
      Manager().SetMemoryLimit(kLimits[dice.Throw(3)]);
      const auto audio = Manager().Alloc(requests[dice.Throw(3)].get(), nullptr, nullptr);
      ASSERT_NE(audio, nullptr);
      const auto value = static_cast<uint8_t>(1 + thread * 16 + i % 16);
      // Every so often more than the first block holds.
      const std::vector<uint8_t> bytes(static_cast<size_t>(i % 50 == 0 ? 30'000 : 1'000), value);
      const auto size = static_cast<int32_t>(bytes.size());
      ASSERT_EQ(audio->SetData(bytes.data(), size), 0);
      ASSERT_TRUE(audio->AppendData(bytes.data(), static_cast<uint32_t>(size)));
      const Memory memory = StatusOf(Manager());
      EXPECT_LE(memory.free, memory.all);
      EXPECT_GT(memory.all, 0U) << "one is out";
      if (i % 16 == thread) Manager().clear();
      EXPECT_TRUE(Holds(*audio, value, 2 * size));
    }
    --running;
  });
  Manager().clear();
  EXPECT_EQ(StatusOf(Manager()).all, 0U);
  EXPECT_EQ(StatusOf(Manager()).free, 0U);
}

TEST_F(AudioStress, ALimitOf4096MegabytesIsNoneAnd4095Is) {
  const MediaDescPtr request = AudioRequest();
  for (const uint32_t megabytes : {0U, 4095U, 4096U}) {
    library_.Close();
    library_.Open(&gpu_);
    Manager().SetMemoryLimit(megabytes);
    MeetingPoint all_out(4);
    Together(4, [&](int) {
      const auto audio = Manager().Alloc(request.get(), nullptr, nullptr);
      EXPECT_NE(audio, nullptr);
      all_out.Meet();
    });
    const Memory dropped = StatusOf(Manager());
    EXPECT_GT(dropped.all, 0U);
    EXPECT_EQ(dropped.all, dropped.free);
    clock_.Pass();
    EXPECT_EQ(StatusOf(Manager()).free, megabytes == 4095 ? dropped.free : 0) << megabytes;
    clock_.Pass();
    EXPECT_EQ(StatusOf(Manager()).all, 0U) << "idle for 200 ms";
  }
}

// Formats of every type that have no key, and, behind them, two kinds for which no buffer is made:
// they can only be served by what others left.
constexpr struct {
  uint32_t media_type;
  int32_t smt;
} kKeyless[] = {
    {1, 5},  {1, 10}, {1, 21}, {1, 44}, {1, 49}, {1, 72},    {1, 73}, {1, 77},
    {1, 78}, {5, 60}, {5, 65}, {5, 70}, {5, 76}, {2, 20005}, {3, 5},  {4, 20100},
};

using KeylessStress = Scenario;

TEST_F(KeylessStress, OneBufferServesEveryTypeAndSize) {
  const std::shared_ptr<IAllocatorEx> cpu = MakeCpuAllocator();
  const IMediaBuffer* first = nullptr;
  for (const auto& kind : kKeyless) {
    const MediaDescPtr request = Describe(kind.media_type, kind.smt, 64, 64);
    if (request == nullptr) continue;
    const auto buffer = cpu->Alloc(request.get(), nullptr, nullptr);
    if (first == nullptr) first = buffer.get();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer.get(), first) << kind.media_type << "/" << kind.smt;
  }
}

TEST_F(KeylessStress, BuffersAreSharedAcrossTypesAndSizesAndNeverByTwoAtOnce) {
  constexpr int kThreads = 6;
  constexpr size_t kHeld = 2;
  const std::shared_ptr<IAllocatorEx> cpu = MakeCpuAllocator();
  std::mutex mutex;
  std::set<const IMediaBuffer*> buffers;
  std::atomic<int> served{0};
  Together(kThreads, [&](int thread) {
    struct Held {
      std::shared_ptr<IMediaBuffer> buffer;
      std::vector<uint8_t> contents;
    };
    std::array<Held, kHeld> held;
    Dice dice(thread);
    // The bytes that the buffer says it has, as plane 0 begins.
    const auto bytes_of = [](IMediaBuffer& buffer) {
      const int32_t size = buffer.GetDesc(0)->GetFrameSize();
      return dynamic_cast<Buffer2d*>(&buffer) != nullptr && size > 0 ? static_cast<size_t>(size)
                                                                     : 0;
    };
    const auto same = [&](const Held& one) {
      const LockedBuffer locked(*one.buffer);
      return one.contents.empty() ||
             std::memcmp(locked.plane(0), one.contents.data(), one.contents.size()) == 0;
    };
    for (int i = 0; i < Rounds(500); ++i) {
      At("using a buffer of the keyless pool");
      const auto& kind = kKeyless[dice.Throw(static_cast<int>(std::size(kKeyless)))];
      const MediaDescPtr request =
          Describe(kind.media_type, kind.smt, 2 + 2 * dice.Throw(60), 2 + 2 * dice.Throw(60));
      if (request == nullptr) continue;
      Held& place = held[static_cast<size_t>(dice.Throw(kHeld))];
      if (place.buffer != nullptr) {
        EXPECT_TRUE(same(place));
      }
      place = {};
      place.buffer = cpu->Alloc(request.get(), nullptr, nullptr);
      if (place.buffer == nullptr) continue;  // of a kind that is never made
      ++served;
      {
        const std::lock_guard lock(mutex);
        buffers.insert(place.buffer.get());
      }
      const LockedBuffer locked(*place.buffer, true);
      if (!locked.ok() || locked.plane(0) == nullptr) continue;
      place.contents.assign(bytes_of(*place.buffer), static_cast<uint8_t>(thread * 32 + i % 32));
      if (place.contents.empty()) continue;
      std::memcpy(locked.plane(0), place.contents.data(), place.contents.size());
    }
  });
  EXPECT_LE(buffers.size(), kThreads * kHeld) << "made only when every other one is out";
  EXPECT_GT(served, static_cast<int>(kThreads * kHeld));
  const Memory memory = StatusOf(*cpu);
  EXPECT_EQ(memory.all, memory.free);
}

}  // namespace
}  // namespace mivare::test
