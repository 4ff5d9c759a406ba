// A clip made of arithmetic: moving gradients and a tone, in any format and size.
#pragma once

#include <string_view>
#include <vector>

#include "source.h"

namespace road {

class SyntheticSource final : public Source {
 public:
  /// Either format may be empty for a clip without it. Each frame comes with a block of sound.
  SyntheticSource(std::string_view pixel_format, int width, int height, int frames,
                  std::string_view sample_format);

  const StreamInfo& Info() const override { return info_; }
  StreamInfo& info() { return info_; }
  std::optional<Packet> Next() override;

 private:
  Picture MakePicture();
  Samples MakeSamples();

  StreamInfo info_;
  int frames_;
  int frame_ = 0;
  bool sound_next_ = false;
  std::vector<std::vector<uint8_t>> planes_;
  std::vector<uint8_t> samples_;
};

}  // namespace road
