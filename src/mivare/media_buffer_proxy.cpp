// MediaBufferProxy: another buffer under a description of its own.
#include <memory>
#include <utility>

#include "forwarding_buffer.h"
#include "media_types.h"
#include "mivare/buffer_views.h"
#include "mivare/helper.h"
#include "mivare/media_desc.h"
#include "mivare/user_data.h"

namespace mivare {
namespace {

class MediaBufferProxy final : public ForwardingBuffer<MediaBufferProxy> {
 public:
  MediaBufferProxy(std::shared_ptr<IMediaDesc> desc, std::shared_ptr<IMediaBuffer> source)
      : desc_(std::move(desc)), source_(std::move(source)) {}

  const std::shared_ptr<IMediaBuffer>& Target() const { return source_; }

  std::shared_ptr<IMediaBuffer> Clone(uint32_t flags) override;
  IMediaDesc* GetDesc(uint32_t) override { return desc_.get(); }
  bool IsDeviceMemory() override;

 private:
  const std::shared_ptr<IMediaDesc> desc_;  // may be empty
  const std::shared_ptr<IMediaBuffer> source_;
};

std::shared_ptr<IMediaDesc> CopyOf(const IMediaDesc* desc) {
  return desc != nullptr ? desc->CloneShared() : nullptr;
}

std::shared_ptr<IMediaBuffer> MediaBufferProxy::Clone(uint32_t) try {
  std::shared_ptr<IMediaBuffer> copy = source_->Clone(0);
  if (copy == nullptr) return {};
  return std::make_shared<MediaBufferProxy>(CopyOf(desc_.get()), std::move(copy));
} catch (...) {  // no memory, or the source's own failure
  return {};
}

bool MediaBufferProxy::IsDeviceMemory() {
  if (!source_->IsDeviceMemory()) return false;
  if (desc_ != nullptr) desc_->SetMemoryLocation(kDeviceMemory);
  return true;
}

std::shared_ptr<IMediaBuffer> MakeProxy(std::shared_ptr<IMediaBuffer> source) {
  const bool old = IsMarkedOld(source.get());
  std::shared_ptr<IMediaDesc> desc = CopyOf(source->GetDesc(0));
  // The copy has lost the mark.
  IUserDataConfig* user_data = old && desc != nullptr ? desc->GetUserDataConfig() : nullptr;
  if (user_data != nullptr) user_data->Set(kIsOldKey, true);
  return std::make_shared<MediaBufferProxy>(std::move(desc), std::move(source));
}

}  // namespace
}  // namespace mivare

int32_t NUXMivareCreateMediaBufferProxy(std::shared_ptr<mivare::IMediaBuffer> mb,
                                        std::shared_ptr<mivare::IMediaBuffer>* out) try {
  if (mb == nullptr || out == nullptr) return -1;
  *out = mivare::MakeProxy(std::move(mb));
  return 0;
} catch (...) {
  return -1;
}
