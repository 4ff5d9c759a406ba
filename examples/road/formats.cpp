#include "formats.h"

namespace road {
namespace {

constexpr PixelFormat kPixelFormats[] = {
    // name          smt  planes comps  bits shift chroma  dump                   crops
    {"yuv420p", 1, 3, 1, 1, 8, 0, 1, 1, ".yv12", kHalfTheRows, true},
    {"yuv420p10le", 2, 3, 1, 1, 10, 0, 1, 1, "", kAsItIs, true},
    {"yuv420p12le", 3, 3, 1, 1, 12, 0, 1, 1, "", kAsItIs, true},
    {"nv12", 6, 2, 1, 2, 8, 0, 1, 1, ".nv12", kHalfTheRows, true},
    {"p010le", 7, 2, 1, 2, 10, 6, 1, 1, ".p10", kHalfTheRows | kHighBytes, true},
    {"nv16", 16, 2, 1, 2, 8, 0, 1, 0, ".nv16", kHalfTheRows, false},
    {"p210le", 17, 2, 1, 2, 10, 6, 1, 0, ".p210", kSizeInName, false},
    {"bgra", 45, 1, 4, 0, 8, 0, 0, 0, "", kAsItIs, true},
    {"yuv422p", 60, 3, 1, 1, 8, 0, 1, 0, ".yuv422", kAsItIs, false},
    {"yuv422p10le", 61, 3, 1, 1, 10, 0, 1, 0, ".yuv422", kAsItIs, false},
    {"yuv444p", 70, 3, 1, 1, 8, 0, 0, 0, ".yuv444", kAsItIs, false},
    {"yuv444p10le", 71, 3, 1, 1, 10, 0, 0, 0, ".yuv444", kAsItIs, false},
    {"gray", 15000, 1, 1, 0, 8, 0, 0, 0, "", kAsItIs, true},
};

constexpr SampleFormat kSampleFormats[] = {
    {"u8", 20001, 1}, {"s16", 20002, 2}, {"s32", 20003, 4}, {"flt", 20004, 4}, {"dbl", 20005, 8},
};

template <class Row, size_t N>
const Row* Find(const Row (&table)[N], std::string_view name) {
  for (const Row& row : table) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

template <class Row, size_t N>
std::string Names(const Row (&table)[N]) {
  std::string names;
  for (const Row& row : table) {
    if (!names.empty()) names += ", ";
    names += row.name;
  }
  return names;
}

size_t HalvedUp(int value, int times) {
  return (static_cast<size_t>(value) + (size_t{1} << times) - 1) >> times;
}

size_t HalvedDown(int value, int times) { return static_cast<size_t>(value) >> times; }

// Takes `step` bytes apart from each other, the last of each step.
std::vector<uint8_t> Gather(std::span<const PlaneView> planes, std::span<const PlaneShape> shapes,
                            size_t step) {
  std::vector<uint8_t> bytes;
  size_t total = 0;
  for (const PlaneShape& shape : shapes) total += shape.size() / step;
  bytes.reserve(total);
  for (size_t plane = 0; plane < shapes.size(); ++plane) {
    const uint8_t* row = planes[plane].data;
    for (size_t y = 0; y < shapes[plane].rows; ++y, row += planes[plane].pitch) {
      if (step == 1) {
        bytes.insert(bytes.end(), row, row + shapes[plane].row_bytes);
      } else {
        for (size_t x = step - 1; x < shapes[plane].row_bytes; x += step) bytes.push_back(row[x]);
      }
    }
  }
  return bytes;
}

std::vector<PlaneShape> Shapes(const PixelFormat& format, int width, int height,
                               PlaneShape (*shape)(const PixelFormat&, int, int, int)) {
  std::vector<PlaneShape> shapes;
  shapes.reserve(static_cast<size_t>(format.planes));
  for (int plane = 0; plane < format.planes; ++plane) {
    shapes.push_back(shape(format, width, height, plane));
  }
  return shapes;
}

}  // namespace

const PixelFormat* FindPixelFormat(std::string_view name) { return Find(kPixelFormats, name); }
const SampleFormat* FindSampleFormat(std::string_view name) { return Find(kSampleFormats, name); }
std::string PixelFormatNames() { return Names(kPixelFormats); }
std::string SampleFormatNames() { return Names(kSampleFormats); }

PlaneShape VisibleShape(const PixelFormat& format, int width, int height, int plane) {
  const auto sample = static_cast<size_t>(format.bytes());
  if (plane == 0) {
    return {static_cast<size_t>(width) * static_cast<size_t>(format.first_components) * sample,
            static_cast<size_t>(height)};
  }
  return {HalvedUp(width, format.chroma_x) * static_cast<size_t>(format.chroma_components) * sample,
          HalvedUp(height, format.chroma_y)};
}

// The dump leaves the last column and row of chroma out where the size is odd.
PlaneShape DumpShape(const PixelFormat& format, int width, int height, int plane) {
  PlaneShape shape = VisibleShape(format, width, height, plane);
  if (plane == 0) return shape;
  const bool interleaved = format.chroma_components == 2;
  shape.row_bytes =
      HalvedDown(width, interleaved ? 0 : format.chroma_x) * static_cast<size_t>(format.bytes());
  shape.rows = HalvedDown(height, (format.dump_traits & kHalfTheRows) != 0 ? 1 : 0);
  return shape;
}

size_t PictureSize(const PixelFormat& format, int width, int height) {
  size_t size = 0;
  for (int plane = 0; plane < format.planes; ++plane) {
    size += VisibleShape(format, width, height, plane).size();
  }
  return size;
}

std::vector<uint8_t> GatherPicture(const PixelFormat& format, int width, int height,
                                   std::span<const PlaneView> planes) {
  return Gather(planes, Shapes(format, width, height, VisibleShape), 1);
}

std::array<PlaneView, 3> TightViews(const PixelFormat& format, int width, int height,
                                    std::span<const uint8_t> bytes) {
  std::array<PlaneView, 3> views;
  size_t begin = 0;
  for (int plane = 0; plane < format.planes; ++plane) {
    const PlaneShape shape = VisibleShape(format, width, height, plane);
    views[static_cast<size_t>(plane)] = {bytes.data() + begin,
                                         static_cast<ptrdiff_t>(shape.row_bytes)};
    begin += shape.size();
  }
  return views;
}

std::vector<uint8_t> GatherDump(const PixelFormat& format, int width, int height,
                                std::span<const PlaneView> planes) {
  const bool high = (format.dump_traits & kHighBytes) != 0;
  return Gather(planes, Shapes(format, width, height, DumpShape), high ? 2 : 1);
}

std::filesystem::path DumpPath(const PixelFormat& format, int width, int height,
                               const std::filesystem::path& prefix) {
  std::filesystem::path path = prefix;
  if ((format.dump_traits & kSizeInName) != 0) {
    path += '_' + std::to_string(width) + '_' + std::to_string(height);
  }
  path += format.dump;
  return path;
}

}  // namespace road
