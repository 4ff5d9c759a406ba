// Descriptions of PCM audio.
#pragma once

#include <cstdint>

#include "desc.h"

namespace mivare::desc {

class AudioDescBase final : public Cloneable<AudioDescBase, PicturelessDesc> {
 public:
  /// Two channels at 44100 Hz of the sample format `smt`.
  explicit AudioDescBase(int32_t smt);
  AudioDescBase(const AudioDescBase&) = default;

  uint32_t GetMediaType() const override { return kMediaAudio; }
  int32_t GetSmt() const override { return smt_; }
  int32_t GetMediaTypeAndSmt(uint32_t* media_type, uint32_t* smt) const override {
    return WriteTypeAndSmt(*this, media_type, smt);
  }
  uint32_t GetTag() const override { return tag_; }
  void SetTag(uint32_t tag) override { tag_ = tag; }

  void SetChannels(uint32_t value) override { channels_ = value; }
  uint32_t GetChannels() const override { return channels_; }
  void SetChannelLayout(uint64_t value) override { channel_layout_ = value; }
  uint64_t GetChannelLayout() const override { return channel_layout_; }
  void SetSampleRate(uint32_t value) override { sample_rate_ = value; }
  uint32_t GetSampleRate() const override { return sample_rate_; }
  uint32_t GetBitsPerSample() const override { return bits_per_sample_; }

  /// Takes channels, rate and layout; no user data.
  bool CopyFrom(const IMediaDesc& other) override;

  // Slots behind the interface.
  virtual void ReservedFirst() {}
  virtual void ReservedSecond() {}
  virtual uint32_t GetBlockAlign() const { return block_align_; }
  virtual void SetBlockAlign(uint32_t value) { block_align_ = value; }

 private:
  uint32_t tag_ = 1;
  int32_t smt_;
  uint32_t bits_per_sample_;
  uint32_t channels_ = 2;
  uint32_t sample_rate_ = 44100;
  uint32_t block_align_ = 0;
  uint64_t channel_layout_ = 3;
  [[maybe_unused]] uint64_t carried_ = 1;  // goes along with copies, nobody reads it
};

}  // namespace mivare::desc
