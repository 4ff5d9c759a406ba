#include "allocator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "audio_volume.h"
#include "buffer1d.h"
#include "buffer2d.h"
#include "mivare/helper.h"
#include "mivare/multi_camera.h"
#include "mivare/user_data.h"
#include "orlo/log.h"
#include "support/failing_blocks.h"
#include "support/fake_buffer.h"
#include "support/fake_clock.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::FailingBlocks;
using test::FakeBuffer;
using test::FakeClock;
using test::FakeDesc;
using test::LogCapture;
using test::TrovelBalance;

using Handle = std::shared_ptr<IMediaBuffer>;

constexpr uint64_t kFullHd = 3133440;  // bytes of an 8-bit 4:2:0 frame of 1920 x 1088

MediaDescPtr Video(int32_t smt, int32_t width, int32_t height) {
  MediaDescPtr desc = MakeMediaDesc(1, smt);
  desc->SetWidthHeight(width, height);
  return desc;
}

struct Memory {
  uint64_t all = 99;
  uint64_t free = 99;
  friend bool operator==(const Memory&, const Memory&) = default;
};
void PrintTo(const Memory& memory, std::ostream* out) {
  *out << "all " << memory.all << " free " << memory.free;
}

class AllocatorTest : public ::testing::Test {
 protected:
  Handle Alloc(IMediaDesc& desc, IMediaBuffer* source = nullptr) {
    return cpu->Alloc(&desc, source, nullptr);
  }
  Memory Status() {
    Memory memory;
    EXPECT_EQ(cpu->GetMemoryStatus(memory.all, memory.free), 0);
    return memory;
  }

  LogCapture log;
  FakeClock clock;
  TrovelBalance balance;  // behind the allocator's end: nothing may be left
  std::shared_ptr<IAllocatorEx> cpu = MakeCpuAllocator();
};

TEST_F(AllocatorTest, GivesAFrameWithItsOwnDescription) {
  const MediaDescPtr desc = Video(1, 1920, 1080);
  const Handle frame = Alloc(*desc);
  ASSERT_NE(frame, nullptr);
  EXPECT_NE(dynamic_cast<Buffer2d*>(frame.get()), nullptr);
  EXPECT_NE(frame->GetDesc(0), desc.get());
  EXPECT_EQ(frame->GetDesc(0)->GetWidth(), 1920U);
  EXPECT_EQ(Status(), (Memory{kFullHd, 0}));
}

TEST_F(AllocatorTest, OffersNothingThatBelongsToOthers) {
  const MediaDescPtr desc = Video(1, 64, 64);
  const Handle frame = Alloc(*desc);
  EXPECT_FALSE(cpu->FillBlank(frame.get()));
  EXPECT_FALSE(cpu->FillBlank(nullptr));
  EXPECT_EQ(cpu->AllocLazy(desc.get()), nullptr);
  EXPECT_EQ(cpu->GetGpuAvailableMemory(), 0);
}

TEST_F(AllocatorTest, RegistersUnderTheKindOfTheRequest) {
  struct Case {
    uint32_t media_type;
    int32_t smt;
    const char* kind;
  };
  const Case cases[] = {{1, 1, "Video Buffer"},        {1, 10000, "Video Buffer"},
                        {2, 20001, "Audio Buffer"},    {2, 30000, "Audio Buffer"},
                        {4, 1, "Stream Buffer"},  // cannot be made, is registered all the same
                        {5, 31100, "Subtitle Buffer"}, {3, 1, "Unknown Buffer"},
                        {6, 1, "Unknown Buffer"},      {0, 1, "Unknown Buffer"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.media_type) + " " + std::to_string(c.smt));
    cpu = MakeCpuAllocator();
    FakeDesc desc(c.media_type, c.smt);
    Handle handle = Alloc(desc);
    EXPECT_EQ(trovel::CountResources(c.kind), 1U);
    EXPECT_EQ(trovel::CountResources(nullptr), 1U);
    handle.reset();
    EXPECT_EQ(trovel::CountResources(nullptr), 0U);
  }
}

