// A host engine's GPU side as tests need it: device frames that count their lives, and an allocator
// that records, fails, throws and waits on demand.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "mivare/gpu_allocator.h"
#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"

namespace mivare::test {

/// A frame that the library did not make. Says device memory unless told otherwise, notes what is
/// asked of it, and holds one number for a picture.
class FakeFrame final : public IMediaBuffer {
 public:
  FakeFrame(std::shared_ptr<std::atomic<int>> lives, std::shared_ptr<IMediaDesc> desc)
      : lives_(std::move(lives)), desc_(std::move(desc)) {
    lives_->fetch_add(1);
  }
  ~FakeFrame() override {
    lives_->fetch_sub(1);
    if (on_destroy) on_destroy();
  }

  int32_t Lock(uint8_t* planes[8], int32_t pitches[8], void* reserved,
               uint32_t* capacityOut) override {
    lock_arguments = {planes, pitches, reserved, capacityOut};
    return 17;
  }
  int32_t Unlock() override { return 18; }
  int32_t CopyFrom(IMediaBuffer* source) override {
    copied_from.push_back(source);
    return 19;
  }
  int32_t SetData(const uint8_t*, int32_t) override { return 20; }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t flags) override {
    clone_flags.push_back(flags);
    if (!can_clone) return nullptr;
    std::shared_ptr<IMediaDesc> desc = desc_ != nullptr ? desc_->CloneShared() : nullptr;
    if (desc == nullptr && desc_ != nullptr) return nullptr;
    auto copy = std::make_shared<FakeFrame>(lives_, std::move(desc));
    copy->picture = picture.load();
    return copy;
  }
  /// Says what it is to the argument that everyone passes, and to no other.
  IMediaDesc* GetDesc(uint32_t flags) override {
    desc_flags.store(flags);
    return flags == 0 ? desc_.get() : nullptr;
  }
  int32_t SetDataSize(int32_t) override { return 21; }
  std::shared_ptr<void> QueryObject(uint32_t kind, uint64_t value) override {
    return std::make_shared<uint64_t>(kind + value);
  }
  void* QueryNative(uint32_t flags) override {
    native_flags.store(flags);
    return this;
  }
  bool IsDeviceMemory() override { return true; }
  bool AppendData(const uint8_t*, uint32_t) override { return true; }
  void Flush() override { ++flushes; }

  struct LockArguments {
    uint8_t** planes = nullptr;
    int32_t* pitches = nullptr;
    void* reserved = nullptr;
    uint32_t* capacity = nullptr;
  };
  LockArguments lock_arguments;
  std::vector<IMediaBuffer*> copied_from;
  std::vector<uint32_t> clone_flags;
  std::atomic<uint32_t> desc_flags{99};
  std::atomic<uint32_t> native_flags{99};
  std::atomic<int> flushes{0};
  std::atomic<int> picture{0};  // -1 is black
  std::function<void()> on_destroy;
  bool can_clone = true;

 private:
  std::shared_ptr<std::atomic<int>> lives_;
  std::shared_ptr<IMediaDesc> desc_;
};

class FakeGpu final : public IGpuAllocator {
 public:
  enum class Mood { kWorks, kFails, kThrows };
  struct Call {
    std::string name;
    const void* first = nullptr;   // desc, frame or source
    const void* second = nullptr;  // source or destination
    void* reserved = nullptr;
    long use_count = 0;  // of the frame handed to FillBlank
  };

  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc* desc, IMediaBuffer* source,
                                      void* reserved) override {
    Note({"Alloc", desc, source, reserved, 0});
    if (!Works(alloc_mood)) return nullptr;
    std::shared_ptr<IMediaDesc> own = desc->CloneShared();
    if (own == nullptr) return nullptr;
    auto frame = std::make_shared<FakeFrame>(lives_, std::move(own));
    if (prepare_frame) prepare_frame(*frame);
    return frame;
  }
  bool FillBlank(std::shared_ptr<IMediaBuffer> frame) override {
    Note({"FillBlank", frame.get(), nullptr, nullptr, frame.use_count()});
    if (!Works(fill_mood)) return false;
    if (auto* device = static_cast<FakeFrame*>(frame->QueryNative(0))) device->picture = -1;
    return true;
  }
  bool Download(IMediaBuffer* source, IMediaBuffer* destination) override {
    Note({"Download", source, destination, nullptr, 0});
    return Works(download_mood);
  }
  int64_t GetAvailableMemory() override {
    Note({"GetAvailableMemory", nullptr, nullptr, nullptr, 0});
    return Works(memory_mood) ? available.load() : 0;
  }

  std::vector<Call> Calls(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    std::vector<Call> found;
    for (const Call& call : calls_) {
      if (call.name == name) found.push_back(call);
    }
    return found;
  }
  int Count(const std::string& name) const { return static_cast<int>(Calls(name).size()); }
  /// Device frames alive.
  int lives() const { return lives_->load(); }
  const std::shared_ptr<std::atomic<int>>& life_count() const { return lives_; }

  std::atomic<int64_t> available{0};
  std::atomic<Mood> alloc_mood{Mood::kWorks};
  std::atomic<Mood> fill_mood{Mood::kWorks};
  std::atomic<Mood> download_mood{Mood::kWorks};
  std::atomic<Mood> memory_mood{Mood::kWorks};
  /// Called at the start of every operation, without a lock: a test may wait here. Set it before
  /// the threads start.
  std::function<void(const Call&)> on_call;
  /// Called with every frame made.
  std::function<void(FakeFrame&)> prepare_frame;

 private:
  void Note(const Call& call) {
    {
      const std::lock_guard lock(mutex_);
      calls_.push_back(call);
    }
    if (on_call) on_call(call);
  }
  static bool Works(const std::atomic<Mood>& mood) {
    if (mood == Mood::kThrows) throw std::runtime_error("the device is lost");
    return mood == Mood::kWorks;
  }

  mutable std::mutex mutex_;
  std::vector<Call> calls_;
  std::shared_ptr<std::atomic<int>> lives_ = std::make_shared<std::atomic<int>>(0);
};

/// A device frame made by nobody's allocator.
inline std::shared_ptr<FakeFrame> DeviceFrame(const FakeGpu& gpu, const IMediaDesc& like) {
  std::shared_ptr<IMediaDesc> desc = like.CloneShared();
  desc->SetMemoryLocation(1);
  return std::make_shared<FakeFrame>(gpu.life_count(), std::move(desc));
}

}  // namespace mivare::test
