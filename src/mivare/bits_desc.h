// Descriptions of compressed bitstreams, whatever they carry.
#pragma once

#include <cstdint>

#include "desc.h"

namespace mivare::desc {

class BitsDesc final : public Cloneable<BitsDesc, PicturelessDesc> {
 public:
  /// 30000 carries audio, 31100 subtitles, any other code video.
  explicit BitsDesc(int32_t smt);
  BitsDesc(const BitsDesc&) = default;

  uint32_t GetMediaType() const override { return media_type_; }
  int32_t GetSmt() const override { return smt_; }
  int32_t GetMediaTypeAndSmt(uint32_t* media_type, uint32_t* smt) const override {
    return WriteTypeAndSmt(*this, media_type, smt);
  }
  uint32_t GetTag() const override { return 1; }
  void SetTag(uint32_t) override {}

  /// Merges the user data, takes media type and smt. False when memory is short for the first.
  bool CopyFrom(const IMediaDesc& other) override;

  // Slots behind the interface.
  virtual int32_t ReservedStatus() { return 0; }
  virtual void ReservedAction() {}

 private:
  uint32_t media_type_;
  int32_t smt_;
};

}  // namespace mivare::desc
