// Every export and every operation of descriptions and buffers with arguments that nobody should
// pass. The sanitizers see what is touched; everywhere a crash is a failure, and so is a byte
// written around memory that the host lends.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "mivare/mivare.h"
#include "orlo/log.h"
#include "support/generated.h"
#include "support/scratch_folder.h"

namespace mivare {
namespace {

using test::Bytes;
using test::Generated;

constexpr uint32_t kExtremes[] = {0,          1,          2,          63,         64,
                                  65,         255,        65535,      65536,      65537,
                                  200000,     200001,     0x7FFFFFFF, 0x80000000, 0x80000001,
                                  0x90000000, 0xFFFF0000, 0xFFFFFFC0, 0xFFFFFFFF};
constexpr int32_t kFarFormats[] = {10000, 14999, 15000, 15001, 20000, 20001,     20005,
                                   20010, 20011, 30000, 31000, 31100, INT32_MAX, INT32_MIN};

int32_t Signed(uint32_t value) { return static_cast<int32_t>(value); }

class HostileExports : public ::testing::Test {
 protected:
  HostileExports() : level_(orlo::SetDefaultLogLevel(INT32_MAX)) {
    EXPECT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
    EXPECT_EQ(NUXMivareDefaultAllocatorAcquire(&allocator_), 0);
  }
  ~HostileExports() override {
    EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
    orlo::SetDefaultLogLevel(level_);
  }

  uint32_t Extreme() { return generated_.Pick(kExtremes); }
  std::string File(const std::string& name) const { return folder_.File(name); }

  void SetSizes(IMediaDesc& desc) {
    desc.SetWidthHeight(Signed(Extreme()), Signed(Extreme()));
    // Mostly something that fits in memory.
    if (!generated_.Chance(4)) {
      desc.SetWidthHeight(static_cast<int32_t>(generated_.Between(1, 300)),
                          static_cast<int32_t>(generated_.Between(1, 100)));
    }
  }
  void SetPitches(IMediaDesc& desc) {
    if (generated_.Chance(2)) {
      desc.ResetPitches();
    } else {
      int32_t pitches[4];
      for (int32_t& pitch : pitches) {
        pitch = generated_.Chance(2) ? static_cast<int32_t>(generated_.Between(-300, 300))
                                     : Signed(Extreme());
      }
      const auto width = desc.GetWidth();
      const auto height = desc.GetHeight();
      // Limits follow the width, negative ones included.
      desc.SetWidthHeight(Signed(0x90000000U), Signed(height));
      desc.SetPitches(pitches);
      desc.SetWidthHeight(Signed(width), Signed(height));
      if (generated_.Chance(4)) desc.SetPitches(pitches);
    }
  }

  // Every operation that is not a plain getter.
  void Stir(IMediaDesc& desc) {
    uint32_t a = 0;
    uint32_t b = 0;
    EXPECT_EQ(desc.GetMediaTypeAndSmt(nullptr, &b), -1);
    EXPECT_EQ(desc.GetMediaTypeAndSmt(&a, nullptr), -1);
    EXPECT_EQ(desc.GetMediaTypeAndSmt(&a, &b), 0);
    const auto ratio = [this] {
      return generated_.Pick<int64_t>({0, 1, -1, 1920, INT64_MAX, INT64_MIN});
    };
    desc.SetDisplayAspectRatio({ratio(), ratio()});
    desc.SetTag(Extreme());
    desc.SetChannels(Extreme());
    desc.SetChannelLayout(generated_.Next());
    desc.SetSampleRate(Extreme());
    desc.SetColorSpace(Extreme());
    for (const auto update :
         {NUXMivareMediaDescUpdateColorPrimary, NUXMivareMediaDescUpdateFilpType,
          NUXMivareMediaDescUpdateInterlace, NUXMivareMediaDescUpdateRotation,
          NUXMivareMediaDescUpdateTransferCharacter, NUXMivareMediaDescUpdateVideoMatrix,
          NUXMivareMediaDescUpdateVideoSignalRange}) {
      update(&desc, Extreme());
      update(nullptr, Extreme());
    }
    int32_t pitches[8] = {};
    desc.GetPitches(pitches);
    EXPECT_EQ(desc.SetPitches(nullptr), desc.GetPitches(nullptr));
    desc.QueryIndex(nullptr);
    desc.QueryIndex(&a);
    desc.Reserved();
    void* store = nullptr;
    desc.QueryProperty(nullptr, &store);
    desc.QueryProperty("", nullptr);
    desc.QueryProperty(kExtendDataKey, &store);
    if (ISubtitleDesc* subtitle = desc.QuerySubtitle()) {
      subtitle->SetFirstPair(Extreme(), Extreme());
      subtitle->SetText(nullptr);
      subtitle->SetText("x");
    }
    desc.GetFrameSize();
  }

