// Frames of the library with generated formats, sizes, pitches and planes through everything that
// touches samples. Nothing around their blocks is read or written, and what is computed of a frame
// does not depend on what lies there.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "blank_fill.h"
#include "buffer1d.h"
#include "mivare/buffer_views.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "support/fake_desc.h"
#include "support/generated.h"
#include "support/guarded_memory.h"
#include "support/log_capture.h"
#include "support/scratch_folder.h"

namespace mivare {
namespace {

using test::Bytes;
using test::Generated;
using test::GuardedBlocks;
using test::HasGuardBytes;
using test::OwnedFrame;

constexpr int32_t kFormats[] = {1,  2,  3,  5,  6,  7,  8,  11, 16, 17,    21, 22, 26, 27,
                                31, 35, 36, 44, 45, 46, 47, 48, 49, 50,    51, 52, 55, 56,
                                60, 61, 65, 66, 70, 71, 75, 76, 79, 15000, 0,  -1};
constexpr int32_t kSizes[] = {0,  1,   2,   3,    4,     7,     16,        63,        64,
                              65, 100, 255, 1000, 65535, 65536, INT32_MAX, INT32_MIN, -1};
constexpr int32_t kPitches[] = {0,     1,     -1,     2,         3,         7,
                                16,    -16,   64,     -64,       100,       4096,
                                65535, 65536, -65537, INT32_MAX, INT32_MIN, 1 << 30};

// What a frame is made from, so that another one can be made alike.
struct Recipe {
  int32_t smt;
  int32_t width;
  int32_t height;
  uint32_t depth;
  size_t size;  // of the block
  std::array<int64_t, 4> offsets;
  std::array<int32_t, 4> pitches;

