#include <algorithm>
#include <cstring>

#include "base/log.h"
#include "base/sample_loops.h"
#include "media_types.h"
#include "mivare/diagnostics.h"
#include "mivare/media_desc.h"
#include "plane_walker.h"

namespace mivare {
namespace {

// Lines that people search logs for.
constexpr int kNullBufferLine = 1218;
constexpr int kNullDescLine = 1225;
constexpr int kFormatLine = 1231;
constexpr int kSizeLine = 1243;
constexpr int kPlaneLine = 1261;
constexpr int kCopyLine = 1268;

// The rows of plane i as the i-th letter: a frame's height, or half of it rounded up.
struct PlaneRows {
  int32_t first;
  int32_t last;
  const char* rows;
};
constexpr char kFull = 'h';
constexpr PlaneRows kPlaneRows[] = {
    {1, 5, "h22"},    {6, 10, "h2"},   {16, 20, "hh"},   {26, 30, "hh"},
    {31, 35, "hhh"},  {36, 36, "h2"},  {55, 59, "h22h"}, {60, 61, "hhh"},
    {65, 66, "hhhh"}, {70, 71, "hhh"}, {75, 76, "hhhh"}, {79, 79, "hhhh"},
};
// Everything else, semi-planar formats with alpha included, copies its first plane.
constexpr char kOtherRows[] = "h";

const char* RowsOf(int32_t smt) {
  for (const PlaneRows& range : kPlaneRows) {
    if (range.first <= smt && smt <= range.last) return range.rows;
  }
  return kOtherRows;
}

int64_t RowCount(char rows, int32_t height) {
  return rows == kFull ? int64_t{height} : (int64_t{height} + 1) / 2;
}

int32_t Refuse(const char* what, int line) {
  MIVARE_LOG(kLogError, "%s! file[%s] line[%d]", what, unit::kDumpImage, line);
  return -1;
}

bool HasPlane(const WalkedBuffer& buffer, size_t i) {
  return buffer.ok() && buffer.plane(i) != nullptr && buffer.pitch(i) > 0;
}

// Whole pitches, padding included: readers of the copy may look at it.
void CopyPlane(const WalkedBuffer& to, const WalkedBuffer& from, size_t i, int64_t rows) {
  int64_t width = std::min(to.pitch(i), from.pitch(i));
  if (to.pitch(i) == from.pitch(i) && rows > 0) {
    width *= rows;
    rows = 1;
  }
  const auto copy_rows = BestSampleLoops().copy_rows;
  const PlaneWalker target = to.Rows(i, rows, width);
  const PlaneWalker source = from.Rows(i, rows, width);
  if (target.IsWhole() && source.IsWhole()) {
    copy_rows({target.plane(), to.pitch(i)}, {source.plane(), from.pitch(i)},
              static_cast<size_t>(width), static_cast<size_t>(target.rows()));
    return;
  }
  PlaneWalker::VisitPairs(target, source, [copy_rows](const RowPart& part, const RowPart& other) {
    copy_rows({part.data}, {other.data}, part.bytes, 1);
  });
}

int32_t CopyPlanes(IMediaBuffer& destination, IMediaBuffer& source, const char* rows,
                   int32_t height) {
  const WalkedBuffer to(destination, true);
  const WalkedBuffer from(source);
  const size_t planes = std::strlen(rows);
  // Nothing is written unless every plane can be.
  for (size_t i = 0; i < planes; ++i) {
    if (!HasPlane(to, i) || !HasPlane(from, i)) {
      Refuse("param error", kPlaneLine);
      return Refuse("error", kCopyLine);
    }
  }
  for (size_t i = 0; i < planes; ++i) {
    CopyPlane(to, from, i, RowCount(rows[i], height));
  }
  return 0;
}

int32_t Copy(IMediaBuffer* destination, IMediaBuffer* source) {
  if (destination == nullptr || source == nullptr) {
    return Refuse("input param empty", kNullBufferLine);
  }
  const IMediaDesc* to = destination->GetDesc(0);
  const IMediaDesc* from = source->GetDesc(0);
  if (to == nullptr || from == nullptr) return Refuse("input param error", kNullDescLine);
  if (to->GetSmt() != from->GetSmt()) return Refuse("submediatype not equal", kFormatLine);
  if (from->GetMediaType() == kMediaAudio) {
    destination->CopyFrom(source);
    return 0;
  }
  if (from->GetMediaType() != kMediaVideo) return 1;
  if (to->GetWidth() != from->GetWidth() || to->GetHeight() != from->GetHeight()) {
    return Refuse("resolution not equal", kSizeLine);
  }
  return CopyPlanes(*destination, *source, RowsOf(from->GetSmt()),
                    static_cast<int32_t>(from->GetHeight()));
}

}  // namespace
}  // namespace mivare

int32_t NUXMivareCopyMediaBufferData(mivare::IMediaBuffer* destination,
                                     mivare::IMediaBuffer* source) try {
  return mivare::Copy(destination, source);
} catch (...) {
  return -1;
}
