// How the tests of the pixel formats make and read descriptions.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "desc/gray.h"
#include "desc/nv12x.h"
#include "desc/rgbax.h"
#include "desc/yuvax.h"
#include "desc/yv12x.h"

namespace mivare::test {

using NewFamily = std::unique_ptr<desc::VideoDescBase> (*)(int32_t smt);

/// Builds a family directly, as the factory does not for every code.
template <class Family>
std::unique_ptr<desc::VideoDescBase> New(int32_t smt) {
  return std::make_unique<Family>(smt, 1U);
}

inline std::array<int32_t, 8> PitchesOf(const IMediaDesc& desc) {
  std::array<int32_t, 8> pitches{};
  pitches.fill(-7);
  desc.GetPitches(pitches.data());
  return pitches;
}

inline std::vector<uint32_t> OffsetsOf(const DescBase& desc) {
  const auto offsets = desc.PlaneOffsets();
  return {offsets.begin(), offsets.end()};
}

/// As GetPitches writes them after the library computed them.
inline std::array<int32_t, 8> WithReserved(const std::array<int32_t, 4>& pitches) {
  return {pitches[0], pitches[1], pitches[2], pitches[3], 0, 0, 0, 0};
}

}  // namespace mivare::test