  friend void PrintTo(const Recipe& recipe, std::ostream* out) {
    *out << "smt " << recipe.smt << " " << recipe.width << " x " << recipe.height << " depth "
         << recipe.depth << " block " << recipe.size;
    for (size_t i = 0; i < 4; ++i) {
      *out << " plane " << recipe.offsets[i] << " pitch " << recipe.pitches[i];
    }
  }
};

Recipe MakeRecipe(Generated& generated) {
  Recipe recipe{};
  recipe.smt = generated.Pick(kFormats);
  for (int32_t* length : {&recipe.width, &recipe.height}) {
    *length = generated.Chance(3) ? generated.Pick(kSizes)
                                  : static_cast<int32_t>(generated.Between(1, 40));
  }
  recipe.depth = static_cast<uint32_t>(generated.Pick({8, 8, 10, 16, 0, 17, -1}));
  recipe.size = static_cast<size_t>(generated.Between(0, 700));
  const auto size = static_cast<int64_t>(recipe.size);
  for (size_t i = 0; i < 4; ++i) {
    recipe.offsets[i] = generated.Pick<int64_t>(
        {0, generated.Between(0, size), generated.Between(-400, size + 400), size, -1,
         int64_t{1} << 31, -(int64_t{1} << 40), INT64_MAX, INT64_MIN});
    recipe.pitches[i] = generated.Chance(3) ? static_cast<int32_t>(generated.Between(-300, 300))
                                            : generated.Pick(kPitches);
  }
  return recipe;
}

// How many bytes a walk over every plane may visit, and a file of its rows may take.
bool IsSmallWork(const Recipe& recipe) {
  const auto width = static_cast<int64_t>(std::max(recipe.width, 1));
  const auto height = static_cast<int64_t>(std::max(recipe.height, 1));
  const auto row_bytes = width * 4 * ((int64_t{recipe.depth} + 7) / 8 + 1) + 4;
  for (const int32_t pitch : recipe.pitches) {
    const int64_t step = std::abs(int64_t{pitch});
    const int64_t there = static_cast<int64_t>(recipe.size) + row_bytes;
    const int64_t rows = step == 0 ? height : std::min(height, there / step + 1);
    if (row_bytes > (int64_t{1} << 16) / rows) return false;
  }
  return true;
}

std::shared_ptr<OwnedFrame> Make(const Recipe& recipe, uint8_t guard = test::kGuard) {
  auto frame =
      std::make_shared<OwnedFrame>(test::Said(recipe.smt, static_cast<uint32_t>(recipe.width),
                                              static_cast<uint32_t>(recipe.height), recipe.depth),
                                   recipe.size, guard);
  for (size_t i = 0; i < 4; ++i) frame->SetPlane(i, recipe.offsets[i], recipe.pitches[i]);
  return frame;
}

std::shared_ptr<IMediaBuffer> MaybeCropped(Generated& generated,
                                           const std::shared_ptr<IMediaBuffer>& frame) {
  if (!generated.Chance(4)) return frame;
  constexpr uint32_t kCorners[] = {0, 1, 2, 3, 17, 64, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  const IMediaDesc& desc = *frame->GetDesc(0);
  const uint32_t rect[4] = {generated.Pick(kCorners), generated.Pick(kCorners), desc.GetWidth(),
                            desc.GetHeight()};
  std::shared_ptr<IMediaBuffer> crop;
  EXPECT_EQ(NUXMivareCreateMediaBufferCrop(frame, rect, &crop), 0);
  return crop;
}

class HostileFrames : public ::testing::Test {
 protected:
  static constexpr int kRounds = 4000;
  static constexpr int kFiles = 300;  // which are slow

  // What a file holds behind its headers.
  static Bytes Rows(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    size_t headers = 0;
    if (path.extension() == ".bmp" && bytes.size() > 11)
      headers = bytes[10] | size_t{bytes[11]} << 8;
    if (path.extension() == ".tga") headers = 18;
    headers = std::min(headers, bytes.size());
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(headers));
    return bytes;
  }
  void Dump(const std::string& name, const std::shared_ptr<IMediaBuffer>& frame, int64_t kind) {
    if (kind == 0) {
      NUXMivareDumpBMP(folder.File(name + ".bmp").c_str(), frame);
    } else if (kind == 1) {
      NUXMivareDumpTGA(folder.File(name + ".tga").c_str(), frame);
    } else {
      NUXMivareDumpMediaBuffer(folder.File(name).c_str(), frame);
    }
  }
  void WriteBmpFor(const IMediaDesc& desc, Generated& generated) {
    Bytes bytes(54 + static_cast<size_t>(generated.Between(0, 4000)), 0x33);
    for (size_t i = 0; i < 4; ++i) {
      bytes[18 + i] = static_cast<uint8_t>(desc.GetWidth() >> (8 * i));
      bytes[22 + i] = static_cast<uint8_t>(desc.GetHeight() >> (8 * i));
      bytes[30 + i] = static_cast<uint8_t>(generated.Chance(3) && i == 0 ? 3 : 0);
    }
    bytes[28] = generated.Chance(2) ? 24 : 32;
    bytes[29] = 0;
    folder.Write("in", bytes);
  }

  const test::LogCapture log;
  const test::ScratchFolder folder;
  const GuardedBlocks blocks;
};

TEST_F(HostileFrames, AreDumpedWithoutWhatLiesAroundThem) {
  Generated generated(1);
  for (int round = 0; round < kFiles; ++round) {
    const Recipe recipe = MakeRecipe(generated);
    if (!IsSmallWork(recipe)) continue;
    SCOPED_TRACE(testing::PrintToString(recipe));
    const auto frame = Make(recipe);
    Dump(std::to_string(round), MaybeCropped(generated, frame), generated.Between(0, 2));
    ASSERT_TRUE(frame->IsIntact());
  }
  uintmax_t bytes = 0;
  for (const auto& file : std::filesystem::directory_iterator(folder.Path())) {
    const Bytes rows = Rows(file.path());
    EXPECT_FALSE(HasGuardBytes(rows)) << "of round " << file.path().filename();
    bytes += rows.size();
  }
  EXPECT_GT(bytes, 10000U);
}

TEST_F(HostileFrames, AreLoadedWithinTheirBlocks) {
  Generated generated(2);
  for (int round = 0; round < kFiles; ++round) {
    Recipe recipe = MakeRecipe(generated);
    recipe.smt = generated.Pick({1, 6, 45});
    recipe.depth = 8;
    if (!IsSmallWork(recipe)) continue;
    SCOPED_TRACE(testing::PrintToString(recipe));
    const auto frame = Make(recipe);
    const auto view = MaybeCropped(generated, frame);
    WriteBmpFor(*view->GetDesc(0), generated);
    NUXMivareLoadMediaBuffer(folder.File("in").c_str(), view);
    ASSERT_TRUE(frame->IsIntact());
  }
}

TEST_F(HostileFrames, AreComparedByTheirOwnBytes) {
  Generated generated(3);
  int compared = 0;
  for (int round = 0; round < kRounds; ++round) {
    Recipe recipe = MakeRecipe(generated);
    recipe.smt = generated.Pick({1, 6, 45, 2});
    if (!IsSmallWork(recipe)) continue;
    SCOPED_TRACE(testing::PrintToString(recipe));
    const auto a = Make(recipe, test::kGuard);
    const auto b = Make(recipe, test::kOtherGuard);
    const auto plane = static_cast<uint8_t>(generated.Pick({0, 1, 2, 3, 4, 17, 254, 255}));
    const double ratio = NUXMivareImagePSNR(a, b, plane);
    if (ratio == -200.0) continue;
    ASSERT_EQ(ratio, 1.7976931348623157e308) << int{plane};
    ++compared;
  }
  EXPECT_GT(compared, kRounds / 4);
}

TEST_F(HostileFrames, HaveTheDigestOfTheirOwnBytes) {
  Generated generated(4);
  int digested = 0;
  for (int round = 0; round < kRounds; ++round) {
    Recipe recipe = MakeRecipe(generated);
    recipe.smt = generated.Pick({1, 2, 45, 46});
    if (!IsSmallWork(recipe)) continue;
    const double hashed = 8.0 * recipe.width * recipe.height;
    if (hashed > 1e5 && hashed < 1e9) continue;  // slow, while more is refused
    SCOPED_TRACE(testing::PrintToString(recipe));
    const auto a = Make(recipe, test::kGuard);
    const auto b = Make(recipe, test::kOtherGuard);
    std::string of_a = "a";
    std::string of_b = "b";
    if (NUXMivareMediaBuffer2MD5(a.get(), &of_a) != 0) continue;
    ASSERT_EQ(NUXMivareMediaBuffer2MD5(b.get(), &of_b), 0);
    ASSERT_EQ(of_a, of_b);
    ++digested;
  }
  EXPECT_GT(digested, kRounds / 4);
}

TEST_F(HostileFrames, AreCopiedFromBlockToBlock) {
  Generated generated(5);
  int copied = 0;
  for (int round = 0; round < kRounds; ++round) {
    const Recipe recipe = MakeRecipe(generated);
    Recipe other = MakeRecipe(generated);
    other.smt = recipe.smt;
    other.width = recipe.width;
    other.height = recipe.height;
    if (generated.Chance(2)) other.pitches = recipe.pitches;
    if (!IsSmallWork(recipe) || !IsSmallWork(other)) continue;
    SCOPED_TRACE(testing::PrintToString(recipe) + " to " + testing::PrintToString(other));
    const auto from = Make(recipe);
    const auto to = Make(other);
    const auto from_view = MaybeCropped(generated, from);
    const auto to_view = MaybeCropped(generated, to);
    if (NUXMivareCopyMediaBufferData(to_view.get(), from_view.get()) == 0) ++copied;
    ASSERT_TRUE(to->IsIntact());
    ASSERT_FALSE(HasGuardBytes(to->block()));
    // Onto itself, shifted.
    NUXMivareCopyMediaBufferData(from.get(), from_view.get());
    ASSERT_TRUE(from->IsIntact());
    ASSERT_FALSE(HasGuardBytes(from->block()));
  }
  EXPECT_GT(copied, kRounds / 16);
}

TEST_F(HostileFrames, AreBlackenedWithinTheirBlocks) {
  Generated generated(6);
  for (int round = 0; round < kRounds; ++round) {
    Recipe recipe = MakeRecipe(generated);
    recipe.smt = generated.Pick({1, 2, 44, 45, 48, 55, 15000});
    if (!IsSmallWork(recipe)) continue;
    SCOPED_TRACE(testing::PrintToString(recipe));
    const auto frame = Make(recipe);
    BlankFill(MaybeCropped(generated, frame).get());
    ASSERT_TRUE(frame->IsIntact());
  }
}

TEST_F(HostileFrames, AreTakenIntoLinearBuffersByTheirOwnBytes) {
  Generated generated(7);
  for (int round = 0; round < kRounds / 4; ++round) {
    Recipe recipe = MakeRecipe(generated);
    SCOPED_TRACE(testing::PrintToString(recipe));
    const auto frame = Make(recipe);
    Buffer1d to(nullptr);
    ASSERT_TRUE(to.Init(MakeMediaDesc(2, 20001).get()));
    EXPECT_EQ(to.CopyFrom(MaybeCropped(generated, frame).get()), 0);
    const LockedBuffer locked(to);
    const auto there =
        std::min(static_cast<uint32_t>(std::max(locked.pitch(0), 0)), locked.capacity());
    ASSERT_FALSE(HasGuardBytes({locked.plane(0), there}));
  }
}

TEST_F(HostileFrames, OfSoundAreSilencedAndDumpedWithinTheirBlocks) {
  Generated generated(8);
  for (int round = 0; round < kFiles / 3; ++round) {
    const Recipe recipe = MakeRecipe(generated);
    SCOPED_TRACE(testing::PrintToString(recipe));
    const auto frame = Make(recipe);
    frame->desc = MediaDescPtr(new test::FakeDesc(2, 20001));
    frame->capacity = static_cast<uint32_t>(generated.Pick({0, 1, 100, 1000, -1}));
    NUXMivareDumpMediaBuffer(folder.File("f").c_str(), frame);
    ASSERT_FALSE(HasGuardBytes(folder.Read("f.pcm")));
    ASSERT_EQ(NUXMivareZeroBuffer(frame.get()), 0);
    ASSERT_TRUE(frame->IsIntact());
  }
}

// Sizes, appends and writes in any order, the largest ones refused for lack of memory.
TEST_F(HostileFrames, OfBytesGrowAndShrinkWithinTheirBlocks) {
  Generated generated(9);
  constexpr int32_t kCounts[] = {0,         1,     2,     19999,  20000,     20001,
                                 65536,     -1,    1000,  100000, INT32_MAX, INT32_MAX - 10,
                                 INT32_MIN, 30000, 50000, 1 << 26};
  const Bytes bytes(1 << 17, 0x44);
  Buffer1d buffer(nullptr);
  Buffer1d other(nullptr);
  ASSERT_TRUE(buffer.Init(MakeMediaDesc(2, 20001).get()));
  ASSERT_TRUE(other.Init(MakeMediaDesc(2, 20001).get()));
  for (int round = 0; round < kRounds / 8; ++round) {
    SCOPED_TRACE(round);
    const int32_t count = generated.Pick(kCounts);
    const auto given = static_cast<int32_t>(std::clamp<int64_t>(count, -1, 1 << 17));
    switch (generated.Between(0, 7)) {
      case 0: EXPECT_EQ(buffer.SetDataSize(count), 0); break;
      case 1: buffer.SetData(bytes.data(), given); break;
      case 2: buffer.AppendData(bytes.data(), static_cast<uint32_t>(std::max(given, 0))); break;
      case 3: buffer.AppendData(nullptr, static_cast<uint32_t>(count)); break;
      case 4: other.CopyFrom(&buffer); break;
      case 5: buffer.CopyFrom(generated.Chance(2) ? &buffer : &other); break;
      case 6:
        buffer.SetData(buffer.Memory()->data.get() + generated.Between(0, 19999), count);
        break;
      default: {
        const LockedBuffer locked(buffer);
        buffer.AppendData(locked.plane(0), static_cast<uint32_t>(locked.pitch(0)));
        break;
      }
    }
    if (generated.Chance(9)) {
      EXPECT_EQ(NUXMivareZeroBuffer(&buffer), 0);
    }
    for (Buffer1d* one : {&buffer, &other}) {
      const MemoryBlock block = *one->Block();
      ASSERT_TRUE(GuardedBlocks::IsIntact(block));
      ASSERT_FALSE(HasGuardBytes({block.data, block.size}));
      if (block.size > 40000) {
        ASSERT_TRUE(one->Init(MakeMediaDesc(2, 20001).get()));
      }
    }
  }
}

}  // namespace
}  // namespace mivare
