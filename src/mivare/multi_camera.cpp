#include "multi_camera.h"

#include <list>
#include <string>

#include "base/lock_order.h"
#include "base/mutex.h"
#include "face_ptr.h"

namespace mivare {
namespace videoMultiCameraMgr {

/// The manager is its own two faces. The queue is a list: an empty one owns no memory, as most
/// descriptions keep it, and records enter and leave by splicing, so that they are made before the
/// mutex is taken and freed after it is given up.
class impl final : public IVideoMultiCameraFrameManger,
                   public IVideoMultiCameraFrameConfig,
                   public IVideoMultiCameraFrameInquire {
 public:
  IVideoMultiCameraFrameInquire* GetFrameInquire() override {
    const MutexLock lock(mutex_);
    return !records_.empty() ? this : nullptr;
  }

  IVideoMultiCameraFrameConfig* GetFrameConfig() override { return this; }

  void Release() override {}

  bool AddFrame(const std::string& name, const uint32_t& value1, const uint32_t& value2,
                const uint64_t& data) override {
    Records added;
    added.push_back({name, value1, value2, data});
    const MutexLock lock(mutex_);
    records_.splice(records_.end(), added);
    return true;
  }

  int32_t ClearFrames() override {
    Records removed;
    const MutexLock lock(mutex_);
    records_.swap(removed);
    return 0;
  }

  IVideoMultiCameraFrameInquire* NextFrame() override {
    Records removed;
    const MutexLock lock(mutex_);
    if (records_.empty()) return nullptr;
    removed.splice(removed.end(), records_, records_.begin());
    return this;
  }

  int32_t GetFrame(std::string& name, uint32_t& value1, uint32_t& value2, uint64_t& data) override {
    const MutexLock lock(mutex_);
    if (records_.empty()) return 0;
    const Record& newest = records_.back();
    name = newest.name;
    value1 = newest.value1;
    value2 = newest.value2;
    data = newest.data;
    return 1;
  }

 private:
  struct Record {
    std::string name;
    uint32_t value1 = 0;
    uint32_t value2 = 0;
    uint64_t data = 0;
  };
  using Records = std::list<Record>;

  Mutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  Records records_ GUARDED_BY(mutex_);  // oldest first
};

}  // namespace videoMultiCameraMgr

std::shared_ptr<IVideoMultiCameraFrameManger> MakeMultiCameraManager() {
  return std::make_shared<videoMultiCameraMgr::impl>();
}

int32_t MoveMultiCameraFrames(IVideoMultiCameraFrameManger* source,
                              IVideoMultiCameraFrameManger* destination) {
  if (source == nullptr || destination == nullptr || source == destination) return -1;
  const FacePtr<IVideoMultiCameraFrameInquire> reader(source->GetFrameInquire());
  const FacePtr<IVideoMultiCameraFrameConfig> writer(destination->GetFrameConfig());
  if (reader == nullptr || writer == nullptr) return -1;

  std::string name;
  uint32_t value1 = 0;
  uint32_t value2 = 0;
  uint64_t data = 0;
  do {
    // The last pass finds the queue empty and hands on the numbers of the pass before: only the
    // name starts anew.
    name.clear();
    reader->GetFrame(name, value1, value2, data);
    writer->AddFrame(name, value1, value2, data);
  } while (reader->NextFrame() != nullptr);
  return 0;
}

}  // namespace mivare

int32_t NUXMivareCopyVideoMultiCameraFrame(mivare::IVideoMultiCameraFrameManger* source,
                                           mivare::IVideoMultiCameraFrameManger* destination) try {
  return mivare::MoveMultiCameraFrames(source, destination);
} catch (...) {
  return -1;
}
