#include "orlo/event_bus.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using orlo::AsyncEventBus;
using orlo::GetGlobalEventBus;
using orlo::ReleaseGlobalEventBus;
using orlo::SystemEvent;

struct Number {
  int value = 0;
};

TEST(AsyncEventBus, DeliversEverythingInTheOrderOfPosting) {
  AsyncEventBus bus;
  std::vector<int> seen;
  bus.Subscribe<Number>([&](const Number& n) { seen.push_back(n.value); });
  std::vector<int> posted;
  for (int i = 0; i < 1000; ++i) {
    EXPECT_TRUE(bus.Post(Number{i}));
    posted.push_back(i);
  }
  bus.Flush();
  EXPECT_EQ(seen, posted);
}

TEST(AsyncEventBus, CallsSubscribersInTheOrderOfSubscription) {
  AsyncEventBus bus;
  std::string seen;
  for (const char letter : {'a', 'b', 'c'}) {
    bus.Subscribe<Number>([&seen, letter](const Number&) { seen += letter; });
  }
  bus.Post(Number{});
  bus.Post(Number{});
  bus.Flush();
  EXPECT_EQ(seen, "abcabc");
}

TEST(AsyncEventBus, TellsEventsApartByType) {
  AsyncEventBus bus;
  std::vector<std::string> seen;
  bus.Subscribe<SystemEvent>(
      [&](const SystemEvent& e) { seen.push_back(std::to_string(e.code) + e.payload); });
  bus.Subscribe<Number>([&](const Number& n) { seen.push_back(std::to_string(n.value)); });
  bus.Post(SystemEvent{1, "x"});
  bus.Post(Number{2});
  bus.Post(std::string("nobody listens"));
  bus.Flush();
  EXPECT_EQ(seen, (std::vector<std::string>{"1x", "2"}));
}

TEST(AsyncEventBus, CallsBackOnOneThreadOfItsOwn) {
  AsyncEventBus bus;
  std::vector<std::thread::id> threads;
  std::vector<bool> on_worker;
  bus.Subscribe<Number>([&](const Number&) {
    threads.push_back(std::this_thread::get_id());
    on_worker.push_back(bus.IsWorkerThread());
  });
  bus.Post(Number{});
  bus.Post(Number{});
  bus.Flush();
  ASSERT_EQ(threads.size(), 2U);
  EXPECT_EQ(threads[0], threads[1]);
  EXPECT_NE(threads[0], std::this_thread::get_id());
  EXPECT_EQ(on_worker, (std::vector<bool>{true, true}));
  EXPECT_FALSE(bus.IsWorkerThread());
}

TEST(AsyncEventBus, GivesTokensThatAreNeverZeroNorRepeated) {
  AsyncEventBus bus;
  const auto first = bus.Subscribe<Number>([](const Number&) {});
  bus.Unsubscribe(first);
  const auto second = bus.Subscribe<SystemEvent>([](const SystemEvent&) {});
  EXPECT_NE(first, 0U);
  EXPECT_NE(second, 0U);
  EXPECT_NE(first, second);
}

TEST(AsyncEventBus, KeepsEarlierEventsFromALaterSubscriber) {
  AsyncEventBus bus;
  std::promise<void> go;
  bus.Subscribe<SystemEvent>([&](const SystemEvent&) { go.get_future().wait(); });
  bus.Post(SystemEvent{});
  bus.Post(Number{1});  // waits in the queue
  std::vector<int> seen;
  bus.Subscribe<Number>([&](const Number& n) { seen.push_back(n.value); });
  bus.Post(Number{2});
  go.set_value();
  bus.Flush();
  EXPECT_EQ(seen, std::vector<int>{2});
}

TEST(AsyncEventBus, StopsCallingAfterUnsubscribe) {
  AsyncEventBus bus;
  int gone = 0;
  int kept = 0;
  const auto token = bus.Subscribe<Number>([&](const Number&) { ++gone; });
  bus.Subscribe<Number>([&](const Number&) { ++kept; });
  bus.Post(Number{});
  bus.Flush();
  bus.Unsubscribe(token);
  bus.Unsubscribe(token);
  bus.Unsubscribe(0);
  bus.Unsubscribe(123456);
  bus.Post(Number{});
  bus.Flush();
  EXPECT_EQ(gone, 1);
  EXPECT_EQ(kept, 2);
}

