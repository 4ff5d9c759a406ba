// The planar formats: luma and two chroma planes, each of its own.
#pragma once

#include "desc/format_table.h"
#include "desc/video_desc.h"

namespace mivare::desc {

/// 4:2:0, smt 1 to 5.
class Yv12x final : public VideoFamily<Yv12x, kYv12xFormat> {
 public:
  using VideoFamily::VideoFamily;
};

/// 4:2:2, smt 60 to 64; 65 to 69 with an alpha plane.
class Yv16x final : public VideoFamily<Yv16x, kYv16xFormat> {
 public:
  using VideoFamily::VideoFamily;
};

/// 4:4:4, smt 70 to 74; 75 to 79 with an alpha plane.
class Yv24x final : public VideoFamily<Yv24x, kYv24xFormat> {
 public:
  using VideoFamily::VideoFamily;
};

}  // namespace mivare::desc
