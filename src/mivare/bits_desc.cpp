#include "bits_desc.h"

namespace mivare::desc {
namespace {

uint32_t MediaTypeOf(int32_t smt) {
  switch (smt) {
    case 30000: return kMediaAudio;
    case 31100: return kMediaSubtitle;
    default: return kMediaVideo;
  }
}

}  // namespace

BitsDesc::BitsDesc(int32_t smt) : media_type_(MediaTypeOf(smt)), smt_(smt) {}

bool BitsDesc::CopyFrom(const IMediaDesc& other) {
  const bool merged = DescBase::CopyFrom(other);
  media_type_ = other.GetMediaType();
  smt_ = other.GetSmt();
  return merged;
}

}  // namespace mivare::desc
