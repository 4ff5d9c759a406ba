// Frames and audio written as files without a header, named by what they hold.
#include <cstdio>
#include <string>
#include <utility>

#include "base/log.h"
#include "base/sample_loops.h"
#include "dump_file.h"
#include "media_types.h"
#include "mivare/allocator.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "mivare/media_desc.h"
#include "raw_format.h"

namespace mivare {
namespace {

DumpFile OpenRaw(const std::string& name, int line) {
  DumpFile file(platform::File(std::fopen(name.c_str(), "w+b")));
  if (!file.IsOpen()) MIVARE_LOG(kLogError, "file[%s] line[%d]", unit::kDumpImage, line);
  return file;
}

std::shared_ptr<IMediaBuffer> AllocateFor(IMediaDesc* request) {
  IAllocatorEx* allocator = nullptr;
  if (NUXMivareDefaultAllocatorAcquire(&allocator) != 0 || allocator == nullptr) return nullptr;
  try {
    return allocator->Alloc(request, nullptr, nullptr);
  } catch (...) {
    return nullptr;  // a hint of the request that is no number
  }
}

// A copy of a device frame that the processor can read; empty on failure. The request still asks
// for device memory: it is the host's GPU allocator that knows how its readable frames (platform 2,
// texture type 6) are made.
std::shared_ptr<IMediaBuffer> ReadableCopy(IMediaBuffer& frame, const IMediaDesc& desc) {
  const MediaDescPtr request(desc.Clone());
  if (request == nullptr) {
    LogErrorAt(unit::kDumpImage, 716);
    return nullptr;
  }
  request->SetPlatform(2);
  request->SetTexType(6);
  std::shared_ptr<IMediaBuffer> copy = AllocateFor(request.get());
  if (copy == nullptr || copy->GetDesc(0) == nullptr) {
    LogErrorAt(unit::kDumpImage, 724);
    return nullptr;
  }
  // Planar buffers say 0 for a copy, downloads 1.
  const int32_t status = copy->CopyFrom(&frame);
  if (status != 0 && status != 1) {
    LogErrorAt(unit::kDumpImage, 730);
    return nullptr;
  }
  return copy;
}

void DumpAudio(const char* prefix, IMediaBuffer& buffer) {
  DumpFile file = OpenRaw(std::string(prefix) + ".pcm", 380);
  if (!file.IsOpen()) return;
  const WalkedBuffer locked(buffer);
  if (!locked.ok()) return;
  const std::span<const uint8_t> valid = locked.ValidBytes();
  file.Write(valid.data(), valid.size());
  file.Flush();
}

// Empty, a name that no file has, when the bounded form does not fit.
std::string NameFor(const char* prefix, const raw::Format& format, int32_t width, int32_t height) {
  if (format.name == raw::Name::kSuffix) return std::string(prefix) + format.suffix;
  char name[512];
  const int length =
      std::snprintf(name, sizeof(name), "%s_%d_%d%s", prefix, width, height, format.suffix);
  const bool fits = length >= 0 && static_cast<size_t>(length) < sizeof(name);
  return fits ? std::string(name) : std::string();
}

void DumpPlanes(const char* prefix, const raw::Format& format, IMediaBuffer& frame,
                const IMediaDesc& desc) {
  const auto width = static_cast<int32_t>(desc.GetWidth());
  const auto height = static_cast<int32_t>(desc.GetHeight());
  const int64_t sample_bytes = raw::SampleBytes(format.sample, desc.GetBitDepth());
  DumpFile file = OpenRaw(NameFor(prefix, format, width, height), format.line);
  if (!file.IsOpen()) return;
  const WalkedBuffer locked(frame);
  if (!locked.ok()) return;
  for (size_t i = 0; i < format.planes.size(); ++i) {
    const int64_t columns = raw::Share(format.planes[i].columns, width);
    const PlaneWalker rows =
        locked.Rows(i, raw::Share(format.planes[i].rows, height), columns * sample_bytes);
    if (format.sample == raw::Sample::kHighByte) {
      file.WriteConvertedRows<2, 1>(rows, BestSampleLoops().take_high_bytes);
    } else {
      file.WriteRows(rows);
    }
  }
  file.Flush();
}

void Dump(const char* prefix, std::shared_ptr<IMediaBuffer> frame) {
  IMediaDesc* desc = frame != nullptr ? frame->GetDesc(0) : nullptr;
  if (prefix == nullptr || desc == nullptr) {
    LogErrorAt(unit::kDumpImage, 706);
    return;
  }
  if (desc->GetMemoryLocation() == kDeviceMemory) {
    if (std::shared_ptr<IMediaBuffer> copy = ReadableCopy(*frame, *desc)) {
      frame = std::move(copy);
      desc = frame->GetDesc(0);
    }
  }
  const int32_t smt = desc->GetSmt();
  if (desc->GetMediaType() == kMediaAudio) {
    DumpAudio(prefix, *frame);
  } else if (raw::IsImageFormat(smt)) {
    NUXMivareDumpBMP((std::string(prefix) + ".bmp").c_str(), std::move(frame));
  } else if (const raw::Format* format = raw::FindFormat(smt)) {
    DumpPlanes(prefix, *format, *frame, *desc);
  } else {
    MIVARE_LOG(kLogError, "error! file[%s] line[%d], smt %d", unit::kDumpImage, 806, smt);
  }
}

}  // namespace
}  // namespace mivare

extern "C" void NUXMivareDumpMediaBuffer(const char* prefix,
                                         std::shared_ptr<mivare::IMediaBuffer> buffer) {
  try {
    mivare::Dump(prefix, std::move(buffer));
  } catch (...) {
    mivare::LogErrorAt(mivare::unit::kDumpImage);
  }
}
