// Frames whose pitches, sizes or rectangles lead out of their memory: what is defined is done, and
// nothing beyond the block is touched. A byte behind a block is kGuard until somebody writes there.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/address.h"
#include "blank_fill.h"
#include "buffer1d.h"
#include "buffer2d.h"
#include "hybrid_frame.h"
#include "mivare/buffer_views.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "orlo/md5.h"
#include "support/guarded_memory.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/scratch_folder.h"

namespace mivare {
namespace {

using test::Bytes;
using test::GuardedBlocks;
using test::HasGuardBytes;
using test::kContent;
using test::VideoRequest;

constexpr double kLargest = 1.7976931348623157e308;
constexpr uint8_t kOther = 0x22;

class FrameBounds : public ::testing::Test {
 protected:
  static std::shared_ptr<Buffer2d> Frame(int32_t smt, int32_t width, int32_t height,
                                         uint8_t content = kContent) {
    std::shared_ptr<Buffer2d> frame =
        _CreateMediaBuffer2D(VideoRequest(smt, width, height).get(), nullptr);
    if (frame != nullptr) std::fill_n(frame->Data(), Size(*frame), content);
    return frame;
  }
  static size_t Size(Buffer2d& frame) { return frame.Block()->size; }
  static Bytes Block(Buffer2d& frame) { return {frame.Data(), frame.Data() + Size(frame)}; }
  static bool IsIntact(Buffer2d& frame) { return GuardedBlocks::IsIntact(*frame.Block()); }

  // A description takes any pitch below its limit.
  static std::shared_ptr<Buffer2d> UpsideDown(int32_t smt, int32_t width, int32_t height,
                                              uint8_t content = kContent) {
    auto frame = Frame(smt, width, height, content);
    std::array<int32_t, 8> pitches{};
    frame->GetDesc(0)->GetPitches(pitches.data());
    for (int32_t& pitch : pitches) pitch = -pitch;
    EXPECT_EQ(frame->GetDesc(0)->SetPitches(pitches.data()), 0);
    return frame;
  }
  // 64 x 64 pixels, 1 GiB from row to row: the limit of that while the width is negative.
  static std::shared_ptr<Buffer2d> FarApart(uint8_t content = kContent) {
    auto frame = Frame(45, 64, 64, content);
    IMediaDesc& desc = *frame->GetDesc(0);
    desc.SetWidthHeight(static_cast<int32_t>(0x90000000U), 64);
    const int32_t pitches[4] = {1 << 30, 0, 0, 0};
    EXPECT_EQ(desc.SetPitches(pitches), 0);
    desc.SetWidthHeight(64, 64);
    EXPECT_EQ(desc.GetWidth(), 64U);
    EXPECT_EQ(LockedBuffer(*frame).pitch(0), 1 << 30);
    return frame;
  }
  // 65600 bytes a row, 65536 rows, and a block of what is left of the product: 64 x 65536 bytes.
  static std::shared_ptr<Buffer2d> Wrapped(uint8_t content = kContent) {
    auto frame = Frame(15000, 65600, 65536, content);
    EXPECT_EQ(Size(*frame), size_t{64} * 65536);
    return frame;
  }
  static std::shared_ptr<IMediaBuffer> Crop(const std::shared_ptr<IMediaBuffer>& frame, uint32_t x,
                                            uint32_t y, uint32_t width, uint32_t height) {
    const uint32_t rect[4] = {x, y, width, height};
    std::shared_ptr<IMediaBuffer> crop;
    EXPECT_EQ(NUXMivareCreateMediaBufferCrop(frame, rect, &crop), 0);
    return crop;
  }
  Bytes DumpBmp(const std::shared_ptr<IMediaBuffer>& frame) {
    EXPECT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
    const Bytes bytes = folder.Read("a.bmp");
    return {bytes.begin() + (bytes.at(28) == 8 ? 1078 : 54), bytes.end()};
  }
  Bytes DumpTga(const std::shared_ptr<IMediaBuffer>& frame) {
    EXPECT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
    const Bytes bytes = folder.Read("a.tga");
    return {bytes.begin() + 18, bytes.end()};
  }
  Bytes DumpRaw(const std::shared_ptr<IMediaBuffer>& frame, const std::string& suffix) {
    NUXMivareDumpMediaBuffer(folder.File("a").c_str(), frame);
    return folder.Read("a" + suffix);
  }
  static int64_t Count(const Bytes& bytes, uint8_t value) {
    return std::count(bytes.begin(), bytes.end(), value);
  }

