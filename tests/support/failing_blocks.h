// Memory sources that fail on demand, and a listener for what the library says about it.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <mutex>
#include <new>
#include <vector>

#include "base/block_source.h"
#include "orlo/event_bus.h"
#include "platform/platform.h"
#include "support/failing_new.h"

namespace mivare::test {

/// Lets buffer allocations fail for a scope: after the first `granted` ones every one, or the next
/// `refused` ones. One at a time.
class FailingBlocks {
 public:
  explicit FailingBlocks(int granted = 0, int refused = std::numeric_limits<int>::max()) {
    left() = granted;
    to_refuse() = refused;
    SetBlockSource(&kSource);
  }
  ~FailingBlocks() { SetBlockSource(nullptr); }
  FailingBlocks(const FailingBlocks&) = delete;
  FailingBlocks& operator=(const FailingBlocks&) = delete;

  /// Whether a block was refused.
  bool fired() const { return left() < 0; }

  /// The system's code for the last large block that was refused.
  static uint32_t LastSystemError() { return error(); }

 private:
  static std::atomic<int>& left() {
    static std::atomic<int> value{0};
    return value;
  }
  static uint32_t& error() {
    static uint32_t value = 0;
    return value;
  }
  static std::atomic<int>& to_refuse() {
    static std::atomic<int> value{0};
    return value;
  }
  static bool Granted() {
    const int before = left().fetch_sub(1);
    return before > 0 || -before >= to_refuse();
  }

  static uint8_t* NewBytes(size_t size) {
    if (!Granted()) throw std::bad_alloc();
    return kProcessBlockSource.new_bytes(size);
  }
  static void* Heap(size_t size) { return Granted() ? kProcessBlockSource.heap(size) : nullptr; }
  static void* System(size_t size) {
    // A size that no system has, so that the refusal leaves a genuine error code.
    void* block = kProcessBlockSource.system(Granted() ? size : SIZE_MAX / 4);
    if (block == nullptr) error() = platform::LastError();
    return block;
  }

  static constexpr BlockSource kSource{&NewBytes, &Heap, &System};
};

/// Counts the memory-exhausted events that reach a subscriber of the global event bus.
class MemoryListener {
 public:
  MemoryListener() : bus_(orlo::GetGlobalEventBus()) {
    token_ = bus_->Subscribe<orlo::SystemEvent>([this](const orlo::SystemEvent& event) {
      const OwnMemory own;
      const std::lock_guard lock(mutex_);
      events_.push_back(event);
    });
  }
  ~MemoryListener() {
    bus_->Unsubscribe(token_);
    orlo::ReleaseGlobalEventBus();
  }
  MemoryListener(const MemoryListener&) = delete;
  MemoryListener& operator=(const MemoryListener&) = delete;

  /// Everything posted so far.
  std::vector<orlo::SystemEvent> Events() {
    bus_->Flush();
    const std::lock_guard lock(mutex_);
    return events_;
  }
  /// The number of events, all of which must have code 1 and nothing else to say; else -1.
  int Count() {
    const std::vector<orlo::SystemEvent> events = Events();
    for (const orlo::SystemEvent& event : events) {
      if (event.code != 1 || !event.payload.empty()) return -1;
    }
    return static_cast<int>(events.size());
  }

 private:
  orlo::AsyncEventBus* bus_;
  orlo::AsyncEventBus::Token token_;
  std::mutex mutex_;
  std::vector<orlo::SystemEvent> events_;
};

}  // namespace mivare::test
