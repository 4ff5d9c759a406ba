// A buffer as a host might write its own, with planes that hold a pattern, and no byte more than a
// reader of its rows may touch.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "mivare/helper.h"
#include "mivare/media_buffer.h"

namespace mivare::test {

/// What HostFrame leaves between the rows.
inline constexpr uint8_t kPadding = 0xEE;

class HostFrame : public IMediaBuffer {
 public:
  explicit HostFrame(MediaDescPtr description) : desc(std::move(description)) {}

  MediaDescPtr desc;
  std::array<std::vector<uint8_t>, 8> memory;
  std::array<uint8_t*, 8> planes{};
  std::array<int32_t, 8> pitches{};
  uint32_t capacity = 0;
  int32_t lock_status = 0;
  int32_t copy_status = 0;
  bool throws = false;

  int locks = 0;
  int unlocks = 0;
  bool lock_was_for_reading = true;  ///< each lock so far had a null third argument
  IMediaBuffer* copied_from = nullptr;

  /// Gives plane `index` `rows` rows of `row_bytes` bytes: byte c of row r is
  /// index << 6 | r << 4 | c, for planes of up to 4 rows of up to 16 bytes.
  void AddPlane(size_t index, int32_t pitch, size_t row_bytes, size_t rows) {
    const auto step = static_cast<size_t>(pitch);
    memory[index].assign(step * (rows - 1) + row_bytes, kPadding);
    for (size_t r = 0; r < rows; ++r) {
      for (size_t c = 0; c < row_bytes; ++c) {
        memory[index][r * step + c] = static_cast<uint8_t>(index << 6 | r << 4 | c);
      }
    }
    planes[index] = memory[index].data();
    pitches[index] = pitch;
  }

  int32_t Lock(uint8_t* out_planes[8], int32_t out_pitches[8], void* reserved,
               uint32_t* capacity_out) override {
    if (throws) throw 7;
    ++locks;
    lock_was_for_reading = lock_was_for_reading && reserved == nullptr;
    // Also when refusing: nobody may use what a failed lock left behind.
    for (size_t i = 0; i < 8; ++i) {
      out_planes[i] = planes[i];
      out_pitches[i] = pitches[i];
    }
    if (capacity_out != nullptr) *capacity_out = capacity;
    return lock_status;
  }
  int32_t Unlock() override {
    ++unlocks;
    return 0;
  }
  int32_t CopyFrom(IMediaBuffer* source) override {
    copied_from = source;
    return copy_status;
  }
  int32_t SetData(const uint8_t*, int32_t) override { return -1; }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t) override { return nullptr; }
  /// Says what it is to the argument that everyone passes, and to no other.
  IMediaDesc* GetDesc(uint32_t argument) override { return argument == 0 ? desc.get() : nullptr; }
  int32_t SetDataSize(int32_t) override { return -1; }
  std::shared_ptr<void> QueryObject(uint32_t, uint64_t) override { return nullptr; }
  void* QueryNative(uint32_t) override { return nullptr; }
  bool IsDeviceMemory() override { return false; }
  bool AppendData(const uint8_t*, uint32_t) override { return false; }
  void Flush() override {}
};

/// A frame with room for up to 3 rows of 16 bytes in each of its first `planes` planes.
inline std::shared_ptr<HostFrame> PatternFrame(MediaDescPtr desc, size_t planes) {
  auto frame = std::make_shared<HostFrame>(std::move(desc));
  for (size_t i = 0; i < planes; ++i) frame->AddPlane(i, 24, 16, 3);
  return frame;
}

/// `count` bytes, the first one given, each further one `step` larger: a piece of a row of
/// HostFrame's pattern.
struct Strip {
  uint8_t first;
  int count;
  int step = 1;
};

inline std::vector<uint8_t> Join(const std::vector<Strip>& strips) {
  std::vector<uint8_t> bytes;
  for (const Strip& strip : strips) {
    for (int i = 0; i < strip.count; ++i) {
      bytes.push_back(static_cast<uint8_t>(strip.first + i * strip.step));
    }
  }
  return bytes;
}

}  // namespace mivare::test
