#include "desc_factory.h"

#include <array>
#include <new>
#include <span>
#include <type_traits>

#include "audio_desc.h"
#include "base/log.h"
#include "bits_desc.h"
#include "desc/gray.h"
#include "desc/nv12x.h"
#include "desc/rgbax.h"
#include "desc/yuvax.h"
#include "desc/yv12x.h"

namespace mivare {
namespace {

using desc::AudioDescBase;
using desc::Bgrax;
using desc::BitsDesc;
using desc::Gray;
using desc::Nv12x;
using desc::Nv16x;
using desc::Nv24x;
using desc::Yuvax;
using desc::Yv12x;
using desc::Yv16x;
using desc::Yv24x;

// How one class is built, alone and shared. Throws std::bad_alloc.
struct Maker {
  IMediaDesc* (*alone)(int32_t smt, uint32_t media_type);
  std::shared_ptr<IMediaDesc> (*shared)(int32_t smt, uint32_t media_type);
};

template <class Desc>
inline constexpr Maker kMaker = {
    [](int32_t smt, [[maybe_unused]] uint32_t media_type) -> IMediaDesc* {
      if constexpr (std::is_constructible_v<Desc, int32_t, uint32_t>) {
        return new Desc(smt, media_type);
      } else {
        return new Desc(smt);
      }
    },
    [](int32_t smt, [[maybe_unused]] uint32_t media_type) -> std::shared_ptr<IMediaDesc> {
      if constexpr (std::is_constructible_v<Desc, int32_t, uint32_t>) {
        return std::make_shared<Desc>(smt, media_type);
      } else {
        return std::make_shared<Desc>(smt);
      }
    },
};

/// The codes `first` to `last` build this class.
struct Row {
  int32_t first;
  int32_t last;
  const Maker* maker;
};

// The 14-bit codes 63, 68, 73 and 78 are left out on purpose.
constexpr std::array kVideoRows = std::to_array<Row>({
    {1, 5, &kMaker<Yv12x>},
    {6, 15, &kMaker<Nv12x>},
    {16, 35, &kMaker<Nv16x>},  // 26 to 35 too: hosts know their layout as this one
    {44, 48, &kMaker<Bgrax>},
    {50, 52, &kMaker<Bgrax>},
    {55, 59, &kMaker<Yuvax>},
    {60, 62, &kMaker<Yv16x>},
    {64, 67, &kMaker<Yv16x>},
    {69, 69, &kMaker<Yv16x>},
    {70, 72, &kMaker<Yv24x>},
    {74, 77, &kMaker<Yv24x>},
    {79, 79, &kMaker<Yv24x>},
    {15000, 15000, &kMaker<Gray>},
});

constexpr std::array kAudioRows = std::to_array<Row>({
    {20001, 20010, &kMaker<AudioDescBase>},
    {30000, 30000, &kMaker<BitsDesc>},
});

constexpr std::array kSubtitleRows = std::to_array<Row>({
    {1, 3, &kMaker<Yv12x>},
    {45, 52, &kMaker<Bgrax>},
    {15000, 15000, &kMaker<Gray>},
    {31100, 31100, &kMaker<BitsDesc>},
});

// Of CreateDescLike.
constexpr std::array kLikeRows = std::to_array<Row>({
    {1, 3, &kMaker<Yv12x>},
    {6, 9, &kMaker<Nv12x>},
    {11, 11, &kMaker<Nv12x>},
    {16, 19, &kMaker<Nv16x>},
    {26, 31, &kMaker<Nv24x>},
    {35, 35, &kMaker<Nv24x>},
    {44, 48, &kMaker<Bgrax>},
    {50, 52, &kMaker<Bgrax>},
    {55, 58, &kMaker<Yuvax>},
    {60, 62, &kMaker<Yv16x>},
    {64, 67, &kMaker<Yv16x>},
    {69, 69, &kMaker<Yv16x>},
    {70, 72, &kMaker<Yv24x>},
    {74, 77, &kMaker<Yv24x>},
    {79, 79, &kMaker<Yv24x>},
    {15000, 15000, &kMaker<Gray>},
});

constexpr bool IsAscending(std::span<const Row> rows) {
  for (size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].first > rows[i].last) return false;
    if (i > 0 && rows[i].first <= rows[i - 1].last) return false;
  }
  return true;
}
static_assert(IsAscending(kVideoRows) && IsAscending(kAudioRows) && IsAscending(kSubtitleRows) &&
                  IsAscending(kLikeRows),
              "a code builds one class");

