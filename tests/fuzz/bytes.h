// Values read out of the bytes that a fuzzing engine makes up.
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>

namespace mivare::fuzz {

/// Reads from the front; behind the end everything is 0 or empty.
class Bytes {
 public:
  Bytes(const uint8_t* data, size_t size) : rest_(data, size) {}

  bool Empty() const { return rest_.empty(); }

  /// Little-endian.
  template <std::integral T = uint8_t>
  T Take() {
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) value |= uint64_t{Byte()} << (8 * i);
    return static_cast<T>(value);
  }

  bool Flag() { return (Byte() & 1U) != 0; }

  /// A number in [0, `bound`); `bound` is at least 1.
  uint32_t Below(uint32_t bound) {
    return (bound <= 256 ? Take<uint8_t>() : Take<uint32_t>()) % bound;
  }

  /// One of `options`.
  template <class T, size_t kCount>
  const T& OneOf(const std::array<T, kCount>& options) {
    return options[Below(kCount)];
  }

  /// A number that sizes and coordinates trip over, or a small one, or any.
  int32_t Size() {
    constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
    constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
    constexpr std::array kEdges = {0,      1,       2,       63,      64,      65,          127,
                                   4096,   30720,   46341,   65535,   65536,   65537,       200000,
                                   200001, 1 << 20, 1 << 24, 1 << 30, kMost,   kMost - 63,  -1,
                                   -2,     -63,     -64,     -65536,  -200000, kLeast + 63, kLeast};
    const uint8_t kind = Byte();
    if (kind < 128) return kind;
    if (kind < 192) return Take<int32_t>();
    if (kind < 224) return Take<int16_t>();
    return kEdges[(kind - 224U) % kEdges.size()];
  }

  /// The next bytes, at most `most`, of which a byte says how many.
  std::span<const uint8_t> Some(size_t most) { return Cut(std::min<size_t>(Byte(), most)); }
  std::string Text(size_t most) {
    const std::span<const uint8_t> bytes = Some(most);
    return {bytes.begin(), bytes.end()};
  }
  /// The same up to the first NUL.
  std::string Word(size_t most) {
    std::string text = Text(most);
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
  }
  std::span<const uint8_t> Rest() { return Cut(rest_.size()); }

 private:
  uint8_t Byte() {
    const std::span<const uint8_t> byte = Cut(1);
    return byte.empty() ? uint8_t{0} : byte[0];
  }
  std::span<const uint8_t> Cut(size_t count) {
    const std::span<const uint8_t> cut = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(cut.size());
    return cut;
  }

  std::span<const uint8_t> rest_;
};

}  // namespace mivare::fuzz
