// Silence.
#include <cstring>

#include "media_types.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "mivare/media_desc.h"
#include "valid_bytes.h"

namespace mivare {
namespace {

int32_t Zero(IMediaBuffer* buffer) {
  // An object behind a buffer is a device's, whose memory is not cleared from here.
  if (buffer == nullptr || buffer->QueryObject(0, 0) != nullptr) return -1;
  const IMediaDesc* desc = buffer->GetDesc(0);
  if (desc == nullptr) return -1;
  if (desc->GetMediaType() != kMediaAudio) return 0;
  const LockedBuffer lock(*buffer, true);
  const size_t count = lock.ok() ? ValidBytes(lock) : 0;
  if (count > 0) std::memset(lock.plane(0), 0, count);
  return 0;
}

}  // namespace
}  // namespace mivare

extern "C" int32_t NUXMivareZeroBuffer(mivare::IMediaBuffer* buffer) try {
  return mivare::Zero(buffer);
} catch (...) {
  return -1;
}
