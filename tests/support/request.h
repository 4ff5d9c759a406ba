// Requests that tests make.
#pragma once

#include <cstdint>

#include "mivare/helper.h"
#include "mivare/media_desc.h"

namespace mivare::test {

inline MediaDescPtr Describe(uint32_t media_type, int32_t smt, int32_t width, int32_t height) {
  MediaDescPtr desc = MakeMediaDesc(media_type, smt);
  if (desc) desc->SetWidthHeight(width, height);
  return desc;
}

/// A video description of a size; `location` 1 asks for device memory.
inline MediaDescPtr VideoRequest(int32_t smt, int32_t width, int32_t height,
                                 uint32_t location = 0) {
  MediaDescPtr desc = MakeMediaDesc(1, smt);
  desc->SetWidthHeight(width, height);
  desc->SetMemoryLocation(location);
  return desc;
}

inline MediaDescPtr AudioRequest(int32_t smt = 20001) {
  MediaDescPtr desc = MakeMediaDesc(2, smt);
  desc->SetSampleRate(48000);
  desc->SetChannels(2);
  return desc;
}

}  // namespace mivare::test
