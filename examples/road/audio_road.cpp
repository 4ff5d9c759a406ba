#include "audio_road.h"

#include <algorithm>
#include <limits>
#include <string>

#include "failure.h"
#include "orlo/md5.h"

namespace road {
namespace {

mivare::MediaDescPtr MakeSoundDesc(const AudioInfo& info) {
  mivare::MediaDescPtr desc = mivare::MakeMediaDesc(2, info.format->smt);
  if (desc == nullptr) {
    throw Failure(kNoCounterpart, "the library has no sound of smt " +
                                      std::to_string(info.format->smt) + " for " +
                                      std::string(info.format->name));
  }
  desc->SetChannels(info.channels);
  desc->SetSampleRate(info.rate);
  desc->SetChannelLayout(info.layout);
  return desc;
}

}  // namespace

AudioRoad::AudioRoad(Library& library, const AudioInfo& info, const std::filesystem::path& folder,
                     Report& report)
    : library_(library),
      prefix_(folder / "sound"),
      file_(folder / "sound.pcm"),
      report_(report),
      desc_(MakeSoundDesc(info)) {}

void AudioRoad::Take(const Samples& samples) {
  Block block{library_.Request(*desc_, samples.time, report_.sound_requests), samples.time};
  if (block.buffer->SetData(samples.bytes.data(), static_cast<int32_t>(samples.bytes.size())) !=
      0) {
    throw Failure(kDiffers, "a buffer of the library takes no samples");
  }
  decoded_.insert(decoded_.end(), samples.bytes.begin(), samples.bytes.end());
  under_way_.push_back(std::move(block));
  if (under_way_.size() == kLookAhead) PlayOldest();
}

void AudioRoad::PlayOldest() {
  const Block block = std::move(under_way_.front());
  under_way_.pop_front();
  if (TimeOf(*block.buffer, ~block.time) == block.time) ++in_time_;
  const mivare::LockedBuffer lock(*block.buffer);
  if (!lock.ok()) throw Failure(kDiffers, "a buffer of the library cannot be locked");
  Append({lock.plane(0), static_cast<size_t>(lock.pitch(0))});
  ++report_.sound_blocks;
}

// AppendData grows by exactly what is missing and copies everything each time. Doubling the room
// first keeps long clips from going over their own bytes again and again.
void AudioRoad::Append(std::span<const uint8_t> bytes) {
  if (whole_ == nullptr) whole_ = library_.Request(*desc_, 0, report_.sound_requests);
  size_t size = 0;
  size_t capacity = 0;
  std::vector<uint8_t> roomier;
  {
    const mivare::LockedBuffer lock(*whole_);
    size = static_cast<size_t>(lock.pitch(0));
    capacity = lock.capacity();
    constexpr size_t kMost = std::numeric_limits<int32_t>::max();
    if (bytes.size() > kMost - size) {
      throw Failure(kUnusable, "the clip's sound does not fit one buffer of 2 GiB");
    }
    if (size + bytes.size() > capacity && capacity <= kMost / 2) {
      roomier.assign(lock.plane(0), lock.plane(0) + size);
      roomier.resize(std::max(2 * capacity, size + bytes.size()));
    }
  }
  if (!roomier.empty()) {
    whole_->SetData(roomier.data(), static_cast<int32_t>(roomier.size()));
    whole_->SetDataSize(static_cast<int32_t>(size));
  }
  if (!whole_->AppendData(bytes.data(), static_cast<uint32_t>(bytes.size()))) {
    throw Failure(kDiffers, "a buffer of the library takes no more samples");
  }
}

void AudioRoad::Finish() {
  while (!under_way_.empty()) PlayOldest();
  if (whole_ == nullptr) return;
  Dump(prefix_, file_, whole_);
  whole_.reset();
}

void AudioRoad::Compare() {
  const std::string all = " of " + std::to_string(report_.sound_blocks) + " sound stamps";
  report_.comparisons.push_back(
      {"time stamps", std::to_string(report_.sound_blocks) + all, std::to_string(in_time_) + all});
  if (report_.sound_blocks == 0) return;
  report_.files.push_back(file_);
  report_.comparisons.push_back(
      CompareFile(file_, orlo::md5::MD5String(decoded_.data(), decoded_.size())));
}

}  // namespace road
