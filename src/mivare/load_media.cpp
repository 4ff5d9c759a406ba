// Raw dumps read back into frames.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include "base/log.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "mivare/media_desc.h"
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

// Straight into the rows; false at the end of the file.
bool ReadRows(std::FILE* file, uint8_t* first, int64_t pitch, int64_t row_bytes, int64_t rows) {
  const auto count = static_cast<size_t>(row_bytes);
  for (int64_t row = 0; row < rows; ++row) {
    if (std::fread(first + row * pitch, 1, count, file) != count) return false;
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
  const LockedBuffer lock(frame, true);
  if (!lock.ok()) {
    LogErrorAt(unit::kDumpImage);
    return false;
  }
  const auto width = static_cast<int32_t>(desc.GetWidth());
  const auto height = static_cast<int32_t>(desc.GetHeight());
  for (size_t i = 0; i < planes.size(); ++i) {
    const int64_t columns = raw::Share(planes[i].columns, width);
    const int64_t rows = raw::Share(planes[i].rows, height);
    if (lock.plane(i) == nullptr) continue;  // the dump has left it out as well
    if (!ReadRows(file.get(), lock.plane(i), lock.pitch(i), columns, rows)) break;
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
