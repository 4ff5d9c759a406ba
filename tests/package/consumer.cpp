// A host outside this repository, built against an installed tree: one call of each library across
// the border, with a handle, a text and an exception going over it.

#include <cstdint>
#include <cstdio>
#include <string>

#include "mivare/mivare.h"
#include "orlo/md5.h"
#include "orlo/val_any.h"
#include "trovel/trovel.h"

namespace {

int Fail(const char* what) {
  std::printf("FAILED: %s\n", what);
  return 1;
}

}  // namespace

int main() {
  NUXMivareDefaultAllocatorInit(nullptr);
  mivare::IAllocatorEx* allocator = nullptr;
  NUXMivareDefaultAllocatorAcquire(&allocator);
  const mivare::MediaDescPtr desc = mivare::MakeMediaDesc(1, 1);
  if (desc == nullptr) return Fail("no description");
  desc->SetWidthHeight(320, 180);

  auto frame = allocator->Alloc(desc.get(), nullptr, nullptr);
  if (frame == nullptr) return Fail("no frame");
  if (trovel::CountResources("Video Buffer") == 0) return Fail("the frame is not registered");
  if (const mivare::LockedBuffer planes(*frame, true); !planes.ok() || planes.pitch(0) != 320) {
    return Fail("the frame cannot be locked");
  }
  frame.reset();

  desc->SetMemoryLocation(1);
  desc->GetUserDataConfig()->Set("PlatformCompatible", "no number");
  try {
    allocator->Alloc(desc.get(), nullptr, nullptr);
    return Fail("a hint that is no number was taken for one");
  } catch (const orlo::AnyBadAccess& error) {
    if (error.what() != std::string("ValAny Bad Access")) return Fail(error.what());
  }
  NUXMivareDefaultAllocatorUninit();
  if (trovel::CountResources(nullptr) != 0) return Fail(trovel::LeakReport().c_str());
  if (orlo::md5::MD5String("abc", 3) != "900150983cd24fb0d6963f7d28e17f72") return Fail("MD5");
  std::printf("consumed\n");
  return 0;
}
