#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "buffer1d.h"
#include "buffer2d.h"
#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "support/fake_buffer.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"

namespace mivare {
namespace {

using test::FakeBuffer;
using test::FakeDesc;
using test::LogCapture;
using test::LogLine;

// NOLINTNEXTLINE(performance-no-int-to-ptr): what Lock asks for
void* const kForWriting = reinterpret_cast<void*>(uintptr_t{1});

// A buffer with eight planes of `kRows` rows, each byte of which says `fill`.
constexpr size_t kRows = 8;
struct Planes {
  FakeDesc desc;
  FakeBuffer buffer;
  std::array<std::vector<uint8_t>, 8> memory;

  Planes(int32_t smt, uint32_t height, int32_t pitch, uint8_t fill) : desc(1, smt, 4, height) {
    buffer.desc = &desc;
    for (size_t i = 0; i < 8; ++i) {
      memory[i].assign(kRows * static_cast<size_t>(pitch), fill);
      buffer.planes[i] = memory[i].data();
      buffer.pitches[i] = pitch;
    }
  }
  // How many bytes of plane `i` say `value`.
  size_t Count(size_t i, uint8_t value) const {
    size_t count = 0;
    for (const uint8_t byte : memory[i]) count += byte == value ? 1 : 0;
    return count;
  }
};

class CopyTest : public ::testing::Test {
 protected:
  std::vector<std::string> Texts() {
    std::vector<std::string> texts;
    for (const LogLine& line : log.Lines()) {
      EXPECT_EQ(line.tag, "mivare");
      EXPECT_EQ(line.level, 6);
      texts.push_back(line.text);
    }
    return texts;
  }
  // Checks that a copy of plane 0 to `planes` is refused as a whole.
  void ExpectRefusedPlanes(Planes& to, Planes& from, int to_unlocks, int from_unlocks) {
    EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), -1);
    EXPECT_EQ(Texts(), (std::vector<std::string>{"param error! file[mivare/dump_image] line[1261]",
                                                 "error! file[mivare/dump_image] line[1268]"}));
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(to.Count(i, 2), 0U) << "plane " << i;
    EXPECT_EQ(to.buffer.unlocks, to_unlocks);
    EXPECT_EQ(from.buffer.unlocks, from_unlocks);
    log.Clear();
  }

  LogCapture log;
};

TEST_F(CopyTest, RefusesNull) {
  Planes planes(1, 4, 4, 1);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(nullptr, &planes.buffer), -1);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&planes.buffer, nullptr), -1);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(nullptr, nullptr), -1);
  EXPECT_EQ(Texts(),
            std::vector<std::string>(3, "input param empty! file[mivare/dump_image] line[1218]"));
}

TEST_F(CopyTest, RefusesAMissingDescription) {
  Planes planes(1, 4, 4, 1);
  FakeBuffer bare;
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&planes.buffer, &bare), -1);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&bare, &planes.buffer), -1);
  EXPECT_EQ(Texts(),
            std::vector<std::string>(2, "input param error! file[mivare/dump_image] line[1225]"));
}

TEST_F(CopyTest, RefusesAnotherFormat) {
  Planes to(1, 4, 4, 1);
  Planes from(6, 4, 4, 2);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), -1);
  EXPECT_EQ(Texts(),
            std::vector<std::string>{"submediatype not equal! file[mivare/dump_image] line[1231]"});
  EXPECT_TRUE(to.buffer.lock_reasons.empty());
}

TEST_F(CopyTest, RefusesAnotherWidthOrHeight) {
  Planes to(1, 4, 4, 1);
  Planes lower(1, 5, 4, 2);
  Planes narrower(1, 4, 4, 2);
  narrower.desc.width = 3;
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &lower.buffer), -1);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &narrower.buffer), -1);
  EXPECT_EQ(Texts(), std::vector<std::string>(
                         2, "resolution not equal! file[mivare/dump_image] line[1243]"));
}

TEST_F(CopyTest, LeavesAudioToTheDestination) {
  FakeDesc desc(2, 20001);
  FakeBuffer to(&desc);
  FakeBuffer from(&desc);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to, &from), 0) << "whatever CopyFrom says";
  EXPECT_EQ(to.copied_from, std::vector<IMediaBuffer*>{&from});
  EXPECT_TRUE(to.lock_reasons.empty());
}

TEST_F(CopyTest, HasNothingToDoForOtherMediaTypes) {
  for (const uint32_t media_type : {0U, 3U, 4U, 5U, 6U}) {
    FakeDesc desc(media_type, 45);
    FakeBuffer to(&desc);
    FakeBuffer from(&desc);
    EXPECT_EQ(NUXMivareCopyMediaBufferData(&to, &from), 1) << media_type;
    EXPECT_TRUE(to.lock_reasons.empty());
  }
  EXPECT_TRUE(Texts().empty());
}

