// Collects what is logged while it lives.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "orlo/log.h"

namespace orlo::test {

struct LogLine {
  std::string tag;
  int32_t level = 0;
  std::string text;

  friend bool operator==(const LogLine&, const LogLine&) = default;
};

/// Keeps standard error quiet meanwhile. Thread-safe.
class LogLines {
 public:
  LogLines() : level_before_(SetDefaultLogLevel(INT32_MAX)), id_(AddLogSink(&Receive, this)) {
    EXPECT_GT(id_, 0U);
  }
  ~LogLines() {
    RemoveLogSink(id_);
    SetDefaultLogLevel(level_before_);
  }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  std::vector<LogLine> Get() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  static void Receive(void* context, const char* tag, int32_t level, const char* text) {
    auto* self = static_cast<LogLines*>(context);
    const std::lock_guard lock(self->mutex_);
    self->lines_.push_back({tag, level, text});
  }

  mutable std::mutex mutex_;
  std::vector<LogLine> lines_;
  int32_t level_before_;
  uint64_t id_;  // last: messages arrive from here on
};

}  // namespace orlo::test
