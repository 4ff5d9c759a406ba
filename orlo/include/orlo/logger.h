// The log with a tag and a level that stay the same.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "orlo/export.h"
#include "orlo/log.h"

namespace orlo {

/// Logs under one tag at one level:
///
///     const orlo::Logger status("player", 4);
///     status.Print("%d frames late by %.1f ms", frames, milliseconds);
///
/// Messages go through OrloLogPrint. Thread-safe; never throws.
class Logger {
 public:
  /// The tag is lent for as long as the logger or a copy lives: as a rule a literal. Null counts as
  /// the empty tag.
  ORLO_INLINE_API Logger(const char* tag, int32_t level) noexcept
      : tag_(tag != nullptr ? tag : ""), level_(level) {}

  ORLO_INLINE_API const char* Tag() const noexcept { return tag_; }
  ORLO_INLINE_API int32_t Level() const noexcept { return level_; }

  /// Formats like printf, to any length. Null counts as the empty format. Where the text cannot be
  /// made, for want of memory or because an argument has no multibyte form, the format itself is
  /// logged.
  ORLO_INLINE_API void Print(const char* format, ...) const noexcept ORLO_PRINTF(2, 3);

  /// Logs a text as it is, up to its first NUL.
  ORLO_INLINE_API void Write(std::string_view text) const noexcept;

 private:
  const char* tag_;
  int32_t level_;
};

inline void Logger::Print(const char* format, ...) const noexcept {
  if (format == nullptr) format = "";
  std::va_list arguments;
  std::va_list again;
  va_start(arguments, format);
  va_copy(again, arguments);
  std::string text;
  const char* line = format;
  try {
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    if (size >= 0) {
      text.resize(static_cast<size_t>(size));
      std::vsnprintf(text.data(), text.size() + 1, format, again);
      line = text.c_str();
    }
  } catch (...) {
    // No memory; the format is better than nothing.
  }
  va_end(again);
  va_end(arguments);
  OrloLogPrint(tag_, level_, "%s", line);
}

inline void Logger::Write(std::string_view text) const noexcept {
  // A precision is an int; nothing longer fits one message.
  const size_t size = text.size() < INT32_MAX ? text.size() : INT32_MAX;
  OrloLogPrint(tag_, level_, "%.*s", static_cast<int>(size), size > 0 ? text.data() : "");
}

}  // namespace orlo