TEST(AsyncEventBus, UnsubscribeWaitsForTheRunningCallbackAndFreesWhatItCaptured) {
  AsyncEventBus bus;
  std::promise<void> entered;
  std::promise<void> go;
  std::atomic<bool> left{false};
  auto captured = std::make_shared<int>(1);
  const std::weak_ptr<int> watch = captured;
  const auto token = bus.Subscribe<Number>([&, captured](const Number&) {
    entered.set_value();
    go.get_future().wait();
    left = true;
  });
  captured.reset();
  bus.Post(Number{});
  entered.get_future().wait();
  std::thread helper([&] { go.set_value(); });
  bus.Unsubscribe(token);
  EXPECT_TRUE(left);
  EXPECT_TRUE(watch.expired());
  helper.join();
}

TEST(AsyncEventBus, LetsACallbackEndItsOwnSubscription) {
  AsyncEventBus bus;
  int calls = 0;
  AsyncEventBus::Token token = 0;
  token = bus.Subscribe<Number>([&](const Number&) {
    ++calls;
    bus.Unsubscribe(token);
  });
  bus.Post(Number{});
  bus.Post(Number{});
  bus.Flush();
  EXPECT_EQ(calls, 1);
}

TEST(AsyncEventBus, LetsACallbackPostSubscribeAndFlush) {
  AsyncEventBus bus;
  std::vector<std::string> seen;
  bus.Subscribe<Number>([&](const Number& n) {
    seen.push_back("number " + std::to_string(n.value));
    if (n.value > 2) return;
    bus.Subscribe<SystemEvent>([&](const SystemEvent&) { seen.push_back("late"); });
    bus.Subscribe<Number>([&](const Number&) { seen.push_back("not this one"); });
    bus.Post(SystemEvent{});
    bus.Flush();  // returns at once
    seen.push_back("flushed");
  });
  bus.Post(Number{1});
  bus.Flush();  // the number
  bus.Flush();  // what it posted
  EXPECT_EQ(seen, (std::vector<std::string>{"number 1", "flushed", "late"}));
}

TEST(AsyncEventBus, SurvivesCallbacksThatThrow) {
  AsyncEventBus bus;
  int calls = 0;
  bus.Subscribe<Number>([](const Number&) { throw std::runtime_error("a bad day"); });
  bus.Subscribe<Number>([](const Number&) { throw 7; });
  bus.Subscribe<Number>(nullptr);  // throws bad_function_call
  bus.Subscribe<Number>([&](const Number&) { ++calls; });
  bus.Post(Number{});
  bus.Post(Number{});
  bus.Flush();
  EXPECT_EQ(calls, 2);
}

TEST(AsyncEventBus, DeliversWhatIsQueuedBeforeItGoes) {
  std::atomic<int> calls{0};
  {
    AsyncEventBus bus;
    bus.Subscribe<Number>([&](const Number& n) {
      ++calls;
      if (n.value == 0) bus.Post(Number{1});
    });
    for (int i = 0; i < 100; ++i) bus.Post(Number{0});
  }
  EXPECT_EQ(calls, 200);
}

