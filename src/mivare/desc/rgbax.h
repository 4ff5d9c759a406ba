// Packed pixels of four components.
#pragma once

#include "desc/format_table.h"
#include "desc/video_desc.h"

namespace mivare::desc {

/// smt 44 to 52.
class Bgrax final : public VideoFamily<Bgrax, kBgraxFormat> {
 public:
  using VideoFamily::VideoFamily;
};

}  // namespace mivare::desc
