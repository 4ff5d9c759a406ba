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

  bool operator==(const FrameKey&) const = default;
  size_t Hash() const;

  /// The text that gives pools their order. Throws std::bad_alloc.
  std::string Text() const;

 private:
  enum Field { kDevice, kFormat, kPlatform, kTexType, kHost, kCompatible, kWidth, kHeight, kBlank };

  std::array<int32_t, 9> fields_{};
};

}  // namespace mivare
