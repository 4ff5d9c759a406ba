// The road of the pictures: requested, filled, under way in samples for a while, looked at through
// views, given back.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "mivare/mivare.h"
#include "report.h"
#include "requests.h"
#include "source.h"
#include "views.h"

namespace road {

class VideoRoad {
 public:
  /// Files go to `folder`, findings to `report`; both and `library` outlive this object.
  VideoRoad(Library& library, const VideoInfo& info, const std::filesystem::path& folder,
            Report& report);

  /// Copies a decoded picture into a frame of the library and lets the frame that has been under
  /// way longest go, once there are enough.
  void Take(const Picture& picture);

  /// Lets the remaining frames go.
  void Finish();

  /// Holds what was seen and written against what the decoder gave.
  void Compare();

 private:
  // What the decoder gave, and what of it is on its way to the display.
  struct Frame {
    std::shared_ptr<mivare::IMediaSample> sample;
    int64_t time = 0;
    std::string digest;  // of the decoder's bytes
    std::string middle_digest;
  };

  void ShowOldest();
  bool IsAsDecoded(mivare::IMediaBuffer& shown, const Frame& frame) const;
  bool IsMiddleAsDecoded(mivare::IMediaBuffer& crop, const Frame& frame) const;
  std::string DigestOf(mivare::IMediaBuffer& frame, int width, int height) const;
  void WriteImage(mivare::IMediaBuffer& frame, int64_t time);

  Library& library_;
  VideoInfo info_;
  std::filesystem::path folder_;
  Report& report_;
  mivare::MediaDescPtr desc_;        // of every request; only the time stamp changes
  mivare::MediaDescPtr image_desc_;  // of the upright pictures in screen colours
  std::filesystem::path dump_;       // of the first frame
  std::deque<Frame> under_way_;
  std::vector<uint8_t> first_picture_;  // the decoder's bytes
  Rect middle_;
  size_t same_ = 0;
  size_t same_middles_ = 0;
};

}  // namespace road
