#include "blank_fill.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/log.h"
#include "base/sample_loops.h"
#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"
#include "plane_walker.h"

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

int64_t Scale(Extent extent, uint32_t size) {
  switch (extent) {
    case Extent::kFull: return size;
    case Extent::kHalf: return (int64_t{size} + 1) / 2;
    case Extent::kNone: break;
  }
  return 0;
}

// Rows without gaps are one: the larger a run, the faster the system fills it.
void FillBytes(const PlaneWalker& rows, uint8_t value) {
  if (rows.IsOneRun()) {
    std::memset(rows.plane(), value, static_cast<size_t>(rows.rows() * rows.row_bytes()));
    return;
  }
  for (const RowPart& part : rows) std::memset(part.data, value, part.bytes);
}

// Words in the little-endian order of the formats; a part may start and end within one.
void FillWords(const PlaneWalker& rows, uint16_t value) {
  const auto fill = BestSampleLoops().fill_words;
  if (rows.IsOneRun()) {
    fill(rows.plane(), value, static_cast<size_t>(rows.rows() * rows.row_bytes() / 2));
    return;
  }
  for (RowPart part : rows) {
    if (part.first % 2 != 0) {
      *part.data++ = static_cast<uint8_t>(value >> 8);
      --part.bytes;
    }
    fill(part.data, value, part.bytes / 2);
    if (part.bytes % 2 != 0) part.data[part.bytes - 1] = static_cast<uint8_t>(value & 0xFF);
  }
}

void FillPlanes(const FrameFill& fill, const IMediaDesc& desc, const WalkedBuffer& frame) {
  for (size_t i = 0; i < fill.planes.size(); ++i) {
    const PlaneFill& plane = fill.planes[i];
    if (plane.extent == Extent::kNone) continue;
    const int64_t rows = Scale(plane.extent, desc.GetHeight());
    // Rows may run upwards through memory.
    const int64_t padded = std::abs(int64_t{frame.pitch(i)});
    if (fill.sample_bytes == 1) {
      FillBytes(frame.Rows(i, rows, padded), static_cast<uint8_t>(plane.value));
      continue;
    }
    const int64_t samples = std::min(Scale(plane.extent, desc.GetWidth()), padded / 2);
    const bool full_range_luma = i == 0 && desc.GetVideoSignalRange() != 0;
    FillWords(frame.Rows(i, rows, 2 * samples), full_range_luma ? uint16_t{0} : plane.value);
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
  const WalkedBuffer locked(*frame);
  if (locked.ok()) FillPlanes(*fill, *desc, locked);
}

}  // namespace mivare