TEST_F(CopyTest, TheSourceDecidesTheMediaType) {
  FakeDesc audio(2, 1);
  FakeDesc video(1, 1);
  FakeBuffer to(&video);
  FakeBuffer from(&audio);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to, &from), 0);
  EXPECT_EQ(to.copied_from.size(), 1U);
}

TEST_F(CopyTest, LocksTheDestinationForWritingAndTheSourceForReading) {
  Planes to(1, 4, 4, 1);
  Planes from(1, 4, 4, 2);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), 0);
  EXPECT_EQ(to.buffer.lock_reasons, std::vector<void*>{kForWriting});
  EXPECT_EQ(from.buffer.lock_reasons, std::vector<void*>{nullptr});
  EXPECT_EQ(to.buffer.unlocks, 1);
  EXPECT_EQ(from.buffer.unlocks, 1);
}

// The rows of each plane of every format, for a height of 5: half of it is 3.
TEST_F(CopyTest, PlanesAndRowsOfEveryFormat) {
  const std::vector<size_t> y{5}, y_uv2{5, 3}, y_u2_v2{5, 3, 3}, y_uv{5, 5}, y_u_v{5, 5, 5},
      y_u2_v2_a{5, 3, 3, 5}, y_u_v_a{5, 5, 5, 5};
  const std::map<int32_t, std::vector<size_t>> expected{
      {1, y_u2_v2},    {2, y_u2_v2},    {3, y_u2_v2},    {4, y_u2_v2},    {5, y_u2_v2},
      {6, y_uv2},      {7, y_uv2},      {8, y_uv2},      {9, y_uv2},      {10, y_uv2},
      {36, y_uv2},     {16, y_uv},      {17, y_uv},      {18, y_uv},      {19, y_uv},
      {20, y_uv},      {26, y_uv},      {27, y_uv},      {28, y_uv},      {29, y_uv},
      {30, y_uv},      {31, y_u_v},     {32, y_u_v},     {33, y_u_v},     {34, y_u_v},
      {35, y_u_v},     {70, y_u_v},     {71, y_u_v},     {55, y_u2_v2_a}, {56, y_u2_v2_a},
      {57, y_u2_v2_a}, {58, y_u2_v2_a}, {59, y_u2_v2_a}, {60, y_u_v},     {61, y_u_v},
      {65, y_u_v_a},   {66, y_u_v_a},   {75, y_u_v_a},   {76, y_u_v_a},   {79, y_u_v_a},
  };
  std::vector<int32_t> codes{INT32_MIN, -1, 10000, 14999, 15000, 15001, 31100, INT32_MAX};
  for (int32_t smt = 0; smt <= 130; ++smt) codes.push_back(smt);
  for (const int32_t smt : codes) {
    SCOPED_TRACE(smt);
    const auto found = expected.find(smt);
    const std::vector<size_t>& rows = found != expected.end() ? found->second : y;
    // Once with equal pitches, once with a destination that is wider.
    for (const int32_t to_pitch : {4, 6}) {
      Planes to(smt, 5, to_pitch, 1);
      Planes from(smt, 5, 4, 2);
      EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), 0);
      for (size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(to.Count(i, 2), i < rows.size() ? rows[i] * 4 : 0) << "plane " << i;
      }
    }
  }
}

TEST_F(CopyTest, CopiesRowByRowWhenThePitchesDiffer) {
  Planes to(15000, 2, 6, 9);
  Planes from(15000, 2, 4, 0);
  for (size_t i = 0; i < 8; ++i) from.memory[0][i] = static_cast<uint8_t>(i);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), 0);
  EXPECT_EQ(std::vector<uint8_t>(to.memory[0].begin(), to.memory[0].begin() + 13),
            (std::vector<uint8_t>{0, 1, 2, 3, 9, 9, 4, 5, 6, 7, 9, 9, 9}));
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&from.buffer, &to.buffer), 0) << "and back";
  EXPECT_EQ(std::vector<uint8_t>(from.memory[0].begin(), from.memory[0].begin() + 9),
            (std::vector<uint8_t>{0, 1, 2, 3, 4, 5, 6, 7, 0}));
}

TEST_F(CopyTest, CopiesWholePitchesNotVisibleWidths) {
  Planes to(15000, 2, 6, 1);
  Planes from(15000, 2, 6, 2);
  to.desc.width = from.desc.width = 3;
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), 0);
  EXPECT_EQ(to.Count(0, 2), 12U);
}

TEST_F(CopyTest, ABadPlaneRefusesTheWholeCopy) {
  const int32_t smt = 1;  // three planes
  for (size_t bad = 0; bad < 3; ++bad) {
    SCOPED_TRACE(bad);
    for (const bool in_source : {false, true}) {
      for (const int32_t pitch : {0, -4, INT32_MIN}) {
        Planes to(smt, 4, 4, 1);
        Planes from(smt, 4, 4, 2);
        (in_source ? from : to).buffer.pitches[bad] = pitch;
        ExpectRefusedPlanes(to, from, 1, 1);
      }
      Planes to(smt, 4, 4, 1);
      Planes from(smt, 4, 4, 2);
      (in_source ? from : to).buffer.planes[bad] = nullptr;
      ExpectRefusedPlanes(to, from, 1, 1);
    }
  }
}

