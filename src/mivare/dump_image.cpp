// Frames written as BMP and TGA images. The dumps of a kind take turns in the process, so that
// threads which dump to one name leave a whole picture there.
#include <algorithm>
#include <array>
#include <utility>

#include "base/little_endian.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/never_destroyed.h"
#include "base/sample_loops.h"
#include "bmp_file.h"
#include "dump_file.h"
#include "image_format.h"
#include "mivare/diagnostics.h"
#include "mivare/media_desc.h"

namespace mivare {
namespace {

constexpr int32_t kDone = 0;
constexpr int32_t kFailed = -1;

// Hosts dump at any time of the process's life.
Mutex& BmpTurn() {
  static NeverDestroyed<Mutex> turn;
  return turn.get();
}

Mutex& TgaTurn() {
  static NeverDestroyed<Mutex> turn;
  return turn.get();
}

int32_t DumpBmp(const char* path, IMediaBuffer& frame) {
  const MutexLock turn(BmpTurn());
  const IMediaDesc* desc = frame.GetDesc(0);
  if (desc == nullptr) return kFailed;
  const ImageFormat& format = ImageFormatOf(desc->GetSmt());
  const BmpLayout layout =
      LayOutBmp(format, desc->GetBitDepth(), static_cast<int32_t>(desc->GetWidth()),
                static_cast<int32_t>(desc->GetHeight()));
  const BmpPreamble preamble = EncodeBmpPreamble(layout);

  DumpFile file(platform::OpenFile(path, "wb"));
  if (!file.IsOpen()) return kFailed;
  file.Write(preamble.data(), layout.data_offset);

  const WalkedBuffer locked(frame);
  if (!locked.ok() || layout.width < 1) return kDone;
  if (format.bmp == BmpPixels::kHighBytes) {
    const int64_t memory_row_bytes = layout.row_bytes / 4 * 8;
    file.WriteConvertedRows<8, 4>(locked.Rows(0, layout.height, memory_row_bytes).BottomUp(),
                                  BestSampleLoops().exchange_high_bytes);
  } else {
    file.WriteRows(locked.Rows(0, layout.height, layout.row_bytes).BottomUp());
  }
  return kDone;
}

int32_t DumpTga(const char* path, IMediaBuffer& frame) {
  const MutexLock turn(TgaTurn());
  const IMediaDesc* desc = frame.GetDesc(0);
  if (desc == nullptr) return kFailed;
  const uint32_t bits = ImageFormatOf(desc->GetSmt()).MemoryBits(desc->GetBitDepth());
  if (bits == 0) return kFailed;
  const WalkedBuffer locked(frame);
  if (!locked.ok()) return kFailed;

  // The picture is as wide as its rows in memory: the file is one block of whole rows.
  const int64_t width = int64_t{locked.pitch(0)} * 8 / bits;
  const auto height = static_cast<int32_t>(desc->GetHeight());
  std::array<uint8_t, 18> header{};
  constexpr uint8_t kTrueColour = 2;
  constexpr uint8_t kTopLeftOrigin = 0x20;
  header[2] = kTrueColour;
  PutLittle<2>(&header[12], static_cast<uint64_t>(width));
  PutLittle<2>(&header[14], static_cast<uint64_t>(height));
  PutLittle<1>(&header[16], bits);
  header[17] = kTopLeftOrigin;

  DumpFile file(platform::OpenFile(path, "wb"));
  if (!file.IsOpen()) return kFailed;
  file.Write(header.data(), header.size());
  const int64_t row_bytes = std::max<int64_t>(width * (bits / 8), 0);
  const RowPart pixels = PartOf(locked.plane(0), row_bytes * height, locked.block());
  file.Write(pixels.data, pixels.bytes);
  return kDone;
}

// What the exports share: the handle is given back when everything else is done, and nothing but a
// status comes out.
int32_t Run(int32_t (*dump)(const char*, IMediaBuffer&), const char* path,
            std::shared_ptr<IMediaBuffer>&& buffer, const char* function, int line) {
  const std::shared_ptr<IMediaBuffer> frame = std::move(buffer);
  if (frame == nullptr) {
    LogNoBuffer(function, line);
    return kFailed;
  }
  try {
    return dump(path, *frame);
  } catch (...) {
    return kFailed;
  }
}

}  // namespace
}  // namespace mivare

extern "C" int32_t NUXMivareDumpBMP(const char* path,
                                    std::shared_ptr<mivare::IMediaBuffer> buffer) {
  return mivare::Run(mivare::DumpBmp, path, std::move(buffer), "mivare::NUXMivareDumpBMP", 104);
}

extern "C" int32_t NUXMivareDumpTGA(const char* path,
                                    std::shared_ptr<mivare::IMediaBuffer> buffer) {
  return mivare::Run(mivare::DumpTga, path, std::move(buffer), "mivare::NUXMivareDumpTGA", 1392);
}
