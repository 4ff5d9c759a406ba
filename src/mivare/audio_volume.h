// The audio volume manager of a description.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/entry_count.h"
#include "base/lock_order.h"
#include "base/mutex.h"
#include "mivare/audio_volume.h"

namespace mivare {
namespace audioVolumeMgr {

/// The manager is its own two faces. Tracks are copied in before the mutex is taken and freed after
/// it is given up.
class impl final : public ITrackAudioVolumeManager,
                   public IAudioVolumeConfig,
                   public IAudioVolumeInquire {
 public:
  IAudioVolumeInquire* GetVolumeInquire() override;
  IAudioVolumeConfig* GetVolumeConfig() override { return this; }
  void Release() override {}
  bool AddVolume(const std::string& track, const std::vector<uint64_t>& values) override;
  int32_t ClearVolumes() override;
  IAudioVolumeInquire* NextVolume() override;
  int32_t GetVolume(std::string& track, std::vector<uint64_t>& values) override;

 private:
  using Tracks = std::map<std::string, std::vector<uint64_t>>;

  Mutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  EntryCount count_;
  Tracks tracks_ GUARDED_BY(mutex_);
  Tracks::iterator cursor_ GUARDED_BY(mutex_) = tracks_.end();
};

}  // namespace audioVolumeMgr

/// Shares a new manager without tracks. Throws std::bad_alloc.
inline std::shared_ptr<ITrackAudioVolumeManager> MakeAudioVolumeManager() {
  return std::make_shared<audioVolumeMgr::impl>();
}

}  // namespace mivare
