// DescBase: what all descriptions have in common, and the shape of their copies.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "audio_volume.h"
#include "desc/format.h"
#include "extend_data_impl.h"
#include "media_types.h"
#include "mivare/media_desc.h"
#include "multi_camera.h"
#include "user_data_map.h"

namespace mivare {

/// The four stores, the frame size and the place in memory. What it answers for sound and pitches
/// is "there are none". All of it is one piece of memory: stores are lent, never shared.
class DescBase : public IMediaDesc {
 public:
  uint32_t GetInterlace() const override { return 0; }
  void SetInterlace(uint32_t) override {}
  uint32_t GetRotation() const override { return 0; }
  void SetRotation(uint32_t) override {}
  uint32_t GetFilpType() const override { return 0; }
  void SetFilpType(uint32_t) override {}

  void SetChannels(uint32_t) override {}
  uint32_t GetChannels() const override { return 0; }
  void SetChannelLayout(uint64_t) override {}
  uint64_t GetChannelLayout() const override { return 0; }
  void SetSampleRate(uint32_t) override {}
  uint32_t GetSampleRate() const override { return 0; }
  uint32_t GetBitsPerSample() const override { return 0; }

  int32_t SetPitches(const int32_t*) override { return 0; }
  int32_t GetPitches(int32_t*) const override { return 0; }

  uint32_t GetPlatform() const override { return platform_; }
  void SetPlatform(uint32_t value) override { platform_ = value; }
  uint32_t GetTexType() const override { return tex_type_; }
  void SetTexType(uint32_t value) override { tex_type_ = value; }
  uint32_t GetMemoryLocation() const override { return memory_location_; }
  bool SetMemoryLocation(uint32_t value) override;

  ISubtitleDesc* QuerySubtitle() override { return nullptr; }
  const ISubtitleDesc* QuerySubtitle() const override { return nullptr; }
  bool QueryIndex(uint32_t* out) override;
  void Reserved() override {}

  IUserDataConfig* GetUserDataConfig() override { return &user_data_; }
  IUserDataInquire* GetUserDataInquire() const override { return &user_data_; }

  uint32_t GetColorSpace() const override { return UINT32_MAX; }
  bool SetColorSpace(uint32_t) override { return false; }
  void QueryProperty(const char* key, void** out) override;
  bool ResetPitches() override { return false; }
  int32_t GetFrameSize() override { return frame_size_; }
  /// Merges the user data; false when memory is short.
  bool CopyFrom(const IMediaDesc& other) override;

  /// Byte offsets of the planes from the start of the frame; empty until the layout is computed.
  std::span<const uint32_t> PlaneOffsets() const { return {plane_offsets_.data(), plane_count_}; }

  /// The stored frame size, without computing a layout; -1 at first.
  int32_t DataLength() const { return frame_size_; }
  void SetDataLength(int32_t length) { frame_size_ = length; }

  UserDataMap& UserData() const { return user_data_; }
  ExtendDataStore& ExtendData() { return extend_data_; }
  const ExtendDataStore& ExtendData() const { return extend_data_; }

 protected:
  DescBase() : audio_volumes_(std::in_place) {}
  /// Gives the copy stores of its own, see IMediaDesc::Clone. Throws std::bad_alloc, and whatever
  /// copying a user data value throws.
  DescBase(const DescBase& other);

  /// At most desc::kMaxPlanes of them.
  void SetPlaneOffsets(std::span<const uint32_t> offsets);

 private:
  DescBase& operator=(const DescBase&) = delete;

  int32_t frame_size_ = -1;
  uint32_t plane_count_ = 0;
  std::array<uint32_t, desc::kMaxPlanes> plane_offsets_{};
  uint32_t memory_location_ = 0;
  uint32_t platform_ = 0;
  uint32_t tex_type_ = 0;
  // Mutable: readers share a description, and each of the stores takes care of itself.
  mutable UserDataMap user_data_;
  ExtendDataStore extend_data_;
  std::optional<audioVolumeMgr::impl> audio_volumes_;  // a copy has none
  mutable videoMultiCameraMgr::impl multi_camera_;     // moved out by copying
};

/// A description without a picture: reads 0 for all that one would have and ignores writing it.
class PicturelessDesc : public DescBase {
 public:
  uint32_t GetWidth() const override { return 0; }
  void SetWidthHeight(int32_t, int32_t) override {}
  uint32_t GetHeight() const override { return 0; }
  void SetDisplayAspectRatio(orlo::Rational) override {}
  orlo::Rational GetDisplayAspectRatio() const override { return {1, 1}; }
  uint32_t GetBitDepth() const override { return 0; }
  void SetVideoSignalRange(uint32_t) override {}
  uint32_t GetVideoSignalRange() const override { return 1; }
  void SetVideoMatrix(uint32_t) override {}
  uint32_t GetVideoMatrix() const override { return 0; }
  void SetTransferCharacter(uint32_t) override {}
  uint32_t GetTransferCharacter() const override { return 0; }
  void SetColorPrimary(uint32_t) override {}
  uint32_t GetColorPrimary() const override { return 0; }
};

/// Adds both clones of a copyable class to its base. Nothing they meet gets out: memory may be
/// short, and a user data value may throw anything while it is copied.
template <class Self, class Base>
class Cloneable : public Base {
 public:
  using Base::Base;

  IMediaDesc* Clone() const override {
    try {
      return new Self(self());
    } catch (...) {
      return nullptr;
    }
  }
  std::shared_ptr<IMediaDesc> CloneShared() const override {
    try {
      return std::make_shared<Self>(self());
    } catch (...) {
      return nullptr;
    }
  }

 private:
  const Self& self() const { return static_cast<const Self&>(*this); }
};

/// GetMediaTypeAndSmt for all classes: 0, or -1 and nothing written when a pointer is null.
int32_t WriteTypeAndSmt(const IMediaDesc& desc, uint32_t* media_type, uint32_t* smt);

}  // namespace mivare
