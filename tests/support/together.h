#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace mivare::test {

/// Where threads wait for each other, once. Made of a mutex and a condition variable: a std::latch
/// waits on an atomic, and such waits have missed their wake-up under Wine.
class StartLine {
 public:
  explicit StartLine(int threads) : missing_(threads) {}

  void ArriveAndWait() {
    std::unique_lock lock(mutex_);
    if (--missing_ == 0) all_here_.notify_all();
    all_here_.wait(lock, [this] { return missing_ <= 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable all_here_;
  int missing_;
};

/// Where the same threads wait for each other again and again.
class MeetingPoint {
 public:
  explicit MeetingPoint(int threads) : threads_(threads), missing_(threads) {}

  void Meet() {
    std::unique_lock lock(mutex_);
    const int meeting = meeting_;
    if (--missing_ == 0) {
      missing_ = threads_;
      ++meeting_;
      all_here_.notify_all();
    }
    all_here_.wait(lock, [&] { return meeting_ != meeting; });
  }

 private:
  const int threads_;
  std::mutex mutex_;
  std::condition_variable all_here_;
  int missing_;
  int meeting_ = 0;
};

/// Runs `work(i)` for i in [0, threads) on threads that start together, and waits for them.
inline void Together(int threads, const std::function<void(int)>& work) {
  StartLine start(threads);
  std::vector<std::thread> workers;
  for (int i = 0; i < threads; ++i) {
    workers.emplace_back([&start, &work, i] {
      start.ArriveAndWait();
      work(i);
    });
  }
  for (std::thread& worker : workers) worker.join();
}

}  // namespace mivare::test
