#include "to_bgra.h"

#include <algorithm>

#include "samples.h"

namespace road {
namespace {

constexpr int kOne = 16;  // fixed point: 16 bits behind the point
constexpr int64_t kWhite = 255;
constexpr int64_t kHalf = int64_t{1} << (kOne - 1);

// The weights of red and blue in luma, in units of 1/10000.
struct Weights {
  int64_t red;
  int64_t blue;
};

Weights WeightsOf(const VideoInfo& video) {
  constexpr Weights kBt709{2126, 722};
  constexpr Weights kBt601{2990, 1140};
  switch (video.matrix) {
    case 1: return kBt709;
    case 4: return {3000, 1100};
    case 5:
    case 6: return kBt601;
    case 7: return {2120, 870};
    case 9:
    case 10: return {2627, 593};
    default: return video.width >= 1280 || video.height >= 720 ? kBt709 : kBt601;
  }
}

// From samples to 0..255, as integers with 16 bits behind the point.
struct Matrix {
  explicit Matrix(const VideoInfo& video) {
    const int extra = video.format->bits - 8;
    const bool full = video.range != 0;
    const int64_t luma_span = full ? (int64_t{256} << extra) - 1 : int64_t{219} << extra;
    const int64_t chroma_span = full ? luma_span : int64_t{224} << extra;
    black = full ? 0 : 16 << extra;
    middle = 128 << extra;
    luma = Fixed(kWhite, luma_span);

    const Weights w = WeightsOf(video);
    const int64_t green = 10000 - w.red - w.blue;
    red_from_v = Fixed(2 * kWhite * (10000 - w.red), 10000 * chroma_span);
    blue_from_u = Fixed(2 * kWhite * (10000 - w.blue), 10000 * chroma_span);
    green_from_v = Fixed(2 * kWhite * w.red * (10000 - w.red), 10000 * green * chroma_span);
    green_from_u = Fixed(2 * kWhite * w.blue * (10000 - w.blue), 10000 * green * chroma_span);
  }

  static int64_t Fixed(int64_t numerator, int64_t denominator) {
    return ((numerator << kOne) + denominator / 2) / denominator;
  }

  static uint8_t Byte(int64_t fixed) {
    return static_cast<uint8_t>(std::clamp<int64_t>((fixed + kHalf) >> kOne, 0, 255));
  }

  void Write(int y, int u, int v, uint8_t* bgra) const {
    const int64_t grey = luma * (y - black);
    const int64_t cb = u - middle;
    const int64_t cr = v - middle;
    bgra[0] = Byte(grey + blue_from_u * cb);
    bgra[1] = Byte(grey - green_from_u * cb - green_from_v * cr);
    bgra[2] = Byte(grey + red_from_v * cr);
    bgra[3] = 255;
  }

  int black, middle;
  int64_t luma, red_from_v, blue_from_u, green_from_v, green_from_u;
};

// One pixel of the picture as it is stored.
class Reader {
 public:
  Reader(const VideoInfo& video, std::span<const PlaneView> planes)
      : format_(*video.format), planes_(planes), matrix_(video) {}

  void Write(int x, int y, uint8_t* bgra) const {
    if (format_.first_components == 4) {
      std::copy_n(planes_[0].data + y * planes_[0].pitch + 4 * ptrdiff_t{x}, 4, bgra);
      return;
    }
    const Yuv yuv = YuvAt(format_, planes_, x, y);
    matrix_.Write(yuv.y, yuv.u, yuv.v, bgra);
  }

 private:
  const PixelFormat& format_;
  std::span<const PlaneView> planes_;
  Matrix matrix_;
};

}  // namespace

Size UprightSize(const VideoInfo& video) {
  const bool sideways = video.rotation % 180 != 0;
  return sideways ? Size{video.height, video.width} : Size{video.width, video.height};
}

void ToBgra(const VideoInfo& video, std::span<const PlaneView> planes, uint8_t* out,
            ptrdiff_t out_pitch) {
  const Reader reader(video, planes);
  const Size size = UprightSize(video);
  const int right = video.width - 1;
  const int bottom = video.height - 1;
  for (int y = 0; y < size.height; ++y, out += out_pitch) {
    for (int x = 0; x < size.width; ++x) {
      uint8_t* pixel = out + 4 * ptrdiff_t{x};
      switch (video.rotation) {
        case 90: reader.Write(y, bottom - x, pixel); break;
        case 180: reader.Write(right - x, bottom - y, pixel); break;
        case 270: reader.Write(right - y, x, pixel); break;
        default: reader.Write(x, y, pixel); break;
      }
    }
  }
}

}  // namespace road