  const test::LogCapture log;
  const test::ScratchFolder folder;
  const GuardedBlocks blocks;
};

TEST_F(FrameBounds, BlankFillStaysInAFrameThatIsUpsideDown) {
  const auto frame = UpsideDown(1, 64, 64);
  BlankFill(frame.get());
  EXPECT_TRUE(IsIntact(*frame));
  const Bytes block = Block(*frame);
  EXPECT_EQ(block[63], 0) << "row 0 of the luma is the only one there";
  EXPECT_EQ(block[64], kContent);
  EXPECT_EQ(block[4096 - 31 * 32], 128) << "plane 1 has all of its rows";
  EXPECT_EQ(block[5120 + 31], 128);
}

TEST_F(FrameBounds, BlankFillOfWordsStaysInAFrameThatIsUpsideDown) {
  const auto frame = UpsideDown(2, 64, 64);
  frame->GetDesc(0)->SetVideoSignalRange(0);
  BlankFill(frame.get());
  EXPECT_TRUE(IsIntact(*frame));
  const Bytes block = Block(*frame);
  EXPECT_EQ(Bytes(block.begin(), block.begin() + 3), (Bytes{64, 0, 64}));
  EXPECT_EQ(block[128], kContent);
}

TEST_F(FrameBounds, BlankFillStaysInAFrameWhoseSizeWraps) {
  const auto frame = Wrapped();
  BlankFill(frame.get());
  EXPECT_TRUE(IsIntact(*frame));
  EXPECT_EQ(Count(Block(*frame), 0), 64 * 65536) << "and reaches all of it";
}

TEST_F(FrameBounds, BlankFillStaysInTheFrameBehindACrop) {
  const auto frame = Frame(15000, 64, 64);
  BlankFill(Crop(frame, 60, 62, 64, 64).get());
  EXPECT_TRUE(IsIntact(*frame));
  EXPECT_EQ(Count(Block(*frame), 0), 2 * 64 - 60);
}

TEST_F(FrameBounds, BlankFillOfWordsAtAnOddAddressKeepsTheirOrder) {
  // One sample before the block, rows of three samples and a byte.
  test::OwnedFrame odd(VideoRequest(2, 3, 4), 64);
  odd.desc->SetVideoSignalRange(0);
  odd.SetPlane(0, -3, 7);
  BlankFill(&odd);
  EXPECT_TRUE(odd.IsIntact());
  const Bytes block(odd.block().begin(), odd.block().begin() + 12);
  EXPECT_EQ(block, (Bytes{0, 64, 0, kContent, 64, 0, 64, 0, 64, 0, kContent, 64}));
}

TEST_F(FrameBounds, ACopyOfACropAtTheRightEdgeEndsWithTheBlock) {
  const auto whole = Frame(15000, 64, 64, kOther);
  const auto part = Frame(15000, 54, 64);
  const auto crop = Crop(whole, 10, 0, 54, 64);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(part.get(), crop.get()), 0);
  EXPECT_EQ(Count(Block(*part), kOther), 4096 - 10);
  EXPECT_EQ(Block(*part)[4096 - 10], kContent) << "the crop has no such byte";
  EXPECT_TRUE(IsIntact(*part));
}

TEST_F(FrameBounds, ACopyIntoACropAtTheRightEdgeEndsWithTheBlock) {
  const auto whole = Frame(15000, 64, 64);
  const auto part = Frame(15000, 54, 64, kOther);
  const auto crop = Crop(whole, 10, 0, 54, 64);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(crop.get(), part.get()), 0);
  EXPECT_TRUE(IsIntact(*whole));
  EXPECT_EQ(Block(*whole)[9], kContent);
  EXPECT_EQ(Count(Block(*whole), kOther), 4096 - 10);
}

