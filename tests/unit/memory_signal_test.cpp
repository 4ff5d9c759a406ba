#include "base/memory_signal.h"

#include <gtest/gtest.h>

#include <memory>

#include "orlo/event_bus.h"
#include "support/failing_blocks.h"

namespace mivare {
namespace {

TEST(MemorySignal, ReachesSubscribersWithCode1AndNothingElse) {
  test::MemoryListener listener;
  SignalMemoryExhausted();
  SignalMemoryExhausted();
  EXPECT_EQ(listener.Count(), 2);
}

TEST(MemorySignal, TakesTheBusForTheCallOnly) {
  const auto witness = std::make_shared<int>(0);
  orlo::AsyncEventBus* bus = orlo::GetGlobalEventBus();
  ASSERT_NE(bus, nullptr);
  bus->Subscribe<orlo::SystemEvent>([witness](const orlo::SystemEvent&) {});
  EXPECT_EQ(witness.use_count(), 2);
  SignalMemoryExhausted();
  orlo::ReleaseGlobalEventBus();
  EXPECT_EQ(witness.use_count(), 1) << "this was the last reference: the bus is gone";
}

TEST(MemorySignal, NeedsNobodyElseToHoldTheBus) { SignalMemoryExhausted(); }

}  // namespace
}  // namespace mivare
