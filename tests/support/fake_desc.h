// A description of a host's own making: not one of the library's classes, and programmable where
// buffers and allocators ask.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "mivare/helper.h"
#include "mivare/media_desc.h"
#include "mivare/user_data.h"

namespace mivare::test {

/// Copies share the stores and the count of copies alive.
class FakeDesc : public IMediaDesc {
 public:
  FakeDesc(uint32_t type, int32_t code, uint32_t w = 64, uint32_t h = 64)
      : media_type(type), smt(code), width(w), height(h) {}

  uint32_t media_type;
  int32_t smt;
  uint32_t width;
  uint32_t height;
  uint32_t sample_rate = 48000;
  uint32_t channels = 2;
  uint32_t bit_depth = 8;
  uint32_t memory_location = 0;
  uint32_t platform = 0;
  uint32_t tex_type = 0;
  /// The answers to GetFrameSize on one object: each in turn, then the last one for ever.
  std::vector<int32_t> frame_sizes{4096};
  bool cloneable = true;
  bool throws_at_clone = false;
  int32_t pitches_status = 0;
  IUserDataConfig* user_data = nullptr;
  void* extend_data = nullptr;
  void* audio_volumes = nullptr;
  void* cameras = nullptr;
  /// Its use count is the number of copies alive, this one included.
  std::shared_ptr<int> alive = std::make_shared<int>(0);

  long Alive() const { return alive.use_count(); }

  uint32_t GetMediaType() const override { return media_type; }
  int32_t GetSmt() const override { return smt; }
  int32_t GetMediaTypeAndSmt(uint32_t* type, uint32_t* code) const override {
    if (type == nullptr || code == nullptr) return -1;
    *type = media_type;
    *code = static_cast<uint32_t>(smt);
    return 0;
  }
  uint32_t GetTag() const override { return 1; }
  void SetTag(uint32_t) override {}
  uint32_t GetWidth() const override { return width; }
  void SetWidthHeight(int32_t w, int32_t h) override {
    width = static_cast<uint32_t>(w);
    height = static_cast<uint32_t>(h);
  }
  uint32_t GetHeight() const override { return height; }
  void SetDisplayAspectRatio(orlo::Rational) override {}
  orlo::Rational GetDisplayAspectRatio() const override { return {1, 1}; }
  uint32_t GetInterlace() const override { return 0; }
  void SetInterlace(uint32_t) override {}
  uint32_t GetRotation() const override { return 0; }
  void SetRotation(uint32_t) override {}
  uint32_t GetFilpType() const override { return 0; }
  void SetFilpType(uint32_t) override {}
  uint32_t GetBitDepth() const override { return bit_depth; }
  void SetVideoSignalRange(uint32_t) override {}
  uint32_t GetVideoSignalRange() const override { return 1; }
  void SetVideoMatrix(uint32_t) override {}
  uint32_t GetVideoMatrix() const override { return 1; }
  void SetTransferCharacter(uint32_t) override {}
  uint32_t GetTransferCharacter() const override { return 1; }
  void SetColorPrimary(uint32_t) override {}
  uint32_t GetColorPrimary() const override { return 0; }
  void SetChannels(uint32_t value) override { channels = value; }
  uint32_t GetChannels() const override { return channels; }
  void SetChannelLayout(uint64_t) override {}
  uint64_t GetChannelLayout() const override { return 3; }
  void SetSampleRate(uint32_t value) override { sample_rate = value; }
  uint32_t GetSampleRate() const override { return sample_rate; }
  uint32_t GetBitsPerSample() const override { return 16; }
  IMediaDesc* Clone() const override {
    if (throws_at_clone) throw 7;
    return cloneable ? new FakeDesc(*this) : nullptr;
  }
  int32_t SetPitches(const int32_t*) override { return 0; }
  int32_t GetPitches(int32_t* pitches) const override {
    if (pitches_status == 0) std::memset(pitches, 0, 8 * sizeof(*pitches));
    return pitches_status;
  }
  uint32_t GetPlatform() const override { return platform; }
  void SetPlatform(uint32_t value) override { platform = value; }
  uint32_t GetTexType() const override { return tex_type; }
  void SetTexType(uint32_t value) override { tex_type = value; }
  uint32_t GetMemoryLocation() const override { return memory_location; }
  bool SetMemoryLocation(uint32_t value) override {
    memory_location = value;
    return true;
  }
  ISubtitleDesc* QuerySubtitle() override { return nullptr; }
  const ISubtitleDesc* QuerySubtitle() const override { return nullptr; }
  bool QueryIndex(uint32_t*) override { return false; }
  void Reserved() override {}
  IUserDataConfig* GetUserDataConfig() override { return user_data; }
  IUserDataInquire* GetUserDataInquire() const override { return nullptr; }
  uint32_t GetColorSpace() const override { return 0; }
  bool SetColorSpace(uint32_t) override { return true; }
  void QueryProperty(const char* key, void** out) override {
    if (std::strcmp(key, kExtendDataKey) == 0) *out = extend_data;
    if (std::strcmp(key, kAudioVolumeKey) == 0) *out = audio_volumes;
    if (std::strcmp(key, kMultiCameraKey) == 0) *out = cameras;
  }
  bool ResetPitches() override { return true; }
  int32_t GetFrameSize() override {
    const size_t i = asked_ < frame_sizes.size() ? asked_++ : frame_sizes.size() - 1;
    return frame_sizes[i];
  }
  std::shared_ptr<IMediaDesc> CloneShared() const override {
    if (throws_at_clone) throw 7;
    return cloneable ? std::make_shared<FakeDesc>(*this) : nullptr;
  }
  bool CopyFrom(const IMediaDesc&) override { return true; }

 private:
  size_t asked_ = 0;
};

/// A video description that says what none of the library's would.
inline MediaDescPtr Said(int32_t smt, uint32_t width, uint32_t height, uint32_t bit_depth = 8) {
  auto desc = std::make_unique<FakeDesc>(1, smt, width, height);
  desc->bit_depth = bit_depth;
  return MediaDescPtr(desc.release());
}

}  // namespace mivare::test
