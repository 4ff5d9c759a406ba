#include "hybrid_frame_allocator.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "audio_desc.h"
#include "hybrid_frame.h"
#include "mivare/user_data.h"
#include "support/fake_gpu.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

constexpr int64_t kMiB = 1 << 20;

std::string Line(int line) {
  return "error! file[mivare/hybrid_frame_allocator] line[" + std::to_string(line) + "]";
}

class HybridFrameAllocatorTest : public testing::Test {
 protected:
  HybridFrameAllocatorTest() : allocator_(hybrid_frame_allocator::Create(&gpu_)) {}

  std::shared_ptr<IMediaBuffer> Alloc(const MediaDescPtr& desc, IMediaBuffer* source = nullptr) {
    return allocator_->Alloc(desc.get(), source, nullptr);
  }
  static MediaDescPtr Device(int32_t width = 64, int32_t height = 64) {
    return VideoRequest(1, width, height, 1);
  }
  static MediaDescPtr Blank(MediaDescPtr desc) {
    desc->GetUserDataConfig()->Set("Blank", 1);
    return desc;
  }
  static void MarkBlank(const std::shared_ptr<IMediaBuffer>& frame) {
    frame->GetDesc(0)->GetUserDataConfig()->Set("Blank", 1);
  }

  TrovelBalance balance_;
  WorkerClock clock_;
  LogCapture log_;
  FakeGpu gpu_;
  std::shared_ptr<IAllocator> allocator_;
};

TEST_F(HybridFrameAllocatorTest, AnEqualRequestGetsTheReleasedFrame) {
  std::shared_ptr<IMediaBuffer> frame = Alloc(VideoRequest(1, 1920, 1080));
  ASSERT_NE(frame, nullptr);
  EXPECT_NE(dynamic_cast<HybridBuffer*>(frame.get()), nullptr);
  const void* first = frame.get();
  frame.reset();
  EXPECT_EQ(Alloc(VideoRequest(1, 1920, 1080)).get(), first);
}

TEST_F(HybridFrameAllocatorTest, SizesAreNotRounded) {
  Alloc(Device(64, 64)).reset();
  const std::shared_ptr<IMediaBuffer> frame = Alloc(Device(63, 64));
  EXPECT_EQ(gpu_.Count("Alloc"), 2);
  EXPECT_EQ(frame->GetDesc(0)->GetWidth(), 63U);
}

TEST_F(HybridFrameAllocatorTest, HostAndDeviceFramesDoNotMix) {
  Alloc(VideoRequest(1, 64, 64)).reset();
  Alloc(Device()).reset();
  EXPECT_EQ(gpu_.Count("Alloc"), 1);
  EXPECT_EQ(Alloc(Device())->GetDesc(0)->GetMemoryLocation(), 1U);
  EXPECT_EQ(Alloc(VideoRequest(1, 64, 64))->GetDesc(0)->GetMemoryLocation(), 0U);
  EXPECT_EQ(gpu_.Count("Alloc"), 1);
}

TEST_F(HybridFrameAllocatorTest, DeviceHintsTellPoolsApartAndStayBehind) {
  const MediaDescPtr desc = Device();
  Alloc(desc).reset();
  desc->GetUserDataConfig()->Set("AllocHostMem", 1);
  Alloc(desc).reset();
  desc->GetUserDataConfig()->Set("PlatformCompatible", 4);
  const std::shared_ptr<IMediaBuffer> frame = Alloc(desc);
  EXPECT_EQ(gpu_.Count("Alloc"), 3);
  orlo::ValAny value;
  EXPECT_EQ(frame->GetDesc(0)->GetUserDataInquire()->Get("PlatformCompatible", value), 0);
  EXPECT_EQ(desc->GetUserDataInquire()->Get("PlatformCompatible", value), 1);
}

TEST_F(HybridFrameAllocatorTest, APooledFrameTakesTheSource) {
  Alloc(Device()).reset();
  const MediaDescPtr like = Device();
  const std::shared_ptr<FakeFrame> source = DeviceFrame(gpu_, *like);
  const std::shared_ptr<IMediaBuffer> frame = Alloc(like, source.get());
  const auto* storage = static_cast<FakeFrame*>(frame->QueryNative(0));
  EXPECT_EQ(storage->copied_from, std::vector<IMediaBuffer*>{source.get()});
}

