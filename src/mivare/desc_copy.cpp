#include "desc_copy.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/log.h"
#include "mivare/extend_data.h"
#include "mivare/media_desc.h"
#include "mivare/user_data.h"
#include "own_desc.h"

namespace mivare {
namespace {

IExtendData* ExtendDataOf(IMediaDesc& desc) {
  void* store = nullptr;
  desc.QueryProperty(kExtendDataKey, &store);
  return static_cast<IExtendData*>(store);
}

constexpr size_t kScratch = 1024;

// Blocks under the well-known keys. Throws std::bad_alloc.
void CopyExtendData(IExtendData& destination, IExtendData& source) {
  std::vector<uint8_t> scratch;
  const int32_t count = NUXMivareGetExtendKeyCount();
  for (int32_t i = 0; i < count; ++i) {
    const char* key = NUXMivareGetExtendKey(i);
    if (key == nullptr) continue;
    const uint32_t size = source.GetExtendDataLength(key);
    // Lengths are signed on the way out: nothing larger can be read.
    if (size == 0 || size > INT32_MAX) continue;
    if (scratch.size() < size) scratch.resize(std::max<size_t>(size, kScratch));
    auto length = static_cast<int32_t>(scratch.size());
    if (source.GetExtendData(key, scratch.data(), &length)) {
      // A store may say more than it has found room for.
      const auto room = static_cast<int32_t>(std::min<size_t>(scratch.size(), INT32_MAX));
      destination.SetExtendData(key, scratch.data(), std::min(length, room));
    }
  }
}

}  // namespace

void CopyExtraProperty(IMediaDesc* destination, IMediaDesc* source) {
  if (destination == nullptr || source == nullptr) return;
  desc::VideoDescBase* to = OwnVideoDesc(*destination);
  const desc::VideoDescBase* from = to != nullptr ? OwnVideoDesc(*source) : nullptr;
  if (from == nullptr || from == to) {
    CopyExtraPropertyOfAny(*destination, *source);
  } else {
    CopyExtraProperty(*to, *from);
  }
}

void CopyExtraProperty(desc::VideoDescBase& destination, const desc::VideoDescBase& source) {
  destination.TakeProperties(source);
  destination.ExtendData().TakeWellKnown(source.ExtendData());
}

void CopyExtraPropertyOfAny(IMediaDesc& destination, IMediaDesc& source) {
  destination.SetInterlace(source.GetInterlace());
  destination.SetRotation(source.GetRotation());
  destination.SetFilpType(source.GetFilpType());
  // The preset writes matrix, transfer and primaries, so it comes before them.
  destination.SetColorSpace(source.GetColorSpace());
  destination.SetVideoSignalRange(source.GetVideoSignalRange());
  destination.SetVideoMatrix(source.GetVideoMatrix());
  destination.SetTransferCharacter(source.GetTransferCharacter());
  destination.SetColorPrimary(source.GetColorPrimary());
  destination.SetDisplayAspectRatio(source.GetDisplayAspectRatio());

  IExtendData* from = ExtendDataOf(source);
  IExtendData* to = ExtendDataOf(destination);
  if (from == nullptr || to == nullptr) {
    MIVARE_LOG(kLogTrace, "%s[%d]", unit::kDesc, 348);
    return;
  }
  CopyExtendData(*to, *from);
}

void CopyUserData(IMediaDesc* destination, IMediaDesc* source) {
  if (destination == nullptr || source == nullptr) return;
  IUserDataConfig* to = destination->GetUserDataConfig();
  IUserDataInquire* from = source->GetUserDataInquire();
  if (to == nullptr || from == nullptr) return;
  to->Clear();
  try {
    to->CopyFrom(from);
  } catch (...) {
    to->Clear();
    throw;
  }
}

}  // namespace mivare

// Hosts have no way to learn that memory was short: see the header for what they find then.
void NUXMivareCopyMediaExtraProperty(mivare::IMediaDesc* destination, mivare::IMediaDesc* source) {
  try {
    mivare::CopyExtraProperty(destination, source);
  } catch (...) {
  }
}

void NUXMivareCopyUserData(mivare::IMediaDesc* destination, mivare::IMediaDesc* source) {
  try {
    mivare::CopyUserData(destination, source);
  } catch (...) {
  }
}
