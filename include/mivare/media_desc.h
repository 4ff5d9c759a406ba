// IMediaDesc: all that is known of a piece of media apart from its bytes.
//
// Media types:  1 video (and video bitstreams), 2 audio (and audio bitstreams), 5 subtitle pictures
//               (and subtitle bitstreams).
// smt:          the sub media type, that is the pixel, sample or stream format.
//
// clang-format off
//     smt              format                           bits
//     1..5             planar 4:2:0                     8, 10, 12, 14, 16 in this order
//     6..10, 11..15    semi-planar 4:2:0, with alpha    the same, twice
//     16..20, 21..25   semi-planar 4:2:2, with alpha    the same, twice
//     26..30, 31..35   semi-planar 4:4:4, with alpha    the same, twice
//     44..52           packed, four components          46 and 51: 10, 48: 16, others: 8
//     55..59           planar 4:2:0, full-size alpha    8, 10, 12, 14, 16
//     60..64, 65..69   planar 4:2:2, with alpha         the same, twice; none is made of 14 bits
//     70..74, 75..79   planar 4:4:4, with alpha         the same, twice; none is made of 14 bits
//     15000            one plane                        8
//     20001..20010     PCM audio                        8, 16, 32, 32, 64, twice
//     10000, 30000, 31100: video, audio and subtitle bitstreams
// clang-format on
//
// Rows and heights of a layout are padded to multiples of 64; bytes per component are
// (bit depth + 7) / 8.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/export.h"
#include "orlo/rational.h"

namespace mivare {

class IUserDataConfig;
class IUserDataInquire;

/// Keys of IMediaDesc::QueryProperty.
inline constexpr char kExtendDataKey[] = "ABA838FB-3F86-4B1E-A4EE-140330ED5FAA";
inline constexpr char kAudioVolumeKey[] = "C7DC208C-0DC8-4E71-869D-99D8500B10C8";
inline constexpr char kMultiCameraKey[] = "4A1F6927-DCB4-4432-8213-5B115ED8806A";

/// The subtitle part of a video description of media type 5. Thread-bound.
class MIVARE_INTERFACE ISubtitleDesc {
 public:
  virtual ~ISubtitleDesc() = default;

  /// Both pointers must be good. Returns 0.
  virtual int32_t GetFirstPair(uint32_t* a, uint32_t* b) const = 0;
  virtual int32_t GetSecondPair(uint32_t* a, uint32_t* b) const = 0;

  /// Lends the text until the next SetText.
  virtual const char* GetText() const = 0;

  virtual int32_t SetFirstPair(uint32_t a, uint32_t b) = 0;

  /// Takes the values through pointers, which must be good. Returns 0.
  virtual int32_t SetSecondPair(const uint32_t* a, const uint32_t* b) = 0;

  /// Copies `text`; null keeps the text as it is.
  virtual void SetText(const char* text) = 0;
};

/// Says what a piece of media is. The order of the operations is the interface's layout. Video
/// properties ignore writing on audio and bitstreams and read as 0 there, except the signal range
/// (1), the display aspect ratio (1/1) and the colour space (all ones); audio properties likewise
/// ignore writing and read as 0 on everything else. Built and configured by one thread, the first
/// GetFrameSize included, then read by any number of them.
class MIVARE_INTERFACE IMediaDesc {
 public:
  virtual ~IMediaDesc() = default;

  virtual uint32_t GetMediaType() const = 0;
  virtual int32_t GetSmt() const = 0;
  /// Returns 0; -1 with nothing written for a null pointer.
  virtual int32_t GetMediaTypeAndSmt(uint32_t* mediaType, uint32_t* smt) const = 0;
  virtual uint32_t GetTag() const = 0;
  virtual void SetTag(uint32_t tag) = 0;

  /// Visible size in pixels.
  virtual uint32_t GetWidth() const = 0;
  /// Sets the visible size and, unreduced, the display aspect ratio. A size beyond the capacity
  /// (200000 x 65536 at first, the padded size once the layout is computed), a zero width or a
  /// height below 1 is logged and changes nothing. A layout that is already computed stays.
  virtual void SetWidthHeight(int32_t width, int32_t height) = 0;
  virtual uint32_t GetHeight() const = 0;

