// A description as a host might write its own: it says whatever a test wants said.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/media_desc.h"

namespace mivare::test {

class HostDesc final : public IMediaDesc {
 public:
  uint32_t media_type = 1;
  int32_t smt = 1;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t bit_depth = 8;
  uint32_t memory_location = 0;
  uint32_t platform = 0;
  uint32_t tex_type = 0;
  bool cloneable = true;
  /// Shared with every clone: its use count tells how many are alive.
  std::shared_ptr<int> family = std::make_shared<int>(0);

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
  void SetChannels(uint32_t) override {}
  uint32_t GetChannels() const override { return 0; }
  void SetChannelLayout(uint64_t) override {}
  uint64_t GetChannelLayout() const override { return 0; }
  void SetSampleRate(uint32_t) override {}
  uint32_t GetSampleRate() const override { return 0; }
  uint32_t GetBitsPerSample() const override { return 0; }
  IMediaDesc* Clone() const override { return cloneable ? new HostDesc(*this) : nullptr; }
  int32_t SetPitches(const int32_t*) override { return 0; }
  int32_t GetPitches(int32_t*) const override { return 0; }
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
  IUserDataConfig* GetUserDataConfig() override { return nullptr; }
  IUserDataInquire* GetUserDataInquire() const override { return nullptr; }
  uint32_t GetColorSpace() const override { return 0; }
  bool SetColorSpace(uint32_t) override { return true; }
  void QueryProperty(const char*, void**) override {}
  bool ResetPitches() override { return true; }
  int32_t GetFrameSize() override { return -1; }
  std::shared_ptr<IMediaDesc> CloneShared() const override {
    return cloneable ? std::make_shared<HostDesc>(*this) : nullptr;
  }
  bool CopyFrom(const IMediaDesc&) override { return true; }
};

}  // namespace mivare::test
