// PlaneWalker: the rows of a plane, as far as there is memory.
//
//          |<-------- pitch -------->|
//     plane
//     | row 0, row_bytes |  padding  |
//     | row 1            |           |      block: | ........... |
//                                           rows, or the parts of them, outside are not visited
//
// Whatever reads or writes the samples of a buffer goes through here, for a host may set any pitch
// and data size, a crop may lie beside its frame, and the sizes of a layout wrap. Whether a plane
// is whole is found out once; the rows of one that is are walked at no further cost.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>

#include "memory_block.h"
#include "mivare/helper.h"

namespace mivare {

/// The part of a row that is in memory: `bytes` bytes at `data`, the first of which is byte `first`
/// of the row.
struct RowPart {
  int64_t row = 0;
  int64_t first = 0;
  uint8_t* data = nullptr;
  size_t bytes = 0;
};

class PlaneWalker {
 public:
  /// `rows` rows of `row_bytes` bytes, the first one at `plane`, each further one `pitch` bytes on.
  /// Pitches have 32 bits with their sign, counts of rows 32 bits without. Null and counts below 1
  /// have no rows. Without a block all of them are there.
  PlaneWalker(uint8_t* plane, int64_t pitch, int64_t rows, int64_t row_bytes,
              const std::optional<MemoryBlock>& block);

  /// The same rows, the last one first.
  PlaneWalker BottomUp() const;

  /// Whether every byte of every row is there.
  bool IsWhole() const { return whole_; }
  /// Whole, with a row at least and no byte between the rows.
  bool IsOneRun() const { return whole_ && rows_ > 0 && (pitch_ == row_bytes_ || rows_ == 1); }

  uint8_t* plane() const { return plane_; }
  int64_t rows() const { return rows_; }
  int64_t row_bytes() const { return row_bytes_; }

  /// What is there of a row below rows(); 0 bytes where nothing is.
  RowPart Part(int64_t row) const {
    if (whole_) return {row, 0, plane_ + row * pitch_, static_cast<size_t>(row_bytes_)};
    return PartInBlock(row);
  }

  /// Steps through the rows that have a part.
  class Iterator {
   public:
    Iterator(const PlaneWalker& walker, int64_t row) : walker_(&walker), row_(row) {}
    RowPart operator*() const { return walker_->Part(row_); }
    Iterator& operator++() {
      ++row_;
      return *this;
    }
    friend bool operator!=(const Iterator& a, const Iterator& b) { return a.row_ != b.row_; }

   private:
    const PlaneWalker* walker_;
    int64_t row_;
  };
  Iterator begin() const { return {*this, first_row_}; }
  Iterator end() const { return {*this, end_row_}; }

  /// Calls `visit(a, b)` for each row with the part that is there in both planes, which have rows
  /// of equal length.
  template <typename Visit>
  static void VisitPairs(const PlaneWalker& a, const PlaneWalker& b, Visit visit) {
    const int64_t end = std::min(a.end_row_, b.end_row_);
    for (int64_t row = std::max(a.first_row_, b.first_row_); row < end; ++row) {
      RowPart of_a = a.Part(row);
      RowPart of_b = b.Part(row);
      if ((a.whole_ && b.whole_) || KeepCommon(of_a, of_b)) visit(of_a, of_b);
    }
  }

 private:
  RowPart PartInBlock(int64_t row) const;
  void FindRows();
  static bool KeepCommon(RowPart& a, RowPart& b);

  uint8_t* plane_;
  int64_t pitch_;
  int64_t rows_;
  int64_t row_bytes_;
  int64_t start_ = 0;       // of plane_ in the block
  int64_t block_size_ = 0;  // neither counts where there is no block
  bool whole_ = true;
  int64_t first_row_ = 0;  // the rows with a part are one run
  int64_t end_row_ = 0;
};

/// The bytes that a plane's rows take from the lowest to the highest, as a block: for foreign
/// memory of which no more may be touched.
MemoryBlock RowsAsBlock(uint8_t* plane, int64_t pitch, int64_t rows, int64_t row_bytes);

/// What is there of `bytes` bytes at `data`.
RowPart PartOf(uint8_t* data, int64_t bytes, const std::optional<MemoryBlock>& block);

/// A buffer locked for a scope, whose planes are walked no further than its memory goes.
class WalkedBuffer {
 public:
  explicit WalkedBuffer(IMediaBuffer& buffer, bool will_write = false)
      : lock_(buffer, will_write), block_(lock_.ok() ? BlockBehind(buffer) : std::nullopt) {}

  bool ok() const { return lock_.ok(); }
  uint8_t* plane(size_t index) const { return lock_.plane(index); }
  int32_t pitch(size_t index) const { return lock_.pitch(index); }
  const std::optional<MemoryBlock>& block() const { return block_; }

  /// Rows of one plane at its pitch.
  PlaneWalker Rows(size_t index, int64_t rows, int64_t row_bytes) const {
    return {plane(index), pitch(index), rows, row_bytes, block_};
  }

  /// The valid bytes of a linear buffer. Their number is whatever a host has said; the block's
  /// size, where the buffer tells it, is not.
  std::span<uint8_t> ValidBytes() const;

 private:
  const LockedBuffer lock_;
  const std::optional<MemoryBlock> block_;
};

}  // namespace mivare
