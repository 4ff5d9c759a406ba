#include "stress/stamp.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "mivare/helper.h"

namespace mivare::test {
namespace {

// Calls `visit` with each whole place for a stamp, until it answers false.
template <class Visit>
bool VisitRows(const LockedBuffer& locked, uint32_t rows, Visit visit) {
  for (uint32_t y = 0; y < rows; ++y) {
    uint8_t* row = locked.plane(0) + static_cast<size_t>(y) * static_cast<size_t>(locked.pitch(0));
    for (int x = 0; x + 4 <= locked.pitch(0); x += 4) {
      if (!visit(row + x)) return false;
    }
  }
  return true;
}

}  // namespace

void StampRows(IMediaBuffer& frame, int32_t stamp) {
  const LockedBuffer locked(frame, true);
  ASSERT_TRUE(locked.ok());
  VisitRows(locked, frame.GetDesc(0)->GetHeight(), [&](uint8_t* place) {
    std::memcpy(place, &stamp, sizeof(stamp));
    return true;
  });
}

bool RowsHoldStamp(IMediaBuffer& frame, int32_t stamp) {
  const LockedBuffer locked(frame);
  return locked.ok() && VisitRows(locked, frame.GetDesc(0)->GetHeight(), [&](const uint8_t* place) {
           return std::memcmp(place, &stamp, sizeof(stamp)) == 0;
         });
}

}  // namespace mivare::test
