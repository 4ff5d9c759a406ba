// What a file of raw samples holds for each pixel format: a row per format, and the rules that turn
// a row and a picture's size into bytes. People compare these files with those of other tools by
// name and length, so what looks short in a row stays: ".nv16" and ".nv24" hold chroma for half the
// rows, and ".p10" holds 8 bits a sample.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

namespace mivare::raw {

/// The share of a picture's width or height that a plane covers.
enum class Extent : uint8_t { kNone, kHalf, kEven, kWhole };

/// Halves are rounded down; lengths below 1 have no share.
constexpr int64_t Share(Extent extent, int32_t length) {
  if (length < 1) return 0;
  switch (extent) {
    case Extent::kNone: return 0;
    case Extent::kHalf: return length >> 1;
    case Extent::kEven: return length & ~1;
    case Extent::kWhole: return length;
  }
  return 0;
}

struct Plane {
  Extent columns = Extent::kNone;
  Extent rows = Extent::kNone;
};

inline constexpr Plane kFull{Extent::kWhole, Extent::kWhole};
inline constexpr Plane kQuarter{Extent::kHalf, Extent::kHalf};
inline constexpr Plane kHalfRows{Extent::kWhole, Extent::kHalf};
inline constexpr Plane kHalfColumns{Extent::kHalf, Extent::kWhole};
inline constexpr Plane kEvenSize{Extent::kEven, Extent::kEven};

/// How a sample in memory stands in the file.
enum class Sample : uint8_t {
  kByte,
  kTwoBytes,
  kByDepth,   ///< as many bytes as the description's bit depth takes
  kHighByte,  ///< two bytes in memory, the high one in the file
};

/// Of the samples that the file takes as they are.
constexpr int64_t SampleBytes(Sample sample, uint32_t bit_depth) {
  switch (sample) {
    case Sample::kByte: return 1;
    case Sample::kTwoBytes: return 2;
    case Sample::kByDepth: return (int64_t{bit_depth} + 7) >> 3;
    case Sample::kHighByte: return 2;
  }
  return 0;
}

enum class Name : uint8_t {
  kSuffix,         ///< the prefix and the suffix
  kSizeAndSuffix,  ///< "_WIDTH_HEIGHT" between them, of a bounded length
};

/// In the order of the file; those that the buffer lacks are left out.
using Planes = std::array<Plane, 4>;

inline constexpr Planes kPlanar420 = {kFull, kQuarter, kQuarter};
inline constexpr Planes kPlanar420Alpha = {kFull, kQuarter, kQuarter, kEvenSize};
inline constexpr Planes kPlanar422 = {kFull, kHalfColumns, kHalfColumns};
inline constexpr Planes kPlanar422Alpha = {kFull, kHalfColumns, kHalfColumns, kFull};
inline constexpr Planes kPlanar444 = {kFull, kFull, kFull, kFull};
inline constexpr Planes kPairs420 = {kFull, kHalfRows};
inline constexpr Planes kPairs422 = {kFull, kFull};
inline constexpr Planes kPairs422Alpha = {kFull, kFull, kFull};

struct Format {
  int32_t smt;
  const char* suffix;
  int line;  ///< of the message that the file cannot be opened
  Sample sample;
  Planes planes;
  Name name = Name::kSuffix;
};

inline constexpr Format kFormats[] = {
    {1, ".yv12", 424, Sample::kByte, kPlanar420},
    {6, ".nv12", 663, Sample::kByte, kPairs420},
    {7, ".p10", 627, Sample::kHighByte, kPairs420},
    {16, ".nv16", 663, Sample::kByte, kPairs420},
    {17, ".p210", 495, Sample::kByDepth, kPairs422, Name::kSizeAndSuffix},
    {22, ".p210", 495, Sample::kByDepth, kPairs422Alpha, Name::kSizeAndSuffix},
    {26, ".nv24", 663, Sample::kByte, kPairs420},
    {55, ".yuva", __LINE__, Sample::kByte, kPlanar420Alpha},
    {60, ".yuv422", 431, Sample::kByDepth, kPlanar422},
    {61, ".yuv422", 431, Sample::kByDepth, kPlanar422},
    {65, ".yuv422", 431, Sample::kByDepth, kPlanar422Alpha},
    {66, ".yuv422", 431, Sample::kByDepth, kPlanar422Alpha},
    {70, ".yuv444", __LINE__, Sample::kByte, kPlanar444},
    {71, ".yuv444", __LINE__, Sample::kTwoBytes, kPlanar444},
    {75, ".yuv444", __LINE__, Sample::kByte, kPlanar444},
    {76, ".yuv444", __LINE__, Sample::kTwoBytes, kPlanar444},
};

static_assert(std::is_sorted(std::begin(kFormats), std::end(kFormats),
                             [](const Format& a, const Format& b) { return a.smt <= b.smt; }),
              "one row for each format");

/// Null for formats without a raw form.
constexpr const Format* FindFormat(int32_t smt) {
  const auto* row = std::find_if(std::begin(kFormats), std::end(kFormats),
                                 [smt](const Format& format) { return format.smt == smt; });
  return row != std::end(kFormats) ? row : nullptr;
}

/// The packed formats whose dump is an image instead.
inline constexpr int32_t kImageFormats[] = {44, 45, 48};

constexpr bool IsImageFormat(int32_t smt) {
  return std::find(std::begin(kImageFormats), std::end(kImageFormats), smt) !=
         std::end(kImageFormats);
}

}  // namespace mivare::raw
