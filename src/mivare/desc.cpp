#include "desc.h"

#include <array>
#include <cstring>
#include <utility>

#include "audio_volume.h"
#include "extend_data_impl.h"
#include "extend_keys.h"
#include "multi_camera.h"
#include "user_data_map.h"

namespace mivare {

DescBase::DescBase()
    : user_data_(std::make_shared<UserDataMap>()),
      extend_data_(MakeExtendData()),
      audio_volumes_(MakeAudioVolumeManager()),
      multi_camera_(MakeMultiCameraManager()) {}

// The audio volumes stay behind: they belong to the one frame that was mixed.
DescBase::DescBase(const DescBase& other)
    : frame_size_(other.frame_size_),
      plane_offsets_(other.plane_offsets_),
      memory_location_(other.memory_location_),
      platform_(other.platform_),
      tex_type_(other.tex_type_),
      user_data_(other.user_data_ != nullptr ? other.user_data_->CloneMap() : nullptr) {
  // The hints of one allocation are no hints for the next.
  RemoveReservedUserDataKeys(user_data_.get());
  if (other.extend_data_ != nullptr) extend_data_ = other.extend_data_->Clone();
  multi_camera_ = MakeMultiCameraManager();
  MoveMultiCameraFrames(other.multi_camera_.get(), multi_camera_.get());
}

bool DescBase::SetMemoryLocation(uint32_t value) {
  memory_location_ = value;
  return true;
}

bool DescBase::QueryIndex(uint32_t* out) {
  if (out != nullptr) *out = UINT32_MAX;
  return false;
}

IUserDataConfig* DescBase::GetUserDataConfig() { return user_data_.get(); }

IUserDataInquire* DescBase::GetUserDataInquire() const { return user_data_.get(); }

void DescBase::QueryProperty(const char* key, void** out) {
  if (key == nullptr || out == nullptr) return;
  // Each store under the type that the header promises: a void pointer converts to no other.
  const std::array<std::pair<const char*, void*>, 3> stores = {{
      {kExtendDataKey, extend_data_.get()},
      {kAudioVolumeKey, audio_volumes_.get()},
      {kMultiCameraKey, multi_camera_.get()},
  }};
  for (const auto& [name, store] : stores) {
    if (std::strcmp(key, name) == 0) *out = store;
  }
}

bool DescBase::CopyFrom(const IMediaDesc& other) {
  if (user_data_ == nullptr) return true;
  try {
    user_data_->CopyFrom(other.GetUserDataInquire());
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