  // Everything that is done to a frame. What a frame's own size makes slow or large is left out.
  void Use(const std::shared_ptr<IMediaBuffer>& frame, const std::shared_ptr<IMediaBuffer>& other,
           bool with_files) {
    uint8_t* planes[8] = {};
    int32_t pitches[8] = {};
    uint32_t capacity = 0;
    frame->Lock(nullptr, pitches, nullptr, nullptr);
    frame->Lock(planes, nullptr, nullptr, nullptr);
    frame->Lock(planes, pitches, nullptr, &capacity);
    frame->Unlock();
    frame->CopyFrom(nullptr);
    frame->SetData(nullptr, Signed(Extreme()));
    frame->AppendData(nullptr, Extreme());
    frame->QueryObject(Extreme(), generated_.Next());
    frame->QueryNative(Extreme());
    frame->IsDeviceMemory();
    frame->Flush();
    frame->SetDataSize(Signed(Extreme()));
    NUXMivareGetAudioSampleCount(frame.get());
    if (generated_.Chance(4)) frame->CopyFrom(other.get());
    NUXMivareCopyMediaBufferData(frame.get(), other.get());
    NUXMivareCopyMediaBufferData(other.get(), frame.get());
    NUXMivareCopyMediaBufferData(frame.get(), frame.get());
    NUXMivareZeroBuffer(frame.get());
    for (const int plane : {0, 1, 2, 3, 8, 255}) {
      NUXMivareImagePSNR(frame, other, static_cast<uint8_t>(plane));
    }
    const IMediaDesc* desc = frame->GetDesc(Extreme());
    if (desc == nullptr || uint64_t{desc->GetWidth()} * desc->GetHeight() < 100000) {
      std::string digest;
      NUXMivareMediaBuffer2MD5(frame.get(), &digest);
    }
    allocator_->FillBlank(frame.get());
    if (!with_files) return;
    NUXMivareDumpBMP(File("a.bmp").c_str(), frame);
    NUXMivareDumpTGA(File("a.tga").c_str(), frame);
    NUXMivareDumpMediaBuffer(File("a").c_str(), frame);
    NUXMivareLoadBMP(File("a.bmp").c_str(), frame);
    for (const char* ending : {".yv12", ".nv12", ".bmp"}) {
      NUXMivareLoadMediaBuffer(File(std::string("a") + ending).c_str(), frame);
    }
  }

  std::shared_ptr<IMediaBuffer> View(const std::shared_ptr<IMediaBuffer>& frame) {
    std::shared_ptr<IMediaBuffer> view = frame;
    if (generated_.Chance(2)) {
      const uint32_t rect[4] = {Extreme(), Extreme(), Extreme(), Extreme()};
      NUXMivareCreateMediaBufferCrop(frame, rect, &view);
    }
    if (generated_.Chance(3)) {
      EXPECT_EQ(NUXMivareCreateMediaBufferProxy(view, &view), 0);
    }
    return view;
  }

  // Null for sizes that no test should ask for.
  std::shared_ptr<IMediaBuffer> Request(IMediaDesc& desc) {
    constexpr int32_t kLargest = 1 << 20;
    const MediaDescPtr probe(desc.Clone());
    if (probe->GetFrameSize() > kLargest) return nullptr;
    if (generated_.Chance(8)) {
      desc.GetUserDataConfig()->Set("Blank", true);
    }
    return generated_.Chance(4) ? allocator_->AllocLazy(&desc)
                                : allocator_->Alloc(&desc, nullptr, nullptr);
  }

  void DescribeAndUse(uint32_t media_type, int32_t smt, bool with_files) {
    SCOPED_TRACE(testing::Message() << "media type " << media_type << " smt " << smt);
    const MediaDescPtr desc = MakeMediaDesc(media_type, smt);
    if (desc == nullptr) return;
    SetSizes(*desc);
    if (generated_.Chance(2)) {
      Stir(*desc);
      SetPitches(*desc);
    }
    const auto frame = Request(*desc);
    const auto other = Request(*desc);
    if (frame == nullptr || other == nullptr || frame->GetDesc(0) == nullptr) return;
    ++used_;
    SetPitches(*frame->GetDesc(0));
    Use(View(frame), View(other), with_files);
    Stir(*frame->GetDesc(0));
    SetSizes(*frame->GetDesc(0));
    Use(frame, other, with_files);
    const auto clone = frame->Clone(Extreme());
    if (clone != nullptr) Use(clone, frame, false);
  }

