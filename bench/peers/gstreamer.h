// GStreamer's video buffer pool: configured once, active, and asked for buffers.
#pragma once

#include <gst/video/gstvideopool.h>
#include <gst/video/video.h>

#include <cstdlib>
#include <memory>

#include "support/library.h"

namespace mivare::bench {

/// Brings GStreamer up once, without its plugins.
inline void StartGst() {
  static const bool started = [] {
    setenv("GST_REGISTRY_DISABLE", "yes", 1);
    gst_init(nullptr, nullptr);
    return true;
  }();
  static_cast<void>(started);
}

struct GstCapsDeleter {
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
};
using GstCapsPtr = std::unique_ptr<GstCaps, GstCapsDeleter>;

struct GstVideoInfoDeleter {
  void operator()(GstVideoInfo* info) const { gst_video_info_free(info); }
};
using GstVideoInfoPtr = std::unique_ptr<GstVideoInfo, GstVideoInfoDeleter>;

/// The caps of planar 4:2:0 pictures.
inline GstCapsPtr GstPictureCaps(Size size) {
  StartGst();
  return GstCapsPtr(gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "I420", "width",
                                        G_TYPE_INT, size.width, "height", G_TYPE_INT, size.height,
                                        "framerate", GST_TYPE_FRACTION, 25, 1, nullptr));
}

struct GstBufferDeleter {
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using GstBufferPtr = std::unique_ptr<GstBuffer, GstBufferDeleter>;

/// Any number of threads may take buffers.
class GstPicturePool {
 public:
  explicit GstPicturePool(Size size) {
    const GstCapsPtr caps = GstPictureCaps(size);
    GstVideoInfo info;
    gst_video_info_from_caps(&info, caps.get());
    pool_ = gst_video_buffer_pool_new();
    GstStructure* config = gst_buffer_pool_get_config(pool_);
    gst_buffer_pool_config_set_params(config, caps.get(), static_cast<guint>(info.size), 1, 0);
    gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_META);
    gst_buffer_pool_set_config(pool_, config);
    gst_buffer_pool_set_active(pool_, TRUE);
  }
  ~GstPicturePool() {
    gst_buffer_pool_set_active(pool_, FALSE);
    gst_object_unref(pool_);
  }
  GstPicturePool(const GstPicturePool&) = delete;
  GstPicturePool& operator=(const GstPicturePool&) = delete;

  GstBufferPtr Take() const {
    GstBuffer* buffer = nullptr;
    gst_buffer_pool_acquire_buffer(pool_, &buffer, nullptr);
    return GstBufferPtr(buffer);
  }

 private:
  GstBufferPool* pool_ = nullptr;
};

}  // namespace mivare::bench