TEST_F(FrameBounds, ACopyIntoACropBesideTheFrameWritesNothing) {
  const auto whole = Frame(15000, 64, 64);
  const auto part = Frame(15000, 64, 64, kOther);
  for (const uint32_t y : {64U, 1000U, 0xFFFFFFC0U}) {
    const auto crop = Crop(whole, 0, y, 64, 64);
    EXPECT_EQ(NUXMivareCopyMediaBufferData(crop.get(), part.get()), 0) << y;
    EXPECT_EQ(Count(Block(*whole), kOther), 0) << y;
  }
  EXPECT_TRUE(IsIntact(*whole));
}

TEST_F(FrameBounds, ACopyIntoACropThatBeginsBeforeTheFrameSkipsWhatIsNotThere) {
  const auto whole = Frame(15000, 64, 64);
  const auto part = Frame(15000, 64, 64);
  for (size_t i = 0; i < 4096; ++i) part->Data()[i] = static_cast<uint8_t>(i % 64);
  const auto crop = Crop(whole, 0xFFFFFFF6U, 0, 64, 64);  // 10 to the left
  EXPECT_EQ(NUXMivareCopyMediaBufferData(crop.get(), part.get()), 0);
  EXPECT_EQ(whole->Data()[0], 10);
  EXPECT_EQ(whole->Data()[53], 63);
  EXPECT_EQ(whole->Data()[4095 - 10], 63);
  EXPECT_EQ(whole->Data()[4095], kContent);
}

TEST_F(FrameBounds, ACopyWithAPitchBeyondTheBlockEndsWithTheBlock) {
  const auto to = FarApart();
  const auto from = FarApart(kOther);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(to.get(), from.get()), 0);
  EXPECT_EQ(Block(*to), Block(*from));
  EXPECT_TRUE(IsIntact(*to));
}

TEST_F(FrameBounds, ACopyBetweenPitchesWithinAndBeyondTheBlockTakesTheFirstRow) {
  const auto near = Frame(45, 64, 64);
  const auto far = FarApart(kOther);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(near.get(), far.get()), 0);
  EXPECT_EQ(Count(Block(*near), kOther), 256);
  std::fill_n(near->Data(), Size(*near), uint8_t{0x33});
  EXPECT_EQ(NUXMivareCopyMediaBufferData(far.get(), near.get()), 0);
  EXPECT_EQ(Count(Block(*far), 0x33), 256);
  EXPECT_TRUE(IsIntact(*far));
}

TEST_F(FrameBounds, ACopyOfAFrameWhoseSizeWrapsTakesTheWholeBlock) {
  const auto to = Wrapped();
  const auto from = Wrapped(kOther);
  EXPECT_EQ(to->CopyFrom(from.get()), 0);
  EXPECT_EQ(Block(*to), Block(*from));
  EXPECT_TRUE(IsIntact(*to));
}

// Four planes of a little more than 1 GiB each, whose sum leaves 2 MiB.
TEST_F(FrameBounds, PlanesBeyondAFrameWhoseSizeWrapsAreLeftAlone) {
  const auto to = Frame(76, 131073, 4033);
  const auto from = Frame(76, 131073, 4033, kOther);
  ASSERT_EQ(Size(*to), size_t{2} << 20);
  to->GetDesc(0)->ResetPitches();
  from->GetDesc(0)->ResetPitches();
  {
    const LockedBuffer locked(*to);
    EXPECT_EQ(Distance(to->Data(), locked.plane(1)), (int64_t{1} << 30) + (1 << 19));
    EXPECT_EQ(Distance(to->Data(), locked.plane(3)), 3 * ((int64_t{1} << 30) + (1 << 19)));
  }
  EXPECT_EQ(NUXMivareCopyMediaBufferData(to.get(), from.get()), 0);
  EXPECT_EQ(Block(*to), Block(*from)) << "plane 0, as far as it goes";
  EXPECT_TRUE(IsIntact(*to));
  // 8 rows of 262146 bytes, the last one short of 16.
  EXPECT_EQ(DumpRaw(to, ".yuv444").size(), size_t{8} * 262146);
}

