// What frames of equal requests have in common, by which they find the same pool.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace mivare {

class IMediaDesc;

/// Size, format and place of a request; for device memory also what the hints "AllocHostMem" and
/// "PlatformCompatible" ask for. Two keys are equal exactly when their texts are.
class FrameKey {
 public:
  /// Throws orlo::AnyBadAccess when the latter hint does not fit an int32. Allocates nothing where
  /// the request's user data are the library's own and the hint is a number.
  FrameKey(const IMediaDesc& desc, bool blank);

  bool operator==(const FrameKey& other) const {
    uint64_t difference = 0;
    for (size_t i = 0; i < words_.size(); ++i) difference |= words_[i] ^ other.words_[i];
    return difference == 0;
  }
  size_t Hash() const;

  /// The text that gives pools their order. Throws std::bad_alloc.
  std::string Text() const;

 private:
  /// Two 32-bit fields each, so that comparing and hashing take few steps.
  enum Word { kSize, kKind, kPlatform, kHints };

  int32_t High(Word word) const { return static_cast<int32_t>(words_[word] >> 32U); }
  int32_t Low(Word word) const { return static_cast<int32_t>(words_[word]); }

  std::array<uint64_t, 4> words_{};
};

}  // namespace mivare