  Generated generated_{11};
  const test::ScratchFolder folder_;
  IAllocatorEx* allocator_ = nullptr;
  const int32_t level_;
  int used_ = 0;  ///< frames that there were
};

TEST_F(HostileExports, EveryFormatAtAnySizeIsDescribedHeldAndCompared) {
  for (const uint32_t media_type : {1U, 2U, 5U, 0U, 3U, 4U, 6U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    for (int32_t smt = -2; smt <= 82; ++smt) {
      for (int i = 0; i < 5; ++i) DescribeAndUse(media_type, smt, i == 0 && smt % 8 == 1);
    }
    for (const int32_t smt : kFarFormats) {
      for (int i = 0; i < 5; ++i) DescribeAndUse(media_type, smt, i == 0);
    }
  }
  EXPECT_GT(used_, 150);
}

TEST_F(HostileExports, FormatsWithFilesAreWrittenAndReadBack) {
  for (const int32_t smt : {1, 6, 7, 17, 22, 44, 45, 48, 55, 66, 76, 15000}) {
    for (int i = 0; i < 3; ++i) DescribeAndUse(1, smt, true);
  }
}

// Memory that a host lends is exactly as large as its rows.
TEST_F(HostileExports, LentMemoryIsTouchedWithinItsRows) {
  constexpr size_t kAround = 4096;
  constexpr uint8_t kGuard = 0xDB;
  for (const int32_t smt : {1, 2, 6, 45, 46, 48, 15000}) {
    for (const uint32_t width : {1U, 3U, 16U, 17U, 64U}) {
      for (const uint32_t height : {1U, 2U, 7U}) {
        SCOPED_TRACE(testing::Message() << "smt " << smt << " " << width << " x " << height);
        // Rows of whole units of four bytes, as images have them.
        const uint32_t pitch = (width * (smt == 46 || smt == 48 ? 8 : smt == 45 ? 4 : 2) + 3) & ~3U;
        const auto make = [&](Bytes& memory) {
          memory.assign(2 * kAround + size_t{pitch} * height, kGuard);
          std::fill_n(memory.begin() + kAround, size_t{pitch} * height, uint8_t{1});
          std::shared_ptr<IMediaBuffer> wraper;
          EXPECT_EQ(NUXMivareCreateMediaBufferWraper(width, height, static_cast<uint32_t>(smt),
                                                     memory.data() + kAround, pitch, &wraper),
                    0);
          return wraper;
        };
        const auto is_intact = [&](const Bytes& memory) {
          const auto guards = std::count(memory.begin(), memory.end(), kGuard);
          return guards == ptrdiff_t{2 * kAround};
        };
        Bytes of_a;
        Bytes of_b;
        const auto a = make(of_a);
        const auto b = make(of_b);
        NUXMivareCopyMediaBufferData(a.get(), b.get());
        for (const int plane : {0, 1, 3, 255}) {
          NUXMivareImagePSNR(a, b, static_cast<uint8_t>(plane));
        }
        std::string digest;
        NUXMivareMediaBuffer2MD5(a.get(), &digest);
        NUXMivareZeroBuffer(a.get());
        EXPECT_TRUE(is_intact(of_a) && is_intact(of_b));
        if (width != 17 || height != 7) continue;  // files are slow
        Use(a, b, false);
        NUXMivareDumpBMP(File("w.bmp").c_str(), a);
        NUXMivareDumpTGA(File("w.tga").c_str(), a);
        NUXMivareLoadBMP(File("w.bmp").c_str(), a);
        EXPECT_TRUE(is_intact(of_a) && is_intact(of_b));
        const Bytes bmp = folder_.Read("w.bmp");
        EXPECT_EQ(std::count(bmp.begin() + 54, bmp.end(), kGuard), bmp.at(28) == 8 ? 3 : 0)
            << "but for the palette";
      }
    }
  }
}

TEST_F(HostileExports, AWraperTakesAnySizeAndPitch) {
  uint8_t memory[4] = {};
  for (const uint32_t width : kExtremes) {
    for (const uint32_t pitch : kExtremes) {
      std::shared_ptr<IMediaBuffer> wraper;
      ASSERT_EQ(NUXMivareCreateMediaBufferWraper(width, Extreme(), 15000, memory, pitch, &wraper),
                0);
      EXPECT_EQ(LockedBuffer(*wraper).pitch(0), Signed(pitch));
      NUXMivareCreateMediaBufferWraper(width, pitch, Extreme(), nullptr, pitch, &wraper);
      NUXMivareCreateMediaBufferWraper(width, pitch, Extreme(), nullptr, pitch, nullptr);
    }
  }
}

TEST_F(HostileExports, CropsTakeAnyRectangle) {
  const MediaDescPtr desc = MakeMediaDesc(1, 55);
  desc->SetWidthHeight(64, 64);
  const auto frame = allocator_->Alloc(desc.get(), nullptr, nullptr);
  ASSERT_NE(frame, nullptr);
  const auto other = allocator_->Alloc(desc.get(), nullptr, nullptr);
  for (const uint32_t x : kExtremes) {
    for (const uint32_t y : kExtremes) {
      const uint32_t rect[4] = {x, y, 64, 64};
      std::shared_ptr<IMediaBuffer> crop;
      ASSERT_EQ(NUXMivareCreateMediaBufferCrop(frame, rect, &crop), 0);
      crop->GetDesc(0)->ResetPitches();
      frame->GetDesc(0)->ResetPitches();
      EXPECT_EQ(NUXMivareCopyMediaBufferData(crop.get(), other.get()), -1) << "no alpha pitch";
      other->GetDesc(0)->ResetPitches();
      EXPECT_EQ(NUXMivareCopyMediaBufferData(crop.get(), other.get()), 0);
      EXPECT_EQ(NUXMivareCopyMediaBufferData(other.get(), crop.get()), 0);
      ASSERT_EQ(NUXMivareCreateMediaBufferCrop(crop, rect, &crop), 0);
      EXPECT_EQ(NUXMivareCopyMediaBufferData(crop.get(), other.get()), 0);
      const int32_t padded[4] = {64, 32, 32, 0};
      EXPECT_EQ(other->GetDesc(0)->SetPitches(padded), 0);
    }
  }
}

TEST_F(HostileExports, LinearBuffersTakeAnyCount) {
  const MediaDescPtr desc = MakeMediaDesc(2, 20003);
  const auto buffer = allocator_->Alloc(desc.get(), nullptr, nullptr);
  const auto other = allocator_->Alloc(desc.get(), nullptr, nullptr);
  ASSERT_TRUE(buffer && other);
  const Bytes bytes(70000, 5);
  for (const uint32_t count : kExtremes) {
    SCOPED_TRACE(count);
    EXPECT_EQ(buffer->SetDataSize(Signed(count)), 0);
    EXPECT_EQ(NUXMivareZeroBuffer(buffer.get()), 0);
    NUXMivareGetAudioSampleCount(buffer.get());
    // Otherwise there would be a block of that size.
    if (Signed(count) < (1 << 20)) {
      buffer->AppendData(bytes.data(), std::min(count, 70000U));
      EXPECT_EQ(buffer->SetDataSize(Signed(count)), 0);
      EXPECT_EQ(other->CopyFrom(buffer.get()), 0);
      const LockedBuffer locked(*buffer);
      buffer->SetData(locked.plane(0), locked.pitch(0));
    }
    EXPECT_EQ(buffer->SetData(nullptr, Signed(count)), -1);
  }
  NUXMivareDumpMediaBuffer(File("a").c_str(), buffer);
}

// Headers that lie and files that end anywhere.
TEST_F(HostileExports, FilesOfAnyContentsAreLoadedWithinTheFrame) {
  const MediaDescPtr desc = MakeMediaDesc(1, 45);
  desc->SetWidthHeight(10, 6);
  const auto frame = allocator_->Alloc(desc.get(), nullptr, nullptr);
  ASSERT_NE(frame, nullptr);
  int loaded = 0;
  for (int round = 0; round < 150; ++round) {
    Bytes file(static_cast<size_t>(generated_.Between(0, 400)));
    for (uint8_t& byte : file) byte = static_cast<uint8_t>(generated_.Next());
    const auto put = [&file](size_t at, uint32_t value) {
      for (size_t i = 0; i < 4 && at + i < file.size(); ++i) {
        file[at + i] = static_cast<uint8_t>(value >> (8 * i));
      }
    };
    put(18, generated_.Chance(6) ? Extreme() : 10);
    put(22, generated_.Chance(6) ? Extreme() : 6);
    put(28, generated_.Chance(6) ? Extreme() : generated_.Pick({24U, 32U}));
    put(30, generated_.Pick({0U, 3U, 0xFFFFFFFFU}));
    folder_.Write("in", file);
    if (NUXMivareLoadBMP(File("in").c_str(), frame)) ++loaded;
    NUXMivareLoadMediaBuffer(File("in").c_str(), frame);
  }
  EXPECT_GT(loaded, 30);
  EXPECT_FALSE(NUXMivareLoadBMP(nullptr, frame));
  EXPECT_FALSE(NUXMivareLoadMediaBuffer(nullptr, frame));
  EXPECT_EQ(NUXMivareDumpBMP(nullptr, frame), -1);
  EXPECT_EQ(NUXMivareDumpTGA(nullptr, frame), -1);
  NUXMivareDumpMediaBuffer(nullptr, frame);
}

TEST_F(HostileExports, TheOthersTakeNullAndAnyNumber) {
  for (int32_t index : {INT32_MIN, INT32_MIN + 1, -7, 3, 4, 9, INT32_MAX}) {
    EXPECT_EQ(NUXMivareGetExtendKey(index), nullptr) << index;
  }
  EXPECT_EQ(NUXMivareGetExtendKeyCount(), 3);
  for (const uint32_t a : kExtremes) {
    for (const float angle : {0.0F, 45.0F, -45.0F, 1e-30F, 359.99F, 3.4e38F, -3.4e38F,
                              std::numeric_limits<float>::infinity(), std::nanf("")}) {
      uint32_t width = 0;
      uint32_t height = 0;
      GetVideoRotateCaseNewSize(angle, Signed(a), a, Extreme(), &width, &height);
      GetVideoRotateCaseNewSize(angle, 0, Extreme(), a, nullptr, nullptr);
    }
  }
  const MediaDescPtr desc = MakeMediaDesc(1, 1);
  NUXMivareCopyMediaExtraProperty(desc.get(), desc.get());
  NUXMivareCopyMediaExtraProperty(nullptr, desc.get());
  NUXMivareCopyUserData(desc.get(), nullptr);
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(nullptr, nullptr), -1);
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(nullptr, nullptr), -1);
  NUXMivareMediaDescDestroy(nullptr);
  EXPECT_EQ(NUXMivareMediaDescCreate(), nullptr);
  EXPECT_EQ(NUXMivareDefaultAllocatorAcquire(nullptr), -1);
  EXPECT_EQ(NUXMivareFrameMemoryManagerInit(0xFFFFFFFFU), 0);
  EXPECT_EQ(NUXMivareFrameMemoryManagerUnInit(), 0);
  EXPECT_EQ(NUXMivareFrameMemoryManagerAcquire(nullptr), -1);
  EXPECT_EQ(NUXMivareMediaSampleCreate(nullptr)->GetBuffer(0xFFFFFFFFU), nullptr);
  EXPECT_EQ(NUXMivareMediaSampleCreate(1, 2, 3, nullptr)->GetBufferCount(), 0U);
  EXPECT_EQ(NUXMivareCreateMediaBufferCrop(nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(NUXMivareCreateMediaBufferProxy(nullptr, nullptr), -1);
  EXPECT_EQ(NUXMivareImagePSNR(nullptr, nullptr, 255), -100.0);
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(nullptr, nullptr), -1);
  EXPECT_EQ(NUXMivareZeroBuffer(nullptr), -1);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(nullptr, nullptr), -1);
  EXPECT_EQ(NUXMivareGetAudioSampleCount(nullptr), -1.0F);
  EXPECT_EQ(allocator_->Alloc(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(allocator_->AllocLazy(nullptr), nullptr);
  EXPECT_FALSE(allocator_->FillBlank(nullptr));
  for (const uint32_t megabytes : kExtremes) allocator_->SetMemoryLimit(megabytes);
  allocator_->SetMemoryLimit(0);
  for (const int64_t n : {INT64_MIN, INT64_MIN + 1, int64_t{-1}, int64_t{0}, INT64_MAX}) {
    for (const int64_t d : {INT64_MIN, int64_t{-1}, int64_t{0}, int64_t{1}, INT64_MAX}) {
      desc->SetDisplayAspectRatio({n, d});
    }
  }
}

}  // namespace
}  // namespace mivare
