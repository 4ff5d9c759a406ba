// The road of frames while each piece of memory in turn is missing: no frame is lost between pool
// and handle, nothing stays registered, and the next request gets its frame.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "allocator_mgr.h"
#include "hybrid_frame_allocator.h"
#include "mivare/allocator.h"
#include "mivare/buffer_views.h"
#include "mivare/extend_data.h"
#include "mivare/media_sample.h"
#include "mivare/user_data.h"
#include "support/fake_gpu.h"
#include "support/nth_failure.h"
#include "support/request.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

constexpr char kLong[] = "a text that is too long to be kept in place";
constexpr char kPq[] = "Mivare Frame Extend Data : PQ";

// What a request without memory may say on its way, whoever serves it.
const std::vector<std::string> kRequestMaySay = {
    "error! file[mivare/hybrid_frame_allocator] line[*]",
    "error! file[mivare/hybrid_frame] line[*]",
    "mivare::hybrid_frame_allocator::Alloc *",
    "system memory error! file[mivare/allocator] line[158]",
    "mivare::allocator::Alloc cpu *",
    "error. mivare::Buffer2d::Init line[*]",
    "mivare::Buffer2d::Init error. width[*] height[*]",
    "error! mivare/buffer1d[*]",
    "mivare::MemoryData::Init try new[20000] memory exception[*]!",
};

std::vector<std::string> Join(std::vector<std::string> first,
                              const std::vector<std::string>& more) {
  first.insert(first.end(), more.begin(), more.end());
  return first;
}

