#include "buffer2d.h"

#include <algorithm>
#include <span>
#include <utility>

#include "aligned_heap.h"
#include "allocator_mgr.h"
#include "base/address.h"
#include "base/block_source.h"
#include "base/log.h"
#include "desc.h"
#include "hybrid_frame_allocator.h"
#include "mivare/allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/media_desc.h"
#include "platform/platform.h"
#include "system_info.h"

namespace mivare {
namespace {

constexpr char kInit[] = "mivare::Buffer2d::Init";
constexpr char kCopyFrom[] = "mivare::Buffer2d::CopyFrom";
constexpr char kCreate[] = "mivare::`anonymous-namespace'::_CreateMediaBuffer2D";

void LogFailure(const char* function, int line = __builtin_LINE()) {
  MIVARE_LOG(kLogError, "error. %s line[%d]", function, line);
}

}  // namespace

void FrameBlockDeleter::operator()(uint8_t* block) const noexcept {
  if (virtual_alloc) {
    platform::FreeBlock(block);
  } else {
    _free(block);
  }
}

int32_t Buffer2d::Lock(uint8_t* planes[8], int32_t pitches[8], void*, uint32_t*) {
  if (planes == nullptr || pitches == nullptr) return -1;
  const DescBase* desc = LibraryDesc();
  if (desc == nullptr || desc->PlaneOffsets().empty() || desc->GetPitches(pitches) != 0) {
    LogFailure("mivare::Buffer2d::Lock");
    std::fill_n(planes, 8, nullptr);
    std::fill_n(pitches, 8, 0);
    return -2;
  }
  const std::span<const uint32_t> offsets = desc->PlaneOffsets();
  for (size_t i = 0; i < std::min<size_t>(offsets.size(), 8); ++i) {
    planes[i] = Moved(data_.get(), offsets[i]);  // offsets wrap, and may lead out of the block
  }
  return 0;
}

int32_t Buffer2d::CopyFrom(IMediaBuffer* source) try {
  const IMediaDesc* from = source != nullptr ? source->GetDesc(0) : nullptr;
  const IMediaDesc* to = GetDesc(0);
  if (from == nullptr || to == nullptr) {
    LogFailure(kCopyFrom);
    return -1;
  }
  if (from->GetSmt() != to->GetSmt() || from->GetWidth() != to->GetWidth() ||
      from->GetHeight() != to->GetHeight()) {
    MIVARE_LOG(kLogError, "error. %s line[%d] type[%d:%d] width[%d:%d] height[%d:%d]", kCopyFrom,
               __LINE__, from->GetSmt(), to->GetSmt(), static_cast<int32_t>(from->GetWidth()),
               static_cast<int32_t>(to->GetWidth()), static_cast<int32_t>(from->GetHeight()),
               static_cast<int32_t>(to->GetHeight()));
    return -2;
  }
  if (NUXMivareCopyMediaBufferData(this, source) != 0) {
    MIVARE_LOG(kLogError, "error. file[%s] line[%d]", unit::kBuffer2d, __LINE__);
    return -1;
  }
  Refresh();
  return 0;
} catch (...) {  // of a host's buffer
  LogFailure(kCopyFrom);
  return -1;
}

// Asks the CPU side of the current allocator, so that the clone of a planar buffer is one as well.
std::shared_ptr<IMediaBuffer> Buffer2d::Clone(uint32_t) try {
  std::shared_ptr<IAllocator> current;
  GetCurrentAllocator(&current);
  const std::shared_ptr<IAllocator> cpu = CpuAllocatorOf(current);
  if (cpu == nullptr || SharedDesc() == nullptr) return {};
  std::shared_ptr<IMediaBuffer> clone = cpu->Alloc(SharedDesc().get(), nullptr, nullptr);
  if (clone == nullptr) return {};
  NUXMivareCopyMediaBufferData(clone.get(), this);
  return clone;
} catch (...) {
  return {};
}

std::optional<MemoryBlock> Buffer2d::Block() { return MemoryBlock{data_.get(), size_}; }

void Buffer2d::Refresh() {
  const IMediaDesc* desc = GetDesc(0);
  if (desc == nullptr) return;
  int32_t pitches[8] = {};
  desc->GetPitches(pitches);
  const int32_t smt = desc->GetSmt();
  const View now = {
      .bit_depth = desc->GetBitDepth(),
      .channels = smt == 44 || smt == 45 ? 4U : 1U,
      .width = desc->GetWidth(),
      .height = desc->GetHeight(),
      .pixels = data_.get(),
      .pitch = static_cast<uint32_t>(pitches[0]),
  };
  // Nothing is written where nothing has changed: several threads may read one frame, such as a
  // lazy one, and each unlocks it.
  if (now != view_) view_ = now;
}

bool Buffer2d::Init(IMediaDesc* desc) {
  if (desc == nullptr) {
    LogFailure(kInit);
    return false;
  }
  std::shared_ptr<IMediaDesc> clone = desc->CloneShared();
  if (clone == nullptr) {
    LogFailure(kInit);
    return false;
  }
  const uint32_t width = clone->GetWidth();
  const uint32_t height = clone->GetHeight();
  const int32_t length = clone->GetFrameSize();
  if (length < 1) {
    MIVARE_LOG(kLogError, "%s error. width[%d] height[%d]", kInit, static_cast<int32_t>(width),
               static_cast<int32_t>(height));
    return false;
  }
  // The product wraps: a guard against sizes that make no sense, not the bound of the block.
  if (width * height > kMaxPixels) {
    MIVARE_LOG(kLogError, "%s error. width[%d] height[%d] exceed 30720 * 17280", kInit,
               static_cast<int32_t>(width), static_cast<int32_t>(height));
    return false;
  }
  if (!AllocMemory(static_cast<uint32_t>(length))) {
    MIVARE_LOG(kLogError, "error. %s line[%d] length[%d]", kInit, __LINE__, length);
    return false;
  }
  size_ = static_cast<uint32_t>(length);
  SetDesc(std::move(clone));
  Refresh();
  return true;
}

bool Buffer2d::AllocMemory(uint32_t size) {
  if (size < kVirtualAllocThreshold) {
    void* block = _malloc(size);
    if (block == nullptr) return false;
    SetBlockSize(block, size);
    data_ = FrameBlock(static_cast<uint8_t*>(block), FrameBlockDeleter{false});
    return true;
  }
  void* block = CurrentBlockSource().system(size);
  if (block == nullptr) {
    MIVARE_LOG(kLogMemory, "%s try VirtualAlloc [%d] memory! lasterror=%d",
               "mivare::Buffer2d::AllocMemory", static_cast<int32_t>(size),
               static_cast<int32_t>(platform::LastError()));
    ReportMemoryExhausted();
    return false;
  }
  data_ = FrameBlock(static_cast<uint8_t*>(block), FrameBlockDeleter{true});
  return true;
}

std::unique_ptr<Buffer2d> _CreateMediaBuffer2D(IMediaDesc* desc,
                                               const std::shared_ptr<Slot>& owner) {
  std::unique_ptr<Buffer2d> buffer;
  try {
    buffer = std::make_unique<Buffer2d>(owner);
    if (!buffer->Init(desc)) buffer.reset();
  } catch (...) {
    buffer.reset();
  }
  if (desc != nullptr) {
    MIVARE_LOG(kLogCreate, "%s type[%d] [%d x %d]", kCreate, desc->GetSmt(),
               static_cast<int32_t>(desc->GetWidth()), static_cast<int32_t>(desc->GetHeight()));
  }
  return buffer;
}

}  // namespace mivare
