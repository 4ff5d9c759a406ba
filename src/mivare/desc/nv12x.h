// The semi-planar formats: luma, and one plane of interleaved chroma.
#pragma once

#include "desc/format_table.h"
#include "desc/video_desc.h"

namespace mivare::desc {

/// 4:2:0, smt 6 to 10; 11 to 15 with an alpha plane.
class Nv12x final : public VideoFamily<Nv12x, kNv12xFormat> {
 public:
  using VideoFamily::VideoFamily;
};

/// 4:2:2, smt 16 to 20; 21 to 25 with an alpha plane. The factory builds 26 to 35 as this one too.
class Nv16x final : public VideoFamily<Nv16x, kNv16xFormat> {
 public:
  using VideoFamily::VideoFamily;
};

/// 4:4:4, smt 26 to 30; 31 to 35 with an alpha plane.
class Nv24x final : public VideoFamily<Nv24x, kNv24xFormat> {
 public:
  using VideoFamily::VideoFamily;
};

}  // namespace mivare::desc
