#include "requests.h"

#include <algorithm>
#include <string>

#include "failure.h"
#include "paths.h"

namespace road {
namespace {

// Idle buffers beyond this much are given back. The library's own default of 0 gives them back ten
// times a second, which suits a host that is done, not one that plays.
constexpr uint32_t kMemoryLimitMegabytes = 512;

std::string Describe(const mivare::IMediaDesc& desc) {
  return "smt " + std::to_string(desc.GetSmt()) + ", " + std::to_string(desc.GetWidth()) + " x " +
         std::to_string(desc.GetHeight());
}

}  // namespace

Library::Library() {
  NUXMivareDefaultAllocatorInit(nullptr);  // no GPU
  NUXMivareDefaultAllocatorAcquire(&allocator_);
  allocator_->SetMemoryLimit(kMemoryLimitMegabytes);
}

Library::~Library() { NUXMivareDefaultAllocatorUninit(); }

uint64_t Library::HeldBytes() {
  uint64_t all = 0;
  uint64_t free = 0;
  allocator_->GetMemoryStatus(all, free);
  return all;
}

std::shared_ptr<mivare::IMediaBuffer> Library::Request(mivare::IMediaDesc& desc, int64_t time,
                                                       RequestCounts& counts) {
  desc.GetUserDataConfig()->Set(kTimeKey, orlo::ValAny(time));
  const uint64_t before = HeldBytes();
  const auto start = std::chrono::steady_clock::now();
  std::shared_ptr<mivare::IMediaBuffer> buffer = allocator_->Alloc(&desc, nullptr, nullptr);
  const auto end = std::chrono::steady_clock::now();
  if (buffer == nullptr) throw Failure(kDiffers, "the library gave no buffer: " + Describe(desc));
  // A request that found nothing to reuse made the library grow.
  const uint64_t after = HeldBytes();
  (after > before ? counts.cold : counts.warm).push_back(end - start);
  peak_bytes_ = std::max(peak_bytes_, after);
  return buffer;
}

// Raw dumps open their file with the plain call of the C library, which on Windows reads names in
// the code page of the day. The folder's name, which may be in any script, stays out of it.
void Dump(const std::filesystem::path& prefix, const std::filesystem::path& file,
          const std::shared_ptr<mivare::IMediaBuffer>& buffer) {
  std::filesystem::remove(file);
  const WorkingFolder inside(prefix.parent_path());
  NUXMivareDumpMediaBuffer(Utf8FromPath(prefix.filename()).c_str(), buffer);
}

std::array<PlaneView, 3> Views(const mivare::LockedBuffer& lock, const PixelFormat& format) {
  std::array<PlaneView, 3> views;
  for (size_t i = 0; i < static_cast<size_t>(format.planes); ++i) {
    views[i] = {lock.plane(i), lock.pitch(i)};
  }
  return views;
}

// Likewise.
bool Load(const std::filesystem::path& file, const std::shared_ptr<mivare::IMediaBuffer>& buffer) {
  const WorkingFolder inside(file.parent_path());
  return NUXMivareLoadMediaBuffer(Utf8FromPath(file.filename()).c_str(), buffer);
}

int64_t TimeOf(mivare::IMediaBuffer& buffer, int64_t missing) {
  orlo::ValAny value;
  if (buffer.GetDesc(0)->GetUserDataInquire()->Get(kTimeKey, value) != 1) return missing;
  return value.Get<int64_t>();
}

}  // namespace road
