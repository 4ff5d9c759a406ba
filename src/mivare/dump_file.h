// The file behind a dump: whole rows of a plane in few writes. That a write failed shows in the
// file alone; the first failure of a run of rows ends that run.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

#include "plane_walker.h"
#include "platform/platform.h"

namespace mivare {

class DumpFile {
 public:
  explicit DumpFile(platform::File file)
      : buffer_(new (std::nothrow) char[kBufferBytes]), file_(std::move(file)) {
    if (file_ && buffer_) std::setvbuf(file_.get(), buffer_.get(), _IOFBF, kBufferBytes);
  }

  bool IsOpen() const { return file_ != nullptr; }

  bool Write(const uint8_t* bytes, size_t count) {
    return std::fwrite(bytes, 1, count, file_.get()) == count;
  }

  /// Writes rows in their full length. Of one that is there in part the rest is zeros, so that
  /// columns stay straight; rows of which nothing is there are left out.
  void WriteRows(const PlaneWalker& rows) {
    if (rows.IsOneRun()) {
      Write(rows.plane(), static_cast<size_t>(rows.row_bytes() * rows.rows()));
      return;
    }
    for (const RowPart& part : rows) {
      const auto end = part.first + static_cast<int64_t>(part.bytes);
      if (!WriteZeros(part.first) || !Write(part.data, part.bytes) ||
          !WriteZeros(rows.row_bytes() - end)) {
        return;
      }
    }
  }

  /// Likewise for rows of units that are kIn bytes each in memory and kOut bytes in the file; a
  /// unit of which a byte is missing is zeros. `convert(in, out)` turns one into the other.
  template <size_t kIn, size_t kOut, typename Convert>
  void WriteConvertedRows(const PlaneWalker& rows, Convert convert) {
    constexpr auto kInBytes = static_cast<int64_t>(kIn);
    constexpr auto kOutBytes = static_cast<int64_t>(kOut);
    const int64_t units = rows.row_bytes() / kInBytes;
    for (const RowPart& part : rows) {
      const int64_t first = (part.first + kInBytes - 1) / kInBytes;
      const int64_t end =
          std::max((part.first + static_cast<int64_t>(part.bytes)) / kInBytes, first);
      const uint8_t* in = part.data + (first * kInBytes - part.first);
      if (!WriteZeros(first * kOutBytes) || !WriteConverted<kIn, kOut>(in, end - first, convert) ||
          !WriteZeros((units - end) * kOutBytes)) {
        return;
      }
    }
  }

  void Flush() { std::fflush(file_.get()); }

 private:
  template <size_t kIn, size_t kOut, typename Convert>
  bool WriteConverted(const uint8_t* in, int64_t units, Convert convert) {
    constexpr int64_t kUnitsAtOnce = 1024;
    std::array<uint8_t, kUnitsAtOnce * kOut> converted;
    while (units > 0) {
      const auto count = static_cast<size_t>(std::min(kUnitsAtOnce, units));
      for (size_t i = 0; i < count; ++i) convert(in + i * kIn, converted.data() + i * kOut);
      if (!Write(converted.data(), count * kOut)) return false;
      in += count * kIn;
      units -= static_cast<int64_t>(count);
    }
    return true;
  }

  bool WriteZeros(int64_t count) {
    static constexpr std::array<uint8_t, 1024> kZeros{};
    while (count > 0) {
      const auto bytes = static_cast<size_t>(std::min<int64_t>(count, kZeros.size()));
      if (!Write(kZeros.data(), bytes)) return false;
      count -= static_cast<int64_t>(bytes);
    }
    return true;
  }

  static constexpr size_t kBufferBytes = size_t{1} << 16;

  std::unique_ptr<char[]> buffer_;  // outlives the file, which writes it out when it closes
  platform::File file_;
};

}  // namespace mivare
