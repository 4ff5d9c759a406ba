#include "plane_walker.h"

#include <cstdlib>

#include "base/address.h"

namespace mivare {
namespace {

// A plane that starts further than this from its block has no row there. Sums of what is nearer fit
// 64 bits.
constexpr int64_t kFarAway = int64_t{1} << 61;

// For divisors above 0.
constexpr int64_t DivideDown(int64_t value, int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}
constexpr int64_t DivideUp(int64_t value, int64_t divisor) {
  return value / divisor + (value % divisor > 0 ? 1 : 0);
}

}  // namespace

PlaneWalker::PlaneWalker(uint8_t* plane, int64_t pitch, int64_t rows, int64_t row_bytes,
                         const std::optional<MemoryBlock>& block)
    : plane_(plane), pitch_(pitch), rows_(rows), row_bytes_(row_bytes) {
  if (plane == nullptr || rows < 1 || row_bytes < 1) {
    rows_ = 0;
    return;
  }
  end_row_ = rows;
  if (!block) return;
  start_ = Distance(block->data, plane);
  block_size_ = static_cast<int64_t>(block->size);
  // Rows between two that are there are there as well.
  const auto is_there = [this](int64_t row) {
    return PartInBlock(row).bytes == static_cast<size_t>(row_bytes_);
  };
  whole_ = is_there(0) && is_there(rows - 1);
  if (!whole_) FindRows();
}

PlaneWalker PlaneWalker::BottomUp() const {
  PlaneWalker reversed = *this;
  const int64_t last_row = std::max<int64_t>(rows_ - 1, 0);
  const auto distance = static_cast<uint64_t>(last_row) * static_cast<uint64_t>(pitch_);
  reversed.plane_ = Moved(plane_, static_cast<int64_t>(distance));
  reversed.start_ = static_cast<int64_t>(static_cast<uint64_t>(start_) + distance);
  reversed.pitch_ = -pitch_;
  reversed.first_row_ = rows_ - end_row_;
  reversed.end_row_ = rows_ - first_row_;
  return reversed;
}

// Positions in the block, which wrap as addresses do.
RowPart PlaneWalker::PartInBlock(int64_t row) const {
  const auto distance =
      static_cast<int64_t>(static_cast<uint64_t>(row) * static_cast<uint64_t>(pitch_));
  const auto at =
      static_cast<int64_t>(static_cast<uint64_t>(start_) + static_cast<uint64_t>(distance));
  if (at >= block_size_ || at <= -row_bytes_) return {row, 0, nullptr, 0};
  const int64_t first = std::max<int64_t>(-at, 0);
  const int64_t end = std::min(row_bytes_, block_size_ - at);
  return {row, first, Moved(plane_, distance + first), static_cast<size_t>(end - first)};
}

// A row has a part when it starts above `low` and below `high`.
void PlaneWalker::FindRows() {
  first_row_ = end_row_ = 0;
  if (std::abs(start_ / 2) > kFarAway / 2 || row_bytes_ > kFarAway) return;
  const int64_t low = 1 - row_bytes_ - start_;
  const int64_t high = block_size_ - 1 - start_;
  if (low > high) return;
  if (pitch_ == 0) {
    if (low <= 0 && 0 <= high) end_row_ = rows_;
    return;
  }
  const int64_t first = pitch_ > 0 ? DivideUp(low, pitch_) : DivideUp(-high, -pitch_);
  const int64_t last = pitch_ > 0 ? DivideDown(high, pitch_) : DivideDown(-low, -pitch_);
  first_row_ = std::clamp<int64_t>(first, 0, rows_);
  end_row_ = std::clamp<int64_t>(last + 1, first_row_, rows_);
}

// Leaves in both the bytes that both have.
bool PlaneWalker::KeepCommon(RowPart& a, RowPart& b) {
  const int64_t first = std::max(a.first, b.first);
  const int64_t end =
      std::min(a.first + static_cast<int64_t>(a.bytes), b.first + static_cast<int64_t>(b.bytes));
  if (first >= end) return false;
  for (RowPart* part : {&a, &b}) {
    part->data += first - part->first;
    part->first = first;
    part->bytes = static_cast<size_t>(end - first);
  }
  return true;
}

MemoryBlock RowsAsBlock(uint8_t* plane, int64_t pitch, int64_t rows, int64_t row_bytes) {
  if (plane == nullptr || rows < 1 || row_bytes < 1) return {plane, 0};
  const int64_t between = (rows - 1) * pitch;
  const auto size = static_cast<uint64_t>(std::abs(between)) + static_cast<uint64_t>(row_bytes);
  return {Moved(plane, std::min<int64_t>(between, 0)), static_cast<size_t>(size)};
}

RowPart PartOf(uint8_t* data, int64_t bytes, const std::optional<MemoryBlock>& block) {
  const PlaneWalker walker(data, 0, 1, bytes, block);
  return walker.rows() > 0 ? walker.Part(0) : RowPart{};
}

std::span<uint8_t> WalkedBuffer::ValidBytes() const {
  const int64_t said = pitch(0);
  const auto capacity = int64_t{lock_.capacity()};
  const RowPart part = PartOf(plane(0), capacity != 0 ? std::min(said, capacity) : said, block_);
  return {part.data, part.bytes};
}

}  // namespace mivare
