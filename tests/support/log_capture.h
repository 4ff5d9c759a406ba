// Collects what the library logs while it lives.
#pragma once

#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "orlo/log.h"
#include "support/failing_new.h"

namespace mivare::test {

struct LogLine {
  std::string tag;
  int32_t level = 0;
  std::string text;

  friend bool operator==(const LogLine&, const LogLine&) = default;
};

inline void PrintTo(const LogLine& line, std::ostream* out) {
  *out << "[" << line.tag << "/" << line.level << "] " << line.text;
}

/// A sink of the engine's log for a scope. Keeps standard error quiet meanwhile. Thread-safe.
class LogCapture {
 public:
  LogCapture() : previous_level_(orlo::SetDefaultLogLevel(INT32_MAX)) {
    id_ = orlo::AddLogSink(&LogCapture::Receive, this);
  }
  ~LogCapture() {
    orlo::RemoveLogSink(id_);
    orlo::SetDefaultLogLevel(previous_level_);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Everything so far, in order.
  std::vector<LogLine> Lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  /// The lines of one level.
  std::vector<LogLine> AtLevel(int32_t level) const {
    std::vector<LogLine> found;
    for (const LogLine& line : Lines()) {
      if (line.level == level) found.push_back(line);
    }
    return found;
  }
  /// How often exactly this text was logged at this level under the library's tag.
  int Count(int32_t level, const std::string& text) const {
    int count = 0;
    for (const LogLine& line : Lines()) {
      if (line.tag == "mivare" && line.level == level && line.text == text) ++count;
    }
    return count;
  }
  /// How many lines, of any level and tag, contain this text.
  int CountContaining(const std::string& part) const {
    int count = 0;
    for (const LogLine& line : Lines()) {
      if (line.text.find(part) != std::string::npos) ++count;
    }
    return count;
  }
  void Clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
  }

 private:
  static void Receive(void* context, const char* tag, int32_t level, const char* text) {
    const OwnMemory own;
    auto* self = static_cast<LogCapture*>(context);
    const std::lock_guard lock(self->mutex_);
    self->lines_.push_back({tag, level, text});
  }

  mutable std::mutex mutex_;
  std::vector<LogLine> lines_;
  int32_t previous_level_;
  uint64_t id_ = 0;
};

}  // namespace mivare::test
