#include "buffer1d.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "base/address.h"
#include "base/block_source.h"
#include "base/log.h"
#include "base/memory_signal.h"
#include "desc.h"
#include "mivare/allocator.h"
#include "mivare/media_desc.h"
#include "plane_walker.h"

namespace mivare {
namespace {

void LogRefusal(int line = __builtin_LINE()) {
  MIVARE_LOG(kLogError, "error! %s[%d]", unit::kBuffer1d, line);
}

// A block of exactly `size` bytes; empty when there is no memory.
std::shared_ptr<MemoryData> MakeBlock(int32_t size) try {
  auto block = std::make_shared<MemoryData>();
  if (!block->Init(size)) return {};
  return block;
} catch (const std::bad_alloc&) {
  return {};
}

// The ranges may overlap: hosts write a buffer's own bytes back to it.
void CopyBytes(uint8_t* to, const uint8_t* from, size_t count) {
  if (count > 0) std::memmove(to, from, count);
}

}  // namespace

bool MemoryData::Init(int32_t size) {
  if (size <= 0) {
    LogRefusal();
    return false;
  }
  try {
    data.reset(CurrentBlockSource().new_bytes(static_cast<size_t>(size)));
  } catch (const std::bad_alloc& failure) {
    MIVARE_LOG(kLogMemory, "%s try new[%lld] memory exception[%s]!", "mivare::MemoryData::Init",
               static_cast<long long>(size), failure.what());
    SignalMemoryExhausted();
    LogRefusal();
    return false;
  }
  capacity = size;
  return true;
}

int32_t Buffer1d::Lock(uint8_t* planes[8], int32_t pitches[8], void*, uint32_t* capacityOut) {
  if (planes == nullptr || pitches == nullptr) {
    LogRefusal();
    return -1;
  }
  std::fill_n(planes, 8, nullptr);
  std::fill_n(pitches, 8, 0);
  planes[0] = memory_ != nullptr ? memory_->data.get() : nullptr;
  pitches[0] = size_;
  if (capacityOut != nullptr) *capacityOut = static_cast<uint32_t>(Capacity());
  return 0;
}

// The copy is best effort: hosts pass sources that may be empty and do not look at the result.
int32_t Buffer1d::CopyFrom(IMediaBuffer* source) {
  if (source == nullptr) {
    LogRefusal();
    return -1;
  }
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  source->Lock(planes, pitches, nullptr, nullptr);
  // A source may claim more bytes than it has.
  Replace(planes[0], PartOf(planes[0], pitches[0], BlockBehind(*source)), pitches[0]);
  source->Unlock();
  return 0;
}

int32_t Buffer1d::SetData(const uint8_t* data, int32_t size) {
  return Replace(data, OwnPart(data, size), size);
}

// A buffer's own bytes, which hosts write back to it, end with its block; a host's are all there.
RowPart Buffer1d::OwnPart(const uint8_t* data, int64_t size) {
  const std::optional<MemoryBlock> block = Block();
  const bool own = static_cast<uint64_t>(Distance(block->data, data)) < block->size;
  return PartOf(const_cast<uint8_t*>(data), size, own ? block : std::nullopt);  // only read from
}

int32_t Buffer1d::Replace(const uint8_t* data, const RowPart& part, int32_t size) {
  if (data == nullptr || size < 1) {
    LogRefusal();
    return -1;
  }
  std::shared_ptr<MemoryData> old;  // `data` may lie in it
  if (Capacity() < size) {
    std::shared_ptr<MemoryData> block = MakeBlock(size);
    if (block == nullptr) {
      LogRefusal();
      return -1;
    }
    if (DescBase* desc = LibraryDesc()) desc->SetDataLength(size);
    old = std::exchange(memory_, std::move(block));
  }
  CopyBytes(memory_->data.get() + part.first, part.data, part.bytes);
  size_ = size;
  return 0;
}

std::shared_ptr<IMediaBuffer> Buffer1d::Clone(uint32_t) try {
  if (SharedDesc() == nullptr) return {};
  IAllocatorEx* allocator = nullptr;
  if (NUXMivareDefaultAllocatorAcquire(&allocator) != 0) return {};
  std::shared_ptr<IMediaBuffer> clone = allocator->Alloc(SharedDesc().get(), nullptr, nullptr);
  if (clone == nullptr) return {};
  clone->CopyFrom(this);
  return clone;
} catch (...) {
  return {};
}

int32_t Buffer1d::SetDataSize(int32_t size) {
  size_ = size;
  return 0;
}

bool Buffer1d::AppendData(const uint8_t* data, uint32_t size) {
  const int64_t needed = int64_t{size_} + size;
  if ((data == nullptr && size > 0) || needed < 0 || needed > INT32_MAX) {
    LogRefusal();
    return false;
  }
  RowPart part = OwnPart(data, size);
  const int32_t end = std::max(size_, 0);
  // Behind a negative number of bytes, what would lie in front of the block is dropped.
  const size_t in_front = std::min(static_cast<size_t>(int64_t{end} - size_), part.bytes);
  part.data += in_front;
  part.bytes -= in_front;
  if (Capacity() < needed) {
    std::shared_ptr<MemoryData> block = MakeBlock(static_cast<int32_t>(needed));
    if (block == nullptr) {
      LogRefusal();
      return false;
    }
    if (memory_ != nullptr) {
      const int32_t kept = std::min(end, Capacity());
      CopyBytes(block->data.get(), memory_->data.get(), static_cast<size_t>(kept));
    }
    CopyBytes(block->data.get() + end, part.data, part.bytes);
    memory_ = std::move(block);
  } else if (part.bytes > 0) {
    CopyBytes(memory_->data.get() + end, part.data, part.bytes);
  }
  size_ = static_cast<int32_t>(needed);
  return true;
}

void Buffer1d::OnRecycle() { size_ = 0; }

std::optional<MemoryBlock> Buffer1d::Block() {
  return MemoryBlock{memory_ != nullptr ? memory_->data.get() : nullptr,
                     static_cast<size_t>(Capacity())};
}

bool Buffer1d::Init(IMediaDesc* desc) {
  if (desc == nullptr) {
    LogRefusal();
    return false;
  }
  std::shared_ptr<IMediaDesc> clone = desc->CloneShared();
  if (clone == nullptr) {
    LogRefusal();
    return false;
  }
  std::shared_ptr<MemoryData> block = MakeBlock(kInitialCapacity);
  if (block == nullptr) {
    LogRefusal();
    return false;
  }
  SetDesc(std::move(clone));
  if (DescBase* own = LibraryDesc()) own->SetDataLength(kInitialCapacity);
  memory_ = std::move(block);
  return true;
}

namespace audio {

AudioBuffer::~AudioBuffer() = default;

int32_t AudioBuffer::SetData(const uint8_t* data, int32_t size) {
  return Buffer1d::SetData(data, size);
}

int32_t AudioBuffer::SetDataSize(int32_t size) { return Buffer1d::SetDataSize(size); }

}  // namespace audio
}  // namespace mivare
