#include "extend_data_impl.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/lock_order.h"
#include "base/log.h"
#include "base/mutex.h"

namespace mivare {
namespace {

void LogPlace(int32_t level, int line = __builtin_LINE()) {
  MIVARE_LOG(level, "%s[%d]", unit::kExtendData, line);
}

/// What a refused block says as text. A block need not end with a NUL, so nothing is read beyond
/// the length that came with it; a length below 1 vouches for nothing, and the text is empty.
std::string BlockAsText(const uint8_t* block, int32_t length) {
  if (block == nullptr) return "(null)";
  const auto* text = reinterpret_cast<const char*>(block);
  return {text, std::find(text, text + std::max(length, 0), '\0')};
}

/// Blocks are copied in before the mutex is taken and freed after it is given up; refusals are
/// logged outside it.
class impl final : public IExtendDataImpl {
 public:
  using Block = std::vector<uint8_t>;
  using Blocks = std::map<std::string, Block, std::less<>>;

  impl() = default;
  explicit impl(const Blocks& blocks) : blocks_(blocks) {}

  uint32_t GetExtendDataLength(const char* key) override {
    if (key == nullptr) {
      LogPlace(kLogStatus);
      return 0;
    }
    const MutexLock lock(mutex_);
    const auto entry = blocks_.find(std::string_view(key));
    return entry != blocks_.end() ? static_cast<uint32_t>(entry->second.size()) : 0;
  }

  bool GetExtendData(const char* key, uint8_t* destination, int32_t* length) override {
    if (key == nullptr || destination == nullptr || *length < 1) {
      LogPlace(kLogError);
      return false;
    }
    const int32_t room = *length;
    bool found = false;
    {
      const MutexLock lock(mutex_);
      const auto entry = blocks_.find(std::string_view(key));
      found = entry != blocks_.end();
      if (found && static_cast<int32_t>(entry->second.size()) <= room) {
        const Block& block = entry->second;
        std::memcpy(destination, block.data(), block.size());
        *length = static_cast<int32_t>(block.size());
        return true;
      }
    }
    if (!found) {
      MIVARE_LOG(kLogError, "%s[%d] no key[%s]!", unit::kExtendData, __LINE__, key);
    } else {
      MIVARE_LOG(kLogError, "%s[%d] key[%s]dst_length[%d] is not enough", unit::kExtendData,
                 __LINE__, key, room);
    }
    return false;
  }

  bool SetExtendData(const char* key, const uint8_t* source, int32_t length) override {
    if (key == nullptr || source == nullptr || length < 1) {
      MIVARE_LOG(kLogError, "%s[%d] param error! key[%s] buf[%s] buf_length[%d]", unit::kExtendData,
                 __LINE__, key != nullptr ? key : "(null)", BlockAsText(source, length).c_str(),
                 length);
      return false;
    }
    Block block(source, source + length);  // leaves with what it replaces, after the lock
    {
      const MutexLock lock(mutex_);
      const std::string_view name(key);
      const auto entry = blocks_.lower_bound(name);
      if (entry != blocks_.end() && entry->first == name) {
        entry->second.swap(block);
        return true;
      }
      blocks_.emplace_hint(entry, name, std::move(block));
    }
    LogPlace(kLogTrace);
    return true;
  }

  void RemoveExtendData(const char* key) override {
    if (key == nullptr) return;
    Blocks::node_type removed;  // freed after the lock
    const MutexLock lock(mutex_);
    const auto entry = blocks_.find(std::string_view(key));
    if (entry != blocks_.end()) removed = blocks_.extract(entry);
  }

  std::shared_ptr<IExtendData> Clone() override {
    const MutexLock lock(mutex_);
    return std::make_shared<impl>(blocks_);
  }

 private:
  Mutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  Blocks blocks_ GUARDED_BY(mutex_);
};

}  // namespace

std::shared_ptr<IExtendData> MakeExtendData() { return std::make_shared<impl>(); }

}  // namespace mivare
