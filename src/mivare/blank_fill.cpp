#include "blank_fill.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/log.h"
#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"

namespace mivare {
namespace {

enum class Extent { kNone, kFull, kHalf };  // of the picture's rows and samples; halves round up

struct PlaneFill {
  Extent extent = Extent::kNone;
  uint16_t value = 0;
};

struct FrameFill {
  int32_t smt;
  size_t sample_bytes;
  std::array<PlaneFill, 4> planes;
};

constexpr PlaneFill kZero{Extent::kFull, 0};
constexpr PlaneFill kGrey8{Extent::kHalf, 128};
constexpr PlaneFill kBlack10{Extent::kFull, 64};
constexpr PlaneFill kGrey10{Extent::kHalf, 512};

// 8-bit luma is 0 whatever the signal range, never the 16 of the limited one: hosts rely on it.
constexpr FrameFill kFills[] = {
    {1, 1, {{kZero, kGrey8, kGrey8}}},
    {55, 1, {{kZero, kGrey8, kGrey8, kZero}}},
    {2, 2, {{kBlack10, kGrey10, kGrey10}}},
    {44, 1, {{kZero}}},
    {45, 1, {{kZero}}},
    {48, 1, {{kZero}}},
    {15000, 1, {{kZero}}},
};

uint64_t Scale(Extent extent, uint32_t size) {
  switch (extent) {
    case Extent::kFull: return size;
    case Extent::kHalf: return (uint64_t{size} + 1) / 2;
    case Extent::kNone: break;
  }
  return 0;
}

// Rows may run upwards through memory (a negative pitch) in buffers outside the library.
size_t RowBytes(int32_t pitch) {
  const auto wide = static_cast<int64_t>(pitch);
  return static_cast<size_t>(wide < 0 ? -wide : wide);
}

void FillBytes(uint8_t* plane, int32_t pitch, uint64_t rows, uint8_t value) {
  for (uint64_t row = 0; row < rows; ++row) {
    std::memset(plane + static_cast<ptrdiff_t>(row) * pitch, value, RowBytes(pitch));
  }
}

void FillWords(uint8_t* plane, int32_t pitch, uint64_t rows, uint64_t samples, uint16_t value) {
  samples = std::min<uint64_t>(samples, RowBytes(pitch) / 2);
  if (rows == 0 || samples == 0) return;
  for (uint64_t i = 0; i < samples; ++i) {
    plane[2 * i] = static_cast<uint8_t>(value & 0xFF);  // little-endian, as the formats are
    plane[2 * i + 1] = static_cast<uint8_t>(value >> 8);
  }
  for (uint64_t row = 1; row < rows; ++row) {
    std::memcpy(plane + static_cast<ptrdiff_t>(row) * pitch, plane, 2 * samples);
  }
}

void FillPlanes(const FrameFill& fill, const IMediaDesc& desc, uint8_t* const* planes,
                const int32_t* pitches) {
  for (size_t i = 0; i < fill.planes.size(); ++i) {
    const PlaneFill& plane = fill.planes[i];
    if (plane.extent == Extent::kNone || planes[i] == nullptr) continue;
    const uint64_t rows = Scale(plane.extent, desc.GetHeight());
    if (fill.sample_bytes == 1) {
      FillBytes(planes[i], pitches[i], rows, static_cast<uint8_t>(plane.value));
      continue;
    }
    const bool full_range_luma = i == 0 && desc.GetVideoSignalRange() != 0;
    FillWords(planes[i], pitches[i], rows, Scale(plane.extent, desc.GetWidth()),
              full_range_luma ? uint16_t{0} : plane.value);
  }
}

}  // namespace

void BlankFill(IMediaBuffer* frame) {
  const IMediaDesc* desc = frame != nullptr ? frame->GetDesc(0) : nullptr;
  if (desc == nullptr) {
    LogErrorAt(unit::kHybridFrameAllocator, 236);
    return;
  }
  const int32_t smt = desc->GetSmt();
  const auto* fill = std::find_if(std::begin(kFills), std::end(kFills),
                                  [smt](const FrameFill& row) { return row.smt == smt; });
  if (fill == std::end(kFills)) {
    MIVARE_LOG(kLogError, "error! file[%s] line[%d] fmt[%d]", unit::kHybridFrameAllocator, 331,
               smt);
    return;
  }
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  if (frame->Lock(planes, pitches, nullptr, nullptr) != 0) return;
  FillPlanes(*fill, *desc, planes, pitches);
  frame->Unlock();
}

}  // namespace mivare
