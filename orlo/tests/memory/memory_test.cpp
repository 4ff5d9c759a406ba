// The base library while memory and threads run out. Linked with its objects, not with the library.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "orlo/encoding.h"
#include "orlo/event_bus.h"
#include "orlo/log.h"
#include "orlo/logger.h"
#include "orlo/md5.h"
#include "orlo/val_any.h"
#include "support/failing_new.h"

namespace orlo::test {
namespace {

using mivare::test::FailingNew;
using mivare::test::HeapLedger;
using mivare::test::NoThreads;
using mivare::test::OwnMemory;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

/// Runs `attempt` with each piece of memory of its missing in turn, then once with all of it; it is
/// told afterwards whether one was missing. Returns how many were.
uint64_t FailEach(const std::function<void()>& attempt, const std::function<void(bool)>& check) {
  attempt();
  check(false);
  for (uint64_t nth = 1; nth < 1000; ++nth) {
    SCOPED_TRACE(nth);
    bool fired = false;
    const HeapLedger ledger;
    {
      const FailingNew failing(nth);
      attempt();
      fired = failing.fired();
    }
    check(fired);
    EXPECT_EQ(ledger.Alive(), 0U) << "leaked";
    if (!fired || testing::Test::HasFailure()) return nth - 1;
  }
  ADD_FAILURE() << "never got through";
  return 0;
}

/// Keeps the last text, without memory.
class LastText {
 public:
  LastText() : before_(SetDefaultLogLevel(INT32_MAX)), id_(AddLogSink(&Receive, this)) {}
  ~LastText() {
    RemoveLogSink(id_);
    SetDefaultLogLevel(before_);
  }
  LastText(const LastText&) = delete;
  LastText& operator=(const LastText&) = delete;
  const char* get() const { return text_; }

