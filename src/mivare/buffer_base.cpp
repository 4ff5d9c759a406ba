#include "buffer_base.h"

#include <utility>

#include "desc.h"
#include "face_ptr.h"
#include "mivare/audio_volume.h"
#include "mivare/media_desc.h"
#include "mivare/multi_camera.h"
#include "mivare/user_data.h"
#include "slot.h"
#include "trovel/trovel.h"

namespace mivare {
namespace {

template <class Store>
Store* QueryStore(IMediaDesc& desc, const char* key) {
  void* store = nullptr;
  desc.QueryProperty(key, &store);
  return static_cast<Store*>(store);
}

// The deleter of a handle: what the host's last release does.
struct Releaser {
  const char* kind;
  void operator()(BufferBase* buffer) const noexcept {
    trovel::RemoveResource(kind, buffer);
    RecycleBuffer(buffer);
  }
};

}  // namespace

BufferBase::BufferBase(const std::shared_ptr<Slot>& owner) : owner_(owner) {}
BufferBase::~BufferBase() = default;

int32_t BufferBase::Unlock() {
  Refresh();
  return 0;
}

int32_t BufferBase::SetData(const uint8_t*, int32_t) { return -1; }
IMediaDesc* BufferBase::GetDesc(uint32_t) { return desc_.get(); }
int32_t BufferBase::SetDataSize(int32_t) { return -1; }
std::shared_ptr<void> BufferBase::QueryObject(uint32_t, uint64_t) { return {}; }
void* BufferBase::QueryNative(uint32_t) { return nullptr; }
bool BufferBase::IsDeviceMemory() { return false; }
bool BufferBase::AppendData(const uint8_t*, uint32_t) { return false; }
void BufferBase::Flush() {}

IMediaDesc* BufferBase::GetDescRaw() { return GetDesc(0); }
void BufferBase::Refresh() {}
void BufferBase::OnRecycle() {}

void BufferBase::SetDesc(std::shared_ptr<IMediaDesc> desc) {
  desc_ = std::move(desc);
  library_desc_ = dynamic_cast<DescBase*>(desc_.get());
}

const char* KindName(uint32_t media_type) noexcept {
  switch (media_type) {
    case 1: return "Video Buffer";
    case 2: return "Audio Buffer";
    case 4: return "Stream Buffer";
    case 5: return "Subtitle Buffer";
    default: return "Unknown Buffer";
  }
}

void ResetFrameMetadata(IMediaDesc* desc) noexcept try {
  if (desc == nullptr) return;
  if (IUserDataConfig* user_data = desc->GetUserDataConfig()) user_data->Clear();
  if (auto* volumes = QueryStore<ITrackAudioVolumeManager>(*desc, kAudioVolumeKey)) {
    const FacePtr<IAudioVolumeConfig> config(volumes->GetVolumeConfig());
    if (config != nullptr) config->ClearVolumes();
  }
  if (auto* cameras = QueryStore<IVideoMultiCameraFrameManger>(*desc, kMultiCameraKey)) {
    const FacePtr<IVideoMultiCameraFrameConfig> config(cameras->GetFrameConfig());
    if (config != nullptr) config->ClearFrames();
  }
} catch (...) {
  // A store of a host's description failed; the buffer goes back all the same.
}

void RecycleBuffer(BufferBase* buffer) noexcept {
  if (buffer == nullptr) return;
  std::unique_ptr<BufferBase> owned(buffer);
  ResetFrameMetadata(owned->SharedDesc().get());
  if (const std::shared_ptr<Slot> slot = owned->Owner().lock()) {
    owned->OnRecycle();
    slot->Put(std::move(owned));
  }
}

std::shared_ptr<IMediaBuffer> WrapBuffer(PooledBuffer buffer, uint32_t media_type) {
  const char* kind = KindName(media_type);
  trovel::AddResource(kind, buffer.get());
  // Without memory for its count the handle's making runs the releaser.
  BufferBase* registered = buffer.release();
  if (registered == nullptr) return std::shared_ptr<BufferBase>(registered, Releaser{kind});
  return registered->Cells().Wrap(registered, Releaser{kind});
}

}  // namespace mivare
