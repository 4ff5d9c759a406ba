// Planar 4:2:0 frames with something in them, and their planes.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <tuple>

#include "support/library.h"

namespace mivare::bench {

struct PlaneView {
  uint8_t* data;
  int32_t pitch;
  int32_t width;
  int32_t rows;

  uint8_t* row(int32_t y) const { return data + int64_t{y} * pitch; }
  uint8_t& last() const { return row(rows - 1)[width - 1]; }
};

/// The three planes, while the frame lives: the memory stays where it is.
class PlaneViews {
 public:
  explicit PlaneViews(IMediaBuffer& frame) {
    const LockedBuffer locked(frame, true);
    const auto width = static_cast<int32_t>(frame.GetDesc(0)->GetWidth());
    const auto rows = static_cast<int32_t>(frame.GetDesc(0)->GetHeight());
    for (size_t i = 0; i < views_.size(); ++i) {
      const int32_t part = i == 0 ? 1 : 2;
      views_[i] = {locked.plane(i), locked.pitch(i), width / part, rows / part};
    }
  }
  static constexpr size_t size() { return 3; }
  const PlaneView& operator[](size_t index) const { return views_[index]; }

 private:
  std::array<PlaneView, 3> views_{};
};

/// A frame of noise, the same one whenever it is asked for: it outlives the library that it is
/// from. `which` tells frames of a size apart; another one has other noise.
inline const std::shared_ptr<IMediaBuffer>& Noise(Size size, uint32_t which) {
  static std::map<std::tuple<int32_t, int32_t, uint32_t>, std::shared_ptr<IMediaBuffer>> made;
  std::shared_ptr<IMediaBuffer>& frame = made[{size.width, size.height, which}];
  if (frame != nullptr) return frame;
  frame = Library().Request(*Picture(kPlanar420, size));
  const PlaneViews planes(*frame);
  uint32_t state = which;
  for (size_t i = 0; i < planes.size(); ++i) {
    for (int32_t y = 0; y < planes[i].rows; ++y) {
      uint8_t* row = planes[i].row(y);
      for (int32_t x = 0; x < planes[i].pitch; ++x) {
        state = state * 1664525U + 1013904223U;
        row[x] = static_cast<uint8_t>(state >> 24U);
      }
    }
  }
  return frame;
}

inline bool SamePlanes(IMediaBuffer& a, IMediaBuffer& b) {
  const PlaneViews one(a);
  const PlaneViews other(b);
  for (size_t i = 0; i < one.size(); ++i) {
    for (int32_t y = 0; y < one[i].rows; ++y) {
      const auto width = static_cast<size_t>(one[i].width);
      if (std::memcmp(one[i].row(y), other[i].row(y), width) != 0) return false;
    }
  }
  return true;
}

}  // namespace mivare::bench
