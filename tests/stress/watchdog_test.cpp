#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>

#include "stress/scenario.h"

namespace mivare::test {
namespace {

TEST(WatchdogTest, NamesTheScenarioAndThePlacesOfItsThreads) {
  At("the place where this thread waits");
  std::promise<std::string> report;
  const Watchdog watchdog("Suite.Scenario", std::chrono::seconds(0),
                          [&](const std::string& text) { report.set_value(text); });
  const std::string text = report.get_future().get();
  EXPECT_NE(text.find("Suite.Scenario has not ended after 0 s"), std::string::npos) << text;
  EXPECT_NE(text.find("  the place where this thread waits\n"), std::string::npos) << text;
}

TEST(WatchdogTest, SaysNothingOfAScenarioThatEnds) {
  bool fired = false;
  {
    const Watchdog watchdog("", std::chrono::hours(1), [&](const std::string&) { fired = true; });
  }
  EXPECT_FALSE(fired);
}

}  // namespace
}  // namespace mivare::test