TEST_F(FrameBounds, ABmpOfACropCompletesItsLastRowWithZeros) {
  const auto frame = Frame(15000, 64, 64);
  const Bytes rows = DumpBmp(Crop(frame, 1, 0, 63, 64));  // rows are padded to 64
  ASSERT_EQ(rows.size(), 64U * 64);
  EXPECT_EQ(rows[62], kContent);
  EXPECT_EQ(rows[63], 0) << "the bottom row comes first";
  EXPECT_EQ(Count(rows, kContent), 4095);
}

TEST_F(FrameBounds, ABmpLeavesOutRowsThatAreNotThere) {
  EXPECT_EQ(DumpBmp(UpsideDown(15000, 64, 64)), Bytes(64, kContent));
  EXPECT_EQ(DumpBmp(FarApart()), Bytes(256, kContent));
  EXPECT_EQ(DumpBmp(Crop(Frame(15000, 64, 64), 0, 40, 64, 64)), Bytes(24 * 64, kContent));
}

TEST_F(FrameBounds, ABmpOfHighBytesEndsWithTheBlock) {
  const auto frame = Frame(48, 64, 64);  // 65 rows of 512 bytes
  const Bytes rows = DumpBmp(Crop(frame, 4, 1, 64, 64));
  ASSERT_EQ(rows.size(), 64U * 256);
  EXPECT_EQ(Bytes(rows.begin() + 239, rows.begin() + 257),
            (Bytes{kContent, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, kContent}));
  EXPECT_EQ(Count(rows, kContent), 64 * 256 - 16);
}

TEST_F(FrameBounds, ATgaEndsWithTheBlock) {
  EXPECT_EQ(DumpTga(Crop(Frame(15000, 64, 64), 10, 0, 54, 64)), Bytes(4096 - 10, kContent));
  EXPECT_EQ(DumpTga(FarApart()), Bytes(65 * 256, kContent));
  EXPECT_EQ(DumpTga(Wrapped()), Bytes(64 * 65536, kContent));
}

TEST_F(FrameBounds, ARawDumpLeavesOutRowsThatAreNotThere) {
  // One row of luma, 32 of 32 bytes of each chroma.
  EXPECT_EQ(DumpRaw(UpsideDown(1, 64, 64), ".yv12"), Bytes(64 + 2 * 1024, kContent));
  EXPECT_EQ(DumpRaw(UpsideDown(6, 64, 64), ".nv12"), Bytes(64 + 2048, kContent));
  EXPECT_EQ(DumpRaw(UpsideDown(7, 64, 64), ".p10"), Bytes(64 + 2048, kContent));
}

TEST_F(FrameBounds, ARawDumpOfHighBytesHasZerosForSamplesThatAreCut) {
  const auto frame = std::make_shared<test::OwnedFrame>(VideoRequest(7, 4, 2), 32);
  frame->SetPlane(0, -3, 8);      // row 0: a sample outside, half of one, two inside
  frame->SetPlane(1, 32 - 5, 8);  // two and a half
  EXPECT_EQ(DumpRaw(frame, ".p10"), (Bytes{0, 0, kContent, kContent, kContent, kContent, kContent,
                                           kContent, kContent, kContent, 0, 0}));
}

