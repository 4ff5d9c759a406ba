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

  /// Writes `rows` rows of `row_bytes` bytes, the first from `first`, each further one `pitch`
  /// bytes on. A plane that is null and counts below 1 write nothing.
  void WriteRows(const uint8_t* first, int64_t pitch, int64_t row_bytes, int64_t rows) {
    if (first == nullptr || row_bytes < 1 || rows < 1) return;
    if (pitch == row_bytes) {
      Write(first, static_cast<size_t>(row_bytes * rows));
      return;
    }
    for (int64_t row = 0; row < rows; ++row) {
      if (!Write(first + row * pitch, static_cast<size_t>(row_bytes))) return;
    }
  }

  /// Likewise for rows of `units` units that are kIn bytes each in memory and kOut bytes in the
  /// file. `convert(in, out)` turns one into the other.
  template <size_t kIn, size_t kOut, typename Convert>
  void WriteConvertedRows(const uint8_t* first, int64_t pitch, int64_t units, int64_t rows,
                          Convert convert) {
    if (first == nullptr || units < 1) return;
    constexpr int64_t kUnitsAtOnce = 1024;
    std::array<uint8_t, kUnitsAtOnce * kOut> converted;
    for (int64_t row = 0; row < rows; ++row) {
      const uint8_t* in = first + row * pitch;
      for (int64_t done = 0; done < units; done += kUnitsAtOnce) {
        const auto count = static_cast<size_t>(std::min(kUnitsAtOnce, units - done));
        const uint8_t* from = in + done * static_cast<int64_t>(kIn);
        for (size_t i = 0; i < count; ++i) convert(from + i * kIn, converted.data() + i * kOut);
        if (!Write(converted.data(), count * kOut)) return;
      }
    }
  }

  void Flush() { std::fflush(file_.get()); }

 private:
  static constexpr size_t kBufferBytes = size_t{1} << 16;

  std::unique_ptr<char[]> buffer_;  // outlives the file, which writes it out when it closes
  platform::File file_;
};

}  // namespace mivare
