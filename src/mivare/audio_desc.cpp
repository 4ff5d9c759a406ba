#include "audio_desc.h"

#include <array>
#include <cstddef>

namespace mivare::desc {
namespace {

constexpr int32_t kFirstCode = 20001;
// 20001 to 20005, and again 20006 to 20010.
constexpr std::array<uint32_t, 5> kBits = {8, 16, 32, 32, 64};
constexpr uint32_t kDefaultBits = 16;

uint32_t BitsPerSampleOf(int32_t smt) {
  const uint32_t index = static_cast<uint32_t>(smt) - static_cast<uint32_t>(kFirstCode);
  return index < 2 * kBits.size() ? kBits[index % kBits.size()] : kDefaultBits;
}

}  // namespace

AudioDescBase::AudioDescBase(int32_t smt) : smt_(smt), bits_per_sample_(BitsPerSampleOf(smt)) {}

bool AudioDescBase::CopyFrom(const IMediaDesc& other) {
  channels_ = other.GetChannels();
  sample_rate_ = other.GetSampleRate();
  channel_layout_ = other.GetChannelLayout();
  return true;
}

}  // namespace mivare::desc