TEST(AsyncEventBus, TakesPostsFromManyThreads) {
  AsyncEventBus bus;
  std::vector<int> last(4, -1);
  int delivered = 0;
  bool ordered = true;
  struct Tick {
    int thread;
    int round;
  };
  bus.Subscribe<Tick>([&](const Tick& tick) {
    ordered = ordered && last[tick.thread] == tick.round - 1;
    last[tick.thread] = tick.round;
    ++delivered;
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&bus, t] {
      for (int i = 0; i < 500; ++i) {
        bus.Post(Tick{t, i});
        const auto token = bus.Subscribe<Number>([](const Number&) {});
        if (i % 50 == 0) bus.Flush();
        bus.Unsubscribe(token);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  bus.Flush();
  EXPECT_EQ(delivered, 2000);
  EXPECT_TRUE(ordered);
}

TEST(GlobalEventBus, IsOneBusWhileAnyoneHoldsIt) {
  AsyncEventBus* first = GetGlobalEventBus();
  AsyncEventBus* second = GetGlobalEventBus();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  int calls = 0;
  first->Subscribe<Number>([&](const Number&) { ++calls; });
  ReleaseGlobalEventBus();
  second->Post(Number{});
  second->Flush();
  EXPECT_EQ(calls, 1);
  ReleaseGlobalEventBus();
}

TEST(GlobalEventBus, DeliversWhatIsQueuedWhenTheLastReferenceGoes) {
  int calls = 0;
  GetGlobalEventBus()->Subscribe<Number>([&](const Number&) { ++calls; });
  for (int i = 0; i < 100; ++i) {
    GetGlobalEventBus()->Post(Number{i});
    ReleaseGlobalEventBus();
  }
  ReleaseGlobalEventBus();
  EXPECT_EQ(calls, 100);  // no Flush: the release has joined the worker
}

TEST(GlobalEventBus, DoesNothingWhenReleasedAtZero) {
  ReleaseGlobalEventBus();
  ReleaseGlobalEventBus();
  AsyncEventBus* bus = GetGlobalEventBus();
  ASSERT_NE(bus, nullptr);
  EXPECT_EQ(GetGlobalEventBus(), bus);
  ReleaseGlobalEventBus();
  EXPECT_TRUE(bus->Post(Number{}));  // one reference is still out
  ReleaseGlobalEventBus();
}

TEST(GlobalEventBus, ForgetsItsSubscribersWithTheLastReference) {
  int calls = 0;
  GetGlobalEventBus()->Subscribe<Number>([&](const Number&) { ++calls; });
  ReleaseGlobalEventBus();
  GetGlobalEventBus()->Post(Number{});
  ReleaseGlobalEventBus();
  EXPECT_EQ(calls, 0);
}

/// Tells when the bus that holds it is destroyed.
struct EndOfBus {
  explicit EndOfBus(std::promise<void>* p) : gone(p) {}
  EndOfBus(const EndOfBus&) = delete;
  EndOfBus& operator=(const EndOfBus&) = delete;
  ~EndOfBus() { gone->set_value(); }
  std::promise<void>* gone;
};

TEST(GlobalEventBus, MakesANewOneWhileTheOldOneEnds) {
  std::promise<void> gone;
  std::promise<void> entered;
  std::promise<void> go;
  AsyncEventBus* old_bus = GetGlobalEventBus();
  old_bus->Subscribe<Number>([&, end = std::make_shared<EndOfBus>(&gone)](const Number&) {
    entered.set_value();
    go.get_future().wait();
  });
  old_bus->Post(Number{});
  entered.get_future().wait();
  // The old bus cannot end before `go`: the release that is its last one waits, on a thread of its
  // own, and from then on another bus is handed out. One that came too late to be the last returns.
  std::future<void> last;
  AsyncEventBus* new_bus = old_bus;
  for (std::chrono::milliseconds patience{1}; new_bus == old_bus; patience *= 2) {
    last = std::async(std::launch::async, ReleaseGlobalEventBus);
    last.wait_for(patience);
    new_bus = GetGlobalEventBus();
    if (new_bus == old_bus) last.wait();
  }
  int calls = 0;
  new_bus->Subscribe<SystemEvent>([&](const SystemEvent&) { ++calls; });
  new_bus->Post(SystemEvent{});
  new_bus->Flush();
  EXPECT_EQ(calls, 1);
  go.set_value();
  last.get();
  gone.get_future().wait();
  ReleaseGlobalEventBus();
}

TEST(GlobalEventBus, MayLoseItsLastReferenceInACallback) {
  std::promise<void> gone;
  std::vector<int> seen;
  AsyncEventBus* bus = GetGlobalEventBus();
  bus->Subscribe<Number>([&, bus, end = std::make_shared<EndOfBus>(&gone)](const Number& n) {
    seen.push_back(n.value);
    if (n.value != 1) return;
    bus->Post(Number{3});
    ReleaseGlobalEventBus();
    ReleaseGlobalEventBus();  // at zero
    const auto token = bus->Subscribe<SystemEvent>([](const SystemEvent&) {});
    bus->Unsubscribe(token);  // the bus is there until the callback ends
  });
  std::promise<void> go;
  bus->Subscribe<SystemEvent>([&](const SystemEvent&) { go.get_future().wait(); });
  bus->Post(SystemEvent{});
  bus->Post(Number{1});
  bus->Post(Number{2});
  go.set_value();
  gone.get_future().wait();
  EXPECT_EQ(seen, (std::vector<int>{1, 2, 3}));
  AsyncEventBus* next = GetGlobalEventBus();
  EXPECT_TRUE(next->Post(Number{}));
  ReleaseGlobalEventBus();
}

}  // namespace