  /// Stores the ratio reduced (orlo::Normalize); a zero half is logged and stored as given.
  virtual void SetDisplayAspectRatio(orlo::Rational ratio) = 0;
  virtual orlo::Rational GetDisplayAspectRatio() const = 0;

  // Colour and orientation: opaque codes, stored, copied and returned.
  virtual uint32_t GetInterlace() const = 0;
  virtual void SetInterlace(uint32_t value) = 0;
  virtual uint32_t GetRotation() const = 0;
  virtual void SetRotation(uint32_t value) = 0;
  virtual uint32_t GetFilpType() const = 0;
  virtual void SetFilpType(uint32_t value) = 0;
  virtual uint32_t GetBitDepth() const = 0;
  virtual void SetVideoSignalRange(uint32_t value) = 0;
  virtual uint32_t GetVideoSignalRange() const = 0;
  virtual void SetVideoMatrix(uint32_t value) = 0;
  virtual uint32_t GetVideoMatrix() const = 0;
  virtual void SetTransferCharacter(uint32_t value) = 0;
  virtual uint32_t GetTransferCharacter() const = 0;
  virtual void SetColorPrimary(uint32_t value) = 0;
  virtual uint32_t GetColorPrimary() const = 0;

  // Audio. The layout is a mask of speaker positions, the rate is in hertz.
  virtual void SetChannels(uint32_t value) = 0;
  virtual uint32_t GetChannels() const = 0;
  virtual void SetChannelLayout(uint64_t value) = 0;
  virtual uint64_t GetChannelLayout() const = 0;
  virtual void SetSampleRate(uint32_t value) = 0;
  virtual uint32_t GetSampleRate() const = 0;
  virtual uint32_t GetBitsPerSample() const = 0;

  /// Gives an equal description; null when memory is short. User data goes along without the six
  /// hint keys, extend data too; the audio volumes stay behind; the multi-camera queue of this
  /// description is moved (NUXMivareCopyVideoMultiCameraFrame), so this one ends with an empty one;
  /// where memory runs out in between, records may be lost.
  virtual IMediaDesc* Clone() const = 0;

  /// Sets the bytes from row to row of planes 0 to 3. Returns 0; -1 with nothing changed when a
  /// pitch exceeds what the padded rows offer or is 0 in a packed format (both logged), or when
  /// `pitches` is null. The first layout overwrites them. Audio and bitstreams: 0, nothing stored.
  virtual int32_t SetPitches(const int32_t* pitches) = 0;
  /// Writes 8 values: the pitches of planes 0 to 3 and four reserved ones. All are 0 until the
  /// layout is computed by GetFrameSize. Returns 0; -1 for null. Audio and bitstreams: 0, nothing
  /// written.
  virtual int32_t GetPitches(int32_t* pitches) const = 0;

  virtual uint32_t GetPlatform() const = 0;
  virtual void SetPlatform(uint32_t value) = 0;
  virtual uint32_t GetTexType() const = 0;
  virtual void SetTexType(uint32_t value) = 0;
  /// 0 host memory, 1 device memory. Setting it returns true.
  virtual uint32_t GetMemoryLocation() const = 0;
  virtual bool SetMemoryLocation(uint32_t value) = 0;

  /// Lends the subtitle part of a video description of media type 5, else null.
  virtual ISubtitleDesc* QuerySubtitle() = 0;
  virtual const ISubtitleDesc* QuerySubtitle() const = 0;

  /// Writes all ones when `out` is not null. Returns false.
  virtual bool QueryIndex(uint32_t* out) = 0;
  /// Does nothing.
  virtual void Reserved() = 0;

  /// Lends the two faces of the user data map; null where there is no map.
  virtual IUserDataConfig* GetUserDataConfig() = 0;
  virtual IUserDataInquire* GetUserDataInquire() const = 0;

  /// A preset that sets transfer, matrix and primaries together. Audio and bitstreams: all ones and
  /// false.
  virtual uint32_t GetColorSpace() const = 0;
  virtual bool SetColorSpace(uint32_t value) = 0;

