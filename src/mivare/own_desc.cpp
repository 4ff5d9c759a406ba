#include "own_desc.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <typeinfo>

#include "audio_desc.h"
#include "bits_desc.h"
#include "desc/gray.h"
#include "desc/nv12x.h"
#include "desc/rgbax.h"
#include "desc/yuvax.h"
#include "desc/yv12x.h"

namespace mivare {
namespace {

// The pictures first, and of these the most frequent. No class derives from any of them.
using desc::AudioDescBase, desc::BitsDesc, desc::Bgrax, desc::Gray, desc::Nv12x, desc::Nv16x,
    desc::Nv24x, desc::Yuvax, desc::Yv12x, desc::Yv16x, desc::Yv24x;
constinit const std::array<const std::type_info*, 11> kTypes = {
    &typeid(Yv12x), &typeid(Nv12x),         &typeid(Bgrax),    &typeid(Nv16x),
    &typeid(Yuvax), &typeid(Yv16x),         &typeid(Yv24x),    &typeid(Nv24x),
    &typeid(Gray),  &typeid(AudioDescBase), &typeid(BitsDesc),
};
constexpr size_t kPictures = 9;

// By address: a module that has classes of these names of its own has them at others.
bool IsAmong(size_t count, const IMediaDesc& desc) {
  const auto* const end = kTypes.begin() + count;
  return std::find(kTypes.begin(), end, &typeid(desc)) != end;
}

}  // namespace

DescBase* OwnDesc(IMediaDesc& desc) {
  return IsAmong(kTypes.size(), desc) ? static_cast<DescBase*>(&desc) : nullptr;
}

const DescBase* OwnDesc(const IMediaDesc& desc) {
  return IsAmong(kTypes.size(), desc) ? static_cast<const DescBase*>(&desc) : nullptr;
}

desc::VideoDescBase* OwnVideoDesc(IMediaDesc& desc) {
  return IsAmong(kPictures, desc) ? static_cast<desc::VideoDescBase*>(&desc) : nullptr;
}

}  // namespace mivare
