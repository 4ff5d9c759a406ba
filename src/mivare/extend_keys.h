// The well-known keys of the metadata stores: hints in the user data, blocks in the extend data.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "mivare/user_data.h"

namespace mivare {

class IMediaDesc;

// Hints in the user data, for the allocators or for one frame alone. A copy of a description and a
// frame that is handed out again lose them. kIsOldKey, which hosts use too, is one of them.
inline constexpr char kBlankKey[] = "Blank";
inline constexpr char kAllocHostMemKey[] = "AllocHostMem";
inline constexpr char kPlatformCompatibleKey[] = "PlatformCompatible";
inline constexpr char kPlatformExpectKey[] = "PlatformExpect";
inline constexpr char kAdjustLayerWorkModeKey[] = "user_keys::adjustlayer-workmode";

// Blocks in the extend data.
inline constexpr char kPqExtendKey[] = "Mivare Frame Extend Data : PQ";
inline constexpr char kAiBodyExtendKey[] = "Mivare Frame Extend Data : AiBodyFeatureData";
inline constexpr char kAiFaceExtendKey[] = "Mivare Frame Extend Data : AiFaceFeatureData";

inline constexpr std::array<const char*, 9> kKeyTable = {
    kBlankKey,          kAllocHostMemKey, kPlatformCompatibleKey,
    kPlatformExpectKey, kIsOldKey,        kAdjustLayerWorkModeKey,
    kPqExtendKey,       kAiBodyExtendKey, kAiFaceExtendKey,
};
/// The hints come first in the table; the rest are the extend data keys.
inline constexpr size_t kReservedKeyCount = 6;

inline constexpr size_t kExtendKeyCount = kKeyTable.size() - kReservedKeyCount;

/// Whether `key` is one of the six hints.
inline bool IsReservedUserDataKey(std::string_view key) {
  static constexpr auto kHints = [] {
    std::array<std::string_view, kReservedKeyCount> hints;
    std::copy_n(kKeyTable.begin(), hints.size(), hints.begin());
    return hints;
  }();
  return std::find(kHints.begin(), kHints.end(), key) != kHints.end();
}

/// Whether the user data of `desc` hold `key`, one of the six, whatever the value. Allocates
/// nothing where the data are the library's own; data of a host's making that fail to answer count
/// as holding it.
bool HasHint(const IMediaDesc& desc, const char* key) noexcept;

/// Removes the six hints, in table order. Null does nothing.
void RemoveReservedUserDataKeys(IUserDataConfig* config);

}  // namespace mivare
