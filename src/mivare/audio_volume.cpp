#include "audio_volume.h"

#include "face_ptr.h"

namespace mivare::audioVolumeMgr {

IAudioVolumeInquire* impl::GetVolumeInquire() {
  if (count_.IsZero()) return nullptr;
  const MutexLock lock(mutex_);
  if (tracks_.empty()) return nullptr;
  cursor_ = tracks_.begin();
  return this;
}

bool impl::AddVolume(const std::string& track, const std::vector<uint64_t>& values) {
  Tracks added;
  added.emplace(track, values);
  const MutexLock lock(mutex_);
  tracks_.merge(added);  // a track that is already there keeps its first values
  cursor_ = tracks_.begin();
  count_.Set(tracks_.size());
  return true;
}

int32_t impl::ClearVolumes() {
  if (count_.IsZero()) return 0;
  Tracks removed;
  const MutexLock lock(mutex_);
  tracks_.swap(removed);
  cursor_ = tracks_.end();
  count_.Set(0);
  return 0;
}

IAudioVolumeInquire* impl::NextVolume() {
  const MutexLock lock(mutex_);
  if (cursor_ == tracks_.end()) return nullptr;
  ++cursor_;
  return cursor_ != tracks_.end() ? this : nullptr;
}

int32_t impl::GetVolume(std::string& track, std::vector<uint64_t>& values) {
  const MutexLock lock(mutex_);
  if (cursor_ == tracks_.end()) return 0;
  track = cursor_->first;
  values = cursor_->second;
  return 1;
}

}  // namespace mivare::audioVolumeMgr

int32_t NUXMivareCopyAudioVolumeData(mivare::ITrackAudioVolumeManager* source,
                                     mivare::ITrackAudioVolumeManager* destination) try {
  if (source == nullptr || destination == nullptr || source == destination) return -1;
  const mivare::FacePtr<mivare::IAudioVolumeInquire> reader(source->GetVolumeInquire());
  const mivare::FacePtr<mivare::IAudioVolumeConfig> writer(destination->GetVolumeConfig());
  if (reader == nullptr || writer == nullptr) return -1;

  std::string track;
  std::vector<uint64_t> values;
  do {
    track.clear();
    values.clear();
    reader->GetVolume(track, values);
    writer->AddVolume(track, values);
  } while (reader->NextVolume() != nullptr);
  return 0;
} catch (...) {
  return -1;
}
