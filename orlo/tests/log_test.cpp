#include "orlo/log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "log_lines.h"

namespace {

using orlo::AddLogSink;
using orlo::RemoveLogSink;
using orlo::SetDefaultLogLevel;
using orlo::test::LogLine;
using orlo::test::LogLines;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

/// A sink that runs a function of the test, for a scope.
class Sink {
 public:
  using Function = std::function<void(const std::string& text)>;

  explicit Sink(Function function) : function_(std::move(function)), id(AddLogSink(&Call, this)) {}
  ~Sink() { RemoveLogSink(id); }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

 private:
  static void Call(void* context, const char*, int32_t, const char* text) {
    static_cast<Sink*>(context)->function_(text);
  }
  Function function_;

 public:
  const uint64_t id;
};

TEST(Log, FormatsLikePrintf) {
  const LogLines log;
  OrloLogPrint("mivare", 6, "error! file[%s] line[%d]", "mivare/desc", 216);
  OrloLogPrint("helper", 4, "%5.2f|%-4u|%lld|%zu|%x", 3.14159, 7U, -9223372036854775807LL,
               size_t{18446744073709551615U}, 0xBEEFU);
  EXPECT_EQ(log.Get(),
            (std::vector<LogLine>{
                {"mivare", 6, "error! file[mivare/desc] line[216]"},
                {"helper", 4, " 3.14|7   |-9223372036854775807|18446744073709551615|beef"},
            }));
}

TEST(Log, NeverReadsTheFormattedTextAsAFormat) {
  {
    const LogLines log;
    OrloLogPrint("{} %s", 0, "%s", "100%% %s %n {} {0:>99999}");
    EXPECT_EQ(log.Get(), (std::vector<LogLine>{{"{} %s", 0, "100%% %s %n {} {0:>99999}"}}));
  }
  CaptureStderr();
  OrloLogPrint("{} %v", 0, "%s", "%v %n {} {0:>99}");
  EXPECT_NE(GetCapturedStderr().find("[{} %v] %v %n {} {0:>99}\n"), std::string::npos);
}

TEST(Log, PrintsNullTextsAsSuch) {
  const LogLines log;
  const char* volatile none = nullptr;
  OrloLogPrint(none, 1, "<%s> <%10s>", static_cast<const char*>(none),
               static_cast<const char*>(none));
  EXPECT_EQ(log.Get(), (std::vector<LogLine>{{"", 1, "<(null)> <    (null)>"}}));
}

TEST(Log, TakesANullFormatForAnEmptyText) {
  const LogLines log;
  const char* volatile none = nullptr;
  // Through a pointer, on which compilers check no formats.
  void (*const print)(const char*, int32_t, const char*, ...) = &OrloLogPrint;
  print("mivare", 1, none);
  EXPECT_EQ(log.Get(), (std::vector<LogLine>{{"mivare", 1, ""}}));
}

TEST(Log, KeepsTextsOfAnyLength) {
  for (const size_t length : {0U, 1U, 510U, 511U, 512U, 513U, 5000U, 1000000U}) {
    SCOPED_TRACE(length);
    std::string text(length, 'x');
    if (length > 0) text.back() = 'y';
    const LogLines log;
    OrloLogPrint("mivare", 0, "%s", text.c_str());
    EXPECT_EQ(log.Get(), (std::vector<LogLine>{{"mivare", 0, text}}));
  }
}

TEST(Log, KeepsLevelsAsTheyAre) {
  const LogLines log;
  for (const int32_t level : {INT32_MIN, -1, 0, 7, 8, INT32_MAX - 1}) OrloLogPrint("t", level, "x");
  std::vector<int32_t> levels;
  for (const LogLine& line : log.Get()) levels.push_back(line.level);
  EXPECT_EQ(levels, (std::vector<int32_t>{INT32_MIN, -1, 0, 7, 8, INT32_MAX - 1}));
}

TEST(DefaultSink, PrintsOneLineWithTimeLevelAndTag) {
  CaptureStderr();
  OrloLogPrint("mivare", 6, "error! file[%s] line[%d]", "mivare/desc", 216);
  const std::string printed = GetCapturedStderr();
  EXPECT_TRUE(std::regex_match(
      printed, std::regex(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] \[6\] \[mivare\] )"
                          R"(error! file\[mivare/desc\] line\[216\]\r?\n)")))
      << printed;
}

TEST(DefaultSink, PrintsFromItsMinimumUp) {
  CaptureStderr();
  EXPECT_EQ(SetDefaultLogLevel(4), 0);
  for (int32_t level = 0; level < 8; ++level) OrloLogPrint("t", level, "level %d", level);
  EXPECT_EQ(SetDefaultLogLevel(0), 4);
  const std::string printed = GetCapturedStderr();
  for (int32_t level = 0; level < 8; ++level) {
    const bool found = printed.find("level " + std::to_string(level)) != std::string::npos;
    EXPECT_EQ(found, level >= 4) << level;
  }
}

TEST(LogSinks, SeeWhatTheDefaultSinkLeavesOut) {
  CaptureStderr();
  const int32_t before = SetDefaultLogLevel(7);
  std::vector<std::string> seen;
  {
    const Sink sink([&](const std::string& text) { seen.push_back(text); });
    OrloLogPrint("t", 0, "quiet");
  }
  SetDefaultLogLevel(before);
  EXPECT_EQ(GetCapturedStderr(), "");
  EXPECT_EQ(seen, std::vector<std::string>{"quiet"});
}

