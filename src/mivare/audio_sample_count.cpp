#include "desc.h"
#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"
#include "mivare/media_sample.h"

namespace mivare {
namespace {

constexpr float kNoAudio = -1.0F;
constexpr float kNoPcm = -2.0F;
constexpr int32_t kFirstPcm = 20000;
constexpr int32_t kLastPcm = 29999;

float CountSamples(IMediaBuffer* buffer) {
  const IMediaDesc* desc = buffer != nullptr ? buffer->GetDesc(0) : nullptr;
  if (desc == nullptr || desc->GetMediaType() != kMediaAudio) return kNoAudio;
  if (desc->GetSmt() < kFirstPcm || desc->GetSmt() > kLastPcm) return kNoPcm;
  const uint32_t frame_bytes = (desc->GetChannels() * desc->GetBitsPerSample()) >> 3U;
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  // A buffer that cannot be locked has no bytes.
  buffer->Lock(planes, pitches, nullptr, nullptr);
  const int32_t length = pitches[0];
  buffer->Unlock();
  return static_cast<float>(length) / static_cast<float>(frame_bytes);
}

}  // namespace
}  // namespace mivare

float NUXMivareGetAudioSampleCount(mivare::IMediaBuffer* buffer) try {
  return mivare::CountSamples(buffer);
} catch (...) {  // the host's own failure
  return mivare::kNoAudio;
}
