// The standard mutexes under Clang's thread-safety analysis: which lock guards what is checked at
// build time.
#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define MIVARE_TSA(x) __attribute__((x))
#else
#define MIVARE_TSA(x)
#endif

#define GUARDED_BY(x) MIVARE_TSA(guarded_by(x))
#define REQUIRES(...) MIVARE_TSA(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) MIVARE_TSA(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) MIVARE_TSA(acquire_capability(__VA_ARGS__))
#define RELEASE(...) MIVARE_TSA(release_capability(__VA_ARGS__))
#define ACQUIRED_AFTER(...) MIVARE_TSA(acquired_after(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) MIVARE_TSA(acquired_before(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS MIVARE_TSA(no_thread_safety_analysis)

namespace mivare {

/// Not recursive.
class MIVARE_TSA(capability("mutex")) Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }
  std::mutex& native() { return mutex_; }

 private:
  std::mutex mutex_;
};

/// Holds a Mutex for a scope; may be given up and taken again within it.
class MIVARE_TSA(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex.native()) {}
  ~MutexLock() RELEASE() = default;
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void Unlock() RELEASE() { lock_.unlock(); }
  void Lock() ACQUIRE() { lock_.lock(); }
  /// For waiting on a condition variable while this lock is held.
  std::unique_lock<std::mutex>& native() { return lock_; }

 private:
  std::unique_lock<std::mutex> lock_;
};

/// May be taken again by the thread that holds it.
class MIVARE_TSA(capability("mutex")) RecursiveMutex {
 public:
  RecursiveMutex() = default;
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;

  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

/// Holds a RecursiveMutex for a scope.
class MIVARE_TSA(scoped_lockable) RecursiveMutexLock {
 public:
  explicit RecursiveMutexLock(RecursiveMutex& mutex) ACQUIRE(mutex) : mutex_(mutex) {
    mutex_.lock();
  }
  ~RecursiveMutexLock() RELEASE() { mutex_.unlock(); }
  RecursiveMutexLock(const RecursiveMutexLock&) = delete;
  RecursiveMutexLock& operator=(const RecursiveMutexLock&) = delete;

 private:
  RecursiveMutex& mutex_;
};

}  // namespace mivare
