#include "desc.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace mivare {

// The hints of one allocation are no hints for the next, and the audio volumes belong to the one
// frame that was mixed: both stay behind.
DescBase::DescBase(const DescBase& other)
    : frame_size_(other.frame_size_),
      plane_count_(other.plane_count_),
      plane_offsets_(other.plane_offsets_),
      memory_location_(other.memory_location_),
      platform_(other.platform_),
      tex_type_(other.tex_type_),
      user_data_(other.user_data_, UserDataMap::Hints::kLeftBehind),
      extend_data_(other.extend_data_) {
  MoveMultiCameraFrames(&other.multi_camera_, &multi_camera_);
}

void DescBase::SetPlaneOffsets(std::span<const uint32_t> offsets) {
  plane_count_ = static_cast<uint32_t>(std::min(offsets.size(), desc::kMaxPlanes));
  std::copy_n(offsets.begin(), plane_count_, plane_offsets_.begin());
}

bool DescBase::SetMemoryLocation(uint32_t value) {
  memory_location_ = value;
  return true;
}

bool DescBase::QueryIndex(uint32_t* out) {
  if (out != nullptr) *out = UINT32_MAX;
  return false;
}

void DescBase::QueryProperty(const char* key, void** out) {
  if (key == nullptr || out == nullptr) return;
  // Each store under the type that the header promises: a void pointer converts to no other.
  const std::array<std::pair<const char*, void*>, 3> stores = {{
      {kExtendDataKey, static_cast<IExtendData*>(&extend_data_)},
      {kAudioVolumeKey,
       audio_volumes_ ? static_cast<ITrackAudioVolumeManager*>(&*audio_volumes_) : nullptr},
      {kMultiCameraKey, static_cast<IVideoMultiCameraFrameManger*>(&multi_camera_)},
  }};
  for (const auto& [name, store] : stores) {
    if (key != name && std::strcmp(key, name) != 0) continue;
    *out = store;
    return;
  }
}

bool DescBase::CopyFrom(const IMediaDesc& other) {
  try {
    user_data_.CopyFrom(other.GetUserDataInquire());
  } catch (...) {
    return false;
  }
  return true;
}

int32_t WriteTypeAndSmt(const IMediaDesc& desc, uint32_t* media_type, uint32_t* smt) {
  if (media_type == nullptr || smt == nullptr) return -1;
  *media_type = desc.GetMediaType();
  *smt = static_cast<uint32_t>(desc.GetSmt());
  return 0;
}

}  // namespace mivare
