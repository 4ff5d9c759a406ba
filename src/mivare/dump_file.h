// The file behind a dump: whole rows of a plane in few writes, straight from the frame. That a
// write failed shows in the file alone; the first failure of a run of rows ends that run.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <utility>

#include "base/sample_loops.h"
#include "plane_walker.h"
#include "platform/platform.h"

namespace mivare {

class DumpFile {
 public:
  explicit DumpFile(platform::File file) : file_(std::move(file)) {}

  bool IsOpen() const { return file_ != nullptr; }

  bool Write(const uint8_t* bytes, size_t count) {
    const platform::FilePiece piece{bytes, count};
    return count == 0 || platform::WritePieces(file_.get(), std::span(&piece, 1));
  }

  /// Writes rows in their full length. Of one that is there in part the rest is zeros, so that
  /// columns stay straight; rows of which nothing is there are left out.
  void WriteRows(const PlaneWalker& rows) {
    if (rows.IsOneRun()) {
      Write(rows.plane(), static_cast<size_t>(rows.row_bytes() * rows.rows()));
      return;
    }
    Pieces pieces(file_.get());
    for (const RowPart& part : rows) {
      const auto end = part.first + static_cast<int64_t>(part.bytes);
      if (!pieces.AddZeros(part.first) || !pieces.Add(part.data, part.bytes) ||
          !pieces.AddZeros(rows.row_bytes() - end)) {
        return;
      }
    }
    pieces.Write();
  }

  /// Likewise for rows of units that are kIn bytes each in memory and kOut bytes in the file; a
  /// unit of which a byte is missing is zeros.
  template <size_t kIn, size_t kOut>
  void WriteConvertedRows(const PlaneWalker& rows, SampleLoops::Convert convert) {
    constexpr auto kInBytes = static_cast<int64_t>(kIn);
    const int64_t units = rows.row_bytes() / kInBytes;
    Converted<kOut> converted(*this);
    for (const RowPart& part : rows) {
      const int64_t first = (part.first + kInBytes - 1) / kInBytes;
      const int64_t end =
          std::max((part.first + static_cast<int64_t>(part.bytes)) / kInBytes, first);
      const uint8_t* in = part.data + (first * kInBytes - part.first);
      const auto zeros = [](uint8_t* out, size_t count, size_t) {
        std::memset(out, 0, count * kOut);
      };
      const auto samples = [&](uint8_t* out, size_t count, size_t done) {
        convert(out, in + done * kIn, count);
      };
      if (!converted.Add(first, zeros) || !converted.Add(end - first, samples) ||
          !converted.Add(units - end, zeros)) {
        return;
      }
    }
    converted.Write();
  }

  void Flush() { std::fflush(file_.get()); }

 private:
  /// Pieces that are written together. They are lent until then.
  class Pieces {
   public:
    explicit Pieces(std::FILE* file) : file_(file) {}

    bool Add(const uint8_t* bytes, size_t count) {
      if (count == 0) return true;
      if (used_ == pieces_.size() && !Write()) return false;
      pieces_[used_++] = {bytes, count};
      return true;
    }

    bool AddZeros(int64_t count) {
      static constexpr std::array<uint8_t, 1024> kZeros{};
      while (count > 0) {
        const auto bytes = static_cast<size_t>(std::min<int64_t>(count, kZeros.size()));
        if (!Add(kZeros.data(), bytes)) return false;
        count -= static_cast<int64_t>(bytes);
      }
      return true;
    }

    bool Write() {
      const size_t count = std::exchange(used_, 0);
      return platform::WritePieces(file_, std::span(pieces_.data(), count));
    }

   private:
    std::FILE* const file_;
    size_t used_ = 0;
    std::array<platform::FilePiece, 1024> pieces_;
  };

  /// Room for units of kOut bytes that are not in the file yet, small enough for a stack and the
  /// processor's cache.
  template <size_t kOut>
  class Converted {
   public:
    static constexpr size_t kUnits = (size_t{1} << 15) / kOut;

    explicit Converted(DumpFile& file) : file_(file) {}

    /// Has `make(out, count, done)` make the units from number `done` on, piece by piece.
    template <typename Make>
    bool Add(int64_t units, Make make) {
      for (int64_t done = 0; done < units;) {
        const auto count =
            static_cast<size_t>(std::min(units - done, static_cast<int64_t>(kUnits - used_)));
        make(bytes_.data() + used_ * kOut, count, static_cast<size_t>(done));
        used_ += count;
        done += static_cast<int64_t>(count);
        if (used_ == kUnits && !Write()) return false;
      }
      return true;
    }

    bool Write() { return file_.Write(bytes_.data(), std::exchange(used_, 0) * kOut); }

   private:
    DumpFile& file_;
    size_t used_ = 0;
    std::array<uint8_t, kUnits * kOut> bytes_;
  };

  platform::File file_;
};

}  // namespace mivare
