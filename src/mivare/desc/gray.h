// One 8-bit plane.
#pragma once

#include "desc/format_table.h"
#include "desc/video_desc.h"

namespace mivare::desc {

/// smt 15000.
class Gray final : public VideoFamily<Gray, kGrayFormat> {
 public:
  using VideoFamily::VideoFamily;
};

}  // namespace mivare::desc
