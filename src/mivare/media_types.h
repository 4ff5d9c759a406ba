// The numbers that descriptions carry and the whole library tells apart.
#pragma once

#include <cstdint>

namespace mivare {

/// The media types that descriptions have.
inline constexpr uint32_t kMediaVideo = 1;
inline constexpr uint32_t kMediaAudio = 2;
inline constexpr uint32_t kMediaSubtitle = 5;

/// The memory location of a device frame; 0 is the host's memory.
inline constexpr uint32_t kDeviceMemory = 1;

}  // namespace mivare
