#include "aligned_heap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/block_source.h"
#include "platform/platform.h"
#include "support/failing_blocks.h"
#include "support/log_capture.h"

namespace mivare {
namespace {

using test::FailingBlocks;
using test::LogCapture;
using test::MemoryListener;

// A source that tells what it was asked for and hands out blocks at every multiple of 16.
struct Record {
  static inline size_t asked = 0;
  static inline void* raw = nullptr;
  static void* Heap(size_t size) {
    asked = size;
    raw = std::malloc(size);
    return raw;
  }
  static constexpr BlockSource kSource{nullptr, &Heap, nullptr};
};

TEST(AlignedHeap, PutsTheBlockAtTheMultipleOf64Below80BytesBehindTheRawAddress) {
  SetBlockSource(&Record::kSource);
  for (const size_t size : {size_t{0}, size_t{1}, size_t{64}, size_t{1000}, size_t{2097151}}) {
    SCOPED_TRACE(size);
    void* block = _malloc(size);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(Record::asked, size + 80);
    const auto raw = reinterpret_cast<uintptr_t>(Record::raw);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block), (raw + 80) / 64 * 64);
    void* remembered = nullptr;
    std::memcpy(&remembered, static_cast<uint8_t*>(block) - 8, 8);
    EXPECT_EQ(remembered, Record::raw);
    SetBlockSize(block, 0x1122334455667788);
    uint64_t stored = 0;
    std::memcpy(&stored, static_cast<uint8_t*>(block) - 16, 8);
    EXPECT_EQ(stored, 0x1122334455667788U);
    EXPECT_EQ(BlockSize(block), stored);
    std::memset(block, 0xFF, size);
    _free(block);
  }
  SetBlockSource(nullptr);
}

TEST(AlignedHeap, IgnoresNull) { _free(nullptr); }

TEST(AlignedHeap, GivesItsMemoryBack) {
  constexpr size_t kSize = size_t{64} << 20U;
  const uint64_t before = platform::ReadMemoryFigures().working_set;
  for (int i = 0; i < 8; ++i) {
    auto* block = static_cast<uint8_t*>(_malloc(kSize));
    ASSERT_NE(block, nullptr);
    for (size_t at = 0; at < kSize; at += 4096) block[at] = 1;
    _free(block);
  }
  // Eight leaked blocks would be 512 MiB; sanitizers hold up to 256 back.
  EXPECT_LT(platform::ReadMemoryFigures().working_set, before + 6 * kSize);
}

TEST(AlignedHeap, ReportsExhaustion) {
  LogCapture log;
  MemoryListener listener;
  const FailingBlocks failing;
  EXPECT_EQ(_malloc(777), nullptr);
  ASSERT_EQ(log.Lines().size(), 2U);
  EXPECT_EQ(log.Count(7, "mivare::_malloc try malloc[777] memory!"), 1);
  EXPECT_EQ(log.CountContaining("[SystemInfo] Total: "), 1);
  EXPECT_EQ(listener.Count(), 1);
}

TEST(AlignedHeap, RefusesASizeThatItsOverheadWraps) {
  LogCapture log;
  EXPECT_EQ(_malloc(SIZE_MAX - 79), nullptr);
  EXPECT_EQ(log.AtLevel(7).size(), 1U);
}

}  // namespace
}  // namespace mivare
