#include "buffer1d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "desc.h"
#include "mivare/allocator.h"
#include "mivare/helper.h"
#include "support/failing_blocks.h"
#include "support/fake_buffer.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "support/trovel_balance.h"

namespace mivare {
namespace {

using test::FailingBlocks;
using test::FakeBuffer;
using test::FakeDesc;
using test::LogCapture;
using test::LogLine;
using test::MemoryListener;
using test::TrovelBalance;

std::vector<uint8_t> Bytes(size_t count, uint8_t first = 1) {
  std::vector<uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

// What a lock of a linear buffer shows.
struct Shown {
  uint8_t* data = nullptr;
  int32_t size = -99;
  uint32_t capacity = 99;

  explicit Shown(IMediaBuffer& buffer) {
    uint8_t* planes[8];
    int32_t pitches[8];
    std::fill_n(planes, 8, reinterpret_cast<uint8_t*>(this));
    std::fill_n(pitches, 8, 99);
    EXPECT_EQ(buffer.Lock(planes, pitches, nullptr, &capacity), 0);
    EXPECT_EQ(buffer.Unlock(), 0);
    data = planes[0];
    size = pitches[0];
    for (int i = 1; i < 8; ++i) {
      EXPECT_EQ(planes[i], nullptr) << i;
      EXPECT_EQ(pitches[i], 0) << i;
    }
  }
  std::vector<uint8_t> Content() const { return {data, data + size}; }
};

class Buffer1dTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(buffer.Init(desc.get())); }

  int32_t DataLength() { return dynamic_cast<DescBase&>(*buffer.GetDesc(0)).DataLength(); }

  // Each refusal is one line with the unit and whatever line it stands in.
  int Refusals() {
    const std::regex pattern(R"(error! mivare/buffer1d\[[0-9]+\])");
    int count = 0;
    for (const LogLine& line : log.AtLevel(6)) {
      if (line.tag == "mivare" && std::regex_match(line.text, pattern)) ++count;
    }
    EXPECT_EQ(static_cast<size_t>(count), log.AtLevel(6).size());
    return count;
  }

