// The subtitle part of a video description: two pairs of numbers and a text.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "mivare/media_desc.h"

namespace mivare {

class Subtitle final : public ISubtitleDesc {
 public:
  int32_t GetFirstPair(uint32_t* a, uint32_t* b) const override;
  int32_t GetSecondPair(uint32_t* a, uint32_t* b) const override;
  const char* GetText() const override { return text_.c_str(); }
  int32_t SetFirstPair(uint32_t a, uint32_t b) override;
  int32_t SetSecondPair(const uint32_t* a, const uint32_t* b) override;
  /// Keeps the old text when memory is short.
  void SetText(const char* text) override;

 private:
  std::array<uint32_t, 2> first_{};
  std::array<uint32_t, 2> second_{};
  std::string text_;
};

}  // namespace mivare