void PutLittle(Bytes& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// 64 x 64 pixels; each row of the file is filled with its number.
Bytes Bmp64(uint8_t bits) {
  Bytes bytes(54);
  PutLittle(bytes, 18, 64);
  PutLittle(bytes, 22, 64);
  bytes[28] = bits;
  for (int row = 0; row < 64; ++row) bytes.insert(bytes.end(), 256, static_cast<uint8_t>(row));
  return bytes;
}

TEST_F(FrameBounds, LoadingABmpStaysInAFrameWhoseRowsAreFarApart) {
  folder.Write("in.bmp", Bmp64(32));
  const auto frame = FarApart();
  EXPECT_TRUE(NUXMivareLoadBMP(folder.File("in.bmp").c_str(), frame));
  EXPECT_TRUE(IsIntact(*frame));
  EXPECT_EQ(frame->Data()[0], 63) << "the top row is the file's last";
  EXPECT_EQ(Count(Block(*frame), kContent), 65 * 256 - 256);
}

TEST_F(FrameBounds, LoadingABmpIntoACropStaysInTheFrame) {
  folder.Write("in.bmp", Bmp64(24));
  const auto frame = Frame(45, 64, 64);
  // Row 62 has 16 of its bytes in the block, row 63 none; row 0 starts at byte 752.
  EXPECT_TRUE(NUXMivareLoadBMP(folder.File("in.bmp").c_str(), Crop(frame, 60, 2, 64, 64)));
  EXPECT_TRUE(IsIntact(*frame));
  EXPECT_EQ(frame->Data()[751], kContent);
  EXPECT_EQ(frame->Data()[752], 63);
  EXPECT_EQ(Bytes(frame->Data() + 16623, frame->Data() + 16629), (Bytes{255, 1, 1, 1, 255, 1}));
  EXPECT_EQ(Block(*frame).back(), 255);
}

TEST_F(FrameBounds, LoadingRawPlanesSkipsRowsThatAreNotThere) {
  Bytes file;
  for (int row = 0; row < 64; ++row) file.insert(file.end(), 64, static_cast<uint8_t>(row));
  for (int row = 0; row < 64; ++row) file.insert(file.end(), 32, static_cast<uint8_t>(128 + row));
  folder.Write("in.yv12", file);
  const auto frame = UpsideDown(1, 64, 64);
  EXPECT_TRUE(NUXMivareLoadMediaBuffer(folder.File("in.yv12").c_str(), frame));
  EXPECT_TRUE(IsIntact(*frame));
  const Bytes block = Block(*frame);
  EXPECT_EQ(Count(block, 0), 64) << "row 0 of the luma";
  EXPECT_EQ(block[4096 - 31 * 32], 128 + 31) << "plane 1 upwards from 4096";
  EXPECT_EQ(block[5120], 128 + 32) << "plane 2 upwards from 5120";
  EXPECT_EQ(Count(block, 128 + 63), 32);
}

TEST_F(FrameBounds, LoadingRawPlanesOfRowsThatAreCutKeepsColumnsStraight) {
  Bytes file(4 * 2);
  for (size_t i = 0; i < file.size(); ++i) file[i] = static_cast<uint8_t>(i);
  folder.Write("in.nv12", file);
  const auto frame = std::make_shared<test::OwnedFrame>(VideoRequest(6, 4, 2), 8);
  frame->SetPlane(0, -2, 8);
  EXPECT_TRUE(NUXMivareLoadMediaBuffer(folder.File("in.nv12").c_str(), frame));
  EXPECT_TRUE(frame->IsIntact());
  const auto block = frame->block();
  EXPECT_EQ(Bytes(block.begin(), block.end()),
            (Bytes{2, 3, kContent, kContent, kContent, kContent, 4, 5}));
}

TEST_F(FrameBounds, TheDigestOfAFrameTakesWhatIsThere) {
  Bytes hashed(4096, kContent);  // what the scratch block holds at first here
  std::fill_n(hashed.begin(), 64, kOther);
  std::string digest;
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(UpsideDown(1, 64, 64, kOther).get(), &digest), 0);
  EXPECT_EQ(digest, orlo::md5::MD5String(hashed.data(), hashed.size()));
}

TEST_F(FrameBounds, FramesAreComparedAsFarAsTheyAreThere) {
  EXPECT_EQ(NUXMivareImagePSNR(UpsideDown(1, 64, 64), UpsideDown(1, 64, 64), 0), kLargest);
  EXPECT_EQ(NUXMivareImagePSNR(FarApart(), FarApart(), 255), kLargest);
  const auto a = FarApart();
  const auto b = FarApart();
  b->Data()[4] ^= 16;
  EXPECT_NEAR(NUXMivareImagePSNR(a, b, 0), 10 * std::log10(65025.0 * 64 * 64 / 256), 1e-9);
}

