// Every frame registers on its way out and unregisters on its way back, so both operations are one
// short lock and one look-up: the pairs are spread over shards by the object's address, each shard
// a hash table of chained nodes. Nodes are kept for the next registration, which therefore
// allocates only while the number of live pairs, or the length of their names, still grows.
#include "trovel/trovel.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>

namespace trovel {
namespace {

/// A mutex for a few instructions at a time, of which the standard one would take as many again.
/// Whoever waits spins for a moment, then lets others run.
class BriefMutex {
 public:
  void lock() noexcept {
    for (int tries = 0; taken_.exchange(true, std::memory_order_acquire); ++tries) {
      while (taken_.load(std::memory_order_relaxed)) Pause(tries++);
    }
  }
  void unlock() noexcept { taken_.store(false, std::memory_order_release); }

 private:
  static void Pause(int tries) {
    if (tries < 64) return;
    if (tries < 128) return std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds(100));  // the holder may need our core
  }

  std::atomic<bool> taken_{false};
};

struct Node {
  Node* next = nullptr;
  std::string name;
  void* object = nullptr;
  size_t count = 0;
};

/// Spreads addresses, whose low bits are all alike, over 64 bits.
uint64_t HashOf(const void* object) {
  uint64_t hash = reinterpret_cast<uintptr_t>(object);
  hash ^= hash >> 33;
  hash *= 0xFF51AFD7ED558CCDU;
  hash ^= hash >> 33;
  return hash;
}

std::string_view TextOf(const char* name) { return name != nullptr ? name : std::string_view(); }

/// One part of the table, on cache lines of its own.
class alignas(64) Shard {
 public:
  /// Throws std::bad_alloc, with nothing changed.
  void Add(std::string_view name, void* object, uint64_t hash) {
    const std::lock_guard<BriefMutex> lock(mutex_);
    if (Node** link = Find(name, object, hash)) {
      ++(*link)->count;
      return;
    }
    Grow();
    std::unique_ptr<Node> fresh;
    if (idle_ == nullptr) fresh = std::make_unique<Node>();
    Node* node = fresh != nullptr ? fresh.get() : idle_;
    if (node->name != name) node->name = name;  // mostly it is the same again
    if (fresh.release() == nullptr) idle_ = node->next;
    node->object = object;
    node->count = 1;
    Push(&buckets_[hash & (bucket_count_ - 1)], node);
    ++node_count_;
  }

  bool Remove(std::string_view name, void* object, uint64_t hash) {
    const std::lock_guard<BriefMutex> lock(mutex_);
    Node** link = Find(name, object, hash);
    if (link == nullptr) return false;
    Node* node = *link;
    if (--node->count > 0) return true;
    *link = node->next;
    Push(&idle_, node);
    --node_count_;
    return true;
  }

  /// Calls `visit` for every pair, under the lock.
  template <class Visit>
  void ForEach(Visit visit) {
    const std::lock_guard<BriefMutex> lock(mutex_);
    for (size_t i = 0; i < bucket_count_; ++i) {
      for (const Node* node = buckets_[i]; node != nullptr; node = node->next) visit(*node);
    }
  }

 private:
  static constexpr size_t kFirstBucketCount = 16;

  static void Push(Node** list, Node* node) {
    node->next = *list;
    *list = node;
  }

  /// The link that points to the pair's node; null when there is none.
  Node** Find(std::string_view name, const void* object, uint64_t hash) {
    if (bucket_count_ == 0) return nullptr;
    Node** link = &buckets_[hash & (bucket_count_ - 1)];
    while (*link != nullptr && ((*link)->object != object || (*link)->name != name)) {
      link = &(*link)->next;
    }
    return *link != nullptr ? link : nullptr;
  }

  /// Keeps the chains short: about one node a bucket.
  void Grow() {
    if (node_count_ < bucket_count_) return;
    const size_t count = bucket_count_ == 0 ? kFirstBucketCount : 2 * bucket_count_;
    auto buckets = std::make_unique<Node*[]>(count);
    for (size_t i = 0; i < bucket_count_; ++i) {
      while (Node* node = buckets_[i]) {
        buckets_[i] = node->next;
        Push(&buckets[HashOf(node->object) & (count - 1)], node);
      }
    }
    delete[] std::exchange(buckets_, buckets.release());
    bucket_count_ = count;
  }

  BriefMutex mutex_;  // guards everything below
  Node** buckets_ = nullptr;
  size_t bucket_count_ = 0;  // a power of two
  size_t node_count_ = 0;    // in the buckets
  Node* idle_ = nullptr;
};

// Many, so that few frames of different threads meet in one.
constexpr int kShardBits = 6;
using Shards = std::array<Shard, 1U << kShardBits>;

// There before any code runs and never destroyed: objects outlive the static destructors of this
// library.
constinit Shards all_shards;

// By the topmost bits, since the buckets go by the lowest.
Shard& ShardOf(uint64_t hash) { return all_shards[hash >> (64 - kShardBits)]; }

}  // namespace

int32_t AddResource(const char* name, void* object) {
  try {
    const uint64_t hash = HashOf(object);
    ShardOf(hash).Add(TextOf(name), object, hash);
    return 0;
  } catch (...) {
    return -1;
  }
}

int32_t RemoveResource(const char* name, void* object) {
  const uint64_t hash = HashOf(object);
  return ShardOf(hash).Remove(TextOf(name), object, hash) ? 0 : -1;
}

std::vector<Resource> Snapshot() {
  std::vector<Resource> resources;
  for (Shard& shard : all_shards) {
    shard.ForEach([&](const Node& node) {
      resources.push_back({node.name, node.object, node.count});
    });
  }
  std::sort(resources.begin(), resources.end(), [](const Resource& a, const Resource& b) {
    return std::tuple(std::string_view(a.name), reinterpret_cast<uintptr_t>(a.object)) <
           std::tuple(std::string_view(b.name), reinterpret_cast<uintptr_t>(b.object));
  });
  return resources;
}

size_t CountResources(const char* name) {
  size_t count = 0;
  for (Shard& shard : all_shards) {
    shard.ForEach([&](const Node& node) {
      if (name == nullptr || node.name == name) count += node.count;
    });
  }
  return count;
}

std::string LeakReport() {
  const std::vector<Resource> resources = Snapshot();
  std::string report;
  for (auto first = resources.begin(); first != resources.end();) {
    size_t total = 0;
    std::string addresses;
    auto next = first;
    for (; next != resources.end() && next->name == first->name; ++next) {
      total += next->count;
      char text[64];
      std::snprintf(text, sizeof(text), " 0x%llx",
                    static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(next->object)));
      addresses += text;
      if (next->count > 1) addresses += " (" + std::to_string(next->count) + " times)";
    }
    report += "\"" + first->name + "\": " + std::to_string(total) + " alive at" + addresses + "\n";
    first = next;
  }
  return report;
}

}  // namespace trovel