TEST_F(AllocatorTest, AVideoDescriptionOfSmt4GetsNoBufferAndOneOf10000ALinearOne) {
  const MediaDescPtr planar = Video(4, 64, 64);
  EXPECT_EQ(Alloc(*planar), nullptr);
  FakeDesc stream(1, 10000);
  EXPECT_NE(dynamic_cast<Buffer1d*>(Alloc(stream).get()), nullptr);
}

TEST_F(AllocatorTest, ReusesTheBufferReleasedLast) {
  const MediaDescPtr desc = Video(1, 64, 64);
  Handle a = Alloc(*desc);
  Handle b = Alloc(*desc);
  IMediaBuffer* last = a.get();
  b.reset();
  a.reset();
  EXPECT_EQ(Alloc(*desc).get(), last);
  EXPECT_EQ(Status(), (Memory{12288, 12288}));
}

TEST_F(AllocatorTest, SizesThatRoundAlikeShareAPool) {
  const MediaDescPtr smaller = Video(1, 1918, 1078);
  const MediaDescPtr larger = Video(1, 1920, 1080);
  Handle frame = Alloc(*smaller);
  IMediaBuffer* address = frame.get();
  EXPECT_EQ(frame->GetDesc(0)->GetWidth(), 1918U);
  frame.reset();
  frame = Alloc(*larger);
  EXPECT_EQ(frame.get(), address);
  EXPECT_EQ(frame->GetDesc(0)->GetWidth(), 1920U);
  EXPECT_EQ(frame->GetDesc(0)->GetHeight(), 1080U);
  EXPECT_EQ(Status(), (Memory{kFullHd, 0}));
  frame.reset();
  EXPECT_EQ(Alloc(*smaller)->GetDesc(0)->GetHeight(), 1078U);
}

TEST_F(AllocatorTest, FormatsWithoutAKeyShareOnePoolWhateverTheirSize) {
  const MediaDescPtr large = Video(5, 1920, 1080);
  const MediaDescPtr small = Video(5, 64, 48);
  Handle frame = Alloc(*large);
  ASSERT_NE(frame, nullptr);
  IMediaBuffer* address = frame.get();
  frame.reset();
  frame = Alloc(*small);
  EXPECT_EQ(frame.get(), address);
  EXPECT_EQ(frame->GetDesc(0)->GetWidth(), 64U);
  EXPECT_EQ(frame->GetDesc(0)->GetHeight(), 48U);
  EXPECT_EQ(log.CountContaining("_CreateMediaBuffer2D"), 1) << "one frame was made";
}

TEST_F(AllocatorTest, APooledFrameThatIsTooSmallKeepsItsSize) {
  const MediaDescPtr small = Video(5, 64, 64);
  const MediaDescPtr large = Video(5, 1920, 1080);
  Alloc(*small).reset();
  const Handle frame = Alloc(*large);
  EXPECT_EQ(frame->GetDesc(0)->GetWidth(), 64U);
  EXPECT_EQ(log.CountContaining("mivare::desc::VideoDescBase::SetWidthHeight"), 1);
}

TEST_F(AllocatorTest, AudioAndVideoWithoutKeysMeetInPool0) {
  FakeDesc audio(2, 20005);
  Handle buffer = Alloc(audio);
  ASSERT_NE(dynamic_cast<audio::AudioBuffer*>(buffer.get()), nullptr) << "made, though keyed 0";
  IMediaBuffer* address = buffer.get();
  buffer.reset();
  const MediaDescPtr video = Video(5, 64, 64);
  buffer = Alloc(*video);
  EXPECT_EQ(buffer.get(), address);
  EXPECT_EQ(trovel::CountResources("Video Buffer"), 1U) << "the kind is the request's";
}