TEST_F(HybridFrameAllocatorTest, AColdDeviceFrameIsMadeFromTheSourceWithoutReserved) {
  const MediaDescPtr like = Device();
  const std::shared_ptr<FakeFrame> source = DeviceFrame(gpu_, *like);
  int reserved = 0;
  const auto frame = allocator_->Alloc(like.get(), source.get(), &reserved);
  EXPECT_EQ(gpu_.Calls("Alloc")[0].second, source.get());
  EXPECT_EQ(gpu_.Calls("Alloc")[0].reserved, nullptr);
  EXPECT_TRUE(static_cast<FakeFrame*>(frame->QueryNative(0))->copied_from.empty());
}

TEST_F(HybridFrameAllocatorTest, APooledHostFrameDownloadsADeviceSource) {
  Alloc(VideoRequest(1, 64, 64)).reset();
  const std::shared_ptr<FakeFrame> source = DeviceFrame(gpu_, *Device());
  const std::shared_ptr<IMediaBuffer> frame = Alloc(VideoRequest(1, 64, 64), source.get());
  ASSERT_EQ(gpu_.Count("Download"), 1);
  EXPECT_EQ(gpu_.Calls("Download")[0].first, source.get());
}

TEST_F(HybridFrameAllocatorTest, FramesCarryTheUserDataOfTheirRequest) {
  const MediaDescPtr desc = VideoRequest(1, 64, 64);
  desc->GetUserDataConfig()->Set("time", 123);
  for (int i = 0; i < 2; ++i) {  // cold, then warm
    orlo::ValAny value;
    const std::shared_ptr<IMediaBuffer> frame = Alloc(desc);
    ASSERT_EQ(frame->GetDesc(0)->GetUserDataInquire()->Get("time", value), 1);
    EXPECT_EQ(value.ToInt32(), 123);
  }
}

TEST_F(HybridFrameAllocatorTest, SubtitleBitstreamsAreHybridFramesAroundLinearStorage) {
  const MediaDescPtr desc = MakeMediaDesc(5, 31100);
  std::shared_ptr<IMediaBuffer> frame = Alloc(desc);
  ASSERT_NE(frame, nullptr);
  EXPECT_NE(dynamic_cast<HybridBuffer*>(frame.get()), nullptr);
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  uint32_t capacity = 0;
  EXPECT_EQ(frame->Lock(planes, pitches, nullptr, &capacity), 0);
  EXPECT_EQ(capacity, 20000U);
  const void* first = frame.get();
  frame.reset();
  EXPECT_EQ(Alloc(desc).get(), first);
}

TEST_F(HybridFrameAllocatorTest, AudioBypassesThePools) {
  std::shared_ptr<IMediaBuffer> audio = Alloc(Blank(AudioRequest()));
  ASSERT_NE(audio, nullptr);
  EXPECT_EQ(dynamic_cast<HybridBuffer*>(audio.get()), nullptr);
  EXPECT_EQ(trovel::RemoveResource("Audio Buffer", audio.get()), 0);
  trovel::AddResource("Audio Buffer", audio.get());
  const uint8_t samples[4] = {1, 2, 3, 4};
  EXPECT_EQ(audio->SetData(samples, 4), 0);
}

TEST_F(HybridFrameAllocatorTest, AFailedAudioRequestIsLoggedAndItsNullHandleHandedOut) {
  desc::AudioDescBase nobody_makes_this(7);
  const std::shared_ptr<IMediaBuffer> audio =
      allocator_->Alloc(&nobody_makes_this, nullptr, nullptr);
  EXPECT_EQ(audio, nullptr);
  EXPECT_GT(audio.use_count(), 0);
  EXPECT_EQ(log_.Count(6, "mivare::hybrid_frame_allocator::Alloc mmt[2]"), 1);
  EXPECT_EQ(log_.Count(6,
                       "mivare::hybrid_frame_allocator::Alloc cpu audio: "
                       "smt[7]samplerate[44100]ch[2]"),
            1);
}

