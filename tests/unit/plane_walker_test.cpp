#include "plane_walker.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "base/address.h"
#include "support/fake_desc.h"
#include "support/guarded_memory.h"

namespace mivare {
namespace {

constexpr int64_t kInt32Min = std::numeric_limits<int32_t>::min();
constexpr int64_t kInt32Max = std::numeric_limits<int32_t>::max();
constexpr int64_t kUint32Max = std::numeric_limits<uint32_t>::max();

class PlaneWalkerTest : public ::testing::Test {
 protected:
  static constexpr int64_t kSize = 24;

  PlaneWalker Walk(int64_t start, int64_t pitch, int64_t rows, int64_t row_bytes) {
    return {Moved(memory_.data(), start), pitch, rows, row_bytes, Block()};
  }
  MemoryBlock Block() const { return {memory_.data(), static_cast<size_t>(kSize)}; }
  int64_t Offset(const RowPart& part) const { return Distance(memory_.data(), part.data); }

  std::vector<uint8_t> memory_ = std::vector<uint8_t>(static_cast<size_t>(kSize));
};

// What a walk should visit, found byte by byte.
struct Expected {
  int64_t row;
  int64_t first;
  size_t bytes;

  friend bool operator==(const Expected&, const Expected&) = default;
};

std::vector<Expected> Reference(int64_t size, int64_t start, int64_t pitch, int64_t rows,
                                int64_t row_bytes) {
  std::vector<Expected> parts;
  for (int64_t row = 0; row < rows; ++row) {
    Expected part{row, 0, 0};
    for (int64_t column = 0; column < row_bytes; ++column) {
      const int64_t at = start + row * pitch + column;
      if (at < 0 || at >= size) continue;
      if (part.bytes++ == 0) part.first = column;
    }
    if (part.bytes > 0) parts.push_back(part);
  }
  return parts;
}

std::vector<Expected> Visited(const PlaneWalker& walker) {
  std::vector<Expected> parts;
  for (const RowPart& part : walker) parts.push_back({part.row, part.first, part.bytes});
  return parts;
}

TEST_F(PlaneWalkerTest, VisitsExactlyTheBytesThatLieInTheBlock) {
  for (int64_t start = -30; start <= 30; start += 3) {
    for (int64_t pitch = -9; pitch <= 9; ++pitch) {
      for (int64_t rows = -1; rows <= 5; ++rows) {
        for (const int64_t row_bytes : {-1, 0, 1, 5, 8, 24, 60}) {
          SCOPED_TRACE(testing::Message() << "start " << start << " pitch " << pitch << " rows "
                                          << rows << " of " << row_bytes);
          const PlaneWalker walker = Walk(start, pitch, rows, row_bytes);
          std::vector<Expected> expected = Reference(kSize, start, pitch, rows, row_bytes);
          ASSERT_EQ(Visited(walker), expected);
          for (const RowPart& part : walker) {
            ASSERT_EQ(Offset(part), start + part.row * pitch + part.first);
          }
          size_t all = 0;
          for (const Expected& part : expected) all += part.bytes;
          const bool whole =
              rows < 1 || row_bytes < 1 || all == static_cast<size_t>(rows * row_bytes);
          ASSERT_EQ(walker.IsWhole(), whole);
          // From the other end.
          const PlaneWalker reversed = walker.BottomUp();
          std::reverse(expected.begin(), expected.end());
          for (Expected& part : expected) part.row = rows - 1 - part.row;
          ASSERT_EQ(Visited(reversed), expected);
          for (const RowPart& part : reversed) {
            ASSERT_EQ(Offset(part), start + (rows - 1 - part.row) * pitch + part.first);
          }
        }
      }
    }
  }
}

TEST_F(PlaneWalkerTest, StaysInTheBlockWithTheLargestNumbersThereAre) {
  constexpr int64_t kFar = int64_t{1} << 62;
  for (const int64_t start :
       {int64_t{0}, int64_t{5}, -kUint32Max, kUint32Max, kFar, -kFar,
        std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()}) {
    for (const int64_t pitch : {kInt32Min, kInt32Max, -kInt32Max, kInt32Max - 4}) {
      for (const int64_t rows : {int64_t{1}, int64_t{2}, kInt32Max, kUint32Max}) {
        for (const int64_t row_bytes : {int64_t{1}, int64_t{16}, kInt32Max, kUint32Max * 8}) {
          SCOPED_TRACE(testing::Message() << "start " << start << " pitch " << pitch << " rows "
                                          << rows << " of " << row_bytes);
          size_t parts = 0;
          for (const PlaneWalker& walker : {Walk(start, pitch, rows, row_bytes),
                                            Walk(start, pitch, rows, row_bytes).BottomUp()}) {
            for (const RowPart& part : walker) {
              ASSERT_GE(Offset(part), 0);
              ASSERT_LE(Offset(part) + static_cast<int64_t>(part.bytes), kSize);
              ASSERT_LT(++parts, 100U) << "no row is looked at in vain";
            }
          }
        }
      }
    }
  }
}

TEST_F(PlaneWalkerTest, FindsRowsFarFromTheStartOfThePlane) {
  // Row 2^20 starts at byte 4.
  const int64_t rows = int64_t{1} << 21;
  const PlaneWalker walker = Walk(4 - (int64_t{1000} << 20), 1000, rows, 10);
  EXPECT_EQ(Visited(walker), (std::vector<Expected>{{int64_t{1} << 20, 0, 10}}));
  EXPECT_EQ(Visited(walker.BottomUp()),
            (std::vector<Expected>{{rows - 1 - (int64_t{1} << 20), 0, 10}}));
}

TEST_F(PlaneWalkerTest, TakesForeignMemoryAtItsOwnersWord) {
  const PlaneWalker walker(memory_.data() + 16, -8, 3, 8, std::nullopt);
  EXPECT_TRUE(walker.IsWhole());
  EXPECT_EQ(Visited(walker), (std::vector<Expected>{{0, 0, 8}, {1, 0, 8}, {2, 0, 8}}));
}

TEST_F(PlaneWalkerTest, KnowsRowsWithoutAGap) {
  EXPECT_TRUE(Walk(0, 8, 3, 8).IsOneRun());
  EXPECT_FALSE(Walk(0, 8, 3, 7).IsOneRun());
  EXPECT_FALSE(Walk(1, 8, 3, 8).IsOneRun()) << "the last byte is missing";
  EXPECT_TRUE(Walk(0, 8, 1, 7).IsOneRun()) << "a single row has no gap";
  EXPECT_FALSE(Walk(0, 8, 0, 8).IsOneRun()) << "nor a run without a row";
}

TEST_F(PlaneWalkerTest, HasNoRowsForANullPlane) {
  const PlaneWalker walker(nullptr, 8, 3, 8, Block());
  EXPECT_EQ(walker.rows(), 0);
  EXPECT_TRUE(Visited(walker).empty());
  EXPECT_TRUE(Visited(walker.BottomUp()).empty());
}

TEST_F(PlaneWalkerTest, PairsRowsByWhatBothHave) {
  std::vector<Expected> pairs;
  const PlaneWalker a = Walk(-3, 8, 4, 8);   // row 0 from byte 3 on, row 3 up to byte 3 + 8
  const PlaneWalker b = Walk(16, -8, 3, 6);  // all of rows 0 to 2
  PlaneWalker::VisitPairs(a, b, [&](const RowPart& of_a, const RowPart& of_b) {
    pairs.push_back({of_a.row, of_a.first, of_a.bytes});
    EXPECT_EQ(of_b.row, of_a.row);
    EXPECT_EQ(of_b.bytes, of_a.bytes);
    EXPECT_EQ(Offset(of_a), -3 + 8 * of_a.row + of_a.first);
    EXPECT_EQ(Offset(of_b), 16 - 8 * of_a.row + of_a.first);
  });
  EXPECT_EQ(pairs, (std::vector<Expected>{{0, 3, 3}, {1, 0, 6}, {2, 0, 6}}));
  PlaneWalker::VisitPairs(Walk(-6, 100, 1, 8), Walk(22, 100, 1, 8),
                          [](const RowPart&, const RowPart&) { ADD_FAILURE() << "6.. and ..2"; });
}

TEST(RowsAsBlock, ReachFromTheLowestToTheHighestByte) {
  std::vector<uint8_t> memory(100);
  uint8_t* at = memory.data() + 50;
  const auto expect = [&](const MemoryBlock& block, int64_t from, size_t size) {
    EXPECT_EQ(Distance(at, block.data), from);
    EXPECT_EQ(block.size, size);
  };
  expect(RowsAsBlock(at, 10, 3, 4), 0, 24);
  expect(RowsAsBlock(at, -10, 3, 4), -20, 24);
  expect(RowsAsBlock(at, 0, 3, 4), 0, 4);
  expect(RowsAsBlock(at, 10, 0, 4), 0, 0);
  expect(RowsAsBlock(at, 10, 3, -4), 0, 0);
  EXPECT_EQ(RowsAsBlock(at, kInt32Min, kInt32Max, kInt32Max).size,
            static_cast<size_t>((kInt32Max - 1) * -kInt32Min + kInt32Max));
}

TEST(WalkedBuffer, GivesTheValidBytesAsFarAsTheyAreThere) {
  struct Case {
    int64_t offset;
    int32_t said;
    uint32_t capacity;
    size_t bytes;
  };
  for (const Case& row : {Case{0, 7, 0, 7},
                          {0, 7, 5, 5},
                          {0, 50, 0, 16},
                          {0, 50, 50, 16},
                          {0, -1, 0, 0},
                          {0, 0, 16, 0},
                          {10, 7, 0, 6},
                          {-3, 7, 0, 4},
                          {16, 7, 0, 0},
                          {0, INT32_MIN, 16, 0},
                          {0, INT32_MAX, UINT32_MAX, 16}}) {
    SCOPED_TRACE(testing::Message() << row.said << " at " << row.offset);
    test::OwnedFrame frame(test::Said(1, 1, 1), 16);
    frame.SetPlane(0, row.offset, row.said);
    frame.capacity = row.capacity;
    EXPECT_EQ(WalkedBuffer(frame).ValidBytes().size(), row.bytes);
  }
}

TEST(WalkedBuffer, EndsItsLockAlone) {
  test::OwnedFrame frame(test::Said(1, 1, 1), 16);
  {
    const WalkedBuffer locked(frame, true);
    EXPECT_TRUE(locked.ok());
    EXPECT_FALSE(frame.lock_was_for_reading);
  }
  EXPECT_EQ(frame.unlocks, 1);
  frame.lock_status = -2;
  EXPECT_FALSE(WalkedBuffer(frame).ok());
  EXPECT_EQ(frame.unlocks, 1);
}

}  // namespace
}  // namespace mivare
