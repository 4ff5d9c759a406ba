// What the hosts here share: a status of their own to leave with, frames through the allocator, and
// a GPU whose frames may do something at their end.
#pragma once

#include <cstdio>
#include <ctime>
#include <memory>

#include "mivare/mivare.h"
#include "support/fake_gpu.h"

namespace mivare::test {

inline constexpr int kOwnStatus = 42;

/// Says when the host leaves; whoever waits for it knows how long its end took.
inline int Leave(int status = kOwnStatus) {
  std::printf("leaving at %lld\n", static_cast<long long>(std::time(nullptr)));
  std::fflush(stdout);
  return status;
}

/// For a host that cannot go on.
inline int Fail(const char* what) {
  std::printf("FAILED: %s\n", what);
  return 1;
}

/// A request of its own for each call; `create` is the library's factory.
inline std::shared_ptr<IMediaBuffer> AllocFrame(IAllocatorEx* allocator,
                                                decltype(&NUXMivareMediaDescCreateEx) create,
                                                uint32_t memory_location = 0, int32_t width = 320,
                                                int32_t height = 180) {
  const std::unique_ptr<IMediaDesc> desc(create(1, 1));
  if (desc == nullptr) return nullptr;
  desc->SetWidthHeight(width, height);
  desc->SetMemoryLocation(memory_location);
  return allocator->Alloc(desc.get(), nullptr, nullptr);
}

}  // namespace mivare::test
