// The loops that go over every byte of a frame, each in several forms of which one processor or
// another is faster with the later ones. All forms give the same bytes and sums, and touch no byte
// but those of their operands, which may lie at any address.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace mivare {

/// Where the rows of a plane start.
struct RowRun {
  uint8_t* first = nullptr;
  int64_t pitch = 0;
};

struct SampleLoops {
  const char* name;
  /// Whether the processor and the system at hand run this form.
  bool (*runs_here)() noexcept;

  /// The squares of the differences between `samples` bytes of `a` and of `b`, added up. The bytes
  /// lie `step` apart, which is 1, 2 or 4.
  uint64_t (*add_squares)(const uint8_t* a, const uint8_t* b, size_t samples, size_t step) noexcept;

  /// What turns `units` units of `in` into as many of `out`, which do not overlap.
  using Convert = void (*)(uint8_t* out, const uint8_t* in, size_t units) noexcept;
  /// The high bytes of little-endian 16-bit samples.
  Convert take_high_bytes;
  /// Pixels of four such samples become the high bytes of 2, 1, 0 and 3.
  Convert exchange_high_bytes;
  /// Pixels of three bytes get a fourth one, 255.
  Convert add_alpha;

  /// Little-endian 16-bit words.
  void (*fill_words)(uint8_t* out, uint16_t word, size_t words) noexcept;
  /// Copies rows, each of them as memmove does. They may lie over one another.
  void (*copy_rows)(const RowRun& to, const RowRun& from, size_t row_bytes, size_t rows) noexcept;
};

/// Every form, the one that is preferred last. The first one runs everywhere.
std::span<const SampleLoops> AllSampleLoops() noexcept;

/// The preferred one of those that run here. Chosen once. Thread-safe.
const SampleLoops& BestSampleLoops() noexcept;

}  // namespace mivare
