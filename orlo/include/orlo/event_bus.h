// An asynchronous event bus: whoever posts never waits for whoever listens.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <typeinfo>
#include <utility>

#include "orlo/export.h"

namespace orlo {

/// Something happened that the whole engine may want to react to.
struct SystemEvent {
  int32_t code = 0;     ///< 1: an allocation failed, memory should be given back
  std::string payload;  ///< depends on the code; empty for code 1
};

/// Delivers events to subscribers on one worker thread of its own, in the order of their posting.
/// Events are told apart by the name of their type, so every module means the same by it.
/// Callbacks run with no lock of the bus held: they may post, subscribe and unsubscribe; what they
/// throw is dropped. Thread-safe.
class AsyncEventBus {
 public:
  using Token = uint64_t;

  /// Starts the worker; throws std::system_error when the platform gives no thread.
  ORLO_INLINE_API AsyncEventBus()
      : worker_([this] { Run(); }) {}  // nothing of `this` is touched after Run
  AsyncEventBus(const AsyncEventBus&) = delete;
  AsyncEventBus& operator=(const AsyncEventBus&) = delete;

  /// Delivers what is queued, then joins the worker; hence never from within a callback of this
  /// bus: see LeaveToWorker.
  ORLO_INLINE_API ~AsyncEventBus() {
    {
      const std::lock_guard lock(mutex_);
      stop_ = true;
    }
    wake_.notify_all();
    if (worker_.joinable()) worker_.join();
  }

  /// Calls `callback` for every event of type E posted from now on. Returns the token that ends it,
  /// never 0.
  template <class E>
  Token Subscribe(std::function<void(const E&)> callback) {
    auto entry = std::make_shared<Subscriber>();
    entry->type = &typeid(E);
    entry->call = [callback = std::move(callback)](const void* event) {
      callback(*static_cast<const E*>(event));
    };
    const std::lock_guard lock(mutex_);
    entry->posted_before = posted_;
    const Token token = ++last_token_;
    subscribers_[typeid(E).name()].emplace(token, std::move(entry));
    return token;
  }

  /// Ends a subscription; unknown tokens are ignored. When it returns, the callback is not running,
  /// never will be, and what it captured is destroyed, unless it is the callback itself that calls.
  ORLO_INLINE_API void Unsubscribe(Token token) {
    std::shared_ptr<Subscriber> gone;  // destroyed without the lock
    std::unique_lock lock(mutex_);
    for (auto& [type, entries] : subscribers_) {
      const auto found = entries.find(token);
      if (found == entries.end()) continue;
      gone = std::move(found->second);
      entries.erase(found);
      break;
    }
    if (IsWorkerThread()) return;
    idle_.wait(lock, [&] { return running_ == 0 || running_ != token; });
  }

  /// Queues an event. Never throws; false when there was no memory to queue it. The code of the
  /// event's type must stay loaded until it is delivered.
  template <class E>
  bool Post(E event) noexcept {
    try {
      auto item = std::make_unique<ItemOf<E>>(std::move(event));
      {
        const std::lock_guard lock(mutex_);
        queue_.push_back(std::move(item));
        ++posted_;
      }
      wake_.notify_one();
      return true;
    } catch (...) {
      return false;
    }
  }

  /// Waits until everything posted before the call has been delivered. Returns at once on the bus's
  /// own worker.
  ORLO_INLINE_API void Flush() {
    std::unique_lock lock(mutex_);
    if (IsWorkerThread()) return;
    const uint64_t target = posted_;
    idle_.wait(lock, [&] { return delivered_ >= target; });
  }

  /// Whether the caller runs on the worker, that is inside a callback.
  ORLO_INLINE_API bool IsWorkerThread() const {
    return std::this_thread::get_id() == worker_.get_id();
  }

  /// For a bus made by new, from within one of its callbacks: the worker takes the bus, delivers
  /// what is queued, and deletes it. Needs no memory and no other thread. The code of the caller
  /// and of the callbacks must stay loaded until then.
  ORLO_INLINE_API void LeaveToWorker() {
    const std::lock_guard lock(mutex_);
    stop_ = true;
    left_to_worker_ = true;
  }

 private:
  struct Subscriber {
    const std::type_info* type = nullptr;
    uint64_t posted_before = 0;  // events of an earlier posting are not for this one
    std::function<void(const void*)> call;
  };
  struct Item {
    virtual ~Item() = default;
    virtual const std::type_info& Type() const = 0;
    virtual const void* Event() const = 0;
  };
  template <class E>
  struct ItemOf final : Item {
    explicit ItemOf(E e) : event(std::move(e)) {}
    const std::type_info& Type() const override { return typeid(E); }
    const void* Event() const override { return &event; }
    E event;
  };

  ORLO_INLINE_API void Run();
  ORLO_INLINE_API void Deliver(const Item& item, std::unique_lock<std::mutex>& lock);

  std::mutex mutex_;  // guards everything below but the worker and its own flag
  std::condition_variable wake_;
  std::condition_variable idle_;
  std::map<std::string, std::map<Token, std::shared_ptr<Subscriber>>, std::less<>> subscribers_;
  std::deque<std::unique_ptr<Item>> queue_;
  Token running_ = 0;  // whose callback runs
  uint64_t posted_ = 0;
  uint64_t delivered_ = 0;
  Token last_token_ = 0;
  bool stop_ = false;
  bool left_to_worker_ = false;  // the worker's own
  std::thread worker_;           // last: it reads all of the above from its first moment
};

inline void AsyncEventBus::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return stop_ || !queue_.empty(); });
    if (queue_.empty()) break;
    std::unique_ptr<Item> item = std::move(queue_.front());
    queue_.pop_front();
    Deliver(*item, lock);
    lock.unlock();
    item.reset();
    lock.lock();
    ++delivered_;
    idle_.notify_all();
  }
  lock.unlock();
  if (!left_to_worker_) return;
  worker_.detach();
  delete this;
}

// Tokens grow, so walking them upwards finds whoever is subscribed now without a copy of the list.
inline void AsyncEventBus::Deliver(const Item& item, std::unique_lock<std::mutex>& lock) {
  for (Token done = 0;;) {
    const auto entries = subscribers_.find(item.Type().name());
    if (entries == subscribers_.end()) return;
    const auto next = entries->second.upper_bound(done);
    if (next == entries->second.end()) return;
    std::shared_ptr<Subscriber> subscriber = next->second;
    if (subscriber->posted_before > delivered_) return;  // and so are all behind it
    done = next->first;
    // Two modules may each have a private type of one name.
    if (*subscriber->type != item.Type()) continue;
    running_ = done;
    lock.unlock();
    try {
      subscriber->call(item.Event());
    } catch (...) {
      // A failing subscriber must not take the others, or the worker, with it.
    }
    subscriber.reset();
    lock.lock();
    running_ = 0;
    idle_.notify_all();
  }
}

/// Takes a reference on the process's bus, made by the first one. Null when it cannot be made.
/// Every successful call is paired with one ReleaseGlobalEventBus. Thread-safe; never throws.
ORLO_API AsyncEventBus* GetGlobalEventBus();

/// Gives one reference back. The last one delivers what is queued, joins the worker and destroys
/// the bus; from within a callback of the bus it returns at once, and the worker does the same
/// after the callback. A bus that is asked for meanwhile is a new one. Without a reference out it
/// does nothing. Thread-safe; never throws.
ORLO_API void ReleaseGlobalEventBus();

}  // namespace orlo
