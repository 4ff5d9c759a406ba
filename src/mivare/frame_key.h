// The text by which frames of equal requests find the same pool.
#pragma once

#include <string_view>

namespace mivare {

class IMediaDesc;

/// Size, format and place of a request; for device memory also what the hints "AllocHostMem" and
/// "PlatformCompatible" ask for. Throws orlo::AnyBadAccess when the latter does not fit an int32.
class FrameKey {
 public:
  FrameKey(const IMediaDesc& desc, bool blank);
  std::string_view text() const { return text_; }

 private:
  char text_[160];  // more than the longest text of seven numbers
};

}  // namespace mivare
