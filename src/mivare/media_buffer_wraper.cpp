// MediaBufferWraper: the caller's memory as a picture.
#include <memory>
#include <new>
#include <utility>

#include "desc.h"
#include "mivare/buffer_views.h"
#include "mivare/helper.h"
#include "picture_view.h"

namespace mivare {
namespace {

class MediaBufferWraper final : public PictureView {
 public:
  MediaBufferWraper(std::shared_ptr<IMediaDesc> desc, uint8_t* data, uint32_t pitch)
      : PictureView(std::move(desc)), data_(data), pitch_(pitch) {}

  int32_t Lock(uint8_t* planes[8], int32_t pitches[8], void*, uint32_t*) override {
    if (planes != nullptr) planes[0] = data_;
    if (pitches != nullptr) pitches[0] = static_cast<int32_t>(pitch_);
    return 0;
  }
  int32_t Unlock() override { return 0; }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t) override { return {}; }
  void Flush() override {}

 private:
  uint8_t* const data_;
  const uint32_t pitch_;
};

// Empty when there is none: a wrapper does without.
std::shared_ptr<IMediaDesc> DescribePicture(uint32_t width, uint32_t height, uint32_t smt) try {
  std::shared_ptr<IMediaDesc> desc = MakeMediaDesc(kMediaVideo, static_cast<int32_t>(smt));
  if (desc != nullptr) {
    desc->SetWidthHeight(static_cast<int32_t>(width), static_cast<int32_t>(height));
  }
  return desc;
} catch (const std::bad_alloc&) {
  return {};
}

}  // namespace
}  // namespace mivare

int32_t NUXMivareCreateMediaBufferWraper(uint32_t width, uint32_t height, uint32_t smt,
                                         uint8_t* data, uint32_t pitch,
                                         std::shared_ptr<mivare::IMediaBuffer>* out) try {
  if (out == nullptr) return -1;
  *out = std::make_shared<mivare::MediaBufferWraper>(mivare::DescribePicture(width, height, smt),
                                                     data, pitch);
  return 0;
} catch (...) {
  return -1;
}
