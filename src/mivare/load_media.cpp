// Raw dumps read back into frames.
#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <utility>

#include "base/log.h"
#include "mivare/diagnostics.h"
#include "mivare/media_desc.h"
#include "plane_walker.h"
#include "platform/platform.h"
#include "raw_format.h"

namespace mivare {
namespace {

// The raw files that can be read back, by smt.
constexpr int32_t kReadable[] = {1, 6};

constexpr bool IsReadable(int32_t smt) {
  return std::find(std::begin(kReadable), std::end(kReadable), smt) != std::end(kReadable);
}

static_assert(std::all_of(std::begin(kReadable), std::end(kReadable),
                          [](int32_t smt) {
                            const raw::Format* format = raw::FindFormat(smt);
                            return format != nullptr && format->sample == raw::Sample::kByte;
                          }),
              "rows are read as they are, a byte a sample");

// False at the end of the file.
bool Read(std::FILE* file, uint8_t* to, size_t count) {
  return std::fread(to, 1, count, file) == count;
}

bool Skip(std::FILE* file, int64_t count) {
  std::array<uint8_t, 1024> ignored;
  while (count > 0) {
    const auto bytes = static_cast<size_t>(std::min<int64_t>(count, ignored.size()));
    if (!Read(file, ignored.data(), bytes)) return false;
    count -= static_cast<int64_t>(bytes);
  }
  return true;
}

// Straight into the rows; false at the end of the file.
bool ReadRows(std::FILE* file, const PlaneWalker& rows) {
  for (int64_t row = 0; row < rows.rows(); ++row) {
    const RowPart part = rows.Part(row);
    const int64_t end = part.first + static_cast<int64_t>(part.bytes);
    if (!Skip(file, part.first) || !Read(file, part.data, part.bytes) ||
        !Skip(file, rows.row_bytes() - end)) {
      return false;
    }
  }
  return true;
}

bool LoadPlanes(const char* path, const raw::Planes& planes, IMediaBuffer& frame,
                const IMediaDesc& desc) {
  const platform::File file(std::fopen(path, "r+b"));
  if (!file) {
    MIVARE_LOG(kLogError, "file[%s] line[%d]", unit::kDumpImage, __LINE__);
    return false;
  }
  const WalkedBuffer locked(frame, true);
  if (!locked.ok()) {
    LogErrorAt(unit::kDumpImage);
    return false;
  }
  const auto width = static_cast<int32_t>(desc.GetWidth());
  const auto height = static_cast<int32_t>(desc.GetHeight());
  for (size_t i = 0; i < planes.size(); ++i) {
    const int64_t columns = raw::Share(planes[i].columns, width);
    // A plane that is null has no rows: the dump has left it out as well.
    const PlaneWalker rows = locked.Rows(i, raw::Share(planes[i].rows, height), columns);
    if (!ReadRows(file.get(), rows)) break;
  }
  return true;
}

bool Load(const char* path, std::shared_ptr<IMediaBuffer> frame) {
  const IMediaDesc* desc = frame->GetDesc(0);
  if (path == nullptr || desc == nullptr) {
    LogErrorAt(unit::kDumpImage);
    return false;
  }
  const int32_t smt = desc->GetSmt();
  if (raw::IsImageFormat(smt)) return NUXMivareLoadBMP(path, std::move(frame));
  if (IsReadable(smt)) return LoadPlanes(path, raw::FindFormat(smt)->planes, *frame, *desc);
  MIVARE_LOG(kLogError, "error! file[%s] line[%d], smt %d", unit::kDumpImage, __LINE__, smt);
  return false;
}

}  // namespace
}  // namespace mivare

extern "C" bool NUXMivareLoadMediaBuffer(const char* path,
                                         std::shared_ptr<mivare::IMediaBuffer> buffer) try {
  if (buffer == nullptr) {
    mivare::LogNoBuffer("mivare::NUXMivareLoadMediaBuffer", 1043);
    return false;
  }
  return mivare::Load(path, std::move(buffer));
} catch (...) {
  mivare::LogErrorAt(mivare::unit::kDumpImage);
  return false;
}
