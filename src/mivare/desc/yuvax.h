// Planar 4:2:0 with an alpha plane of full size.
#pragma once

#include "desc/format_table.h"
#include "desc/video_desc.h"

namespace mivare::desc {

/// smt 55 to 59.
class Yuvax final : public VideoFamily<Yuvax, kYuvaxFormat> {
 public:
  using VideoFamily::VideoFamily;
};

}  // namespace mivare::desc
