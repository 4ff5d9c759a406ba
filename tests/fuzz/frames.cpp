// A program over frames of every making: the library's own of any size and pitch, a host's memory,
// linear buffers, crops of any rectangle, proxies, lazy frames, clones; and over what works on
// frames: copies, comparison, digests, fills, dumps and loads. The sanitizers watch where it all
// reads and writes.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "fuzz/bytes.h"
#include "fuzz/check.h"
#include "fuzz/picture.h"
#include "fuzz/scratch_file.h"
#include "fuzz/tight_blocks.h"
#include "mivare/allocator.h"
#include "mivare/buffer_views.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "mivare/media_desc.h"
#include "mivare/media_sample.h"
#include "mivare/user_data.h"
#include "orlo/val_any.h"

namespace mivare::fuzz {
namespace {

using Frame = std::shared_ptr<IMediaBuffer>;

// The library is up for a scope.
class Allocators {
 public:
  Allocators() { NUXMivareDefaultAllocatorInit(nullptr); }
  ~Allocators() { NUXMivareDefaultAllocatorUninit(); }
  Allocators(const Allocators&) = delete;
  Allocators& operator=(const Allocators&) = delete;

  static IAllocatorEx& Get() {
    IAllocatorEx* allocator = nullptr;
    FUZZ_CHECK(NUXMivareDefaultAllocatorAcquire(&allocator) == 0 && allocator != nullptr);
    return *allocator;
  }
};

struct Held {
  Frame frame;
  /// Rectangles of a host's memory are the host's to keep inside.
  bool foreign = false;
};

struct World {
  std::vector<Picture> hosts;  // whose memory outlives the frames
  std::vector<Held> frames;
};

constexpr int32_t kMostBytes = 1 << 18;

int32_t TakeSmt(Bytes& in) {
  constexpr std::array<int32_t, 48> kCodes = {1,  1,  1,  1,  6,  6,  6,  45, 45, 45,    45, 2,
                                              3,  7,  8,  10, 11, 12, 16, 17, 21, 22,    26, 29,
                                              30, 31, 35, 44, 46, 47, 48, 50, 51, 55,    56, 60,
                                              61, 65, 66, 70, 71, 72, 75, 76, 79, 15000, 5,  27};
  return in.OneOf(kCodes);
}

// Mostly such that pixels exist, at times such that products wrap.
int32_t TakeLength(Bytes& in) { return in.Below(8) != 0 ? 1 + in.Take<uint8_t>() % 80 : in.Size(); }

// Sizes whose frames wrap to a few pages in most formats.
constexpr std::array<std::array<int32_t, 2>, 4> kWrapping = {
    {{73024, 58816}, {123136, 34880}, {153920, 27904}, {65536, 65536}}};

void SetSize(Bytes& in, IMediaDesc& desc) {
  if (in.Below(8) == 0) {
    const auto& [width, height] = in.OneOf(kWrapping);
    desc.SetWidthHeight(width, height);
    return;
  }
  const int32_t width = TakeLength(in);
  desc.SetWidthHeight(width, TakeLength(in));
}

MediaDescPtr TakeRequest(Bytes& in) {
  const uint32_t media_type = in.Below(8) != 0 ? 1 : 5;
  MediaDescPtr desc = MakeMediaDesc(media_type, TakeSmt(in));
  if (desc == nullptr) return desc;
  SetSize(in, *desc);
  if (in.Below(8) == 0) desc->SetMemoryLocation(in.Below(3));
  for (const char* hint : {"Blank", "AllocHostMem", "PlatformCompatible"}) {
    if (in.Below(8) != 0) continue;
    const orlo::ValAny value = in.Flag() ? orlo::ValAny(in.Size()) : orlo::ValAny("no number");
    desc->GetUserDataConfig()->Set(hint, value);
  }
  const MediaDescPtr probe(desc->Clone());
  if (probe->GetFrameSize() > kMostBytes) return nullptr;
  return desc;
}

MediaDescPtr TakeAudio(Bytes& in) {
  MediaDescPtr desc = MakeMediaDesc(2, in.Flag() ? 20002 : 30000);
  desc->SetChannels(in.Below(4));
  return desc;
}

// A planar frame whose description may be turned afterwards.
void AddPlanar(Bytes& in, World& world) {
  const MediaDescPtr desc = TakeRequest(in);
  if (desc == nullptr) return;
  Frame frame = _CreateMediaBuffer2D(desc.get(), nullptr);
  if (frame == nullptr) return;
  const auto& planar = static_cast<const Buffer2d&>(*frame);
  FillPattern({planar.Data(), static_cast<size_t>(frame->GetDesc(0)->GetFrameSize())});
  world.frames.push_back({std::move(frame)});
}

IMediaBuffer* FrameOf(Bytes& in, const World& world) {
  const auto count = static_cast<uint32_t>(world.frames.size());
  return count > 0 ? world.frames[in.Below(count)].frame.get() : nullptr;
}

void Alloc(Bytes& in, World& world, IMediaDesc* desc) {
  if (desc == nullptr) return;
  IAllocatorEx& allocator = Allocators::Get();
  if (in.Below(4) == 0) {
    Frame lazy = allocator.AllocLazy(desc);
    FUZZ_CHECK(lazy != nullptr);
    world.frames.push_back({std::move(lazy)});
    return;
  }
  Frame frame;
  try {
    frame = allocator.Alloc(desc, in.Flag() ? FrameOf(in, world) : nullptr, nullptr);
  } catch (const orlo::AnyBadAccess&) {  // a hint that is no number
    return;
  }
  if (frame == nullptr) return;
  if (desc->GetMediaType() == 2) {
    const std::span<const uint8_t> data = in.Some(255);
    const auto size = static_cast<int32_t>(data.size());
    FUZZ_CHECK(frame->SetData(data.data(), size) == (size > 0 ? 0 : -1));
  }
  world.frames.push_back({std::move(frame)});
}

// A host's memory holds what the widest reader of a row takes, in a picture of sensible size.
void AddHosts(Bytes& in, World& world) {
  const int32_t smt = TakeSmt(in);
  const uint32_t width = 1 + in.Below(40);
  const uint32_t height = 1 + in.Below(20);
  const size_t row_bytes = size_t{8} * width + 8;
  const auto pitch = static_cast<int32_t>(row_bytes + in.Below(40));
  world.hosts.push_back(
      WrapMemory(smt, width, height, in.Below(4) != 0 ? pitch : -pitch, row_bytes));
  world.frames.push_back({world.hosts.back().buffer, true});
}

void AddCrop(Bytes& in, World& world, const Held& source) {
  std::array<uint32_t, 4> rect = {};
  if (source.foreign) {
    const IMediaDesc* desc = source.frame->GetDesc(0);
    if (desc == nullptr || desc->GetWidth() < 1 || desc->GetHeight() < 1) return;
    // The rows of host memory have no more behind them: only whole ones stay inside.
    rect[1] = in.Below(desc->GetHeight());
    rect[2] = desc->GetWidth();
    rect[3] = 1 + in.Below(desc->GetHeight() - rect[1]);
  } else {
    for (uint32_t& value : rect) value = static_cast<uint32_t>(in.Size());
  }
  Frame crop;
  if (NUXMivareCreateMediaBufferCrop(source.frame, rect.data(), &crop) == 0) {
    FUZZ_CHECK(crop != nullptr);
    world.frames.push_back({std::move(crop), source.foreign});
  }
}

// Turns a description as its owner may: pitches within the padded rows, sizes within the padding.
void Turn(Bytes& in, const Held& held) {
  IMediaDesc* desc = held.frame->GetDesc(0);
  if (desc == nullptr || held.foreign) return;
  switch (in.Below(6)) {
    case 0: desc->ResetPitches(); break;
    case 1: {
      const std::array<int32_t, 4> pitches = {in.Size(), in.Size(), in.Size(), in.Size()};
      desc->SetPitches(pitches.data());
      break;
    }
    case 2: SetSize(in, *desc); break;
    case 3: desc->SetMemoryLocation(in.Below(2)); break;
    case 4: desc->GetUserDataConfig()->Set(kIsOldKey, in.Flag()); break;
    default: desc->SetVideoSignalRange(in.Below(2)); break;
  }
}

void UseBytes(Bytes& in, IMediaBuffer& frame) {
  switch (in.Below(4)) {
    case 0: frame.SetDataSize(in.Size()); break;
    case 1: {
      const std::span<const uint8_t> data = in.Some(255);
      frame.AppendData(data.data(), static_cast<uint32_t>(data.size()));
      break;
    }
    case 2: {
      const std::span<const uint8_t> data = in.Some(255);
      frame.SetData(data.data(), static_cast<int32_t>(data.size()));
      break;
    }
    default: NUXMivareGetAudioSampleCount(&frame); break;
  }
}

// Whether a walk over all its rows ends soon: where a pitch is next to nothing, tens of thousands
// of rows lie in the frame's memory, as wide as that.
bool IsQuick(const Held& held) {
  const IMediaDesc* desc = held.frame->GetDesc(0);
  const LockedBuffer lock(*held.frame);
  if (desc == nullptr || !lock.ok()) return true;
  const int64_t width = std::max(0, static_cast<int32_t>(desc->GetWidth()));
  const int64_t height = std::max(0, static_cast<int32_t>(desc->GetHeight()));
  int64_t bytes = 0;
  for (size_t i = 0; i < 8; ++i) {
    if (lock.plane(i) == nullptr) continue;
    const int64_t pitch = std::abs(int64_t{lock.pitch(i)});
    const int64_t rows = pitch > 0 ? std::min(height, kMostBytes / pitch + 1) : height;
    bytes += rows * std::min<int64_t>(8 * width, kMostBytes);
  }
  return bytes < 16 * kMostBytes;
}

void Compare(Bytes& in, const Held& a, const Held& b) {
  const auto plane = static_cast<uint8_t>(in.Flag() ? in.Below(4) : in.Take());
  const double there = NUXMivareImagePSNR(a.frame, b.frame, plane);
  const double back = NUXMivareImagePSNR(b.frame, a.frame, plane);
  FUZZ_CHECK(there == back || (there != there && back != back));
  FUZZ_CHECK(NUXMivareImagePSNR(a.frame, a.frame, plane) == std::numeric_limits<double>::max());
}

void Copy(const Held& to, const Held& from) {
  const int32_t status = NUXMivareCopyMediaBufferData(to.frame.get(), from.frame.get());
  FUZZ_CHECK(status >= -1 && status <= 1);
}

// The digest of 8-bit luma is defined where all its rows are there.
void Digest(const Held& held) {
  const IMediaDesc* desc = held.frame->GetDesc(0);
  std::string first;
  std::string second;
  const int32_t status = NUXMivareMediaBuffer2MD5(held.frame.get(), &first);
  FUZZ_CHECK(NUXMivareMediaBuffer2MD5(held.frame.get(), &second) == status);
  FUZZ_CHECK((status == 0) == (first.size() == 32));
  if (status == 0 && held.foreign && desc->GetSmt() == 1) FUZZ_CHECK(first == second);
}

void DumpAll(Bytes& in, const Held& held) {
  // At times too long a name for a file, and for the one that shows the size.
  const std::string prefix = Scratch().File(std::string(in.Below(16) != 0 ? 1 : 600, 'd'));
  switch (in.Below(3)) {
    case 0: NUXMivareDumpBMP(prefix.c_str(), held.frame); break;
    case 1: NUXMivareDumpTGA(prefix.c_str(), held.frame); break;
    default: NUXMivareDumpMediaBuffer(prefix.c_str(), held.frame); break;
  }
  for (const auto& entry : std::filesystem::directory_iterator(Scratch().File(""))) {
    std::error_code ignored;
    std::filesystem::remove(entry.path(), ignored);
  }
}

void Load(Bytes& in, const Held& held) {
  std::vector<uint8_t> file(54 + in.Take<uint8_t>() * size_t{16}, in.Take<uint8_t>());
  if (const IMediaDesc* desc = held.frame->GetDesc(0)) {
    for (size_t i = 0; i < 4; ++i) {
      file[18 + i] = static_cast<uint8_t>(desc->GetWidth() >> (8 * i));
      file[22 + i] = static_cast<uint8_t>(desc->GetHeight() >> (8 * i));
    }
  }
  file[28] = in.Flag() ? 24 : 32;
  file[29] = 0;
  WriteScratch(file);
  NUXMivareLoadMediaBuffer(ScratchFile().c_str(), held.frame);
}

void Manage(Bytes& in, IMediaBuffer& frame) {
  IAllocatorEx& allocator = Allocators::Get();
  uint64_t all = 0;
  uint64_t free = 0;
  switch (in.Below(8)) {
    case 0: allocator.clear(); break;
    case 1: allocator.reduce_memory(); break;
    case 2: allocator.SetMemoryLimit(static_cast<uint32_t>(in.Size())); break;
    case 3: FUZZ_CHECK(allocator.GetMemoryStatus(all, free) == 0); break;
    default: allocator.FillBlank(&frame); break;
  }
}

void LockWrongly(IMediaBuffer& frame) {
  std::array<uint8_t*, 8> planes{};
  std::array<int32_t, 8> pitches{};
  if (frame.Lock(planes.data(), pitches.data(), nullptr, nullptr) == 0) frame.Unlock();
  frame.Lock(nullptr, pitches.data(), nullptr, nullptr);
  frame.Lock(planes.data(), nullptr, nullptr, nullptr);
}

void Clone(World& world, const Held& held) {
  Frame clone = held.frame->Clone(0);
  if (clone != nullptr) world.frames.push_back({std::move(clone)});
}

void CloneSample(World& world) {
  const std::shared_ptr<IMediaSample> sample = NUXMivareMediaSampleCreate(nullptr);
  for (const Held& held : world.frames) sample->AddBuffer(held.frame);
  const std::shared_ptr<IMediaSample> copy = sample->Clone();
  FUZZ_CHECK(copy->GetBufferCount() <= sample->GetBufferCount());
}

void Step(Bytes& in, World& world, bool up) {
  if (world.frames.size() > 8) world.frames.erase(world.frames.begin());
  const uint32_t operation = in.Below(24);
  if (world.frames.empty() || operation < 3) {
    if (operation == 2) return AddHosts(in, world);
    if (operation == 0 || !up) return AddPlanar(in, world);
    return Alloc(in, world, (in.Below(4) != 0 ? TakeRequest(in) : TakeAudio(in)).get());
  }
  const auto any = [&] {
    return world.frames[in.Below(static_cast<uint32_t>(world.frames.size()))];
  };
  const Held held = any();
  if (!IsQuick(held)) return Turn(in, held);
  switch (operation) {
    case 3:
    case 4: return AddCrop(in, world, held);
    case 5: {
      Frame proxy;
      FUZZ_CHECK(NUXMivareCreateMediaBufferProxy(held.frame, &proxy) == 0);
      world.frames.push_back({std::move(proxy), held.foreign});
      return;
    }
    case 6: return Clone(world, held);
    case 7:
    case 8: return Turn(in, held);
    case 9: return UseBytes(in, *held.frame);
    case 10:
    case 11:
    case 12:
    case 13:
    case 14: {
      const Held other = any();
      if (!IsQuick(other)) return Turn(in, other);
      if (operation < 12) return Compare(in, held, other);
      if (operation < 14) return Copy(held, other);
      held.frame->CopyFrom(other.frame.get());
      return;
    }
    case 15: return Digest(held);
    case 16:
    case 17: return DumpAll(in, held);
    case 18:
    case 19: return Load(in, held);
    case 20: {
      const int32_t status = NUXMivareZeroBuffer(held.frame.get());
      FUZZ_CHECK(status == 0 || held.frame->GetDesc(0) == nullptr);
      return;
    }
    case 21:
      if (up) Manage(in, *held.frame);
      return;
    case 22: return LockWrongly(*held.frame);
    default: return CloneSample(world);
  }
}

void Run(Bytes in) {
  const Quiet quiet;
  const Balance balance;
  const TightBlocks blocks;
  const uint8_t life = in.Take();
  std::optional<Allocators> allocators;
  if (life % 4 != 0) allocators.emplace();
  World world;
  for (int steps = 0; steps < 48 && !in.Empty(); ++steps) Step(in, world, allocators.has_value());
  if ((life & 4U) != 0) allocators.reset();  // with frames out
}

}  // namespace
}  // namespace mivare::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mivare::fuzz::Run({data, size});
  return 0;
}
