// The number behind NUXMivareImagePSNR.
#pragma once

#include <cstdint>

namespace mivare {

/// The ratio in decibels of `count` 8-bit samples whose squared differences add up to `sum`; the
/// largest double for a sum of 0. A count that has wrapped to 0 gives minus infinity.
double PeakSignalToNoise(uint64_t sum, uint32_t count);

}  // namespace mivare