TEST_F(CopyTest, PlanesBehindTheLastOneDoNotMatter) {
  Planes to(1, 4, 4, 1);
  Planes from(1, 4, 4, 2);
  to.buffer.planes[3] = nullptr;
  from.buffer.pitches[3] = 0;
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), 0);
}

TEST_F(CopyTest, AFailedLockRefusesTheCopyAndUnlocksTheOther) {
  for (const bool writes : {false, true}) {
    SCOPED_TRACE(writes);
    {
      Planes to(1, 4, 4, 1);
      Planes from(1, 4, 4, 2);
      to.buffer.lock_status = -2;
      to.buffer.writes_when_refusing = writes;
      ExpectRefusedPlanes(to, from, 0, 1);
    }
    {
      Planes to(1, 4, 4, 1);
      Planes from(1, 4, 4, 2);
      from.buffer.lock_status = -2;
      from.buffer.writes_when_refusing = writes;
      ExpectRefusedPlanes(to, from, 1, 0);
    }
    {
      Planes to(1, 4, 4, 1);
      Planes from(1, 4, 4, 2);
      to.buffer.lock_status = from.buffer.lock_status = -1;
      ExpectRefusedPlanes(to, from, 0, 0);
    }
  }
}

TEST_F(CopyTest, ABufferThatThrowsFailsTheCopyAndUnlocksTheOther) {
  Planes to(1, 4, 4, 1);
  Planes from(1, 4, 4, 2);
  from.buffer.throws = true;
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), -1);
  EXPECT_EQ(to.buffer.unlocks, 1);
}

TEST_F(CopyTest, OverlappingMemoryIsFine) {
  Planes to(15000, 3, 4, 0);
  Planes from(15000, 3, 4, 0);
  std::vector<uint8_t> shared(32);
  for (size_t i = 0; i < shared.size(); ++i) shared[i] = static_cast<uint8_t>(i);
  from.buffer.planes[0] = shared.data();
  to.buffer.planes[0] = shared.data() + 2;
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), 0);
  for (size_t i = 0; i < 12; ++i) EXPECT_EQ(shared[i + 2], i);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&from.buffer, &from.buffer), 0) << "onto itself";
}

TEST_F(CopyTest, HeightsWithoutRowsCopyNothing) {
  for (const uint32_t height : {0U, 0x80000000U, 0xFFFFFFFFU}) {
    Planes to(1, height, 4, 1);
    Planes from(1, height, 4, 2);
    EXPECT_EQ(NUXMivareCopyMediaBufferData(&to.buffer, &from.buffer), 0) << height;
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(to.Count(i, 2), 0U);
  }
}

TEST_F(CopyTest, BetweenSmt11FramesTakesTheLumaOnly) {
  const MediaDescPtr desc = MakeMediaDesc(1, 11);
  desc->SetWidthHeight(64, 64);
  const auto to = _CreateMediaBuffer2D(desc.get(), nullptr);
  const auto from = _CreateMediaBuffer2D(desc.get(), nullptr);
  ASSERT_NE(to, nullptr);
  const size_t luma = 4096;
  std::fill_n(to->Data(), luma * 2, uint8_t{1});
  std::fill_n(from->Data(), luma * 2, uint8_t{2});
  EXPECT_EQ(NUXMivareCopyMediaBufferData(to.get(), from.get()), 0);
  EXPECT_EQ(to->Data()[luma - 1], 2);
  EXPECT_EQ(to->Data()[luma], 1);
}

TEST_F(CopyTest, BetweenSubtitleBuffersHasNothingToDo) {
  const MediaDescPtr desc = MakeMediaDesc(5, 31100);
  Buffer1d to(nullptr);
  Buffer1d from(nullptr);
  ASSERT_TRUE(to.Init(desc.get()) && from.Init(desc.get()));
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to, &from), 1);
}

TEST_F(CopyTest, BetweenAudioBuffersCopiesTheBytes) {
  const MediaDescPtr desc = MakeMediaDesc(2, 20001);
  audio::AudioBuffer to(nullptr);
  audio::AudioBuffer from(nullptr);
  ASSERT_TRUE(to.Init(desc.get()) && from.Init(desc.get()));
  const uint8_t bytes[] = {5, 6, 7};
  from.SetData(bytes, 3);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(&to, &from), 0);
  const LockedBuffer locked(to);
  EXPECT_EQ(locked.pitch(0), 3);
  EXPECT_EQ(locked.plane(0)[2], 7);
}

}  // namespace
}  // namespace mivare
