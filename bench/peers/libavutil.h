// libavutil as an engine would use it for pooled frames: one pool of whole pictures, one AVFrame
// for each request, its planes in the pooled block, properties by av_frame_copy_props.
#pragma once

extern "C" {
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libavutil/imgutils.h>
}

#include <array>
#include <memory>
#include <string>

#include "support/library.h"

namespace mivare::bench {

struct AvFrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using AvFramePtr = std::unique_ptr<AVFrame, AvFrameDeleter>;

/// A frame without a picture that carries the same as AddNotes leaves: two dictionary entries (a
/// dictionary holds texts alone) and a block of side data.
inline AvFramePtr AvProperties(Notes notes) {
  AvFramePtr frame(av_frame_alloc());
  if (notes == Notes::kNone) return frame;
  for (size_t i = 0; i < kNoteKeys.size(); ++i) {
    const std::string text =
        notes == Notes::kNumbers ? std::to_string(kNumbers[i]) : std::string(kTexts[i]);
    av_dict_set(&frame->metadata, kNoteKeys[i], text.c_str(), 0);
  }
  av_frame_new_side_data(frame.get(), AV_FRAME_DATA_SEI_UNREGISTERED, kNoteBytes);
  return frame;
}

/// Planar 4:2:0 frames of one size. Any number of threads may take frames.
class AvFramePool {
 public:
  explicit AvFramePool(Size size) : size_(size) {
    constexpr int kAlignment = 64;
    av_image_fill_linesizes(pitches_.data(), kFormat, size.width);
    for (int& pitch : pitches_) pitch = (pitch + kAlignment - 1) / kAlignment * kAlignment;
    std::array<ptrdiff_t, 4> steps{};
    std::array<size_t, 4> bytes{};
    for (size_t i = 0; i < steps.size(); ++i) steps[i] = pitches_[i];
    av_image_fill_plane_sizes(bytes.data(), kFormat, size.height, steps.data());
    pool_ = av_buffer_pool_init(bytes[0] + bytes[1] + bytes[2], nullptr);
  }
  ~AvFramePool() { av_buffer_pool_uninit(&pool_); }
  AvFramePool(const AvFramePool&) = delete;
  AvFramePool& operator=(const AvFramePool&) = delete;

  AvFramePtr Take() const {
    AvFramePtr frame(av_frame_alloc());
    frame->format = kFormat;
    frame->width = size_.width;
    frame->height = size_.height;
    frame->buf[0] = av_buffer_pool_get(pool_);
    for (size_t i = 0; i < pitches_.size(); ++i) frame->linesize[i] = pitches_[i];
    av_image_fill_pointers(frame->data, kFormat, size_.height, frame->buf[0]->data,
                           pitches_.data());
    return frame;
  }

  AvFramePtr Take(const AVFrame& properties) const {
    AvFramePtr frame = Take();
    av_frame_copy_props(frame.get(), &properties);
    return frame;
  }

 private:
  static constexpr AVPixelFormat kFormat = AV_PIX_FMT_YUV420P;

  Size size_;
  std::array<int, 4> pitches_{};
  AVBufferPool* pool_ = nullptr;
};

}  // namespace mivare::bench
