#include <cstring>

#include "mivare/mivare.h"

int main() {
  NUXMivareDefaultAllocatorInit(nullptr);  // no GPU
  mivare::IAllocatorEx* allocator = nullptr;
  NUXMivareDefaultAllocatorAcquire(&allocator);
  const auto desc = mivare::MakeMediaDesc(1, 45);  // video, 8 bits each of blue, green, red, alpha
  desc->SetWidthHeight(640, 360);
  auto frame = allocator->Alloc(desc.get(), nullptr, nullptr);
  if (frame == nullptr) return 1;
  if (const mivare::LockedBuffer grey(*frame, true); grey.ok())
    for (int y = 0; y < 360; ++y) std::memset(grey.plane(0) + y * grey.pitch(0), y / 2, 640 * 4);
  const int32_t status = NUXMivareDumpBMP("first.bmp", std::move(frame));
  return status + NUXMivareDefaultAllocatorUninit();
}
