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

uint64_t Pair(int32_t high, int32_t low) {
  return static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32U | static_cast<uint32_t>(low);
}

// The low half of kKind.
constexpr int32_t kBlank = 1;
constexpr int32_t kDevice = 2;

}  // namespace

FrameKey::FrameKey(const IMediaDesc& desc, bool blank) {
  const bool device = desc.GetMemoryLocation() != 0;
  words_[kSize] =
      Pair(static_cast<int32_t>(desc.GetWidth()), static_cast<int32_t>(desc.GetHeight()));
  words_[kKind] = Pair(desc.GetSmt(), (blank ? kBlank : 0) | (device ? kDevice : 0));
  if (!device) return;
  words_[kPlatform] =
      Pair(static_cast<int32_t>(desc.GetPlatform()), static_cast<int32_t>(desc.GetTexType()));
  orlo::ValAny compatible;
  words_[kHints] =
      Pair(HasHint(desc, kAllocHostMemKey) ? 1 : 0,
           GetHint(desc, kPlatformCompatibleKey, compatible) ? compatible.ToInt32() : 0);
}

// Odd numbers without a pattern; the products do not wait for each other.
size_t FrameKey::Hash() const {
  const uint64_t hash =
      (words_[kSize] * 0x9E3779B97F4A7C15U ^ words_[kKind] * 0xC2B2AE3D27D4EB4FU) +
      (words_[kPlatform] * 0xFF51AFD7ED558CCDU ^ words_[kHints] * 0xD6E8FEB86659FD93U);
  return static_cast<size_t>(hash ^ (hash >> 32U));
}

std::string FrameKey::Text() const {
  char text[160];  // more than the longest text of seven numbers
  const int blank = (Low(kKind) & kBlank) != 0 ? 1 : 0;
  if ((Low(kKind) & kDevice) == 0) {
    std::snprintf(text, sizeof(text), "type[C] fmt[%d] %dx%d blank=%d", High(kKind), High(kSize),
                  Low(kSize), blank);
  } else {
    std::snprintf(text, sizeof(text),
                  "type[G] fmt[%d] plat[%d] TexType[%d] host[%d] compatible[%d] %dx%d  blank=%d",
                  High(kKind), High(kPlatform), Low(kPlatform), High(kHints), Low(kHints),
                  High(kSize), Low(kSize), blank);
  }
  return text;
}

}  // namespace mivare
