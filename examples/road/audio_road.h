// The road of the sound: each block in a buffer of its own, then all of it in one long buffer that
// is written as a PCM file.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <vector>

#include "mivare/mivare.h"
#include "report.h"
#include "requests.h"
#include "source.h"

namespace road {

class AudioRoad {
 public:
  AudioRoad(Library& library, const AudioInfo& info, const std::filesystem::path& folder,
            Report& report);

  /// Copies decoded samples into a buffer of the library and lets the buffer that has been under
  /// way longest go, once there are enough.
  void Take(const Samples& samples);

  /// Lets the remaining buffers go and writes the file.
  void Finish();

  /// Holds what was heard and written against what the decoder gave.
  void Compare();

 private:
  struct Block {
    std::shared_ptr<mivare::IMediaBuffer> buffer;
    int64_t time = 0;
  };

  void PlayOldest();
  void Append(std::span<const uint8_t> bytes);

  Library& library_;
  std::filesystem::path prefix_;
  std::filesystem::path file_;
  Report& report_;
  mivare::MediaDescPtr desc_;
  std::deque<Block> under_way_;
  std::shared_ptr<mivare::IMediaBuffer> whole_;
  std::vector<uint8_t> decoded_;  // the decoder's own bytes, for the comparison
  size_t in_time_ = 0;
};

}  // namespace road
