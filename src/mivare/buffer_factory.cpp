#include "buffer_factory.h"

#include "buffer1d.h"
#include "buffer2d.h"
#include "mivare/media_desc.h"

namespace mivare {
namespace {

enum class BufferClass { kNone, kPlanar, kLinear, kAudio };

struct FactoryRange {
  uint32_t media_type;
  int32_t first;
  int32_t last;
  BufferClass buffer;
};

constexpr FactoryRange kFactory[] = {
    {1, 1, 3, BufferClass::kPlanar},         {1, 5, 8, BufferClass::kPlanar},
    {1, 10, 11, BufferClass::kPlanar},       {1, 16, 21, BufferClass::kPlanar},
    {1, 26, 27, BufferClass::kPlanar},       {1, 29, 31, BufferClass::kPlanar},
    {1, 35, 35, BufferClass::kPlanar},       {1, 44, 51, BufferClass::kPlanar},
    {1, 55, 56, BufferClass::kPlanar},       {1, 60, 61, BufferClass::kPlanar},
    {1, 65, 66, BufferClass::kPlanar},       {1, 70, 79, BufferClass::kPlanar},
    {1, 15000, 15000, BufferClass::kPlanar}, {1, 10000, 10000, BufferClass::kLinear},

    {2, 20001, 20010, BufferClass::kAudio},  {2, 30000, 30000, BufferClass::kLinear},

    {5, 1, 3, BufferClass::kPlanar},         {5, 6, 8, BufferClass::kPlanar},
    {5, 45, 48, BufferClass::kPlanar},       {5, 50, 51, BufferClass::kPlanar},
    {5, 55, 56, BufferClass::kPlanar},       {5, 60, 61, BufferClass::kPlanar},
    {5, 65, 66, BufferClass::kPlanar},       {5, 70, 71, BufferClass::kPlanar},
    {5, 75, 76, BufferClass::kPlanar},       {5, 15000, 15000, BufferClass::kPlanar},
    {5, 31000, 31000, BufferClass::kLinear}, {5, 31100, 31100, BufferClass::kLinear},
};

BufferClass ClassOf(uint32_t media_type, int32_t smt) {
  for (const FactoryRange& range : kFactory) {
    if (range.media_type == media_type && range.first <= smt && smt <= range.last) {
      return range.buffer;
    }
  }
  return BufferClass::kNone;
}

template <class Linear>
std::unique_ptr<BufferBase> CreateLinear(IMediaDesc* desc, const std::shared_ptr<Slot>& owner) {
  auto buffer = std::make_unique<Linear>(owner);
  if (!buffer->Init(desc)) return nullptr;
  return buffer;
}

}  // namespace

std::unique_ptr<BufferBase> CreateBuffer(IMediaDesc* desc, const std::shared_ptr<Slot>& owner) try {
  if (desc == nullptr) return nullptr;
  switch (ClassOf(desc->GetMediaType(), desc->GetSmt())) {
    case BufferClass::kPlanar: return _CreateMediaBuffer2D(desc, owner);
    case BufferClass::kLinear: return CreateLinear<Buffer1d>(desc, owner);
    case BufferClass::kAudio: return CreateLinear<audio::AudioBuffer>(desc, owner);
    case BufferClass::kNone: break;
  }
  return nullptr;
} catch (...) {
  return nullptr;
}

}  // namespace mivare
