// A progress bar on a terminal, nothing elsewhere.
#pragma once

#include <cstdint>

namespace road {

class Progress {
 public:
  /// `total`: 0 when it is not known beforehand; the bar then only counts.
  explicit Progress(int64_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Step();

 private:
  int64_t total_;
  int64_t done_ = 0;
  bool shown_;
};

}  // namespace road