TEST_F(AllocatorTest, ARecycledFrameCarriesNothingOfItsLastUser) {
  FakeDesc request(1, 1);
  const auto volumes = MakeAudioVolumeManager();
  request.audio_volumes = volumes.get();
  volumes->GetVolumeConfig()->AddVolume("track", {1});
  Alloc(request).reset();
  EXPECT_EQ(volumes->GetVolumeInquire(), nullptr);

  const MediaDescPtr desc = Video(1, 128, 128);
  Handle frame = Alloc(*desc);
  IMediaBuffer* address = frame.get();
  frame->GetDesc(0)->GetUserDataConfig()->Set("note", orlo::ValAny(1));
  void* store = nullptr;
  frame->GetDesc(0)->QueryProperty(kMultiCameraKey, &store);
  auto* cameras = static_cast<IVideoMultiCameraFrameManger*>(store);
  ASSERT_NE(cameras, nullptr);
  cameras->GetFrameConfig()->AddFrame("camera", 1, 2, 3);
  frame.reset();
  frame = Alloc(*desc);
  ASSERT_EQ(frame.get(), address);
  orlo::ValAny value;
  EXPECT_EQ(frame->GetDesc(0)->GetUserDataInquire()->Get("note", value), 0);
  EXPECT_EQ(cameras->GetFrameInquire(), nullptr);
}

TEST_F(AllocatorTest, ARecycledLinearBufferIsEmptyAndKeepsItsBlock) {
  const MediaDescPtr desc = MakeMediaDesc(2, 20001);
  Handle buffer = Alloc(*desc);
  const std::vector<uint8_t> bytes(30000, 7);
  ASSERT_EQ(buffer->SetData(bytes.data(), 30000), 0);
  buffer.reset();
  buffer = Alloc(*desc);
  const LockedBuffer locked(*buffer);
  EXPECT_EQ(locked.pitch(0), 0);
  EXPECT_EQ(locked.capacity(), 30000U);
}

TEST_F(AllocatorTest, CopiesTheSourceIntoNewAndReusedBuffers) {
  const MediaDescPtr desc = MakeMediaDesc(2, 20001);
  std::vector<uint8_t> bytes{1, 2, 3};
  FakeBuffer source;
  source.planes[0] = bytes.data();
  source.pitches[0] = 3;
  for (int round = 0; round < 2; ++round) {
    const Handle buffer = Alloc(*desc, &source);
    const LockedBuffer locked(*buffer);
    ASSERT_EQ(locked.pitch(0), 3);
    EXPECT_EQ(locked.plane(0)[2], 3);
  }
  EXPECT_EQ(log.Lines().size(), 0U);
}

TEST_F(AllocatorTest, ASourceThatThrowsFailsTheRequestAndLosesNothing) {
  const MediaDescPtr desc = MakeMediaDesc(2, 20001);
  FakeBuffer source;
  source.throws = true;
  for (int round = 0; round < 2; ++round) EXPECT_EQ(Alloc(*desc, &source), nullptr);
  EXPECT_EQ(Status(), (Memory{20000, 20000})) << "the one buffer is back in its pool";
}

TEST_F(AllocatorTest, AFailedVideoRequestIsANullHandleWithARegistration) {
  const Handle failed = Alloc(*Video(28, 1920, 1080));
  EXPECT_EQ(failed.get(), nullptr);
  EXPECT_EQ(failed.use_count(), 1);
  EXPECT_EQ(trovel::CountResources("Video Buffer"), 1U);
  ASSERT_EQ(log.Lines().size(), 2U);
  EXPECT_EQ(log.Lines()[0].text, "system memory error! file[mivare/allocator] line[158]");
  EXPECT_EQ(log.Lines()[1].text, "mivare::allocator::Alloc cpu video: smt[28]w[1920]h[1080]");
  EXPECT_EQ(log.AtLevel(6).size(), 2U);
  EXPECT_EQ(Status(), (Memory{0, 0}));
}

