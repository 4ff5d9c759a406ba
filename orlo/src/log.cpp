// Sinks run without the lock, so each call is noted in a list while it runs: removing a sink waits
// for the calls of other threads, and a sink that logs is not called again by its own message.
#include "orlo/log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

#include "default_sink.h"
#include "process_end.h"

namespace orlo {
namespace {

// Both are read before anything is formatted, so that an unheard message costs next to nothing.
// Relaxed: a message that races with a change may go either way.
constinit std::atomic<int32_t> default_minimum{0};
constinit std::atomic<bool> has_sinks{false};

struct Sink {
  uint64_t id = 0;
  LogSink call = nullptr;
  void* context = nullptr;
  std::atomic<Sink*> next{nullptr};
};

/// A sink at work; lives on the stack of the thread that logs.
struct Call {
  uint64_t sink = 0;
  std::thread::id thread;
  bool waiting = false;  // its thread is inside RemoveLogSink
  Call* next = nullptr;
};

/// The lock of the sinks, taken unless nobody else is left who could hold it in earnest.
class SinkLock {
 public:
  explicit SinkLock(std::mutex& mutex) : lock_(mutex, std::defer_lock) { Lock(); }
  void Lock() {
    if (!alone_) lock_.lock();
  }
  void Unlock() {
    if (!alone_) lock_.unlock();
  }
  bool alone() const { return alone_; }
  std::unique_lock<std::mutex>& get() { return lock_; }

 private:
  const bool alone_ = OtherThreadsKilled();
  std::unique_lock<std::mutex> lock_;
};

// Each change of the list of sinks is one store of a pointer: whoever is left alone finds it whole,
// wherever the other threads were killed. Their calls, whose stacks may be gone, it does not look
// at.
class SinkList {
 public:
  uint64_t Add(LogSink call, void* context) {
    auto made = std::make_unique<Sink>();
    made->call = call;
    made->context = context;
    const SinkLock lock(mutex_);
    const uint64_t id = made->id = ++last_id_;
    LinkBehind(id) = made.release();
    has_sinks.store(true, std::memory_order_relaxed);
    return id;
  }

  void Remove(uint64_t id) {
    std::unique_ptr<Sink> removed;  // freed without the lock
    const std::thread::id self = std::this_thread::get_id();
    SinkLock lock(mutex_);
    std::atomic<Sink*>& link = LinkBehind(id - 1);
    Sink* const sink = link;
    if (sink != nullptr && sink->id == id) {
      link = sink->next.load();
      removed.reset(sink);
    }
    has_sinks.store(sinks_.load() != nullptr, std::memory_order_relaxed);
    if (lock.alone()) {  // calls of the others never end, and the heap's lock may be theirs
      static_cast<void>(removed.release());
      return;
    }
    const bool inside = SetWaiting(self, true);
    // Two sinks that remove each other, or one that removes itself on two threads, would wait for
    // each other; so whoever comes from inside a sink passes by those who wait already.
    changed_.wait(lock.get(), [&] {
      return !AnyCall(calls_, [&](const Call& call) {
        return call.sink == id && call.thread != self && !(inside && call.waiting);
      });
    });
    if (inside) SetWaiting(self, false);
  }

  // Ids grow, so walking them upwards finds whoever is there now without a copy of the list.
  void Deliver(const char* tag, int32_t level, const char* text) {
    Call call;
    call.thread = std::this_thread::get_id();
    SinkLock lock(mutex_);
    Call*& calls = lock.alone() ? calls_alone_ : calls_;
    const uint64_t last = last_id_;
    for (uint64_t done = 0;;) {
      const Sink* const next = LinkBehind(done);
      if (next == nullptr || next->id > last) return;
      done = next->id;
      const auto same = [&](const Call& c) { return c.sink == done && c.thread == call.thread; };
      if (AnyCall(calls, same)) continue;
      const LogSink sink = next->call;
      void* const context = next->context;
      call.sink = done;
      call.next = calls;
      calls = &call;
      lock.Unlock();
      try {
        sink(context, tag, level, text);
      } catch (...) {
        // A failing sink must not take the others, or the caller, with it.
      }
      lock.Lock();
      Unlink(calls, call);
      if (!lock.alone()) changed_.notify_all();
    }
  }

