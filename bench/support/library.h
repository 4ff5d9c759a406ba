// What every bench starts with: the library up, and requests to make.
#pragma once

#include <array>
#include <cstdint>

#include "mivare/mivare.h"

namespace mivare::bench {

constexpr int32_t kPlanar420 = 1;
constexpr int32_t kBgra = 45;

struct Size {
  int32_t width;
  int32_t height;
};
constexpr Size kHd{1920, 1080};
constexpr Size k4K{3840, 2160};

/// Keeps the library up for a scope, with no GPU. Scopes may nest: the library counts them.
class Library {
 public:
  Library() {
    NUXMivareDefaultAllocatorInit(nullptr);
    NUXMivareDefaultAllocatorAcquire(&allocator_);
  }
  ~Library() { NUXMivareDefaultAllocatorUninit(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  std::shared_ptr<IMediaBuffer> Request(IMediaDesc& desc) const {
    return allocator_->Alloc(&desc, nullptr, nullptr);
  }
  IAllocatorEx& allocator() const { return *allocator_; }

 private:
  IAllocatorEx* allocator_ = nullptr;
};

inline MediaDescPtr Picture(int32_t smt, Size size) {
  MediaDescPtr desc = MakeMediaDesc(1, smt);
  desc->SetWidthHeight(size.width, size.height);
  return desc;
}

/// What a stage may leave on a description for the next one.
enum class Notes {
  kNone,
  kNumbers,  // two numbers and a block of kNoteBytes
  kTexts,    // two texts and a block of kNoteBytes
};
constexpr int32_t kNoteBytes = 256;
constexpr std::array<const char*, 2> kNoteKeys{"frame", "timecode"};
constexpr std::array<int64_t, 2> kNumbers{86'399, 3'600'000'000};
constexpr std::array<const char*, 2> kTexts{"clip 0017, take 2", "00:59:59:24"};

/// Leaves them; the block lies under a well-known key, for copies carry no others.
inline void AddNotes(IMediaDesc& desc, Notes notes) {
  if (notes == Notes::kNone) return;
  for (size_t i = 0; i < kNoteKeys.size(); ++i) {
    desc.GetUserDataConfig()->Set(kNoteKeys[i], notes == Notes::kNumbers ? orlo::ValAny(kNumbers[i])
                                                                         : orlo::ValAny(kTexts[i]));
  }
  void* store = nullptr;
  desc.QueryProperty(kExtendDataKey, &store);
  const std::array<uint8_t, kNoteBytes> block{1, 2, 3};
  static_cast<IExtendData*>(store)->SetExtendData(NUXMivareGetExtendKey(0), block.data(),
                                                  kNoteBytes);
}

/// Has this many keys known to the allocator, each by a small frame of its own size.
inline void MakeKeys(const Library& library, int count) {
  constexpr int kInARow = 100;
  for (int i = 0; i < count; ++i) {
    library.Request(*Picture(kPlanar420, {16 + 2 * (i % kInARow), 16 + 2 * (i / kInARow)}));
  }
}

}  // namespace mivare::bench