  LogCapture log;
  MediaDescPtr desc = MakeMediaDesc(5, 31100);
  Buffer1d buffer{nullptr};
};

TEST_F(Buffer1dTest, StartsWithCapacity20000AndSize0) {
  const Shown shown(buffer);
  EXPECT_NE(shown.data, nullptr);
  EXPECT_EQ(shown.size, 0);
  EXPECT_EQ(shown.capacity, 20000U);
}

TEST_F(Buffer1dTest, TellsItsOwnDescriptionTheLengthNotTheCallers) {
  EXPECT_EQ(DataLength(), 20000);
  EXPECT_EQ(buffer.GetDesc(0)->GetFrameSize(), 20000);
  EXPECT_NE(buffer.GetDesc(0), desc.get());
  EXPECT_EQ(desc->GetFrameSize(), -1);
}

TEST_F(Buffer1dTest, InitRefusesNullAndFailingClones) {
  Buffer1d other(nullptr);
  EXPECT_FALSE(other.Init(nullptr));
  EXPECT_EQ(Refusals(), 1);
  FakeDesc fake(2, 30000);
  fake.cloneable = false;
  EXPECT_FALSE(other.Init(&fake));
  EXPECT_EQ(Refusals(), 2);
  EXPECT_EQ(other.GetDesc(0), nullptr);
}

TEST_F(Buffer1dTest, LockRefusesNullArraysAndWritesNothing) {
  uint8_t byte = 0;
  uint8_t* planes[8];
  int32_t pitches[8];
  std::fill_n(planes, 8, &byte);
  std::fill_n(pitches, 8, 7);
  uint32_t capacity = 7;
  EXPECT_EQ(buffer.Lock(nullptr, pitches, nullptr, &capacity), -1);
  EXPECT_EQ(buffer.Lock(planes, nullptr, nullptr, &capacity), -1);
  EXPECT_EQ(Refusals(), 2);
  EXPECT_TRUE(std::all_of(planes, planes + 8, [&](uint8_t* plane) { return plane == &byte; }));
  EXPECT_TRUE(std::all_of(pitches, pitches + 8, [](int32_t pitch) { return pitch == 7; }));
  EXPECT_EQ(capacity, 7U);
}

TEST_F(Buffer1dTest, LockDoesWithoutTheCapacityAndIgnoresReserved) {
  uint8_t* planes[8];
  int32_t pitches[8];
  int reserved = 0;
  EXPECT_EQ(buffer.Lock(planes, pitches, &reserved, nullptr), 0);
  EXPECT_EQ(planes[0], Shown(buffer).data);
}

TEST_F(Buffer1dTest, LockOfABufferWithoutMemoryShowsNone) {
  Buffer1d bare(nullptr);
  const Shown shown(bare);
  EXPECT_EQ(shown.data, nullptr);
  EXPECT_EQ(shown.size, 0);
  EXPECT_EQ(shown.capacity, 0U);
}

TEST_F(Buffer1dTest, SetDataReplacesTheContents) {
  const auto first = Bytes(5);
  const auto second = Bytes(3, 100);
  EXPECT_EQ(buffer.SetData(first.data(), 5), 0);
  EXPECT_EQ(Shown(buffer).Content(), first);
  EXPECT_EQ(buffer.SetData(second.data(), 3), 0);
  EXPECT_EQ(Shown(buffer).Content(), second);
}

TEST_F(Buffer1dTest, SetDataOf20000KeepsTheBlock) {
  const uint8_t* block = Shown(buffer).data;
  const auto bytes = Bytes(20000);
  EXPECT_EQ(buffer.SetData(bytes.data(), 20000), 0);
  EXPECT_EQ(Shown(buffer).data, block);
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  EXPECT_EQ(Shown(buffer).capacity, 20000U);
  EXPECT_EQ(DataLength(), 20000);
}

TEST_F(Buffer1dTest, SetDataOf20001ReplacesTheBlockByOneOfThatSize) {
  const std::shared_ptr<MemoryData> old = buffer.Memory();
  const auto bytes = Bytes(20001);
  EXPECT_EQ(buffer.SetData(bytes.data(), 20001), 0);
  EXPECT_NE(buffer.Memory(), old);
  EXPECT_EQ(old.use_count(), 1) << "the buffer let go of it";
  EXPECT_EQ(old->capacity, 20000);
  EXPECT_EQ(Shown(buffer).capacity, 20001U);
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  EXPECT_EQ(DataLength(), 20001);
}

TEST_F(Buffer1dTest, SetDataRefusesNullAndEmpty) {
  const uint8_t byte = 1;
  EXPECT_EQ(buffer.SetData(nullptr, 5), -1);
  EXPECT_EQ(buffer.SetData(&byte, 0), -1);
  EXPECT_EQ(buffer.SetData(&byte, -1), -1);
  EXPECT_EQ(Refusals(), 3);
  EXPECT_EQ(Shown(buffer).size, 0);
}

TEST_F(Buffer1dTest, SetDataTakesBytesOfItsOwnBlock) {
  const auto bytes = Bytes(100);
  buffer.SetData(bytes.data(), 100);
  EXPECT_EQ(buffer.SetData(Shown(buffer).data + 10, 50), 0);
  EXPECT_EQ(Shown(buffer).Content(), std::vector<uint8_t>(bytes.begin() + 10, bytes.begin() + 60));
}

TEST_F(Buffer1dTest, SetDataBeforeInitMakesTheBlock) {
  Buffer1d bare(nullptr);
  const auto bytes = Bytes(10);
  EXPECT_EQ(bare.SetData(bytes.data(), 10), 0);
  EXPECT_EQ(Shown(bare).Content(), bytes);
  EXPECT_EQ(Shown(bare).capacity, 10U);
}

TEST_F(Buffer1dTest, SetDataKeepsEverythingWhenThereIsNoMemory) {
  const auto small = Bytes(10);
  const auto large = Bytes(30000);
  buffer.SetData(small.data(), 10);
  const FailingBlocks failing;
  EXPECT_EQ(buffer.SetData(large.data(), 30000), -1);
  EXPECT_EQ(Refusals(), 2) << "the block's and the buffer's own";
  EXPECT_EQ(Shown(buffer).Content(), small);
  EXPECT_EQ(Shown(buffer).capacity, 20000U);
  EXPECT_EQ(DataLength(), 20000);
}

TEST_F(Buffer1dTest, AppendDataAddsBehindTheValidBytes) {
  const auto bytes = Bytes(6);
  EXPECT_TRUE(buffer.AppendData(bytes.data(), 4));
  EXPECT_TRUE(buffer.AppendData(bytes.data() + 4, 2));
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  EXPECT_EQ(Shown(buffer).capacity, 20000U);
}

TEST_F(Buffer1dTest, AppendDataFillsTheBlockBeforeItGrows) {
  const auto bytes = Bytes(20000);
  const uint8_t* block = Shown(buffer).data;
  EXPECT_TRUE(buffer.AppendData(bytes.data(), 19999));
  EXPECT_TRUE(buffer.AppendData(bytes.data() + 19999, 1));
  EXPECT_EQ(Shown(buffer).data, block);
  EXPECT_EQ(Shown(buffer).Content(), bytes);
}

TEST_F(Buffer1dTest, AppendDataBeyondTheCapacityKeepsTheOldBytesInFront) {
  auto bytes = Bytes(20000);
  const auto more = Bytes(7, 200);
  buffer.SetData(bytes.data(), 20000);
  EXPECT_TRUE(buffer.AppendData(more.data(), 7));
  bytes.insert(bytes.end(), more.begin(), more.end());
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  EXPECT_EQ(Shown(buffer).capacity, 20007U) << "growth is exact";
  EXPECT_EQ(DataLength(), 20000) << "appending leaves the description alone";
  EXPECT_TRUE(buffer.AppendData(more.data(), 1));
  EXPECT_EQ(Shown(buffer).capacity, 20008U) << "every time";
}

TEST_F(Buffer1dTest, AppendDataTakesBytesOfItsOwnBlock) {
  const auto bytes = Bytes(20000);
  buffer.SetData(bytes.data(), 20000);
  EXPECT_TRUE(buffer.AppendData(Shown(buffer).data, 20000));
  auto twice = bytes;
  twice.insert(twice.end(), bytes.begin(), bytes.end());
  EXPECT_EQ(Shown(buffer).Content(), twice);
}

TEST_F(Buffer1dTest, AppendDataOfNothingChangesNothing) {
  const auto bytes = Bytes(3);
  buffer.SetData(bytes.data(), 3);
  EXPECT_TRUE(buffer.AppendData(bytes.data(), 0));
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  Buffer1d bare(nullptr);
  EXPECT_TRUE(bare.AppendData(bytes.data(), 0));
  EXPECT_EQ(Shown(bare).data, nullptr);
  EXPECT_TRUE(buffer.AppendData(nullptr, 0));
  EXPECT_TRUE(bare.AppendData(nullptr, 0));
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  EXPECT_EQ(Refusals(), 0);
}

TEST_F(Buffer1dTest, AppendDataRefusesNullAndSumsBeyond31Bits) {
  const auto bytes = Bytes(10);
  buffer.SetData(bytes.data(), 10);
  EXPECT_FALSE(buffer.AppendData(nullptr, 4));
  EXPECT_FALSE(buffer.AppendData(nullptr, 1));
  EXPECT_FALSE(buffer.AppendData(bytes.data(), 0x7FFFFFFFU - 9));
  EXPECT_FALSE(buffer.AppendData(bytes.data(), 0x80000000U));
  EXPECT_FALSE(buffer.AppendData(bytes.data(), 0xFFFFFFFFU));
  EXPECT_EQ(Refusals(), 5);
  EXPECT_EQ(Shown(buffer).Content(), bytes);
}

TEST_F(Buffer1dTest, AppendDataKeepsEverythingWhenThereIsNoMemory) {
  const auto bytes = Bytes(20000);
  buffer.SetData(bytes.data(), 20000);
  const FailingBlocks failing;
  EXPECT_FALSE(buffer.AppendData(bytes.data(), 1));
  EXPECT_EQ(Refusals(), 2);
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  EXPECT_EQ(Shown(buffer).capacity, 20000U);
}

TEST_F(Buffer1dTest, SetDataSizeIsTakenAsItStands) {
  for (const int32_t size : {1, 20001, std::numeric_limits<int32_t>::max(), 0, -1,
                             std::numeric_limits<int32_t>::min()}) {
    EXPECT_EQ(buffer.SetDataSize(size), 0);
    EXPECT_EQ(Shown(buffer).size, size);
    EXPECT_EQ(Shown(buffer).capacity, 20000U);
  }
}

TEST_F(Buffer1dTest, AppendDataCopiesOnlyOldBytesThatExist) {
  const auto bytes = Bytes(20000);
  buffer.SetData(bytes.data(), 20000);
  buffer.SetDataSize(30000);
  EXPECT_TRUE(buffer.AppendData(bytes.data(), 5));
  const Shown shown(buffer);
  EXPECT_EQ(shown.size, 30005);
  EXPECT_EQ(shown.capacity, 30005U);
  EXPECT_EQ(std::memcmp(shown.data, bytes.data(), 20000), 0);
  EXPECT_EQ(std::memcmp(shown.data + 30000, bytes.data(), 5), 0);
}

// What would lie in front of the block is dropped; the sum counts all the same.
TEST_F(Buffer1dTest, AppendDataBehindANegativeSizeKeepsWhatLiesInTheBlock) {
  const auto bytes = Bytes(30000);
  for (const auto& [size, count] :
       {std::pair<int32_t, uint32_t>{-1, 10}, {-5, 10}, {-10, 10}, {-100, 30000}}) {
    SCOPED_TRACE(size);
    buffer.SetDataSize(size);
    EXPECT_TRUE(buffer.AppendData(bytes.data(), count));
    EXPECT_EQ(Shown(buffer).Content(),
              std::vector<uint8_t>(bytes.begin() - size,
                                   bytes.begin() + static_cast<std::ptrdiff_t>(count)));
  }
  EXPECT_EQ(Refusals(), 0);
}

TEST_F(Buffer1dTest, AppendDataRefusesANegativeSum) {
  const auto bytes = Bytes(10);
  for (const int32_t size : {-11, std::numeric_limits<int32_t>::min()}) {
    buffer.SetDataSize(size);
    EXPECT_FALSE(buffer.AppendData(bytes.data(), 10)) << size;
    EXPECT_EQ(Shown(buffer).size, size);
  }
  EXPECT_EQ(Refusals(), 2);
}

TEST_F(Buffer1dTest, CopyFromTakesTheSourcesFirstPlane) {
  auto bytes = Bytes(12);
  FakeBuffer source;
  source.planes[0] = bytes.data();
  source.pitches[0] = 12;
  EXPECT_EQ(buffer.CopyFrom(&source), 0);
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  EXPECT_EQ(source.lock_reasons, std::vector<void*>{nullptr});
  EXPECT_EQ(source.unlocks, 1);
}

TEST_F(Buffer1dTest, CopyFromRefusesNullOnly) {
  EXPECT_EQ(buffer.CopyFrom(nullptr), -1);
  EXPECT_EQ(Refusals(), 1);
}

TEST_F(Buffer1dTest, CopyFromASourceThatCannotBeLockedIsStill0) {
  const auto bytes = Bytes(5);
  buffer.SetData(bytes.data(), 5);
  FakeBuffer source;
  source.lock_status = -2;
  EXPECT_EQ(buffer.CopyFrom(&source), 0);
  EXPECT_EQ(source.unlocks, 1);
  EXPECT_EQ(Shown(buffer).Content(), bytes) << "nothing came, nothing changed";
}

TEST_F(Buffer1dTest, CopyFromWithoutMemoryIsStill0) {
  auto bytes = Bytes(30000);
  FakeBuffer source;
  source.planes[0] = bytes.data();
  source.pitches[0] = 30000;
  const FailingBlocks failing;
  EXPECT_EQ(buffer.CopyFrom(&source), 0);
  EXPECT_EQ(Shown(buffer).size, 0);
}

TEST_F(Buffer1dTest, CopyFromReadsOnlyBytesThatALinearSourceHas) {
  const auto bytes = Bytes(20000);
  Buffer1d source(nullptr);
  ASSERT_TRUE(source.Init(desc.get()));
  source.SetData(bytes.data(), 20000);
  source.SetDataSize(50000);
  EXPECT_EQ(buffer.CopyFrom(&source), 0);
  EXPECT_EQ(Shown(buffer).size, 50000);
  EXPECT_EQ(std::memcmp(Shown(buffer).data, bytes.data(), 20000), 0);
  source.SetDataSize(-3);
  EXPECT_EQ(buffer.CopyFrom(&source), 0);
  EXPECT_EQ(Shown(buffer).size, 50000) << "no bytes, no change";
}

TEST_F(Buffer1dTest, CopyFromItselfKeepsTheBytes) {
  const auto bytes = Bytes(64);
  buffer.SetData(bytes.data(), 64);
  EXPECT_EQ(buffer.CopyFrom(&buffer), 0);
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  buffer.SetDataSize(40000);
  EXPECT_EQ(buffer.CopyFrom(&buffer), 0);
  EXPECT_EQ(Shown(buffer).size, 40000);
  EXPECT_EQ(std::memcmp(Shown(buffer).data, bytes.data(), 64), 0);
}

TEST_F(Buffer1dTest, OnRecycleForgetsTheSizeAndKeepsTheBlock) {
  const auto bytes = Bytes(25000);
  buffer.SetData(bytes.data(), 25000);
  const uint8_t* block = Shown(buffer).data;
  buffer.OnRecycle();
  EXPECT_EQ(Shown(buffer).size, 0);
  EXPECT_EQ(Shown(buffer).data, block);
  EXPECT_EQ(Shown(buffer).capacity, 25000U);
}

TEST_F(Buffer1dTest, AReplacedBlockStaysValidForWhoeverHoldsIt) {
  const auto bytes = Bytes(100);
  buffer.SetData(bytes.data(), 100);
  const std::shared_ptr<MemoryData> held = buffer.Memory();
  const auto large = Bytes(30000, 9);
  buffer.SetData(large.data(), 30000);
  EXPECT_EQ(std::memcmp(held->data.get(), bytes.data(), 100), 0);
}

TEST_F(Buffer1dTest, AForeignDescriptionHasNoLengthToSet) {
  FakeDesc fake(2, 30000);
  Buffer1d other(nullptr);
  ASSERT_TRUE(other.Init(&fake));
  const auto bytes = Bytes(20001);
  EXPECT_EQ(other.SetData(bytes.data(), 20001), 0);
  EXPECT_EQ(other.GetDesc(0)->GetFrameSize(), 4096);
}

TEST_F(Buffer1dTest, KeepsTheBaseDefaults) {
  EXPECT_EQ(buffer.QueryObject(0, 0), nullptr);
  EXPECT_EQ(buffer.QueryNative(0), nullptr);
  EXPECT_FALSE(buffer.IsDeviceMemory());
  buffer.Flush();
}

TEST(MemoryData, RefusesSizesBelow1) {
  LogCapture log;
  MemoryListener listener;
  MemoryData block;
  EXPECT_FALSE(block.Init(0));
  EXPECT_FALSE(block.Init(-1));
  EXPECT_EQ(log.CountContaining("error! mivare/buffer1d["), 2);
  EXPECT_EQ(log.Lines().size(), 2U);
  EXPECT_EQ(listener.Count(), 0);
  EXPECT_EQ(block.data, nullptr);
}

TEST(MemoryData, LogsAndSignalsExhaustion) {
  LogCapture log;
  MemoryListener listener;
  const FailingBlocks failing;
  MemoryData block;
  EXPECT_FALSE(block.Init(12345));
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], (LogLine{"mivare", 7,
                               "mivare::MemoryData::Init try new[12345] memory exception[" +
                                   std::string(std::bad_alloc().what()) + "]!"}));
  EXPECT_EQ(lines[1].level, 6);
  EXPECT_EQ(lines[1].text.find("error! mivare/buffer1d["), 0U);
  EXPECT_EQ(listener.Count(), 1);
  EXPECT_EQ(block.data, nullptr);
  EXPECT_EQ(block.capacity, 0);
}