TEST_F(FrameBounds, SamplesBehindARowAreThoseOfThePaddingWhereThereIsNoOtherRow) {
  const auto a = Frame(45, 64, 1);
  const auto b = Frame(45, 64, 1);
  b->Data()[259] ^= 16;  // the second sample from byte 255 on, in the row below the picture
  EXPECT_NEAR(NUXMivareImagePSNR(a, b, 255), 10 * std::log10(65025.0 * 64 / 256), 1e-9);
}

TEST_F(FrameBounds, SamplesOfACutRowAreCountedFromItsStart) {
  const auto make = [] {
    auto frame = std::make_shared<test::OwnedFrame>(VideoRequest(45, 16, 1), 32);
    frame->SetPlane(0, -6, 64);
    return frame;
  };
  const auto a = make();
  const auto b = make();
  b->data()[2] ^= 16;  // byte 8 of the row, its third sample
  EXPECT_NEAR(NUXMivareImagePSNR(a, b, 0), 10 * std::log10(65025.0 * 16 / 256), 1e-9);
  b->data()[2] ^= 16;
  b->data()[1] ^= 16;
  EXPECT_EQ(NUXMivareImagePSNR(a, b, 0), kLargest) << "byte 7 is no sample";
}

// A linear buffer that claims more than it has, behind a hybrid frame and a proxy.
TEST_F(FrameBounds, ALinearCopyEndsWithTheSourcesBlockWhateverStandsBetween) {
  const auto source = std::make_shared<Buffer1d>(nullptr);
  ASSERT_TRUE(source->Init(MakeMediaDesc(5, 31100).get()));
  std::fill_n(source->Memory()->data.get(), 20000, kOther);
  source->SetDataSize(1 << 16);
  const auto hybrid = HybridBuffer::Create(source, {}, {}, {});
  std::shared_ptr<IMediaBuffer> proxy;
  ASSERT_EQ(NUXMivareCreateMediaBufferProxy(hybrid, &proxy), 0);
  for (IMediaBuffer* from : {static_cast<IMediaBuffer*>(source.get()), hybrid.get(), proxy.get()}) {
    Buffer1d to(nullptr);
    ASSERT_TRUE(to.Init(MakeMediaDesc(5, 31100).get()));
    EXPECT_EQ(to.CopyFrom(from), 0);
    const LockedBuffer locked(to);
    ASSERT_EQ(locked.pitch(0), 1 << 16);
    const Bytes bytes(locked.plane(0), locked.plane(0) + (1 << 16));
    EXPECT_EQ(Count(bytes, kOther), 20000);
    EXPECT_FALSE(HasGuardBytes(bytes));
  }
}

TEST_F(FrameBounds, ALinearCopyOfAPlaneEndsWithTheFrame) {
  const auto frame = Frame(15000, 64, 64, kOther);
  Buffer1d to(nullptr);
  ASSERT_TRUE(to.Init(MakeMediaDesc(5, 31100).get()));
  EXPECT_EQ(to.CopyFrom(Crop(frame, 10, 63, 1, 1).get()), 0);
  const LockedBuffer locked(to);
  ASSERT_EQ(locked.pitch(0), 64);
  const Bytes bytes(locked.plane(0), locked.plane(0) + 64);
  EXPECT_EQ(Count(bytes, kOther), 54);
  EXPECT_FALSE(HasGuardBytes(bytes));
}

TEST_F(FrameBounds, OwnBytesWrittenBackEndWithTheBlock) {
  Buffer1d buffer(nullptr);
  ASSERT_TRUE(buffer.Init(MakeMediaDesc(5, 31100).get()));
  buffer.SetDataSize(30000);
  const auto memory = buffer.Memory();
  EXPECT_EQ(buffer.SetData(memory->data.get(), 30000), 0);
  EXPECT_FALSE(HasGuardBytes({buffer.Memory()->data.get(), 30000}));
  const uint8_t* end = buffer.Memory()->data.get() + 30000;
  EXPECT_TRUE(buffer.AppendData(end - 10, 100));
  EXPECT_EQ(LockedBuffer(buffer).pitch(0), 30100);
  EXPECT_FALSE(HasGuardBytes({buffer.Memory()->data.get(), 30100}));
}

}  // namespace
}  // namespace mivare
