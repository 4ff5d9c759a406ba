// Silence.
#include <algorithm>

#include "media_types.h"
#include "mivare/diagnostics.h"
#include "mivare/media_desc.h"
#include "plane_walker.h"

namespace mivare {
namespace {

int32_t Zero(IMediaBuffer* buffer) {
  // An object behind a buffer is a device's, whose memory is not cleared from here.
  if (buffer == nullptr || buffer->QueryObject(0, 0) != nullptr) return -1;
  const IMediaDesc* desc = buffer->GetDesc(0);
  if (desc == nullptr) return -1;
  if (desc->GetMediaType() != kMediaAudio) return 0;
  const WalkedBuffer locked(*buffer, true);
  if (!locked.ok()) return 0;
  const std::span<uint8_t> valid = locked.ValidBytes();
  std::fill(valid.begin(), valid.end(), uint8_t{0});
  return 0;
}

}  // namespace
}  // namespace mivare

extern "C" int32_t NUXMivareZeroBuffer(mivare::IMediaBuffer* buffer) try {
  return mivare::Zero(buffer);
} catch (...) {
  return -1;
}