TEST(Buffer1dInit, FailsWithoutMemory) {
  LogCapture log;
  MemoryListener listener;
  const MediaDescPtr desc = MakeMediaDesc(2, 30000);
  const FailingBlocks failing;
  Buffer1d buffer(nullptr);
  EXPECT_FALSE(buffer.Init(desc.get()));
  EXPECT_EQ(log.AtLevel(7).size(), 1U);
  EXPECT_EQ(log.CountContaining("error! mivare/buffer1d["), 2);
  EXPECT_EQ(listener.Count(), 1);
  EXPECT_EQ(buffer.GetDesc(0), nullptr);
}

TEST(AudioBuffer, DoesWhatALinearBufferDoes) {
  const MediaDescPtr desc = MakeMediaDesc(2, 20002);
  audio::AudioBuffer buffer(nullptr);
  ASSERT_TRUE(buffer.Init(desc.get()));
  const auto bytes = Bytes(20001);
  EXPECT_EQ(buffer.SetData(bytes.data(), 20001), 0);
  EXPECT_EQ(Shown(buffer).Content(), bytes);
  EXPECT_EQ(buffer.SetDataSize(44), 0);
  EXPECT_EQ(Shown(buffer).size, 44);
  EXPECT_EQ(buffer.GetDesc(0)->GetMediaType(), 2U);
}