 private:
  static void Receive(void* context, const char*, int32_t, const char* text) {
    std::snprintf(static_cast<LastText*>(context)->text_, sizeof(text_), "%s", text);
  }
  char text_[4000] = {};
  int32_t before_;
  uint64_t id_;
};

// First in a fresh process or not: the sink that prints is made at the first line.
TEST(LogWithoutMemory, PrintsEveryLine) {
  for (uint64_t nth = 1; nth < 100; ++nth) {
    CaptureStderr();
    bool fired = false;
    {
      const FailingNew failing(nth);
      OrloLogPrint("tag", 6, "line %d", 17);
      fired = failing.fired();
    }
    const std::string printed = GetCapturedStderr();
    EXPECT_NE(printed.find("[6] [tag] line 17"), std::string::npos) << nth << printed;
    if (!fired) return;
  }
  FAIL() << "never got through";
}

TEST(LogWithoutMemory, CutsALongLine) {
  const LastText last;
  const std::string text(2000, 'x');
  const uint64_t points =
      FailEach([&] { OrloLogPrint("tag", 6, "%s", text.c_str()); },
               [&](bool fired) {
                 EXPECT_EQ(std::string(last.get()), fired ? std::string(508, 'x') + "..." : text);
               });
  EXPECT_EQ(points, 1U);
}

TEST(LogWithoutMemory, LoggersFallBackOnTheFormat) {
  const LastText last;
  const Logger logger("tag", 4);
  FailEach([&] { logger.Print("%s", "a text that is too long to be kept in place"); },
           [&](bool fired) {
             EXPECT_STREQ(last.get(), fired ? "%s" : "a text that is too long to be kept in place");
           });
}

TEST(LogWithoutMemory, TakesNoSink) {
  const LastText last;
  uint64_t id = 0;
  const auto receive = [](void* context, const char*, int32_t, const char*) {
    ++*static_cast<int*>(context);
  };
  int heard = 0;
  const uint64_t points = FailEach([&] { id = AddLogSink(receive, &heard); },
                                   [&](bool fired) {
                                     EXPECT_EQ(id == 0, fired);
                                     heard = 0;
                                     OrloLogPrint("tag", 4, "x");
                                     EXPECT_EQ(heard, fired ? 0 : 1);
                                     RemoveLogSink(id);
                                   });
  EXPECT_GT(points, 0U);
}

TEST(BusWithoutMemory, RefusesAnEventAndDeliversTheNext) {
  AsyncEventBus bus;
  int heard = 0;
  bus.Subscribe<SystemEvent>([&](const SystemEvent&) { ++heard; });
  for (uint64_t nth = 1; nth < 100; ++nth) {
    heard = 0;
    bool posted = false;
    bool fired = false;
    {
      const FailingNew failing(nth);
      posted = bus.Post(SystemEvent{1, {}});
      fired = failing.fired();
    }
    bus.Flush();
    EXPECT_EQ(posted, !fired) << nth;
    EXPECT_EQ(heard, fired ? 0 : 1);
    EXPECT_TRUE(bus.Post(SystemEvent{1, {}}));
    bus.Flush();
    EXPECT_EQ(heard, fired ? 1 : 2);
    if (!fired) {
      EXPECT_GT(nth, 1U);
      return;
    }
  }
  FAIL() << "never got through";
}

// A queue that has to grow, and cannot, keeps what is in it.
TEST(BusWithoutMemory, KeepsWhatIsQueued) {
  AsyncEventBus bus;
  std::vector<int32_t> heard;
  bus.Subscribe<SystemEvent>([&](const SystemEvent& event) { heard.push_back(event.code); });
  std::vector<int32_t> expected;
  for (int32_t code = 0; code < 500; ++code) {
    const FailingNew failing(2);  // past the event itself: the queue's
    if (bus.Post(SystemEvent{code, {}})) {
      const OwnMemory own;
      expected.push_back(code);
    }
  }
  bus.Flush();
  EXPECT_EQ(heard, expected);
  EXPECT_LT(expected.size(), 500U);
}

TEST(BusWithoutMemory, TakesNoSubscriber) {
  AsyncEventBus bus;
  int heard = 0;
  uint64_t token = 0;
  bool threw = false;
  const uint64_t points = FailEach(
      [&] {
        try {
          threw = false;
          token = bus.Subscribe<SystemEvent>([&](const SystemEvent&) { ++heard; });
        } catch (const std::bad_alloc&) {
          threw = true;
        }
      },
      [&](bool fired) {
        EXPECT_EQ(threw, fired);
        heard = 0;
        {
          const OwnMemory own;
          bus.Post(SystemEvent{1, {}});
        }
        bus.Flush();
        EXPECT_EQ(heard, fired ? 0 : 1);
        if (!fired) bus.Unsubscribe(token);
      });
  EXPECT_GT(points, 1U);
}

TEST(GlobalBusWithoutMemory, IsNullAndThereLater) {
  AsyncEventBus* bus = nullptr;
  const uint64_t points = FailEach([&] { bus = GetGlobalEventBus(); },
                                   [&](bool fired) {
                                     EXPECT_EQ(bus == nullptr, fired);
                                     if (bus != nullptr) ReleaseGlobalEventBus();
                                   });
  EXPECT_GT(points, 1U);
}

TEST(GlobalBusWithoutAThread, IsNullAndThereLater) {
  {
    const NoThreads none;
    EXPECT_EQ(GetGlobalEventBus(), nullptr);
    EXPECT_EQ(none.refused(), 1);
    EXPECT_THROW(AsyncEventBus(), std::system_error);
  }
  ReleaseGlobalEventBus();  // of a reference that nobody got
  AsyncEventBus* bus = GetGlobalEventBus();
  ASSERT_NE(bus, nullptr);
  EXPECT_EQ(GetGlobalEventBus(), bus);
  ReleaseGlobalEventBus();
  EXPECT_TRUE(bus->Post(SystemEvent{1, {}}));
  ReleaseGlobalEventBus();
}

template <class Result>
void ExpectWholeOrThrown(Result expected, const std::function<Result()>& make) {
  std::unique_ptr<Result> made;
  const uint64_t points = FailEach(
      [&] {
        made.reset();
        try {
          Result result = make();
          const OwnMemory own;
          made = std::make_unique<Result>(std::move(result));
        } catch (const std::bad_alloc&) {
        }
      },
      [&](bool fired) {
        EXPECT_EQ(made == nullptr, fired);
        if (made != nullptr) {
          EXPECT_TRUE(*made == expected);
        }
        made.reset();
      });
  EXPECT_GT(points, 0U);
}

TEST(TextsWithoutMemory, AreWholeOrThrown) {
  const std::string utf8 = "a text that is too long to be kept in place";
  ExpectWholeOrThrown<std::wstring>(std::wstring(utf8.begin(), utf8.end()),
                                    [&] { return NUXOrlo_UTF8_Unicode(utf8.c_str()); });
  ExpectWholeOrThrown<std::string>("d41d8cd98f00b204e9800998ecf8427e",
                                   [] { return md5::MD5String("", 0); });
}

TEST(AnyWithoutMemory, IsEmptyAfterACopyThatFails) {
  const ValAny source(std::string("a text that is too long to be kept in place"));
  std::unique_ptr<ValAny> target;
  bool threw = false;
  const uint64_t points = FailEach(
      [&] {
        {
          const OwnMemory own;
          target = std::make_unique<ValAny>(5);
        }
        try {
          threw = false;
          *target = source;
        } catch (const std::bad_alloc&) {
          threw = true;
        }
      },
      [&](bool fired) {
        EXPECT_EQ(threw, fired);
        EXPECT_EQ(target->GetTag(), fired ? 0U : source.GetTag());
        target.reset();
      });
  EXPECT_GT(points, 1U);
}

}  // namespace
}  // namespace orlo::test
