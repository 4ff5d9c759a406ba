#include "audio_volume.h"

#include <map>
#include <string>
#include <vector>

#include "base/lock_order.h"
#include "base/mutex.h"
#include "face_ptr.h"

namespace mivare {
namespace audioVolumeMgr {

/// The manager is its own two faces. Tracks are copied in before the mutex is taken and freed after
/// it is given up.
class impl final : public ITrackAudioVolumeManager,
                   public IAudioVolumeConfig,
                   public IAudioVolumeInquire {
 public:
  IAudioVolumeInquire* GetVolumeInquire() override {
    const MutexLock lock(mutex_);
    if (tracks_.empty()) return nullptr;
    cursor_ = tracks_.begin();
    return this;
  }

  IAudioVolumeConfig* GetVolumeConfig() override { return this; }

  void Release() override {}

  bool AddVolume(const std::string& track, const std::vector<uint64_t>& values) override {
    Tracks added;
    added.emplace(track, values);
    const MutexLock lock(mutex_);
    tracks_.merge(added);  // a track that is already there keeps its first values
    cursor_ = tracks_.begin();
    return true;
  }

  int32_t ClearVolumes() override {
    Tracks removed;
    const MutexLock lock(mutex_);
    tracks_.swap(removed);
    cursor_ = tracks_.end();
    return 0;
  }

  IAudioVolumeInquire* NextVolume() override {
    const MutexLock lock(mutex_);
    if (cursor_ == tracks_.end()) return nullptr;
    ++cursor_;
    return cursor_ != tracks_.end() ? this : nullptr;
  }

  int32_t GetVolume(std::string& track, std::vector<uint64_t>& values) override {
    const MutexLock lock(mutex_);
    if (cursor_ == tracks_.end()) return 0;
    track = cursor_->first;
    values = cursor_->second;
    return 1;
  }

 private:
  using Tracks = std::map<std::string, std::vector<uint64_t>>;

  Mutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  Tracks tracks_ GUARDED_BY(mutex_);
  Tracks::iterator cursor_ GUARDED_BY(mutex_) = tracks_.end();
};

}  // namespace audioVolumeMgr

std::shared_ptr<ITrackAudioVolumeManager> MakeAudioVolumeManager() {
  return std::make_shared<audioVolumeMgr::impl>();
}

}  // namespace mivare

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
