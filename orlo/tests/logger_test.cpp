#include "orlo/logger.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "log_lines.h"

namespace {

using orlo::Logger;
using orlo::test::LogLine;
using orlo::test::LogLines;

TEST(Logger, LogsUnderItsTagAtItsLevel) {
  const LogLines lines;
  const Logger status("player", 4);
  const Logger errors("decoder", 6);
  status.Print("%d frames late by %.1f ms", 3, 12.25);
  errors.Print("no %s", "key frame");
  EXPECT_EQ(lines.Get(), (std::vector<LogLine>{{"player", 4, "3 frames late by 12.2 ms"},
                                               {"decoder", 6, "no key frame"}}));
  EXPECT_STREQ(status.Tag(), "player");
  EXPECT_EQ(status.Level(), 4);
}

TEST(Logger, PrintsTextOfAnyLength) {
  const LogLines lines;
  const std::string text(100000, 'x');
  Logger("t", 4).Print("<%s>", text.c_str());
  EXPECT_EQ(lines.Get(), (std::vector<LogLine>{{"t", 4, "<" + text + ">"}}));
}

TEST(Logger, FormatsOnce) {
  const LogLines lines;
  Logger("t", 4).Print("%s", "100% %s %n");
  Logger("t", 4).Write("100% %s %n");
  EXPECT_EQ(lines.Get(), (std::vector<LogLine>{{"t", 4, "100% %s %n"}, {"t", 4, "100% %s %n"}}));
}

TEST(Logger, LogsEmptyTexts) {
  const LogLines lines;
  const char* none = nullptr;
  Logger("t", 4).Print("%s", "");
  Logger("t", 4).Print(none, 0);
  Logger("t", 4).Write({});
  EXPECT_EQ(lines.Get(), std::vector<LogLine>(3, LogLine{"t", 4, ""}));
}

TEST(Logger, TakesANullTagAsAnEmptyOne) {
  const LogLines lines;
  const Logger logger(nullptr, 0);
  logger.Write("text");
  EXPECT_EQ(lines.Get(), (std::vector<LogLine>{{"", 0, "text"}}));
  EXPECT_STREQ(logger.Tag(), "");
}

TEST(Logger, WritesAPartOfAText) {
  const LogLines lines;
  Logger("t", 4).Write(std::string_view("frames of a clip").substr(0, 6));
  EXPECT_EQ(lines.Get(), (std::vector<LogLine>{{"t", 4, "frames"}}));
}

}  // namespace
