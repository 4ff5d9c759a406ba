// The resource monitor while memory runs out. Linked with its objects, not with the library.
#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "support/failing_new.h"
#include "trovel/trovel.h"

namespace trovel {
namespace {

using mivare::test::FailingNew;

// Enough objects that every table grows several times.
constexpr size_t kMany = 3000;

TEST(MonitorWithoutMemory, RefusesARegistrationAndKeepsTheOthers) {
  static char objects[kMany];
  constexpr char kName[] = "a name that is too long to be kept in place";
  int refused = 0;
  for (size_t i = 0; i < kMany; ++i) {
    for (uint64_t nth = 1;; ++nth) {
      ASSERT_LT(nth, 10U) << "never got through";
      bool fired = false;
      int32_t status = 0;
      {
        const FailingNew failing(nth);
        status = AddResource(kName, &objects[i]);
        fired = failing.fired();
      }
      ASSERT_EQ(status, fired ? -1 : 0);
      if (i % 100 == 0) {
        ASSERT_EQ(CountResources(kName), i + (fired ? 0 : 1));
      }
      if (!fired) break;
      ++refused;
      ASSERT_EQ(RemoveResource(kName, &objects[i]), -1) << "nothing was noted";
    }
  }
  EXPECT_GT(refused, static_cast<int>(kMany)) << "the nodes, and the tables";
  const FailingNew failing(1);
  for (char& object : objects) ASSERT_EQ(RemoveResource(kName, &object), 0);
  EXPECT_FALSE(failing.fired()) << "removing needs no memory";
  EXPECT_EQ(CountResources(nullptr), 0U);
}

TEST(MonitorWithoutMemory, ReportsWholeOrThrows) {
  int first = 0;
  int second = 0;
  AddResource("a name that is too long to be kept in place", &first);
  AddResource("a name that is too long to be kept in place", &second);
  AddResource("short", &second);
  const std::string whole = LeakReport();
  for (uint64_t nth = 1;; ++nth) {
    ASSERT_LT(nth, 200U) << "never got through";
    std::string report;
    const FailingNew failing(nth);
    bool threw = false;
    try {
      report = LeakReport();
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    ASSERT_EQ(threw, failing.fired()) << nth;
    if (threw) continue;
    EXPECT_GT(nth, 3U);
    EXPECT_EQ(report, whole);
    break;
  }
  RemoveResource("a name that is too long to be kept in place", &first);
  RemoveResource("a name that is too long to be kept in place", &second);
  EXPECT_EQ(RemoveResource("short", &second), 0) << "no lock is stuck";
}

}  // namespace
}  // namespace trovel
