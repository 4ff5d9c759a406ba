#include "hybrid_frame_allocator.h"

#include <atomic>
#include <utility>

#include "allocator_decorator.h"
#include "base/log.h"
#include "blank_fill.h"
#include "blank_pool.h"
#include "check_loop.h"
#include "extend_keys.h"
#include "frame_key.h"
#include "frame_pools.h"
#include "hybrid_frame.h"
#include "media_types.h"
#include "mivare/gpu_allocator.h"
#include "mivare/media_desc.h"
#include "orlo/val_any.h"

namespace mivare {
namespace {

constexpr const char* kUnit = unit::kHybridFrameAllocator;
constexpr int64_t kLowGpuMemory = 512 << 20;

// Whether the present episode of low GPU memory has been logged. Guards no other data.
std::atomic<bool> low_memory_reported{false};

void LogFailedRequest(const IMediaDesc& desc) {
  constexpr char kName[] = "mivare::hybrid_frame_allocator::Alloc";
  const uint32_t media_type = desc.GetMediaType();
  MIVARE_LOG(kLogError, "%s mmt[%d]", kName, static_cast<int32_t>(media_type));
  if (media_type == kMediaVideo) {
    MIVARE_LOG(kLogError, "%s type[%d] video: smt[%d]w[%d]h[%d]", kName,
               static_cast<int32_t>(desc.GetMemoryLocation()), desc.GetSmt(),
               static_cast<int32_t>(desc.GetWidth()), static_cast<int32_t>(desc.GetHeight()));
  } else if (media_type == kMediaAudio) {
    MIVARE_LOG(kLogError, "%s cpu audio: smt[%d]samplerate[%d]ch[%d]", kName, desc.GetSmt(),
               static_cast<int32_t>(desc.GetSampleRate()),
               static_cast<int32_t>(desc.GetChannels()));
  }
}

}  // namespace

std::shared_ptr<IAllocator> hybrid_frame_allocator::Create(IGpuAllocator* gpu) {
  try {
    auto made = std::make_shared<hybrid_frame_allocator>(Private{});
    if (made->Init(gpu)) return made;
  } catch (...) {  // no memory, or no thread to be had
  }
  LogErrorAt(kUnit, 540);
  return nullptr;
}

hybrid_frame_allocator::hybrid_frame_allocator(Private /*only_create*/) {}

hybrid_frame_allocator::~hybrid_frame_allocator() {
  worker_.reset();
  pools_.reset();
  cpu_allocator_.reset();
}

bool hybrid_frame_allocator::Init(IGpuAllocator* gpu) {
  if (gpu == nullptr) {
    MIVARE_LOG(kLogStatus, "error! IGpuAllocator is nullptr. file[%s] line[%d]", kUnit, 368);
  }
  cpu_allocator_ = allocator_decorator::Create(gpu);
  if (cpu_allocator_ == nullptr) {
    LogErrorAt(kUnit, 374);
    return false;
  }
  gpu_allocator_ = std::shared_ptr<IGpuAllocator>(gpu, [](IGpuAllocator*) {});
  pools_ = std::make_shared<FramePools>();
  worker_ = std::make_unique<check_loop>(pools_, cpu_allocator_);
  return true;
}

std::shared_ptr<IMediaBuffer> hybrid_frame_allocator::Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                                            void* /*reserved*/) {
  if (desc == nullptr) {
    LogErrorAt(kUnit, 395);
    return nullptr;
  }
  std::shared_ptr<IMediaBuffer> result;
  try {
    result = Serve(desc, source);
  } catch (const orlo::AnyBadAccess&) {  // a hint that is no number: the caller's to know
    throw;
  } catch (...) {  // no memory, or the host's own failure
    LogErrorAt(kUnit);
  }
  if (result == nullptr) LogFailedRequest(*desc);
  return result;
}

std::shared_ptr<IMediaBuffer> hybrid_frame_allocator::Serve(IMediaDesc* desc,
                                                            IMediaBuffer* source) {
  if (desc->GetMediaType() == kMediaAudio) return cpu_allocator_->Alloc(desc, source, nullptr);
  if (HasHint(*desc, kBlankKey)) return AllocBlank(desc);
  return AllocPooled(desc, source, nullptr, nullptr);
}

