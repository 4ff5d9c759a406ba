// ForwardingBuffer: the operations of a buffer that stands in for another.
#pragma once

#include <cstdint>
#include <memory>

#include "memory_block.h"
#include "mivare/media_buffer.h"

namespace mivare {

/// Passes every operation but Clone on to `Self::Target()`, with its arguments and its result.
/// While that is empty, status operations answer -1 and the others false, null or empty.
template <class Self>
class ForwardingBuffer : public IMediaBuffer, public BlockHolder {
 public:
  int32_t Lock(uint8_t* planes[8], int32_t pitches[8], void* reserved,
               uint32_t* capacityOut) override {
    const auto& target = Target();
    return target != nullptr ? target->Lock(planes, pitches, reserved, capacityOut) : -1;
  }
  int32_t Unlock() override {
    const auto& target = Target();
    return target != nullptr ? target->Unlock() : -1;
  }
  int32_t CopyFrom(IMediaBuffer* source) override {
    const auto& target = Target();
    return target != nullptr ? target->CopyFrom(source) : -1;
  }
  int32_t SetData(const uint8_t* data, int32_t size) override {
    const auto& target = Target();
    return target != nullptr ? target->SetData(data, size) : -1;
  }
  IMediaDesc* GetDesc(uint32_t flags) override {
    const auto& target = Target();
    return target != nullptr ? target->GetDesc(flags) : nullptr;
  }
  int32_t SetDataSize(int32_t size) override {
    const auto& target = Target();
    return target != nullptr ? target->SetDataSize(size) : -1;
  }
  std::shared_ptr<void> QueryObject(uint32_t kind, uint64_t value) override {
    const auto& target = Target();
    return target != nullptr ? target->QueryObject(kind, value) : nullptr;
  }
  void* QueryNative(uint32_t flags) override {
    const auto& target = Target();
    return target != nullptr ? target->QueryNative(flags) : nullptr;
  }
  bool IsDeviceMemory() override {
    const auto& target = Target();
    return target != nullptr && target->IsDeviceMemory();
  }
  bool AppendData(const uint8_t* data, uint32_t size) override {
    const auto& target = Target();
    return target != nullptr && target->AppendData(data, size);
  }
  void Flush() override {
    const auto& target = Target();
    if (target != nullptr) target->Flush();
  }

  std::optional<MemoryBlock> Block() override {
    const auto& target = Target();
    return target != nullptr ? BlockBehind(*target) : std::nullopt;
  }

 private:
  // A handle, or a reference to one that stays as long as this buffer.
  decltype(auto) Target() { return static_cast<Self*>(this)->Target(); }
};

}  // namespace mivare
