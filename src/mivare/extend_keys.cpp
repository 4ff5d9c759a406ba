#include "extend_keys.h"

#include <cstdint>
#include <span>

#include "mivare/extend_data.h"
#include "mivare/media_desc.h"
#include "mivare/user_data.h"
#include "orlo/val_any.h"
#include "own_desc.h"
#include "user_data_map.h"

namespace mivare {

bool HasHint(const IMediaDesc& desc, const char* key) noexcept try {
  if (const DescBase* own = OwnDesc(desc)) return own->UserData().HasHint(key);
  IUserDataInquire* user_data = desc.GetUserDataInquire();
  if (user_data == nullptr) return false;
  if (UserDataMap* map = OwnUserDataMap(user_data)) return map->Contains(key);
  orlo::ValAny value;
  return user_data->Get(key, value) == 1;
} catch (...) {
  return true;
}

void RemoveReservedUserDataKeys(IUserDataConfig* config) {
  if (config == nullptr) return;
  for (const char* key : std::span(kKeyTable).first<kReservedKeyCount>()) config->Remove(key);
}

}  // namespace mivare

int32_t NUXMivareGetExtendKeyCount() { return static_cast<int32_t>(mivare::kExtendKeyCount); }

// Indices count from the first extend data key, and below 0 lie the hints of the same table. The
// one bound is that of the table: what is before its start wraps to a position behind its end.
const char* NUXMivareGetExtendKey(int32_t index) {
  const auto position = static_cast<uint64_t>(int64_t{index}) + mivare::kReservedKeyCount;
  return position < mivare::kKeyTable.size() ? mivare::kKeyTable[position] : nullptr;
}
