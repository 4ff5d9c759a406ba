#include "base/brief_mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "support/together.h"

namespace mivare::test {
namespace {

TEST(BriefMutexTest, SaysWhenNobodyHeldIt) {
  BriefMutex mutex;
  EXPECT_FALSE(mutex.lock());
  mutex.unlock();
  { const BriefLock lock(mutex); }
  EXPECT_FALSE(mutex.lock());
  mutex.unlock();
}

TEST(BriefMutexTest, LetsOneThreadInAtATime) {
  BriefMutex mutex;
  int count = 0;
  Together(4, [&](int) {
    for (int i = 0; i < 2000; ++i) {
      const BriefLock lock(mutex);
      ++count;
    }
  });
  EXPECT_EQ(count, 8000);
}

TEST(BriefMutexTest, MayGoAsSoonAsItWasTakenOnceMore) {
  for (int i = 0; i < 200; ++i) {
    auto mutex = std::make_unique<BriefMutex>();
    std::atomic<bool> taken{false};
    std::thread first([&] {
      const BriefLock lock(*mutex);
      taken = true;
    });
    while (!taken) std::this_thread::yield();
    { const BriefLock lock(*mutex); }
    mutex.reset();  // the first thread may still be on its way out of unlock
    first.join();
  }
}

}  // namespace
}  // namespace mivare::test