 private:
  /// The link to the first sink behind that id, or where it would go.
  std::atomic<Sink*>& LinkBehind(uint64_t id) {
    std::atomic<Sink*>* link = &sinks_;
    for (Sink* sink = *link; sink != nullptr && sink->id <= id; sink = *link) link = &sink->next;
    return *link;
  }

  template <class Predicate>
  static bool AnyCall(const Call* call, Predicate predicate) {
    for (; call != nullptr; call = call->next) {
      if (predicate(*call)) return true;
    }
    return false;
  }

  static void Unlink(Call*& first, const Call& call) {
    Call** link = &first;
    while (*link != &call) link = &(*link)->next;
    *link = call.next;
  }

  /// Marks the calls that a thread is inside of; false when there are none.
  bool SetWaiting(std::thread::id thread, bool waiting) {
    bool found = false;
    for (Call* call = calls_; call != nullptr; call = call->next) {
      if (call->thread != thread) continue;
      call->waiting = waiting;
      found = true;
    }
    return found;
  }

  std::mutex mutex_;                   // guards everything below
  std::condition_variable changed_;    // a call has ended
  std::atomic<Sink*> sinks_{nullptr};  // by id, upwards
  Call* calls_ = nullptr;
  Call* calls_alone_ = nullptr;  // of the one thread that is left
  uint64_t last_id_ = 0;
};

// In place and never destroyed: other modules log from their static destructors.
SinkList& Sinks() {
  alignas(SinkList) static unsigned char storage[sizeof(SinkList)];
  static SinkList& sinks = *new (storage) SinkList;
  return sinks;
}

/// The formatted text: in place when short, on the heap when long, cut when there is no memory.
class Text {
 public:
  Text(const char* format, va_list arguments) noexcept {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(short_.data(), short_.size(), format, arguments);
    if (length < 0) {
      text_ = format;  // it cannot be formatted; what it was about is better than nothing
    } else if (static_cast<size_t>(length) >= short_.size()) {
      const size_t size = static_cast<size_t>(length) + 1;
      long_.reset(new (std::nothrow) char[size]);
      if (long_ != nullptr) {
        std::vsnprintf(long_.get(), size, format, again);
        text_ = long_.get();
      } else {
        std::memcpy(short_.data() + short_.size() - sizeof(kCut), kCut, sizeof(kCut));
      }
    }
    va_end(again);
  }
  const char* get() const { return text_; }

 private:
  static constexpr char kCut[] = "...";

  std::array<char, 512> short_;
  std::unique_ptr<char[]> long_;
  const char* text_ = short_.data();
};

}  // namespace

uint64_t AddLogSink(LogSink sink, void* context) {
  if (sink == nullptr) return 0;
  try {
    return Sinks().Add(sink, context);
  } catch (...) {
    return 0;
  }
}

void RemoveLogSink(uint64_t id) { Sinks().Remove(id); }

int32_t SetDefaultLogLevel(int32_t minimum) {
  return default_minimum.exchange(minimum, std::memory_order_relaxed);
}

}  // namespace orlo

void OrloLogPrint(const char* tag, int32_t level, const char* format, ...) {
  const bool print = level >= orlo::default_minimum.load(std::memory_order_relaxed);
  const bool deliver = orlo::has_sinks.load(std::memory_order_relaxed);
  if (!print && !deliver) return;
  if (tag == nullptr) tag = "";
  if (format == nullptr) format = "";

  va_list arguments;
  va_start(arguments, format);
  const orlo::Text text(format, arguments);
  va_end(arguments);
  if (print) orlo::PrintOnStandardError(tag, level, text.get());
  if (deliver) orlo::Sinks().Deliver(tag, level, text.get());
}