TEST_F(AllocatorTest, AFailedAudioRequestPrintsRateAndChannelsOnePlaceEarly) {
  FakeDesc desc(2, 20099);
  desc.sample_rate = 44100;
  desc.channels = 6;
  EXPECT_EQ(Alloc(desc), nullptr);
  ASSERT_EQ(log.AtLevel(6).size(), 2U);
  EXPECT_EQ(log.Count(6, "system memory error! file[mivare/allocator] line[158]"), 1);
  const std::regex pattern(
      R"(mivare::allocator::Alloc cpu audio: smt\[44100\]samplerate\[6\]ch\[-?[0-9]+\])");
  EXPECT_TRUE(std::regex_match(log.AtLevel(6)[1].text, pattern)) << log.AtLevel(6)[1].text;
}

TEST_F(AllocatorTest, OtherFailedRequestsLogTheCreationAlone) {
  for (const uint32_t media_type : {0U, 3U, 4U, 5U, 6U}) {
    FakeDesc desc(media_type, 999);
    EXPECT_EQ(Alloc(desc), nullptr);
  }
  EXPECT_EQ(log.Lines().size(), 5U);
  EXPECT_EQ(log.Count(6, "system memory error! file[mivare/allocator] line[158]"), 5);
}

TEST_F(AllocatorTest, NullIsAFailedRequestOfNoKind) {
  const Handle failed = cpu->Alloc(nullptr, nullptr, nullptr);
  EXPECT_EQ(failed, nullptr);
  EXPECT_EQ(trovel::CountResources("Unknown Buffer"), 1U);
  EXPECT_EQ(log.Count(6, "system memory error! file[mivare/allocator] line[158]"), 1);
}

TEST_F(AllocatorTest, SurvivesEveryFailingBlockAndRecovers) {
  const MediaDescPtr requests[] = {Video(1, 64, 64), Video(1, 1920, 1080), MakeMediaDesc(2, 20001)};
  for (const MediaDescPtr& desc : requests) {
    {
      const FailingBlocks failing;
      EXPECT_EQ(Alloc(*desc), nullptr);
    }
    EXPECT_EQ(Status(), (Memory{0, 0}));
    EXPECT_NE(Alloc(*desc), nullptr);
    cpu = MakeCpuAllocator();
  }
  EXPECT_EQ(log.AtLevel(7).size(), 3U);
}

TEST_F(AllocatorTest, ABufferReleasedAfterTheAllocatorIsDestroyed) {
  FakeDesc desc(1, 1);
  Handle frame = Alloc(desc);
  EXPECT_EQ(desc.Alive(), 2);
  cpu.reset();
  EXPECT_EQ(trovel::CountResources("Video Buffer"), 1U);
  EXPECT_EQ(desc.Alive(), 2);
  frame.reset();
  EXPECT_EQ(trovel::CountResources("Video Buffer"), 0U);
  EXPECT_EQ(desc.Alive(), 1);
}

TEST_F(AllocatorTest, PooledBuffersGoWithTheAllocator) {
  FakeDesc desc(1, 1);
  Alloc(desc).reset();
  EXPECT_EQ(desc.Alive(), 2);
  cpu.reset();
  EXPECT_EQ(desc.Alive(), 1);
}

TEST_F(AllocatorTest, StatusSumsTheSlots) {
  const MediaDescPtr video = Video(1, 1920, 1080);
  const MediaDescPtr audio = MakeMediaDesc(2, 20001);
  EXPECT_EQ(Status(), (Memory{0, 0}));
  const Handle live = Alloc(*video);
  Alloc(*video).reset();
  const Handle sound = Alloc(*audio);
  EXPECT_EQ(Status(), (Memory{2 * kFullHd + 20000, kFullHd}));
}

