#include "frame_key.h"

#include <cstdint>
#include <cstdio>

#include "extend_keys.h"
#include "mivare/media_desc.h"
#include "mivare/user_data.h"
#include "orlo/val_any.h"

namespace mivare {
namespace {

bool GetHint(const IMediaDesc& desc, const char* key, orlo::ValAny& value) {
  IUserDataInquire* user_data = desc.GetUserDataInquire();
  return user_data != nullptr && user_data->Get(key, value) == 1;
}

}  // namespace

FrameKey::FrameKey(const IMediaDesc& desc, bool blank) {
  fields_[kFormat] = desc.GetSmt();
  fields_[kWidth] = static_cast<int32_t>(desc.GetWidth());
  fields_[kHeight] = static_cast<int32_t>(desc.GetHeight());
  fields_[kBlank] = blank ? 1 : 0;
  if (desc.GetMemoryLocation() == 0) return;
  fields_[kDevice] = 1;
  fields_[kPlatform] = static_cast<int32_t>(desc.GetPlatform());
  fields_[kTexType] = static_cast<int32_t>(desc.GetTexType());
  fields_[kHost] = HasHint(desc, kAllocHostMemKey) ? 1 : 0;
  orlo::ValAny compatible;
  if (GetHint(desc, kPlatformCompatibleKey, compatible)) {
    fields_[kCompatible] = compatible.ToInt32();
  }
}

size_t FrameKey::Hash() const {
  const auto pair = [this](Field high, Field low) {
    return static_cast<uint64_t>(static_cast<uint32_t>(fields_[high])) << 32U |
           static_cast<uint32_t>(fields_[low]);
  };
  // Odd numbers without a pattern; the products do not wait for each other.
  uint64_t hash =
      pair(kWidth, kHeight) * 0x9E3779B97F4A7C15U ^ pair(kFormat, kBlank) * 0xC2B2AE3D27D4EB4FU;
  if (fields_[kDevice] != 0) {
    hash += pair(kPlatform, kTexType) * 0xFF51AFD7ED558CCDU ^
            pair(kCompatible, kHost) * 0xD6E8FEB86659FD93U;
  }
  return static_cast<size_t>(hash ^ (hash >> 32U));
}

std::string FrameKey::Text() const {
  char text[160];  // more than the longest text of seven numbers
  const auto& f = fields_;
  if (f[kDevice] == 0) {
    std::snprintf(text, sizeof(text), "type[C] fmt[%d] %dx%d blank=%d", f[kFormat], f[kWidth],
                  f[kHeight], f[kBlank]);
  } else {
    std::snprintf(text, sizeof(text),
                  "type[G] fmt[%d] plat[%d] TexType[%d] host[%d] compatible[%d] %dx%d  blank=%d",
                  f[kFormat], f[kPlatform], f[kTexType], f[kHost], f[kCompatible], f[kWidth],
                  f[kHeight], f[kBlank]);
  }
  return text;
}

}  // namespace mivare