TEST(LogSinks, AllGetEveryMessageUntilTheyAreRemoved) {
  const LogLines quiet;
  std::string seen;
  const Sink a([&](const std::string& text) { seen += "a" + text; });
  {
    const Sink b([&](const std::string& text) { seen += "b" + text; });
    EXPECT_NE(a.id, b.id);
    OrloLogPrint("t", 0, "1");
  }
  OrloLogPrint("t", 0, "2");
  EXPECT_EQ(seen, "a1b1a2");
}

TEST(LogSinks, AreNotMadeOfNull) { EXPECT_EQ(AddLogSink(nullptr, nullptr), 0U); }

TEST(LogSinks, MayBeRemovedTwiceOrNeverHaveBeen) {
  const LogLines log;
  uint64_t id = 0;
  {
    const Sink sink([](const std::string&) {});
    id = sink.id;
  }
  RemoveLogSink(id);
  RemoveLogSink(0);
  RemoveLogSink(UINT64_MAX);
  OrloLogPrint("t", 0, "still here");
  EXPECT_EQ(log.Get().size(), 1U);
}

TEST(LogSinks, MayThrow) {
  const LogLines quiet;
  int after = 0;
  const Sink bad([](const std::string&) { throw std::runtime_error("a bad day"); });
  const Sink worse([](const std::string&) { throw 7; });
  const Sink good([&](const std::string&) { ++after; });
  OrloLogPrint("t", 0, "x");
  OrloLogPrint("t", 0, "x");
  EXPECT_EQ(after, 2);
}

TEST(LogSinks, MayLogWithoutHearingThemselves) {
  const LogLines log;
  int calls = 0;
  const Sink echo([&](const std::string& text) {
    ++calls;
    OrloLogPrint("echo", 1, "heard %s", text.c_str());
  });
  OrloLogPrint("t", 0, "x");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(log.Get(), (std::vector<LogLine>{{"t", 0, "x"}, {"echo", 1, "heard x"}}));
}

TEST(LogSinks, MayAddSinksThatHearTheNextMessage) {
  const LogLines quiet;
  std::vector<std::string> seen;
  std::vector<std::unique_ptr<Sink>> added;
  const Sink adder([&](const std::string&) {
    added.push_back(std::make_unique<Sink>([&](const std::string& text) { seen.push_back(text); }));
  });
  OrloLogPrint("t", 0, "1");
  OrloLogPrint("t", 0, "2");
  EXPECT_EQ(added.size(), 2U);
  EXPECT_EQ(seen, std::vector<std::string>{"2"});
}

TEST(LogSinks, MayRemoveThemselves) {
  const LogLines quiet;
  int calls = 0;
  const Sink* self = nullptr;
  const Sink once([&](const std::string&) {
    ++calls;
    RemoveLogSink(self->id);
  });
  self = &once;
  OrloLogPrint("t", 0, "x");
  OrloLogPrint("t", 0, "x");
  EXPECT_EQ(calls, 1);
}

// Both threads are inside the sink when both remove it.
TEST(LogSinks, MayRemoveThemselvesOnTwoThreadsAtOnce) {
  const LogLines quiet;
  std::atomic<int> inside{0};
  const Sink* self = nullptr;
  const Sink once([&](const std::string&) {
    ++inside;
    while (inside < 2) std::this_thread::yield();
    RemoveLogSink(self->id);
  });
  self = &once;
  std::thread other([] { OrloLogPrint("t", 0, "x"); });
  OrloLogPrint("t", 0, "x");
  other.join();
  OrloLogPrint("t", 0, "x");
  EXPECT_EQ(inside, 2);
}

TEST(LogSinks, MayRemoveEachOtherOnTwoThreadsAtOnce) {
  const LogLines quiet;
  std::atomic<int> inside{0};
  const Sink* first = nullptr;
  const Sink* second = nullptr;
  const auto meet_and_remove = [&](const Sink* const& victim) {
    ++inside;
    while (inside < 2) std::this_thread::yield();
    RemoveLogSink(victim->id);
  };
  const Sink a([&](const std::string& text) {
    if (text == "a") meet_and_remove(second);
  });
  const Sink b([&](const std::string& text) {
    if (text == "b") meet_and_remove(first);
  });
  first = &a;
  second = &b;
  std::thread other([] { OrloLogPrint("t", 0, "b"); });
  OrloLogPrint("t", 0, "a");
  other.join();
  EXPECT_EQ(inside, 2);
}

TEST(LogSinks, AreLeftByOtherThreadsWhenTheyAreRemoved) {
  const LogLines quiet;
  std::promise<void> entered;
  std::promise<void> go;
  std::atomic<bool> left{false};
  auto sink = std::make_unique<Sink>([&](const std::string&) {
    entered.set_value();
    go.get_future().wait();
    left = true;
  });
  std::thread logger([] { OrloLogPrint("t", 0, "x"); });
  entered.get_future().wait();
  std::thread helper([&] { go.set_value(); });
  RemoveLogSink(sink->id);
  EXPECT_TRUE(left);
  sink.reset();
  helper.join();
  logger.join();
}

TEST(LogSinks, ComeAndGoWhileManyThreadsLog) {
  const LogLines all;
  std::atomic<int> heard{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&heard] {
      for (int i = 0; i < 200; ++i) {
        const Sink sink([&heard](const std::string&) { ++heard; });
        OrloLogPrint("t", i % 8, "message %d", i);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(all.Get().size(), 800U);
  EXPECT_GE(heard, 800);
}

/// Logs when the program's static objects go, long after the library's own would have gone.
struct LastWord {
  ~LastWord() {
    orlo::SetDefaultLogLevel(INT32_MAX);
    OrloLogPrint("t", 0, "the last word");
  }
};
const LastWord last_word;

}  // namespace