  /// Lends the store behind one of the keys above (an IExtendData*, ITrackAudioVolumeManager* or
  /// IVideoMultiCameraFrameManger* through `out`), or null for one this description lacks. Null
  /// arguments and unknown keys write nothing.
  virtual void QueryProperty(const char* key, void** out) = 0;

  /// Stores tight pitches for the visible width. True for video.
  virtual bool ResetPitches() = 0;

  /// Bytes of a whole frame; video computes its layout at the first call. Audio and bitstreams: -1;
  /// in the description of a linear buffer the bytes of its block, as made or as SetData grew it.
  virtual int32_t GetFrameSize() = 0;

  /// Like Clone, shared.
  virtual std::shared_ptr<IMediaDesc> CloneShared() const = 0;

  /// Video: takes the size, and both subtitle pairs when `other` has them. Audio: channels, rate
  /// and layout. Bitstreams: user data (merged), media type and smt. Returns true; false when
  /// memory is short for the user data.
  virtual bool CopyFrom(const IMediaDesc& other) = 0;
};

}  // namespace mivare

/// Gives a description for a media type and smt, with no size yet; null when the pair has no
/// counterpart (logged for media types 1, 2 and 5) or memory is short. Free it with
/// NUXMivareMediaDescDestroy. Reentrant.
extern "C" MIVARE_API mivare::IMediaDesc* NUXMivareMediaDescCreateEx(uint32_t mediaType,
                                                                     int32_t smt);

/// Returns null; kept for hosts that link it.
extern "C" MIVARE_API mivare::IMediaDesc* NUXMivareMediaDescCreate();

/// Takes the description and nulls the pointer; null and a pointer to null are ignored.
extern "C" MIVARE_API void NUXMivareMediaDescDestroy(mivare::IMediaDesc** desc);

// Each calls the setter of its name; a null description is ignored.
extern "C" MIVARE_API void NUXMivareMediaDescUpdateColorPrimary(mivare::IMediaDesc* desc,
                                                                uint32_t value);
extern "C" MIVARE_API void NUXMivareMediaDescUpdateFilpType(mivare::IMediaDesc* desc,
                                                            uint32_t value);
extern "C" MIVARE_API void NUXMivareMediaDescUpdateInterlace(mivare::IMediaDesc* desc,
                                                             uint32_t value);
extern "C" MIVARE_API void NUXMivareMediaDescUpdateRotation(mivare::IMediaDesc* desc,
                                                            uint32_t value);
extern "C" MIVARE_API void NUXMivareMediaDescUpdateTransferCharacter(mivare::IMediaDesc* desc,
                                                                     uint32_t value);
extern "C" MIVARE_API void NUXMivareMediaDescUpdateVideoMatrix(mivare::IMediaDesc* desc,
                                                               uint32_t value);
extern "C" MIVARE_API void NUXMivareMediaDescUpdateVideoSignalRange(mivare::IMediaDesc* desc,
                                                                    uint32_t value);

/// Copies orientation, colour, display aspect ratio and the well-known extend data from `source`;
/// the colour-space preset first, then the single properties over it. Null arguments do nothing.
/// When memory runs out, the extend data not copied by then is missing.
extern "C" MIVARE_API void NUXMivareCopyMediaExtraProperty(mivare::IMediaDesc* destination,
                                                           mivare::IMediaDesc* source);

/// Leaves `destination` with exactly the user data of `source`; a description onto itself ends
/// empty, and so does `destination` when memory runs out. Null arguments, or a description without
/// a map, do nothing.
extern "C" MIVARE_API void NUXMivareCopyUserData(mivare::IMediaDesc* destination,
                                                 mivare::IMediaDesc* source);

/// How large a canvas must be for a `width` x `height` picture turned by `angle` degrees, if it is
/// to keep that picture's proportions. `reserved` is ignored. Writes the side that follows the
/// picture's height to `outA` and the one that follows its width to `outB`; null outputs are
/// skipped, a side that is not finite, or not below 2^63, is written as 0, a larger one than 32
/// bits hold as its low 32. Reentrant.
extern "C" MIVARE_API void GetVideoRotateCaseNewSize(float angle, int32_t reserved, uint32_t width,
                                                     uint32_t height, uint32_t* outA,
                                                     uint32_t* outB);
