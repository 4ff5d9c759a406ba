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
  const int32_t smt = desc.GetSmt();
  const auto width = static_cast<int32_t>(desc.GetWidth());
  const auto height = static_cast<int32_t>(desc.GetHeight());
  if (desc.GetMemoryLocation() == 0) {
    std::snprintf(text_, sizeof(text_), "type[C] fmt[%d] %dx%d blank=%d", smt, width, height,
                  blank ? 1 : 0);
    return;
  }
  orlo::ValAny value;
  const int32_t compatible = GetHint(desc, kPlatformCompatibleKey, value) ? value.ToInt32() : 0;
  std::snprintf(text_, sizeof(text_),
                "type[G] fmt[%d] plat[%d] TexType[%d] host[%d] compatible[%d] %dx%d  blank=%d", smt,
                static_cast<int32_t>(desc.GetPlatform()), static_cast<int32_t>(desc.GetTexType()),
                HasHint(desc, kAllocHostMemKey) ? 1 : 0, compatible, width, height, blank ? 1 : 0);
}

}  // namespace mivare