TEST_F(HybridFrameAllocatorTest, ANullRequestIsLogged) {
  EXPECT_EQ(allocator_->Alloc(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(log_.Count(6, Line(395)), 1);
}

TEST_F(HybridFrameAllocatorTest, AFormatWithoutABufferIsLoggedAndEmpty) {
  const std::shared_ptr<IMediaBuffer> frame = Alloc(VideoRequest(28, 320, 240));
  EXPECT_EQ(frame, nullptr);
  EXPECT_EQ(frame.use_count(), 0);
  EXPECT_EQ(log_.Count(6, Line(483)), 1);
  EXPECT_EQ(log_.Count(6, "mivare::hybrid_frame_allocator::Alloc mmt[1]"), 1);
  EXPECT_EQ(log_.Count(6,
                       "mivare::hybrid_frame_allocator::Alloc type[0] video: "
                       "smt[28]w[320]h[240]"),
            1);
  EXPECT_EQ(log_.Count(6, Line(526)), 0);
}

TEST_F(HybridFrameAllocatorTest, AFailedBlankRequestAddsItsOwnLine) {
  EXPECT_EQ(Alloc(Blank(VideoRequest(28, 320, 240))), nullptr);
  EXPECT_EQ(log_.Count(6, Line(483)), 1);
  EXPECT_EQ(log_.Count(6, Line(526)), 1);
}

TEST_F(HybridFrameAllocatorTest, AGpuThatFailsOrThrowsFailsTheRequest) {
  for (const FakeGpu::Mood mood : {FakeGpu::Mood::kFails, FakeGpu::Mood::kThrows}) {
    SCOPED_TRACE(static_cast<int>(mood));
    log_.Clear();
    gpu_.alloc_mood = mood;
    EXPECT_EQ(Alloc(Device(320, 200)), nullptr);
    EXPECT_EQ(log_.Count(6, Line(483)), mood == FakeGpu::Mood::kFails ? 1 : 0);
    EXPECT_EQ(log_.Count(6, "mivare::hybrid_frame_allocator::Alloc mmt[1]"), 1);
    EXPECT_EQ(log_.Count(6,
                         "mivare::hybrid_frame_allocator::Alloc type[1] video: "
                         "smt[1]w[320]h[200]"),
              1);
  }
  gpu_.alloc_mood = FakeGpu::Mood::kWorks;
  gpu_.memory_mood = FakeGpu::Mood::kThrows;
  EXPECT_EQ(Alloc(Device()), nullptr);
  EXPECT_EQ(gpu_.lives(), 0);
}

TEST_F(HybridFrameAllocatorTest, ABadCompatibleValueLeavesAllocAndThePoolsAlone) {
  std::shared_ptr<IMediaBuffer> frame = Alloc(Device());
  const void* first = frame.get();
  frame.reset();
  for (const bool blank : {false, true}) {
    const MediaDescPtr bad = blank ? Blank(Device()) : Device();
    bad->GetUserDataConfig()->Set("PlatformCompatible", "no number");
    EXPECT_THROW(Alloc(bad), orlo::AnyBadAccess);
  }
  EXPECT_EQ(gpu_.Count("Alloc"), 1);
  EXPECT_EQ(gpu_.lives(), 1);
  EXPECT_EQ(Alloc(Device()).get(), first);
}

TEST_F(HybridFrameAllocatorTest, ABlankHostFrameIsBlackWhetherColdOrWarm) {
  for (int i = 0; i < 2; ++i) {
    SCOPED_TRACE(i);
    const std::shared_ptr<IMediaBuffer> frame = Alloc(Blank(VideoRequest(1, 64, 64)));
    ASSERT_NE(frame, nullptr);
    uint8_t* planes[8] = {};
    int32_t pitches[8] = {};
    ASSERT_EQ(frame->Lock(planes, pitches, nullptr, nullptr), 0);
    EXPECT_EQ(planes[0][0], 0);
    EXPECT_EQ(planes[2][31], 128);
    planes[0][0] = planes[2][31] = 55;  // the picture does not stay black
    orlo::ValAny value;
    EXPECT_EQ(frame->GetDesc(0)->GetUserDataInquire()->Get("Blank", value), 0);
  }
}

TEST_F(HybridFrameAllocatorTest, AColdBlankFrameIsFilledAsTheHybridFrameByALentHandle) {
  const std::shared_ptr<IMediaBuffer> frame = Alloc(Blank(Device()));
  ASSERT_NE(frame, nullptr);
  ASSERT_EQ(gpu_.Count("FillBlank"), 1);
  EXPECT_EQ(gpu_.Calls("FillBlank")[0].first, frame.get());
  EXPECT_GT(gpu_.Calls("FillBlank")[0].use_count, 0);
  EXPECT_EQ(frame.use_count(), 1);
}

TEST_F(HybridFrameAllocatorTest, ABlankRequestReusesTheReleasedBlankFrameAndFillsItAgain) {
  std::shared_ptr<IMediaBuffer> frame = Alloc(Blank(Device()));
  const void* first = frame.get();
  const void* storage = frame->QueryNative(0);
  frame.reset();
  frame = Alloc(Blank(Device()));
  EXPECT_EQ(frame.get(), first);
  EXPECT_EQ(gpu_.Count("Alloc"), 1);
  ASSERT_EQ(gpu_.Count("FillBlank"), 2);
  EXPECT_EQ(gpu_.Calls("FillBlank")[1].first,
            static_cast<IMediaBuffer*>(static_cast<FakeFrame*>(const_cast<void*>(storage))));
}

TEST_F(HybridFrameAllocatorTest, AFrameThatTheHostMarksBlankComesBackUnfilled) {
  std::shared_ptr<IMediaBuffer> frame = Alloc(Blank(Device()));
  const void* first = frame.get();
  MarkBlank(frame);
  frame.reset();
  EXPECT_NE(Alloc(Device()).get(), first);  // it is not in the plain pool
  const std::shared_ptr<IMediaBuffer> again = Alloc(Blank(Device()));
  EXPECT_EQ(again.get(), first);
  EXPECT_EQ(gpu_.Count("FillBlank"), 1);
}

TEST_F(HybridFrameAllocatorTest, APlainFrameGetsABlankPoolWhenItServesABlankRequest) {
  Alloc(Device()).reset();
  std::shared_ptr<IMediaBuffer> frame = Alloc(Blank(Device()));
  EXPECT_EQ(gpu_.Count("FillBlank"), 1);
  MarkBlank(frame);
  frame.reset();
  Alloc(Blank(Device()));
  EXPECT_EQ(gpu_.Count("Alloc"), 1);
  EXPECT_EQ(gpu_.Count("FillBlank"), 1);
}

TEST_F(HybridFrameAllocatorTest, ABlankRequestIgnoresItsSourceAndAFailedFill) {
  const std::shared_ptr<FakeFrame> source = DeviceFrame(gpu_, *Device());
  for (const FakeGpu::Mood mood : {FakeGpu::Mood::kFails, FakeGpu::Mood::kThrows}) {
    gpu_.fill_mood = mood;
    const std::shared_ptr<IMediaBuffer> frame = Alloc(Blank(Device()), source.get());  // cold, warm
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(gpu_.Calls("Alloc")[0].second, nullptr);
    EXPECT_TRUE(static_cast<FakeFrame*>(frame->QueryNative(0))->copied_from.empty());
  }
  EXPECT_EQ(gpu_.Count("FillBlank"), 2);
}

TEST_F(HybridFrameAllocatorTest, FillBlankRefusesWhatItCannotFill) {
  EXPECT_FALSE(allocator_->FillBlank(nullptr));
  EXPECT_EQ(log_.Count(6, Line(340)), 1);
  FakeFrame nameless(gpu_.life_count(), nullptr);
  EXPECT_FALSE(allocator_->FillBlank(&nameless));
  EXPECT_EQ(log_.Count(6, Line(346)), 1);
}

TEST_F(HybridFrameAllocatorTest, FillBlankFillsHostFramesItselfAndDeviceFramesThroughTheGpu) {
  const std::shared_ptr<IMediaBuffer> host = Alloc(VideoRequest(3, 64, 64));
  EXPECT_TRUE(allocator_->FillBlank(host.get()));  // also where it has no fill
  EXPECT_EQ(gpu_.Count("FillBlank"), 0);
  const std::shared_ptr<FakeFrame> device = DeviceFrame(gpu_, *Device());
  device->GetDesc(0)->SetMemoryLocation(2);  // anything but 0
  EXPECT_TRUE(allocator_->FillBlank(device.get()));
  EXPECT_EQ(device->picture, -1);
  for (const FakeGpu::Mood mood : {FakeGpu::Mood::kFails, FakeGpu::Mood::kThrows}) {
    gpu_.fill_mood = mood;
    EXPECT_FALSE(allocator_->FillBlank(device.get()));
  }
}

TEST_F(HybridFrameAllocatorTest, ForwardsStatusAndLimitToTheCpuAllocator) {
  const std::shared_ptr<IMediaBuffer> frame = Alloc(VideoRequest(1, 64, 64));
  uint64_t all = 0;
  uint64_t free = 1;
  EXPECT_EQ(allocator_->GetMemoryStatus(all, free), 0);
  EXPECT_EQ(all, 64U * 64 * 3 / 2);
  EXPECT_EQ(free, 0U);
  allocator_->SetMemoryLimit(1);
  EXPECT_EQ(CpuAllocatorOf(allocator_)->GetMemoryStatus(all, free), 0);
}

TEST_F(HybridFrameAllocatorTest, TheCpuAllocatorBehindItIsFound) {
  const std::shared_ptr<IAllocator> cpu = CpuAllocatorOf(allocator_);
  ASSERT_NE(cpu, nullptr);
  EXPECT_NE(cpu, allocator_);
  EXPECT_EQ(CpuAllocatorOf(cpu), cpu);
  EXPECT_EQ(CpuAllocatorOf(nullptr), nullptr);
}

TEST_F(HybridFrameAllocatorTest, ManyFramesOfOneKeyComeBackInTheOrderOfTheirReturn) {
  std::vector<std::shared_ptr<IMediaBuffer>> frames;
  std::vector<const void*> order;
  for (int i = 0; i < 5; ++i) frames.push_back(Alloc(Device()));
  for (const int i : {3, 0, 4, 1, 2}) {
    order.push_back(frames[i].get());
    frames[i].reset();
  }
  for (const void* expected : order) {
    frames.push_back(Alloc(Device()));
    EXPECT_EQ(frames.back().get(), expected);
  }
}

TEST_F(HybridFrameAllocatorTest, LargeOddFramesAreNotKept) {
  Alloc(Device(2560, 2560)).reset();
  EXPECT_EQ(gpu_.lives(), 0);
  Alloc(Device(3840, 2160)).reset();
  EXPECT_EQ(gpu_.lives(), 1);
}

TEST(HybridFrameAllocatorCreationTest, WithoutAGpuItWarnsAndServesHostFrames) {
  const TrovelBalance balance;
  WorkerClock clock;
  const LogCapture log;
  const std::shared_ptr<IAllocator> allocator = hybrid_frame_allocator::Create(nullptr);
  ASSERT_NE(allocator, nullptr);
  EXPECT_EQ(log.Count(4,
                      "error! IGpuAllocator is nullptr. "
                      "file[mivare/hybrid_frame_allocator] line[368]"),
            1);
  const MediaDescPtr device = VideoRequest(1, 64, 64, 1);
  const std::shared_ptr<IMediaBuffer> frame = allocator->Alloc(device.get(), nullptr, nullptr);
  ASSERT_NE(frame, nullptr);
  EXPECT_FALSE(allocator->FillBlank(frame.get()));  // says device memory, and nobody fills it
  device->GetUserDataConfig()->Set("Blank", 1);
  EXPECT_NE(allocator->Alloc(device.get(), nullptr, nullptr), nullptr);
}

// --- low GPU memory

class LowGpuMemoryTest : public HybridFrameAllocatorTest {
 protected:
  LowGpuMemoryTest() { Request(1024); }  // ends whatever episode an earlier test left

  void Request(int64_t available_mib) { RequestBytes(available_mib * kMiB); }
  void RequestBytes(int64_t available) {
    gpu_.available = available;
    clock_.Settle();
    waits_ = clock_.WaitsBegun();
    Alloc(Device());
  }
  int Warnings(const std::string& megabytes) const {
    return log_.Count(4, "GPU Available " + megabytes + "MB Memory < 512MB,releae pool!!");
  }
  int AllWarnings() const { return log_.CountContaining("releae pool!!"); }
  int Reductions() const { return log_.CountContaining("__reducememoryforce free buffers"); }
  /// The frame that was dropped at the end of the request is in its pool or gone already.
  void AwaitTask() { clock_.AwaitWaits(waits_ + 1); }

  uint64_t waits_ = 0;
};

TEST_F(LowGpuMemoryTest, WarnsOnceAnEpisodeAndReducesEachTime) {
  const auto held = Alloc(Device(128, 128));
  Request(300);
  AwaitTask();
  Request(200);
  AwaitTask();
  EXPECT_EQ(Warnings("300"), 1);
  EXPECT_EQ(AllWarnings(), 1);
  Request(1024);
  Request(100);
  AwaitTask();
  EXPECT_EQ(Warnings("100"), 1);
  EXPECT_EQ(AllWarnings(), 2);
}

TEST_F(LowGpuMemoryTest, EachLowRequestQueuesOneReduction) {
  clock_.Settle();
  const uint64_t waits = clock_.WaitsBegun();
  gpu_.available = 300 * kMiB;
  const auto first = Alloc(Device(128, 128));
  const auto second = Alloc(Device(128, 128));
  clock_.AwaitWaits(waits + 2);  // each task ends one wait
  clock_.Settle();
  EXPECT_EQ(clock_.WaitsBegun(), waits + 2);
}

TEST_F(LowGpuMemoryTest, AReductionEmptiesEveryPool) {
  Alloc(Device(128, 64)).reset();
  Alloc(Device(64, 128)).reset();
  Alloc(VideoRequest(1, 64, 64)).reset();
  gpu_.available = 300 * kMiB;
  clock_.Settle();
  const uint64_t waits = clock_.WaitsBegun();
  const std::shared_ptr<IMediaBuffer> frame = Alloc(Device(256, 256));
  clock_.AwaitWaits(waits + 1);
  EXPECT_EQ(gpu_.lives(), 1);
  // With the one that the set-up left.
  EXPECT_EQ(
      log_.Count(4, "mivare::hybrid_frame_allocator::__reducememoryforce free buffers = 4 ..."), 1);
}

TEST_F(LowGpuMemoryTest, TheLimitIs512MiBAndUnknownIsNotLow) {
  const struct {
    int64_t bytes;
    int warnings;
  } cases[] = {{0, 0}, {-1, 0}, {512 * kMiB, 0}, {512 * kMiB - 1, 1}, {1, 1}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.bytes);
    Request(1024);
    log_.Clear();
    RequestBytes(row.bytes);
    if (row.warnings > 0) AwaitTask();
    EXPECT_EQ(AllWarnings(), row.warnings);
    EXPECT_EQ(clock_.WaitsBegun(), waits_ + static_cast<uint64_t>(row.warnings));
  }
}

TEST_F(LowGpuMemoryTest, AReportOfZeroEndsTheEpisode) {
  Request(300);
  AwaitTask();
  Request(0);
  Request(300);
  AwaitTask();
  EXPECT_EQ(Warnings("300"), 2);
}

TEST_F(LowGpuMemoryTest, HostRequestsDoNotAsk) {
  const int asked = gpu_.Count("GetAvailableMemory");
  gpu_.available = 1;
  Alloc(VideoRequest(1, 64, 64));
  Alloc(VideoRequest(1, 64, 64, 2));
  EXPECT_EQ(gpu_.Count("GetAvailableMemory"), asked);
}

TEST_F(LowGpuMemoryTest, PlainRequestsAlwaysAskAndBlankOnesOnlyWithoutAPooledFrame) {
  const struct {
    const char* road;
    MediaDescPtr desc;
    int asks;
  } cases[] = {
      {"pooled", Device(), 1},  // the set-up left it
      {"pooled, made blank", Blank(Device()), 0},
      {"pooled as blank", Blank(Device()), 0},
      {"new", Device(), 1},
      {"new and blank", Blank(Device(128, 128)), 1},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.road);
    const int asked = gpu_.Count("GetAvailableMemory");
    MarkBlank(Alloc(row.desc));
    EXPECT_EQ(gpu_.Count("GetAvailableMemory") - asked, row.asks);
  }
}

TEST_F(LowGpuMemoryTest, ARequestIsRefusedForABadValueOnlyAfterItWarnedAndReduced) {
  gpu_.available = 300 * kMiB;
  clock_.Settle();
  waits_ = clock_.WaitsBegun();
  const MediaDescPtr bad = Device();
  bad->GetUserDataConfig()->Set("PlatformCompatible", "no number");
  EXPECT_THROW(Alloc(bad), orlo::AnyBadAccess);
  ASSERT_EQ(Warnings("300"), 1);
  AwaitTask();
  EXPECT_EQ(gpu_.lives(), 0);
}

}  // namespace
}  // namespace mivare::test
