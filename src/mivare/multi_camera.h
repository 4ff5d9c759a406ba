// The multi-camera manager of a description.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "base/entry_count.h"
#include "base/lock_order.h"
#include "base/mutex.h"
#include "mivare/multi_camera.h"

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
    return !count_.IsZero() ? this : nullptr;
  }
  IVideoMultiCameraFrameConfig* GetFrameConfig() override { return this; }
  void Release() override {}
  bool AddFrame(const std::string& name, const uint32_t& value1, const uint32_t& value2,
                const uint64_t& data) override;
  int32_t ClearFrames() override;
  IVideoMultiCameraFrameInquire* NextFrame() override;
  int32_t GetFrame(std::string& name, uint32_t& value1, uint32_t& value2, uint64_t& data) override;

 private:
  struct Record {
    std::string name;
    uint32_t value1 = 0;
    uint32_t value2 = 0;
    uint64_t data = 0;
  };
  using Records = std::list<Record>;

  Mutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  EntryCount count_;
  Records records_ GUARDED_BY(mutex_);  // oldest first
};

}  // namespace videoMultiCameraMgr

/// Shares a new manager with an empty queue. Throws std::bad_alloc.
inline std::shared_ptr<IVideoMultiCameraFrameManger> MakeMultiCameraManager() {
  return std::make_shared<videoMultiCameraMgr::impl>();
}

/// NUXMivareCopyVideoMultiCameraFrame for callers that must know when memory was short: throws what
/// the managers throw. Records that were moved until then stay moved.
int32_t MoveMultiCameraFrames(IVideoMultiCameraFrameManger* source,
                              IVideoMultiCameraFrameManger* destination);

}  // namespace mivare
