// For benches that time parts of an iteration themselves.
#pragma once

#include <ctime>

namespace mivare::bench {

/// Processor time of this thread, as Google Benchmark's own timer of processor time takes it: what
/// others do with the machine meanwhile does not count.
class Timer {
 public:
  Timer() : start_(Now()) {}
  double Seconds() const { return Now() - start_; }

 private:
  static double Now() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
  }

  double start_;
};

}  // namespace mivare::bench