TEST(Buffer1dClone, ComesFromTheDefaultAllocator) {
  LogCapture log;
  TrovelBalance balance;
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
  const MediaDescPtr desc = MakeMediaDesc(2, 20002);
  desc->SetSampleRate(8000);
  audio::AudioBuffer buffer(nullptr);
  ASSERT_TRUE(buffer.Init(desc.get()));
  const auto bytes = Bytes(300);
  buffer.SetData(bytes.data(), 300);
  const std::shared_ptr<IMediaBuffer> clone = buffer.Clone(0);
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(Shown(*clone).Content(), bytes);
  EXPECT_EQ(clone->GetDesc(0)->GetSampleRate(), 8000U);
  EXPECT_NE(Shown(*clone).data, Shown(buffer).data);
  NUXMivareDefaultAllocatorUninit();
}

TEST(Buffer1dClone, IsEmptyWithoutDescriptionOrAllocator) {
  LogCapture log;
  TrovelBalance balance;
  const MediaDescPtr desc = MakeMediaDesc(2, 20002);
  Buffer1d buffer(nullptr);
  EXPECT_EQ(buffer.Clone(0), nullptr);
  ASSERT_TRUE(buffer.Init(desc.get()));
  EXPECT_EQ(buffer.Clone(0), nullptr) << "the library is not up";
}

}  // namespace
}  // namespace mivare
