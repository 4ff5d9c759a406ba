// The formats that the road carries: what decoders call them and what the library calls them, as
// one table each, and the shape of their planes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace road {

/// How the library's raw dump differs from the bytes of the picture.
enum DumpTraits : uint8_t {
  kAsItIs = 0,
  kHalfTheRows = 1,  // half as many rows in the planes behind the first
  kHighBytes = 2,    // the upper byte of each sample only
  kSizeInName = 4,   // width and height go into the file's name
};

struct PixelFormat {
  std::string_view name;
  int32_t smt;
  int planes;
  int first_components;    // samples a pixel in plane 0
  int chroma_components;   // and in each plane behind it
  int bits;                // that count in a sample
  int shift;               // how far above bit 0 they sit
  int chroma_x, chroma_y;  // chroma is halved this many times
  std::string_view dump;   // the raw dump's suffix; empty: the library has no raw dump for it
  uint8_t dump_traits;
  bool crops;  // whether the library shows rectangles of it

  int bytes() const { return bits > 8 ? 2 : 1; }
};

struct SampleFormat {
  std::string_view name;
  int32_t smt;
  int bytes;
};

/// Null for a format without a counterpart.
const PixelFormat* FindPixelFormat(std::string_view name);
const SampleFormat* FindSampleFormat(std::string_view name);

/// Every name, for messages.
std::string PixelFormatNames();
std::string SampleFormatNames();

/// Rows of a plane that somebody else owns; the pitch is negative in pictures stored upwards.
struct PlaneView {
  const uint8_t* data = nullptr;
  ptrdiff_t pitch = 0;
};

struct PlaneShape {
  size_t row_bytes = 0;
  size_t rows = 0;
  size_t size() const { return row_bytes * rows; }
};

/// What is visible of a plane, and what of it the library's raw dump holds.
PlaneShape VisibleShape(const PixelFormat& format, int width, int height, int plane);
PlaneShape DumpShape(const PixelFormat& format, int width, int height, int plane);

/// The visible bytes of all planes.
size_t PictureSize(const PixelFormat& format, int width, int height);

/// The visible bytes of a picture without its padding, plane after plane.
std::vector<uint8_t> GatherPicture(const PixelFormat& format, int width, int height,
                                   std::span<const PlaneView> planes);

/// The planes of a picture that GatherPicture has made.
std::array<PlaneView, 3> TightViews(const PixelFormat& format, int width, int height,
                                    std::span<const uint8_t> bytes);

/// The bytes that the library's raw dump of a picture consists of.
std::vector<uint8_t> GatherDump(const PixelFormat& format, int width, int height,
                                std::span<const PlaneView> planes);

/// The file that NUXMivareDumpMediaBuffer writes for a prefix.
std::filesystem::path DumpPath(const PixelFormat& format, int width, int height,
                               const std::filesystem::path& prefix);

}  // namespace road
