// A buffer of a host's own making, programmable where the library looks.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"

namespace mivare::test {

class FakeBuffer : public IMediaBuffer {
 public:
  explicit FakeBuffer(IMediaDesc* description = nullptr) : desc(description) {}

  IMediaDesc* desc;  ///< lent
  std::array<uint8_t*, 8> planes{};
  std::array<int32_t, 8> pitches{};
  int32_t lock_status = 0;
  bool writes_when_refusing = false;  ///< whether a failing Lock fills its arrays as well
  bool throws = false;

  // What happened.
  std::vector<void*> lock_reasons;  ///< the third argument of each Lock
  int unlocks = 0;
  std::vector<IMediaBuffer*> copied_from;

  int32_t Lock(uint8_t* out_planes[8], int32_t out_pitches[8], void* reserved, uint32_t*) override {
    lock_reasons.push_back(reserved);
    if (throws) throw 7;
    if (lock_status == 0 || writes_when_refusing) {
      for (size_t i = 0; i < 8; ++i) {
        out_planes[i] = planes[i];
        out_pitches[i] = pitches[i];
      }
    }
    return lock_status;
  }
  int32_t Unlock() override {
    ++unlocks;
    return 0;
  }
  int32_t CopyFrom(IMediaBuffer* source) override {
    copied_from.push_back(source);
    return -2;
  }
  int32_t SetData(const uint8_t*, int32_t) override { return -1; }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t) override { return nullptr; }
  /// Says what it is to the argument that everyone passes, and to no other.
  IMediaDesc* GetDesc(uint32_t argument) override { return argument == 0 ? desc : nullptr; }
  int32_t SetDataSize(int32_t) override { return -1; }
  std::shared_ptr<void> QueryObject(uint32_t, uint64_t) override { return nullptr; }
  void* QueryNative(uint32_t) override { return nullptr; }
  bool IsDeviceMemory() override { return false; }
  bool AppendData(const uint8_t*, uint32_t) override { return false; }
  void Flush() override {}
};

}  // namespace mivare::test
