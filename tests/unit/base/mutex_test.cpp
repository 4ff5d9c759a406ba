#include "base/mutex.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>
#include <vector>

namespace mivare {
namespace {

// What the analysis checks when this is compiled by Clang: the value is touched with its lock only.
class Counter {
 public:
  void Add() {
    const MutexLock lock(mutex_);
    ++value_;
  }
  int Value() {
    const MutexLock lock(mutex_);
    return value_;
  }

 private:
  Mutex mutex_;
  int value_ GUARDED_BY(mutex_) = 0;
};

bool IsFree(Mutex& mutex) {
  bool taken = false;
  std::thread other([&] {
    taken = mutex.native().try_lock();
    if (taken) mutex.native().unlock();
  });
  other.join();
  return taken;
}

TEST(MutexLock, ExcludesOtherThreads) {
  Counter counter;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10000; ++i) counter.Add();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter.Value(), 40000);
}

TEST(MutexLock, HoldsForItsScope) {
  Mutex mutex;
  EXPECT_TRUE(IsFree(mutex));
  {
    const MutexLock lock(mutex);
    EXPECT_FALSE(IsFree(mutex));
  }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(MutexLock, MayBeGivenUpAndTakenAgain) {
  Mutex mutex;
  {
    MutexLock lock(mutex);
    lock.Unlock();
    EXPECT_TRUE(IsFree(mutex));
    lock.Lock();
    EXPECT_FALSE(IsFree(mutex));
  }
  EXPECT_TRUE(IsFree(mutex));
}

// The end of the scope must not touch a lock that was given up and is somebody else's by then.
TEST(MutexLock, EndOfScopeLeavesAGivenUpLockAlone) {
  Mutex mutex;
  {
    MutexLock lock(mutex);
    lock.Unlock();
    mutex.native().lock();
  }
  EXPECT_FALSE(IsFree(mutex));
  mutex.native().unlock();
}

TEST(MutexLock, ServesAConditionVariable) {
  Mutex mutex;
  std::condition_variable wake;
  bool ready = false;
  std::thread other([&] {
    const MutexLock lock(mutex);
    ready = true;
    wake.notify_all();
  });
  {
    MutexLock lock(mutex);
    wake.wait(lock.native(), [&] { return ready; });
    EXPECT_FALSE(IsFree(mutex));
  }
  other.join();
}

class Nested {
 public:
  int Depth(int levels) {
    const RecursiveMutexLock lock(mutex_);
    ++entered_;
    if (levels > 1) Depth(levels - 1);
    return entered_;
  }
  void Add() {
    const RecursiveMutexLock lock(mutex_);
    Depth(2);
  }

 private:
  RecursiveMutex mutex_;
  int entered_ GUARDED_BY(mutex_) = 0;
};

TEST(RecursiveMutexLock, IsTakenAgainByItsHolderAndExcludesOtherThreads) {
  Nested nested;
  EXPECT_EQ(nested.Depth(3), 3);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) nested.Add();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(nested.Depth(1), 3 + 4 * 1000 * 2 + 1);
}

}  // namespace
}  // namespace mivare