void hybrid_frame_allocator::WatchGpuMemory(const IMediaDesc& desc) {
  if (gpu_allocator_ == nullptr || desc.GetMemoryLocation() != kDeviceMemory) return;
  const int64_t available = gpu_allocator_->GetAvailableMemory();
  if (available <= 0 || available >= kLowGpuMemory) {
    low_memory_reported.store(false, std::memory_order_relaxed);
    return;
  }
  pools_->QueueReduction();
  if (!low_memory_reported.exchange(true, std::memory_order_relaxed)) {
    MIVARE_LOG(kLogStatus, "GPU Available %dMB Memory < 512MB,releae pool!!",
               static_cast<int32_t>(available / 1048576));
  }
}

std::shared_ptr<IMediaBuffer> hybrid_frame_allocator::AllocPooled(
    IMediaDesc* desc, IMediaBuffer* source, const std::shared_ptr<BlankPool>& blank_pool,
    const std::shared_ptr<BlankPool>& given_home) {
  WatchGpuMemory(*desc);
  const std::shared_ptr<BlankPool>& home =
      given_home != nullptr ? given_home : pools_->GetOrCreate(FrameKey(*desc, false));
  if (home == nullptr) {
    LogErrorAt(kUnit, 476);
    return nullptr;
  }
  if (HybridBuffer::Pooled pooled{home->Take()}) {
    std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Reissue(desc, std::move(pooled));
    if (source != nullptr) frame->CopyFrom(source);
    return frame;
  }
  std::shared_ptr<IMediaBuffer> storage = cpu_allocator_->Alloc(desc, source, nullptr);
  if (storage == nullptr) {
    LogErrorAt(kUnit, 483);
    return nullptr;
  }
  std::shared_ptr<IMediaBuffer> frame =
      HybridBuffer::Create(std::move(storage), gpu_allocator_, blank_pool, home);
  if (frame == nullptr) LogErrorAt(kUnit, 488);
  return frame;
}

// What the frames hold is decided by their pool: those of the blank one are black already.
std::shared_ptr<IMediaBuffer> hybrid_frame_allocator::AllocBlank(IMediaDesc* desc) {
  const std::shared_ptr<BlankPool>& blank_pool = pools_->GetOrCreate(FrameKey(*desc, true));
  const std::shared_ptr<BlankPool>& home = pools_->GetOrCreate(FrameKey(*desc, false));
  std::shared_ptr<IMediaBuffer> frame;
  HybridBuffer::Pooled pooled(blank_pool != nullptr ? blank_pool->Take() : nullptr);
  if (pooled == nullptr && home != nullptr) {
    pooled.reset(home->Take());
    if (pooled != nullptr) pooled->MakeBlank(blank_pool);
  }
  if (pooled != nullptr) {
    frame = HybridBuffer::Reissue(desc, std::move(pooled));
  } else {
    frame = AllocPooled(desc, nullptr, blank_pool, home);
    if (frame != nullptr) FillBlank(frame.get());
  }
  if (frame == nullptr) LogErrorAt(kUnit, 526);
  return frame;
}

int32_t hybrid_frame_allocator::GetMemoryStatus(uint64_t& all, uint64_t& free) {
  return cpu_allocator_ != nullptr ? cpu_allocator_->GetMemoryStatus(all, free) : -1;
}

void hybrid_frame_allocator::clear() {
  pools_->QueueReduction();
  cpu_allocator_->clear();
}

void hybrid_frame_allocator::SetMemoryLimit(uint32_t megabytes) {
  if (cpu_allocator_ != nullptr) cpu_allocator_->SetMemoryLimit(megabytes);
}

bool hybrid_frame_allocator::FillBlank(IMediaBuffer* frame) {
  if (frame == nullptr) {
    LogErrorAt(kUnit, 340);
    return false;
  }
  const IMediaDesc* desc = frame->GetDesc(0);
  if (desc == nullptr) {
    LogErrorAt(kUnit, 346);
    return false;
  }
  if (desc->GetMemoryLocation() == 0) {
    BlankFill(frame);
    return true;
  }
  if (gpu_allocator_ == nullptr) return false;
  try {
    // Counted, but not owning: the frame is lent for the call.
    return gpu_allocator_->FillBlank(std::shared_ptr<IMediaBuffer>(frame, [](IMediaBuffer*) {}));
  } catch (...) {  // no memory, or the host's own failure
    LogErrorAt(kUnit);
    return false;
  }
}

std::shared_ptr<IAllocator> CpuAllocatorOf(const std::shared_ptr<IAllocator>& allocator) {
  const auto* hybrid = dynamic_cast<const hybrid_frame_allocator*>(allocator.get());
  return hybrid != nullptr ? hybrid->cpu_allocator() : allocator;
}

}  // namespace mivare
