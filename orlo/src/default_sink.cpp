#include "default_sink.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>

#include <cstdio>
#include <memory>
#include <mutex>

#include "process_end.h"

namespace orlo {
namespace {

/// Our levels are plain numbers, shown as such. They travel in the back end's own level field,
/// whose type holds any int.
class LevelNumber final : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& message, const std::tm&,
              spdlog::memory_buf_t& line) override {
    spdlog::details::fmt_helper::append_int(static_cast<int>(message.level), line);
  }
  std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<LevelNumber>();
  }
};

/// Writes through the C stream, so that a host that redirects stderr redirects this as well: the
/// back end's own sink keeps the system handle of the moment it was made.
class StderrSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  StderrSink() : base_sink(MakeFormatter()) {}

 private:
  static std::unique_ptr<spdlog::formatter> MakeFormatter() {
    auto formatter =
        std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::local, "\n");
    formatter->add_flag<LevelNumber>('*').set_pattern("[%Y-%m-%d %H:%M:%S.%e] [%*] [%n] %v");
    return formatter;
  }
  void sink_it_(const spdlog::details::log_msg& message) override {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    std::fwrite(line.data(), 1, line.size(), stderr);
  }
  void flush_() override { std::fflush(stderr); }
};

// Never destroyed: other modules log from their static destructors.
StderrSink& Sink() {
  static StderrSink& sink = *new StderrSink;
  return sink;
}

}  // namespace

void PrintOnStandardError(const char* tag, int32_t level, const char* text) noexcept {
  if (PrintLastWords(tag, level, text)) return;
  try {
    Sink().log(spdlog::details::log_msg(tag, static_cast<spdlog::level::level_enum>(level), text));
  } catch (...) {
    std::fprintf(stderr, "[%d] [%s] %s\n", static_cast<int>(level), tag, text);
  }
}

}  // namespace orlo