TEST_F(AllocatorTest, ASlotCountsEveryBufferAtTheSizeOfItsFirst) {
  const MediaDescPtr small = Video(5, 64, 64);  // 6144 samples of 2 bytes
  const MediaDescPtr large = Video(5, 1920, 1080);
  const Handle a = Alloc(*small);
  const Handle b = Alloc(*large);
  EXPECT_EQ(Status(), (Memory{24576, 0}));
}

TEST_F(AllocatorTest, ABufferThatKnowsNoSizeCountsNothing) {
  FakeDesc desc(2, 30000);
  desc.frame_sizes = {-1};
  const Handle buffer = Alloc(desc);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(Status(), (Memory{0, 0}));
}

TEST_F(AllocatorTest, ClearKeepsLiveBuffersAndLogsDecimalMegabytes) {
  const MediaDescPtr desc = Video(1, 1920, 1080);
  const Handle live = Alloc(*desc);
  Alloc(*desc).reset();
  log.Clear();
  cpu->clear();
  EXPECT_EQ(Status(), (Memory{kFullHd, 0}));
  // 6266880 and 3133440 bytes, then 3133440 and none.
  ASSERT_EQ(log.Lines().size(), 2U);
  EXPECT_EQ(log.Lines()[0].text, "mivare::allocator::clear before status all[6]mb, free[3]mb");
  EXPECT_EQ(log.Lines()[1].text, "mivare::allocator::clear done. status all[3]mb, free[0]mb");
  EXPECT_EQ(log.AtLevel(4).size(), 2U);
}

TEST_F(AllocatorTest, ReduceClearsSlotsThatNobodyTookFromFor200Ms) {
  cpu->SetMemoryLimit(4095);
  const MediaDescPtr idle = Video(1, 1920, 1080);
  const MediaDescPtr busy = MakeMediaDesc(2, 20001);
  Alloc(*idle).reset();
  Alloc(*busy).reset();
  log.Clear();
  clock.Advance(199);
  cpu->reduce_memory();
  EXPECT_EQ(Status(), (Memory{kFullHd + 20000, kFullHd + 20000}));
  EXPECT_TRUE(log.Lines().empty());
  Alloc(*busy).reset();
  clock.Advance(1);
  cpu->reduce_memory();
  EXPECT_EQ(Status(), (Memory{20000, 20000}));
  EXPECT_EQ(log.Count(4, "mivare::allocator::reduce_memory all[0MB] free[0MB]"), 1);
  EXPECT_EQ(log.Lines().size(), 1U);
  cpu->reduce_memory();
  EXPECT_EQ(log.Lines().size(), 1U) << "nothing was released, nothing is said";
}

TEST_F(AllocatorTest, ReduceLogsBinaryMegabytesOfWhatIsLeft) {
  cpu->SetMemoryLimit(4095);
  const MediaDescPtr desc = Video(1, 1920, 1080);
  const Handle a = Alloc(*desc);
  const Handle b = Alloc(*desc);
  Alloc(*desc).reset();
  log.Clear();
  clock.Advance(200);
  cpu->reduce_memory();
  // 6266880 bytes are 5.98 MiB.
  EXPECT_EQ(log.Count(4, "mivare::allocator::reduce_memory all[5MB] free[0MB]"), 1);
}

TEST_F(AllocatorTest, ReduceLogsWhatBusySlotsHoldBeforeTheLimitTakesIt) {
  for (const uint32_t limit : {4095U, 0U}) {
    cpu = MakeCpuAllocator();
    cpu->SetMemoryLimit(limit);
    Alloc(*MakeMediaDesc(2, 20001)).reset();
    clock.Advance(200);
    Alloc(*Video(1, 1920, 1080)).reset();
    log.Clear();
    cpu->reduce_memory();
    // 3133440 bytes are 2.99 MiB.
    EXPECT_EQ(log.Count(4, "mivare::allocator::reduce_memory all[2MB] free[2MB]"), 1) << limit;
    EXPECT_EQ(Status().all, limit > 0 ? kFullHd : 0);
  }
}

