// What every scenario of many threads shares: how long it is, a watchdog that names a hang, and the
// look at what is left when it is over. Knows nothing of the library's inside.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "mivare/allocator.h"
#include "mivare/media_buffer.h"
#include "support/fake_gpu.h"
#include "support/log_capture.h"

namespace mivare::test {

/// `count` rounds of a scenario, at least one. The environment's MIVARE_STRESS_SCALE, in percent,
/// makes all scenarios longer or shorter.
int Rounds(int count);

/// Notes for the watchdog where the calling thread is; a literal. Orders nothing between threads.
void At(const char* place);

/// Ends the process when nobody has ended the watchdog for too long, and says who hangs where.
class Watchdog {
 public:
  using OnHang = std::function<void(const std::string& report)>;

  /// For the test that runs now: waits for 120 s, or MIVARE_STRESS_PATIENCE seconds, longer where
  /// the scale is; prints the report and aborts.
  Watchdog();
  Watchdog(std::string name, std::chrono::seconds patience, OnHang on_hang);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  void Watch();

  const std::string name_;
  const std::chrono::seconds patience_;
  const OnHang on_hang_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool over_ = false;
  std::thread thread_;
};

/// A subscription to the process's event bus, to see whether it is still the same bus.
class BusProbe {
 public:
  BusProbe();
  /// Gives the bus back and expects it to go: nobody else may hold it.
  ~BusProbe();
  BusProbe(const BusProbe&) = delete;
  BusProbe& operator=(const BusProbe&) = delete;

  /// Whether an event still arrives: nobody gave back what this probe holds.
  bool IsHeard();

 private:
  // Outlives the probe where the bus does.
  const std::shared_ptr<std::atomic<int>> heard_ = std::make_shared<std::atomic<int>>(0);
};

/// The library, up for a scope.
class Library {
 public:
  explicit Library(IGpuAllocator* gpu) { Open(gpu); }
  ~Library() { Close(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// The Uninit, early.
  void Close();
  /// Another Init, behind Close.
  void Open(IGpuAllocator* gpu);

 private:
  bool up_ = false;
};

/// The process's allocator.
IAllocatorEx& Manager();

/// After each scenario: no registration with the resource monitor, no device frame of `gpu_` alive,
/// no thread more than before, nobody holds the event bus.
class Scenario : public testing::Test {
 protected:
  void TearDown() override;

  Watchdog watchdog_;
  LogCapture log_;
  FakeGpu gpu_;

 private:
  const size_t threads_before_;

 protected:
  Scenario();
};

/// Writes a number all over a frame: into the rows of plane 0, or as a device frame's picture.
void Stamp(IMediaBuffer& frame, int32_t stamp);
/// Whether the number is still everywhere.
bool HasStamp(IMediaBuffer& frame, int32_t stamp);

/// The host's own frame behind a device frame.
inline FakeFrame& Native(IMediaBuffer& frame) {
  return *static_cast<FakeFrame*>(frame.QueryNative(0));
}

/// A simple source of numbers, the same in every run.
class Dice {
 public:
  explicit Dice(int seed) : state_(static_cast<uint32_t>(seed) * 2654435761U + 1) {}
  /// In [0, sides).
  int Throw(int sides) {
    state_ = state_ * 1664525U + 1013904223U;
    return static_cast<int>((state_ >> 8U) % static_cast<uint32_t>(sides));
  }

 private:
  uint32_t state_;
};

}  // namespace mivare::test
