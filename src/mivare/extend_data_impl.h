// The extend data store: blocks of bytes under text keys.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/entry_count.h"
#include "base/lock_order.h"
#include "base/mutex.h"
#include "extend_keys.h"
#include "mivare/extend_data.h"

namespace mivare {

class IExtendDataImpl : public IExtendData {};

/// Blocks are freed after the mutex is given up, and refusals are logged outside it. A block that
/// replaces another of its key moves into its memory where that fits without wasting much.
class ExtendDataStore final : public IExtendDataImpl {
 public:
  ExtendDataStore() = default;
  /// A copy of every block.
  ExtendDataStore(const ExtendDataStore& source);
  ExtendDataStore& operator=(const ExtendDataStore&) = delete;

  uint32_t GetExtendDataLength(const char* key) override;
  bool GetExtendData(const char* key, uint8_t* destination, int32_t* length) override;
  bool SetExtendData(const char* key, const uint8_t* source, int32_t length) override;
  void RemoveExtendData(const char* key) override;
  std::shared_ptr<IExtendData> Clone() override;

  /// Copies the blocks under the well-known keys from `source`; what that lacks stays here. Two
  /// stores may copy from each other at once. When memory is short it throws, and the blocks copied
  /// until then stay.
  void TakeWellKnown(const ExtendDataStore& source) NO_THREAD_SAFETY_ANALYSIS;

 private:
  // An empty one stands for none: no block is shorter than a byte.
  using Block = std::vector<uint8_t>;

  /// Null when there is none under the key.
  Block* Find(std::string_view key) REQUIRES(mutex_);
  bool ReplaceInPlace(std::string_view key, const uint8_t* source, size_t length) EXCLUDES(mutex_);

  mutable Mutex mutex_ ACQUIRED_BEFORE(lock_order::objects);
  EntryCount count_;
  size_t blocks_ GUARDED_BY(mutex_) = 0;
  // The well-known keys have places of their own, so that copying these compares no text.
  std::array<Block, kExtendKeyCount> well_known_ GUARDED_BY(mutex_);
  std::map<std::string, Block, std::less<>> others_ GUARDED_BY(mutex_);
};

/// Shares a new, empty store. Throws std::bad_alloc.
inline std::shared_ptr<IExtendData> MakeExtendData() { return std::make_shared<ExtendDataStore>(); }

}  // namespace mivare
