// PictureView: what pictures over memory of others have in common.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"

namespace mivare {

/// Has a description of its own, and no part in what the memory is.
class PictureView : public IMediaBuffer {
 public:
  int32_t CopyFrom(IMediaBuffer*) override { return -1; }
  int32_t SetData(const uint8_t*, int32_t) override { return -1; }
  IMediaDesc* GetDesc(uint32_t) override { return desc_.get(); }
  int32_t SetDataSize(int32_t) override { return -1; }
  std::shared_ptr<void> QueryObject(uint32_t, uint64_t) override { return {}; }
  void* QueryNative(uint32_t) override { return nullptr; }
  bool IsDeviceMemory() override { return false; }
  bool AppendData(const uint8_t*, uint32_t) override { return false; }

 protected:
  explicit PictureView(std::shared_ptr<IMediaDesc> desc) : desc_(std::move(desc)) {}

 private:
  std::shared_ptr<IMediaDesc> desc_;  // may be empty; set once
};

}  // namespace mivare
