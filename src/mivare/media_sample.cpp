#include "mivare/media_sample.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "base/lock_order.h"
#include "base/mutex.h"
#include "mivare/media_buffer.h"

namespace mivare {
namespace {

class MediaSample final : public IMediaSample {
 public:
  MediaSample(uint64_t param1, uint64_t param2, uint64_t param3)
      : param1_(param1), param2_(param2), param3_(param3) {}

  std::shared_ptr<IMediaSample> Clone() override;

  uint64_t GetParam1() override { return param1_; }
  void SetParam1(uint64_t value) override { param1_ = value; }
  uint64_t GetParam2() override { return param2_; }
  void SetParam2(uint64_t value) override { param2_ = value; }
  uint64_t GetParam3() override { return param3_; }
  void SetParam3(uint64_t value) override { param3_ = value; }

  uint32_t GetBufferCount() override;
  std::shared_ptr<IMediaBuffer> GetBuffer(uint32_t index) override;
  int32_t AddBuffer(std::shared_ptr<IMediaBuffer> buffer) override;
  int32_t ClearBuffers() override;

 private:
  // The caller's, who synchronises them.
  uint64_t param1_;
  uint64_t param2_;
  uint64_t param3_;

  Mutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  std::vector<std::shared_ptr<IMediaBuffer>> buffers_ GUARDED_BY(mutex_);
};

// Object and count are two allocations: the object's memory goes at the last handle, whoever still
// holds a weak one.
std::shared_ptr<IMediaSample> MakeSample(uint64_t param1, uint64_t param2, uint64_t param3) {
  return std::shared_ptr<IMediaSample>(new MediaSample(param1, param2, param3));
}

// The list stands still until the copy is complete.
std::shared_ptr<IMediaSample> MediaSample::Clone() {
  const MutexLock lock(mutex_);
  std::shared_ptr<IMediaSample> copy = MakeSample(param1_, param2_, param3_);
  for (const std::shared_ptr<IMediaBuffer>& buffer : buffers_) copy->AddBuffer(buffer->Clone(0));
  return copy;
}

uint32_t MediaSample::GetBufferCount() {
  const MutexLock lock(mutex_);
  return static_cast<uint32_t>(buffers_.size());
}

std::shared_ptr<IMediaBuffer> MediaSample::GetBuffer(uint32_t index) {
  const MutexLock lock(mutex_);
  return index < buffers_.size() ? buffers_[index] : nullptr;
}

int32_t MediaSample::AddBuffer(std::shared_ptr<IMediaBuffer> buffer) {
  if (buffer == nullptr) return 0;
  const MutexLock lock(mutex_);
  buffers_.push_back(std::move(buffer));
  return 0;
}

int32_t MediaSample::ClearBuffers() {
  std::vector<std::shared_ptr<IMediaBuffer>> gone;  // after the lock: the last handles may be here
  const MutexLock lock(mutex_);
  gone.swap(buffers_);
  return 0;
}

}  // namespace

std::shared_ptr<IMediaSample> NUXMivareMediaSampleCreate(int* /*error*/) {
  return MakeSample(0, 0, 0);
}

std::shared_ptr<IMediaSample> NUXMivareMediaSampleCreate(unsigned long long param1,
                                                         unsigned long long param2,
                                                         unsigned long long param3,
                                                         int* /*error*/) {
  return MakeSample(param1, param2, param3);
}

}  // namespace mivare
