#include "base/block_source.h"

#include <atomic>
#include <cstdlib>

#include "platform/platform.h"

namespace mivare {
namespace {

uint8_t* NewBytes(size_t size) { return new uint8_t[size]; }

std::atomic<const BlockSource*> replacement{nullptr};

}  // namespace

const BlockSource kProcessBlockSource{&NewBytes, &std::malloc, &platform::AllocateBlock};

const BlockSource& CurrentBlockSource() noexcept {
  const BlockSource* replaced = replacement.load(std::memory_order_acquire);
  return replaced != nullptr ? *replaced : kProcessBlockSource;
}

void SetBlockSource(const BlockSource* source) noexcept {
  replacement.store(source, std::memory_order_release);
}

}  // namespace mivare
