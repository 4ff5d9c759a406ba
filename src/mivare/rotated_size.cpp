// The canvas for a turned picture: it keeps the picture's aspect ratio and is just long enough for
// the picture's diagonal.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "mivare/media_desc.h"

namespace mivare {
namespace {

// Of single precision, and a little short: sizes that hosts have stored rely on it.
constexpr float kPi = 3.1415925F;

// The degrees between the picture's longer side and its diagonal. The arctangent is rounded from
// double precision, so that all platforms agree to the last bit.
float DiagonalDegrees(uint32_t width, uint32_t height) {
  const auto w = static_cast<float>(width);
  const auto h = static_cast<float>(height);
  const float ratio = height > width ? w / h : h / w;
  const auto turn = static_cast<float>(std::atan(static_cast<double>(ratio)));
  return turn * 180.0F / kPi;
}

// How long the canvas is where the picture is short.
double CanvasSide(double angle, uint32_t width, uint32_t height) {
  const double diagonal = std::sqrt(static_cast<double>(width * width + height * height));
  if (angle == 45 || angle == 135 || angle == 225 || angle == 315) return diagonal;
  if (angle == 90 || angle == 270) return std::max(width, height);
  if (angle == 0 || angle == 180 || angle == 360) return std::min(width, height);

  const float tilt = DiagonalDegrees(width, height);
  const auto reach = [diagonal](double degrees) {
    return std::fabs(std::cos(std::fabs(degrees) * static_cast<double>(kPi) / 180.0)) * diagonal;
  };
  if (angle < 90) return reach(static_cast<double>(90.0F - tilt) - angle);
  if (angle < 180) return reach(angle - 90.0 - static_cast<double>(tilt));
  if (angle < 270) return reach(static_cast<double>(tilt) + angle - 270.0);
  if (angle < 360) return reach(angle - 270.0 - static_cast<double>(tilt));
  return 0;  // not a number
}

// Truncates toward zero. A side of 2^32 and more keeps its low 32 bits, one that is not finite or
// beyond 64 bits gives 0.
uint32_t ToPixels(double side) {
  constexpr double kAbove = 9223372036854775808.0;  // 2^63
  if (!(side > -kAbove && side < kAbove)) return 0;
  return static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(side)));
}

}  // namespace
}  // namespace mivare

void GetVideoRotateCaseNewSize(float angle, int32_t /*reserved*/, uint32_t width, uint32_t height,
                               uint32_t* outA, uint32_t* outB) {
  const double side =
      mivare::CanvasSide(static_cast<double>(std::fmod(angle, 360.0F)), width, height);
  const double w = width;
  const double h = height;
  double a = side + 0.5;
  double b = w * side / h + 0.5;
  if (height > width) {
    b = side + 0.5;
    a = b * h / w + 0.5;
  }
  if (outA != nullptr) *outA = mivare::ToPixels(a);
  if (outB != nullptr) *outB = mivare::ToPixels(b);
}