constexpr char kUnsupportedVideo[] = "error! %s(%d) unsupport smt[%d]";

const Maker* Find(std::span<const Row> rows, int32_t smt) {
  for (const Row& row : rows) {
    if (smt >= row.first && smt <= row.last) return row.maker;
  }
  return nullptr;
}

// The class for a pair, or null after the message of its media type.
const Maker* FindOrLog(uint32_t media_type, int32_t smt) {
  const Maker* maker = nullptr;
  switch (media_type) {
    case kMediaVideo:
      maker = Find(kVideoRows, smt);
      if (maker == nullptr) MIVARE_LOG(kLogError, kUnsupportedVideo, unit::kDesc, 271, smt);
      break;
    case kMediaAudio:
      maker = Find(kAudioRows, smt);
      if (maker == nullptr) MIVARE_LOG(kLogError, "%s[%d] smt[%d]", unit::kDesc, 303, smt);
      break;
    case kMediaSubtitle:
      maker = Find(kSubtitleRows, smt);
      if (maker == nullptr) MIVARE_LOG(kLogError, "%s[%d] smt[%d]", unit::kDesc, 335, smt);
      break;
    default: break;
  }
  return maker;
}

}  // namespace

std::shared_ptr<IMediaDesc> CreateDescLike(const IMediaDesc& source) {
  const int32_t smt = source.GetSmt();
  const Maker* maker = Find(kLikeRows, smt);
  if (maker == nullptr) {
    MIVARE_LOG(kLogError, kUnsupportedVideo, unit::kDesc, 112, smt);
    return nullptr;
  }
  std::shared_ptr<IMediaDesc> like;
  try {
    like = maker->shared(smt, kMediaVideo);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  const auto width = static_cast<int32_t>(source.GetWidth());
  const auto height = static_cast<int32_t>(source.GetHeight());
  if (width >= 200001 || height >= 65537) {
    MIVARE_LOG(kLogError, "error! %s(%d) [%dx%d]", unit::kDesc, 127, width, height);
    return nullptr;
  }
  like->SetWidthHeight(width, height);
  return like;
}

}  // namespace mivare

mivare::IMediaDesc* NUXMivareMediaDescCreateEx(uint32_t mediaType, int32_t smt) {
  const mivare::Maker* maker = mivare::FindOrLog(mediaType, smt);
  if (maker == nullptr) return nullptr;
  try {
    return maker->alone(smt, mediaType);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

mivare::IMediaDesc* NUXMivareMediaDescCreate() { return nullptr; }

void NUXMivareMediaDescDestroy(mivare::IMediaDesc** desc) {
  if (desc == nullptr) return;
  delete *desc;
  *desc = nullptr;
}

void NUXMivareMediaDescUpdateColorPrimary(mivare::IMediaDesc* desc, uint32_t value) {
  if (desc != nullptr) desc->SetColorPrimary(value);
}

void NUXMivareMediaDescUpdateFilpType(mivare::IMediaDesc* desc, uint32_t value) {
  if (desc != nullptr) desc->SetFilpType(value);
}

void NUXMivareMediaDescUpdateInterlace(mivare::IMediaDesc* desc, uint32_t value) {
  if (desc != nullptr) desc->SetInterlace(value);
}

void NUXMivareMediaDescUpdateRotation(mivare::IMediaDesc* desc, uint32_t value) {
  if (desc != nullptr) desc->SetRotation(value);
}

void NUXMivareMediaDescUpdateTransferCharacter(mivare::IMediaDesc* desc, uint32_t value) {
  if (desc != nullptr) desc->SetTransferCharacter(value);
}

void NUXMivareMediaDescUpdateVideoMatrix(mivare::IMediaDesc* desc, uint32_t value) {
  if (desc != nullptr) desc->SetVideoMatrix(value);
}

void NUXMivareMediaDescUpdateVideoSignalRange(mivare::IMediaDesc* desc, uint32_t value) {
  if (desc != nullptr) desc->SetVideoSignalRange(value);
}