/// The library, up, with a host's GPU allocator.
class World {
 public:
  World() {
    NUXMivareDefaultAllocatorInit(&gpu);
    clock_.Settle();
    NUXMivareDefaultAllocatorAcquire(&manager);
  }
  ~World() {
    frame.reset();
    other.reset();
    NUXMivareDefaultAllocatorUninit();
    EXPECT_EQ(gpu.lives(), 0) << "device frames are alive";
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  std::shared_ptr<IMediaBuffer> Alloc(IMediaBuffer* from = nullptr) {
    return manager->Alloc(request.get(), from, nullptr);
  }
  /// Bytes in CPU buffers, in use and pooled.
  std::pair<uint64_t, uint64_t> Bytes() const {
    std::pair<uint64_t, uint64_t> bytes;
    manager->GetMemoryStatus(bytes.first, bytes.second);
    return bytes;
  }

  FakeGpu gpu;
  IAllocatorEx* manager = nullptr;
  MediaDescPtr request;
  std::shared_ptr<IMediaBuffer> frame;
  std::shared_ptr<IMediaBuffer> other;

 private:
  WorkerClock clock_;
};

MediaDescPtr WithNotes(MediaDescPtr desc) {
  desc->GetUserDataConfig()->Set(kLong, 5);
  desc->GetUserDataConfig()->Set("text", std::string(kLong));
  void* store = nullptr;
  desc->QueryProperty(kExtendDataKey, &store);
  const std::vector<uint8_t> block(2000);
  if (store != nullptr) static_cast<IExtendData*>(store)->SetExtendData(kPq, block.data(), 2000);
  return desc;
}

void ExpectWhole(IMediaBuffer& frame) {
  IMediaDesc* desc = frame.GetDesc(0);
  ASSERT_NE(desc, nullptr);
  for (const char* key : {kLong, "text"}) {
    orlo::ValAny value;
    EXPECT_EQ(desc->GetUserDataInquire()->Get(key, value), 1) << "without its note " << key;
  }
  void* store = nullptr;
  desc->QueryProperty(kExtendDataKey, &store);
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(static_cast<IExtendData*>(store)->GetExtendDataLength(kPq), 2000U);
}

struct Road {
  const char* name;
  MediaDescPtr (*request)();
  bool blank = false;
  /// Whether the frame of an earlier request waits in a pool.
  bool warm = false;
  /// Whether that frame was marked "Blank" by the host: it waits in the pool of black frames.
  bool black = false;
  std::vector<std::string> block_says = {};
};

Operation Request(const Road& road) {
  return {.name = road.name,
          .prepare =
              [road] {
                const auto world = std::make_shared<World>();
                world->request = WithNotes(road.request());
                if (road.blank) world->request->GetUserDataConfig()->Set("Blank", 1);
                if (road.warm) {
                  std::shared_ptr<IMediaBuffer> first = world->Alloc();
                  if (road.black) first->GetDesc(0)->GetUserDataConfig()->Set("Blank", 1);
                }
                const int frames = world->gpu.lives();
                const auto bytes = world->Bytes();
                return Attempt{.act =
                                   [world] {
                                     world->frame = world->Alloc();
                                     return world->frame != nullptr;
                                   },
                               .check = [world] { ExpectWhole(*world->frame); },
                               .drop = [world] { world->frame.reset(); },
                               .after =
                                   [world, road, frames, bytes] {
                                     EXPECT_LE(world->gpu.lives(), 1);
                                     if (!road.warm) return;
                                     EXPECT_EQ(world->gpu.lives(), frames)
                                         << "not served from its pool";
                                     EXPECT_EQ(world->gpu.Count("Alloc"), frames);
                                     EXPECT_EQ(world->Bytes(), bytes);
                                   }};
              },
          .may_say = kRequestMaySay,
          .must_say = "mivare::hybrid_frame_allocator::Alloc mmt[*]",
          .block_says = road.block_says,
          // A blank request can do without a pool for black frames.
          .may_do_without = road.blank};
}

std::vector<std::string> NoBlock(std::vector<std::string> first, const char* refusal,
                                 const std::vector<std::string>& last) {
  return Join(
      Join(std::move(first), {"system memory error! file[mivare/allocator] line[158]", refusal}),
      last);
}

// What the loss of a picture's block, of a large one's and of a linear one's says, in its order.
const std::vector<std::string> kNoPicture =
    NoBlock({"mivare::_malloc try malloc[6144] memory!",
             "error. mivare::Buffer2d::Init line[*] length[6144]"},
            "mivare::allocator::Alloc cpu video: smt[1]w[64]h[64]",
            {"error! file[mivare/hybrid_frame_allocator] line[483]",
             "mivare::hybrid_frame_allocator::Alloc mmt[1]",
             "mivare::hybrid_frame_allocator::Alloc type[0] video: smt[1]w[64]h[64]"});
const std::vector<std::string> kNoBlackPicture = [] {
  std::vector<std::string> lines = kNoPicture;
  lines.insert(lines.end() - 2, "error! file[mivare/hybrid_frame_allocator] line[526]");
  return lines;
}();
const std::vector<std::string> kNoLargePicture =
    NoBlock({"mivare::Buffer2d::AllocMemory try VirtualAlloc [*] memory! lasterror=*",
             "error. mivare::Buffer2d::Init line[*] length[*]"},
            "mivare::allocator::Alloc cpu video: smt[1]w[1920]h[1080]",
            {"error! file[mivare/hybrid_frame_allocator] line[483]",
             "mivare::hybrid_frame_allocator::Alloc mmt[1]",
             "mivare::hybrid_frame_allocator::Alloc type[0] video: smt[1]w[1920]h[1080]"});
const std::vector<std::string> kNoLinear = {
    "mivare::MemoryData::Init try new[20000] memory exception[*]!", "error! mivare/buffer1d[*]",
    "error! mivare/buffer1d[*]"};
const std::vector<std::string> kNoAudio =
    NoBlock(kNoLinear, "mivare::allocator::Alloc cpu audio: smt[48000]samplerate[2]ch[2]", {});
const std::vector<std::string> kNoText =
    Join(kNoLinear, {"system memory error! file[mivare/allocator] line[158]",
                     "error! file[mivare/hybrid_frame_allocator] line[483]",
                     "mivare::hybrid_frame_allocator::Alloc mmt[5]"});

MediaDescPtr Small() { return VideoRequest(1, 64, 64); }
MediaDescPtr Large() { return VideoRequest(1, 1920, 1080); }
MediaDescPtr Device() { return VideoRequest(1, 64, 64, 1); }
MediaDescPtr Audio() { return AudioRequest(); }
MediaDescPtr Text() { return Describe(5, 31100, 0, 0); }

std::vector<Operation> Requests() {
  const std::vector<std::string> audio_says =
      Join(kNoAudio, {"mivare::hybrid_frame_allocator::Alloc mmt[2]",
                      "mivare::hybrid_frame_allocator::Alloc cpu audio: "
                      "smt[20001]samplerate[48000]ch[2]"});
  std::vector<Operation> operations;
  for (const Road& road : std::vector<Road>{
           {.name = "Cold", .request = Small, .block_says = kNoPicture},
           {.name = "ColdLarge", .request = Large, .block_says = kNoLargePicture},
           {.name = "ColdDevice", .request = Device},
           {.name = "ColdAudio", .request = Audio, .block_says = audio_says},
           {.name = "ColdText", .request = Text, .block_says = kNoText},
           {.name = "ColdBlank", .request = Small, .blank = true, .block_says = kNoBlackPicture},
           {.name = "ColdBlankDevice", .request = Device, .blank = true},
           {.name = "Warm", .request = Small, .warm = true},
           {.name = "WarmDevice", .request = Device, .warm = true},
           {.name = "WarmAudio", .request = Audio, .warm = true},
           {.name = "WarmText", .request = Text, .warm = true},
           {.name = "WarmBlank", .request = Small, .blank = true, .warm = true},
           {.name = "WarmBlankDevice", .request = Device, .blank = true, .warm = true},
           {.name = "Black", .request = Small, .blank = true, .warm = true, .black = true},
           {.name = "BlackDevice", .request = Device, .blank = true, .warm = true, .black = true},
       }) {
    operations.push_back(Request(road));
  }
  return operations;
}

/// An operation on a frame that is out, or that makes another buffer of it.
Operation OnAFrame(const char* name, MediaDescPtr (*request)(),
                   std::function<std::shared_ptr<IMediaBuffer>(World&)> act,
                   std::vector<std::string> block_says = {}, bool with_idle = false) {
  return {.name = name,
          .prepare =
              [request, act = std::move(act), with_idle] {
                const auto world = std::make_shared<World>();
                world->request = WithNotes(request());
                world->frame = world->Alloc();
                if (with_idle) world->Alloc();  // goes to its pool
                return Attempt{.act =
                                   [world, act] {
                                     world->other = act(*world);
                                     return world->other != nullptr;
                                   },
                               .check = [world] { ExpectWhole(*world->other); },
                               .drop =
                                   [world] {
                                     world->other.reset();
                                     world->frame.reset();
                                   },
                               .after = [world] { EXPECT_LE(world->gpu.lives(), 2); }};
              },
          .may_say = kRequestMaySay,
          .block_says = std::move(block_says)};
}

std::shared_ptr<IMediaBuffer> CloneOf(World& world) { return world.frame->Clone(0); }

std::shared_ptr<IMediaBuffer> View(World& world,
                                   int32_t (*make)(World&, std::shared_ptr<IMediaBuffer>*)) {
  std::shared_ptr<IMediaBuffer> view;
  const int32_t status = make(world, &view);
  EXPECT_EQ(status == 0, view != nullptr);
  EXPECT_TRUE(status == 0 || status == -1);
  return view;
}

// Grows a linear buffer, and gives it back for what is looked at: its notes and bytes.
std::shared_ptr<IMediaBuffer> Grown(World& world,
                                    bool (*grow)(IMediaBuffer&, const std::vector<uint8_t>&)) {
  static const std::vector<uint8_t> bytes(30'000, 7);
  world.frame->SetData(bytes.data(), 10);
  const bool grown = grow(*world.frame, bytes);
  uint8_t* planes[8];
  int32_t pitches[8];
  uint32_t capacity = 0;
  world.frame->Lock(planes, pitches, nullptr, &capacity);
  EXPECT_EQ(pitches[0] > 10, grown);
  EXPECT_EQ(capacity > 20'000, grown);
  EXPECT_EQ(planes[0][9], 7) << "the bytes from before";
  return grown ? world.frame : nullptr;
}

std::vector<Operation> Frames() {
  const std::vector<std::string> clone_says = {
      "mivare::_malloc try malloc[6144] memory!",
      "error. mivare::Buffer2d::Init line[*] length[6144]",
      "system memory error! file[mivare/allocator] line[158]",
      "mivare::allocator::Alloc cpu video: smt[1]w[64]h[64]",
      "error! file[mivare/hybrid_frame] line[*]"};
  const std::vector<std::string> audio_clone_says =
      Join(kNoAudio, {"mivare::hybrid_frame_allocator::Alloc mmt[2]",
                      "mivare::hybrid_frame_allocator::Alloc cpu audio: "
                      "smt[20001]samplerate[48000]ch[2]"});
  const std::vector<std::string> growth_says = {
      "mivare::MemoryData::Init try new[*] memory exception[*]!", "error! mivare/buffer1d[*]",
      "error! mivare/buffer1d[*]"};
  return {
      OnAFrame("Clone", Small, CloneOf, clone_says),
      OnAFrame("CloneOfADeviceFrame", Device, CloneOf),
      OnAFrame("CloneOfAudio", Audio, CloneOf, audio_clone_says),
      OnAFrame("CloneIntoAnIdleFrame", Small, CloneOf, {}, true),
      OnAFrame("CloneIntoAnIdleDeviceFrame", Device, CloneOf, {}, true),
      OnAFrame("Crop", Small,
               [](World& world) {
                 return View(world, [](World& w, std::shared_ptr<IMediaBuffer>* out) {
                   static constexpr uint32_t kRect[4] = {0, 0, 32, 32};
                   return NUXMivareCreateMediaBufferCrop(w.frame, kRect, out);
                 });
               }),
      OnAFrame(
          "GrowBySetData", Audio,
          [](World& world) {
            return Grown(world, [](IMediaBuffer& buffer, const std::vector<uint8_t>& bytes) {
              return buffer.SetData(bytes.data(), 20'001) == 0;
            });
          },
          growth_says),
      OnAFrame(
          "GrowByAppendData", Audio,
          [](World& world) {
            return Grown(world, [](IMediaBuffer& buffer, const std::vector<uint8_t>& bytes) {
              return buffer.AppendData(bytes.data(), 20'000);
            });
          },
          growth_says),
      OnAFrame("LazyCreation", Small,
               [](World& world) { return world.manager->AllocLazy(world.request.get()); }),
      OnAFrame(
          "LazyUse", Small,
          [](World& world) {
            if (world.other == nullptr) {
              const OwnMemory own;
              world.other = world.manager->AllocLazy(world.request.get());
            }
            uint8_t* planes[8];
            int32_t pitches[8];
            const int32_t status = world.other->Lock(planes, pitches, nullptr, nullptr);
            EXPECT_TRUE(status == 0 || status == -1);
            return status == 0 ? world.other : nullptr;
          },
          kNoPicture),
  };
}

// A stand-in may do without a description.
std::vector<Operation> Proxies() {
  Operation make = OnAFrame("Proxy", Small, [](World& world) {
    return View(world, [](World& w, std::shared_ptr<IMediaBuffer>* out) {
      return NUXMivareCreateMediaBufferProxy(w.frame, out);
    });
  });
  Operation wrap = OnAFrame("Wraper", Small, [](World& world) {
    return View(world, [](World&, std::shared_ptr<IMediaBuffer>* out) {
      static uint8_t bytes[64];
      return NUXMivareCreateMediaBufferWraper(8, 8, 15000, bytes, 8, out);
    });
  });
  for (Operation* operation : {&make, &wrap}) {
    operation->may_do_without = true;
    operation->prepare = [prepare = operation->prepare] {
      Attempt attempt = prepare();
      attempt.check = [] {};
      return attempt;
    };
  }
  return {make, wrap};
}

struct Sampled : World {
  std::shared_ptr<IMediaSample> sample = NUXMivareMediaSampleCreate(1, 2, 3, nullptr);
  std::shared_ptr<IMediaSample> copy;
};

std::vector<Operation> Samples() {
  Operation clone{.name = "SampleClone",
                  .prepare =
                      [] {
                        const auto world = std::make_shared<Sampled>();
                        world->request = WithNotes(Small());
                        for (int i = 0; i < 2; ++i) world->sample->AddBuffer(world->Alloc());
                        return Attempt{
                            .act =
                                [world] {
                                  const bool done =
                                      Done([&] { world->copy = world->sample->Clone(); });
                                  EXPECT_EQ(world->sample->GetBufferCount(), 2U);
                                  // A buffer that cannot be cloned is left out.
                                  return done && world->copy->GetBufferCount() == 2;
                                },
                            .check = [world] { ExpectWhole(*world->copy->GetBuffer(1)); },
                            .drop =
                                [world] {
                                  world->copy.reset();
                                  world->sample.reset();
                                }};
                      },
                  .may_say = kRequestMaySay,
                  .block_says = {"mivare::_malloc try malloc[6144] memory!",
                                 "error. mivare::Buffer2d::Init line[*] length[6144]",
                                 "system memory error! file[mivare/allocator] line[158]",
                                 "mivare::allocator::Alloc cpu video: smt[1]w[64]h[64]",
                                 "error! file[mivare/hybrid_frame] line[*]"}};
  return {clone};
}

class NthFailureOnTheRoad : public testing::TestWithParam<Operation> {};

TEST_P(NthFailureOnTheRoad, LosesNothing) {
  NthFailure failure(GetParam());
  const uint64_t points = failure.FailEach(Memory::kHeap);
  RecordProperty("heap", static_cast<int>(points));
  EXPECT_GT(points, 0U) << "nothing was allocated";
  if (GetParam().block_says.empty()) return;
  const uint64_t blocks = failure.FailEach(Memory::kBlocks);
  RecordProperty("blocks", static_cast<int>(blocks));
  EXPECT_GT(blocks, 0U) << "there was no block";
}

std::string NameOf(const testing::TestParamInfo<Operation>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Requests, NthFailureOnTheRoad, testing::ValuesIn(Requests()), NameOf);
INSTANTIATE_TEST_SUITE_P(Frames, NthFailureOnTheRoad, testing::ValuesIn(Frames()), NameOf);
INSTANTIATE_TEST_SUITE_P(Views, NthFailureOnTheRoad, testing::ValuesIn(Proxies()), NameOf);
INSTANTIATE_TEST_SUITE_P(Samples, NthFailureOnTheRoad, testing::ValuesIn(Samples()), NameOf);

// Init and what a later Uninit and Init make of its failure.
Operation Init() {
  struct Host {
    WorkerClock clock;
    FakeGpu gpu;
    bool up = false;
    ~Host() {
      if (up) NUXMivareDefaultAllocatorUninit();
    }
  };
  return {.name = "Init",
          .prepare =
              [] {
                const auto host = std::make_shared<Host>();
                return Attempt{.act =
                                   [host] {
                                     EXPECT_EQ(NUXMivareDefaultAllocatorInit(&host->gpu), 0);
                                     host->up =
                                         AllocatorMgrDecoImpl::Instance().Current() != nullptr;
                                     if (!host->up) NUXMivareDefaultAllocatorUninit();
                                     return host->up;
                                   },
                               .drop =
                                   [host] {
                                     NUXMivareDefaultAllocatorUninit();
                                     host->up = false;
                                   }};
              },
          .may_say = {"error! file[mivare/hybrid_frame_allocator] line[374]",
                      "error! file[mivare/hybrid_frame_allocator] line[540]",
                      "error! file[mivare/allocator_mgr] line[205]",
                      "error! file[mivare/allocator_mgr] line[216]"},
          .must_say = "error! file[mivare/allocator_mgr] line[216]"};
}
INSTANTIATE_TEST_SUITE_P(Library, NthFailureOnTheRoad, testing::Values(Init()), NameOf);

TEST(InitWithoutAThread, IsLoggedAndALaterPairBringsTheLibraryUp) {
  WorkerClock clock;
  const LogCapture log;
  FakeGpu gpu;
  {
    const NoThreads none;
    EXPECT_EQ(NUXMivareDefaultAllocatorInit(&gpu), 0);
    EXPECT_EQ(none.refused(), 1);
  }
  EXPECT_EQ(
      log.AtLevel(6),
      (std::vector<LogLine>{{"mivare", 6, "error! file[mivare/hybrid_frame_allocator] line[540]"},
                            {"mivare", 6, "error! file[mivare/allocator_mgr] line[216]"}}));
  IAllocatorEx* manager = nullptr;
  NUXMivareDefaultAllocatorAcquire(&manager);
  const MediaDescPtr request = VideoRequest(1, 64, 64);
  EXPECT_EQ(manager->Alloc(request.get(), nullptr, nullptr), nullptr);
  // The failed Init is counted like any other: a nested pair changes nothing.
  EXPECT_EQ(NUXMivareDefaultAllocatorInit(&gpu), 0);
  EXPECT_EQ(AllocatorMgrDecoImpl::Instance().Current(), nullptr);
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);

  NUXMivareDefaultAllocatorInit(&gpu);
  EXPECT_NE(manager->Alloc(request.get(), nullptr, nullptr), nullptr);
  NUXMivareDefaultAllocatorUninit();
}

TEST(ClearWithoutMemory, LosesTheTaskWithALineAndStillEmptiesTheCpuPools) {
  uint64_t nth = 0;
  for (bool fired = true; fired;) {
    SCOPED_TRACE(++nth);
    World world;
    world.request = Small();
    world.Alloc().reset();
    const LogCapture log;
    {
      const FailingNew failing(nth);
      world.manager->clear();
      fired = failing.fired();
    }
    EXPECT_EQ(log.AtLevel(6).size(), fired ? 1U : 0U);
    EXPECT_EQ(log.CountContaining("error! file[mivare/hybrid_frame_allocator] line["), fired);
    EXPECT_EQ(log.CountContaining("mivare::allocator::clear done."), 1);
  }
  EXPECT_GT(nth, 2U);
}

TEST(GivingMemoryBack, AllocatesNothing) {
  World world;
  const LogCapture log;
  for (MediaDescPtr (*request)() : {Small, Device, Audio}) {
    world.request = request();
    std::vector<std::shared_ptr<IMediaBuffer>> frames;
    frames.reserve(40);
    for (int i = 0; i < 40; ++i) frames.push_back(world.Alloc());
    const FailingNew failing(1);
    for (auto& frame : frames) frame.reset();
    EXPECT_FALSE(failing.fired()) << "releases";
  }
  {
    const FailingNew failing(1);
    const std::shared_ptr<IAllocator> cpu =
        CpuAllocatorOf(AllocatorMgrDecoImpl::Instance().Current());
    dynamic_cast<IAllocatorEx&>(*cpu).reduce_memory();
    uint64_t all = 0;
    uint64_t free = 0;
    world.manager->GetMemoryStatus(all, free);
    world.manager->SetMemoryLimit(1);
    NUXMivareDefaultAllocatorUninit();
    EXPECT_FALSE(failing.fired()) << "the end";
  }
  NUXMivareDefaultAllocatorInit(nullptr);  // the world ends it once more
}

}  // namespace
}  // namespace mivare::test
