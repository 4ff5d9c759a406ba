#include "memory_block.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "allocator.h"
#include "buffer1d.h"
#include "buffer2d.h"
#include "hybrid_frame.h"
#include "media_buffer_lazy.h"
#include "mivare/buffer_views.h"
#include "mivare/helper.h"
#include "support/fake_buffer.h"
#include "support/request.h"

namespace mivare {
namespace {

using test::VideoRequest;

std::shared_ptr<Buffer2d> Frame(int32_t smt, int32_t width, int32_t height) {
  std::shared_ptr<Buffer2d> frame =
      _CreateMediaBuffer2D(VideoRequest(smt, width, height).get(), nullptr);
  EXPECT_NE(frame, nullptr);
  return frame;
}

void ExpectBlock(IMediaBuffer& buffer, const uint8_t* data, size_t size) {
  const auto block = BlockBehind(buffer);
  ASSERT_TRUE(block.has_value());
  EXPECT_EQ(block->data, data);
  EXPECT_EQ(block->size, size);
}

TEST(MemoryBlock, OfAPlanarFrameIsItsFrameSize) {
  const auto small = Frame(1, 64, 64);
  ExpectBlock(*small, small->Data(), 6144);
  const auto large = Frame(45, 1024, 1024);
  ExpectBlock(*large, large->Data(), 4096 * 1025);
}

TEST(MemoryBlock, OfALinearBufferGrowsWithIt) {
  Buffer1d buffer(nullptr);
  ExpectBlock(buffer, nullptr, 0);
  ASSERT_TRUE(buffer.Init(MakeMediaDesc(2, 20001).get()));
  ExpectBlock(buffer, buffer.Memory()->data.get(), 20000);
  buffer.SetDataSize(1 << 20);
  ExpectBlock(buffer, buffer.Memory()->data.get(), 20000);
  const std::vector<uint8_t> bytes(30000);
  buffer.SetData(bytes.data(), 30000);
  ExpectBlock(buffer, buffer.Memory()->data.get(), 30000);
}

TEST(MemoryBlock, IsFoundThroughEveryView) {
  const auto frame = Frame(1, 64, 64);
  const auto hybrid = HybridBuffer::Create(frame, {}, {}, {});
  const uint32_t rect[4] = {8, 8, 16, 16};
  std::shared_ptr<IMediaBuffer> crop;
  ASSERT_EQ(NUXMivareCreateMediaBufferCrop(hybrid, rect, &crop), 0);
  std::shared_ptr<IMediaBuffer> crop_of_crop;
  ASSERT_EQ(NUXMivareCreateMediaBufferCrop(crop, rect, &crop_of_crop), 0);
  std::shared_ptr<IMediaBuffer> proxy;
  ASSERT_EQ(NUXMivareCreateMediaBufferProxy(crop_of_crop, &proxy), 0);
  for (IMediaBuffer* buffer : {hybrid.get(), crop.get(), crop_of_crop.get(), proxy.get()}) {
    ExpectBlock(*buffer, frame->Data(), 6144);
  }
}

TEST(MemoryBlock, OfALazyFrameIsThatOfTheFrameItGot) {
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
  {
    const auto lazy = MediaBufferLazy::Create(VideoRequest(15000, 64, 64).get());
    const LockedBuffer locked(*lazy);
    ExpectBlock(*lazy, locked.plane(0), 4096);
  }
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
}

TEST(MemoryBlock, IsUnknownForForeignMemory) {
  const auto host = std::make_shared<test::FakeBuffer>();
  EXPECT_FALSE(BlockBehind(*host).has_value());
  std::shared_ptr<IMediaBuffer> proxy;
  ASSERT_EQ(NUXMivareCreateMediaBufferProxy(host, &proxy), 0);
  EXPECT_FALSE(BlockBehind(*proxy).has_value());
  uint8_t memory[64];
  std::shared_ptr<IMediaBuffer> wraper;
  ASSERT_EQ(NUXMivareCreateMediaBufferWraper(8, 8, 15000, memory, 8, &wraper), 0);
  EXPECT_FALSE(BlockBehind(*wraper).has_value());
  const uint32_t rect[4] = {0, 0, 4, 4};
  std::shared_ptr<IMediaBuffer> crop;
  ASSERT_EQ(NUXMivareCreateMediaBufferCrop(wraper, rect, &crop), 0);
  EXPECT_FALSE(BlockBehind(*crop).has_value());
}

// Without an allocator a lazy frame has no memory at all.
TEST(MemoryBlock, OfALazyFrameWithoutMemoryIsUnknown) {
  const auto lazy = MediaBufferLazy::Create(VideoRequest(15000, 64, 64).get());
  EXPECT_FALSE(BlockBehind(*lazy).has_value());
}

}  // namespace
}  // namespace mivare