TEST_F(AllocatorTest, ReduceEmptiesEveryPoolByDefault) {
  const MediaDescPtr desc = Video(1, 1920, 1080);
  Alloc(*desc).reset();
  log.Clear();
  cpu->reduce_memory();
  EXPECT_EQ(Status(), (Memory{0, 0}));
  EXPECT_TRUE(log.Lines().empty()) << "a limit is no idleness";
}

TEST_F(AllocatorTest, AnswersLogSinksWhileItReports) {
  struct Asker {
    IAllocatorEx* cpu;
    int answers = 0;
    static void Ask(void* context, const char*, int32_t, const char*) {
      auto* self = static_cast<Asker*>(context);
      Memory memory;
      if (self->cpu->GetMemoryStatus(memory.all, memory.free) == 0) ++self->answers;
    }
  } asker{cpu.get()};
  Alloc(*Video(1, 1920, 1080)).reset();
  const uint64_t sink = orlo::AddLogSink(&Asker::Ask, &asker);
  clock.Advance(200);
  cpu->reduce_memory();
  cpu->clear();
  orlo::RemoveLogSink(sink);
  EXPECT_EQ(asker.answers, 3);
}

// Three buffers that say they have a given size, one of them pooled.
TEST_F(AllocatorTest, ReduceClearsAboveTheLimitAndNotAtIt) {
  struct Case {
    uint32_t megabytes;
    int32_t bytes;  // of each of three buffers
    bool clears;
  };
  const Case cases[] = {
      {4095, 1431306240, false},  // 3 x 1431306240 = 4293918720 = 4095 << 20
      {4095, 1431306241, true},  {4094, 1431306240, true},
      {4096, 1, true},        // counts as 0
      {4097, 349525, false},  // counts as 1 MiB: 1048575 is below
      {4097, 349526, true},      {0, 1, true},
      {1, 349525, false},        {1, 349526, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.megabytes) + " " + std::to_string(c.bytes));
    cpu = MakeCpuAllocator();
    cpu->SetMemoryLimit(c.megabytes);
    FakeDesc desc(1, 1);
    desc.frame_sizes = {64, c.bytes};  // for the block, then for the count
    const Handle a = Alloc(desc);
    const Handle b = Alloc(desc);
    Alloc(desc).reset();
    const auto unit = static_cast<uint64_t>(c.bytes);
    EXPECT_EQ(Status(), (Memory{3 * unit, unit}));
    cpu->reduce_memory();
    EXPECT_EQ(Status().free, c.clears ? 0 : unit);
  }
}

TEST_F(AllocatorTest, ServesManyThreadsWhileItIsReduced) {
  cpu->SetMemoryLimit(1);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      const MediaDescPtr desc = Video(1, 64 * (1 + t % 2), 64);
      for (int i = 0; i < 200; ++i) {
        const Handle frame = Alloc(*desc);
        ASSERT_NE(frame, nullptr);
        LockedBuffer locked(*frame);
        locked.plane(0)[0] = static_cast<uint8_t>(t);
        if (i % 16 == 0) cpu->reduce_memory();
        if (i % 50 == 0) cpu->clear();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const Memory memory = Status();
  EXPECT_EQ(memory.all, memory.free);
}

TEST(FrameMemoryManager, IsDeclaredOnly) {
  EXPECT_EQ(NUXMivareFrameMemoryManagerInit(3), 0);
  EXPECT_EQ(NUXMivareFrameMemoryManagerUnInit(), 0);
  int place = 0;
  auto* untouched = reinterpret_cast<IFrameMemoryManager*>(&place);
  IFrameMemoryManager* out = untouched;
  EXPECT_EQ(NUXMivareFrameMemoryManagerAcquire(&out), -1);
  EXPECT_EQ(out, untouched);
  EXPECT_EQ(NUXMivareFrameMemoryManagerAcquire(nullptr), -1);
}

}  // namespace
}  // namespace mivare
