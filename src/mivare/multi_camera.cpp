#include "multi_camera.h"

#include "face_ptr.h"

namespace mivare {
namespace videoMultiCameraMgr {

bool impl::AddFrame(const std::string& name, const uint32_t& value1, const uint32_t& value2,
                    const uint64_t& data) {
  Records added;
  added.push_back({name, value1, value2, data});
  const MutexLock lock(mutex_);
  records_.splice(records_.end(), added);
  count_.Set(records_.size());
  return true;
}

int32_t impl::ClearFrames() {
  if (count_.IsZero()) return 0;
  Records removed;
  const MutexLock lock(mutex_);
  records_.swap(removed);
  count_.Set(0);
  return 0;
}

IVideoMultiCameraFrameInquire* impl::NextFrame() {
  Records removed;
  const MutexLock lock(mutex_);
  if (records_.empty()) return nullptr;
  removed.splice(removed.end(), records_, records_.begin());
  count_.Set(records_.size());
  return this;
}

int32_t impl::GetFrame(std::string& name, uint32_t& value1, uint32_t& value2, uint64_t& data) {
  const MutexLock lock(mutex_);
  if (records_.empty()) return 0;
  const Record& newest = records_.back();
  name = newest.name;
  value1 = newest.value1;
  value2 = newest.value2;
  data = newest.data;
  return 1;
}

}  // namespace videoMultiCameraMgr

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
