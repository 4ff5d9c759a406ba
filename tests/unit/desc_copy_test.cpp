// What one description takes over from another.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio_desc.h"
#include "mivare/extend_data.h"
#include "mivare/user_data.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "unit/desc/families.h"

namespace mivare::test {
namespace {

using desc::Nv12x;
using desc::VideoDescBase;
using desc::Yv12x;

IExtendData* ExtendDataOf(IMediaDesc& desc) {
  void* store = nullptr;
  desc.QueryProperty(kExtendDataKey, &store);
  return static_cast<IExtendData*>(store);
}

std::vector<uint8_t> BlockOf(IMediaDesc& desc, const char* key) {
  IExtendData* data = ExtendDataOf(desc);
  std::vector<uint8_t> block(data->GetExtendDataLength(key));
  auto length = static_cast<int32_t>(block.size());
  if (length > 0) data->GetExtendData(key, block.data(), &length);
  return block;
}

std::vector<uint8_t> Pattern(size_t size, uint8_t first) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(first + i * 7);
  return bytes;
}

void SetBlock(IMediaDesc& desc, const char* key, const std::vector<uint8_t>& bytes) {
  ASSERT_TRUE(
      ExtendDataOf(desc)->SetExtendData(key, bytes.data(), static_cast<int32_t>(bytes.size())));
}

constexpr char kPq[] = "Mivare Frame Extend Data : PQ";
constexpr char kBody[] = "Mivare Frame Extend Data : AiBodyFeatureData";
constexpr char kFace[] = "Mivare Frame Extend Data : AiFaceFeatureData";

// Notes which setters are called, in order, as a host's own description would see them.
class RecordingDesc final : public VideoDescBase {
 public:
  RecordingDesc() : VideoDescBase(1, 1) {}

  void SetInterlace(uint32_t value) override { Note("interlace", value); }
  void SetRotation(uint32_t value) override { Note("rotation", value); }
  void SetFilpType(uint32_t value) override { Note("filp", value); }
  bool SetColorSpace(uint32_t value) override {
    Note("space", value);
    return true;
  }
  void SetVideoSignalRange(uint32_t value) override { Note("range", value); }
  void SetVideoMatrix(uint32_t value) override { Note("matrix", value); }
  void SetTransferCharacter(uint32_t value) override { Note("transfer", value); }
  void SetColorPrimary(uint32_t value) override { Note("primary", value); }
  void SetDisplayAspectRatio(orlo::Rational ratio) override {
    calls.push_back("ratio " + std::to_string(ratio.num) + "/" + std::to_string(ratio.den));
  }
  void QueryProperty(const char*, void**) override { calls.emplace_back("query"); }
  IUserDataConfig* GetUserDataConfig() override { return nullptr; }
  IUserDataInquire* GetUserDataInquire() const override { return nullptr; }

  IMediaDesc* Clone() const override { return nullptr; }
  std::shared_ptr<IMediaDesc> CloneShared() const override { return nullptr; }
  int32_t GetFrameSize() override { return -1; }
  int32_t ValidatePitches(const int32_t*) const override { return -1; }
  void ResetPitchesNow() override {}

  std::vector<std::string> calls;

 private:
  void Note(const char* what, uint32_t value) {
    calls.push_back(std::string(what) + " " + std::to_string(value));
  }
};

TEST(CopyMediaExtraProperty, SetsEachPropertyOnceInOrder) {
  Yv12x source(1, 1);
  source.SetInterlace(1);
  source.SetRotation(2);
  source.SetFilpType(3);
  source.SetColorSpace(4);
  source.SetVideoSignalRange(5);
  source.SetVideoMatrix(6);
  source.SetTransferCharacter(7);
  source.SetColorPrimary(8);
  source.SetDisplayAspectRatio({4, 3});
  RecordingDesc destination;
  LogCapture log;
  NUXMivareCopyMediaExtraProperty(&destination, &source);
  const std::vector<std::string> expected = {"interlace 1", "rotation 2", "filp 3",     "space 4",
                                             "range 5",     "matrix 6",   "transfer 7", "primary 8",
                                             "ratio 4/3",   "query"};
  EXPECT_EQ(destination.calls, expected);
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{"mivare", 1, "mivare/desc[348]"}}))
      << "the destination has no extend data";
}

TEST(CopyMediaExtraProperty, LetsSinglePropertiesWinOverThePreset) {
  Yv12x source(1, 1);
  source.SetColorSpace(2);  // 9, 7, 6
  source.SetVideoMatrix(100);
  source.SetDisplayAspectRatio({16, 9});
  Nv12x destination(6, 1);
  const LogCapture quiet;
  NUXMivareCopyMediaExtraProperty(&destination, &source);
  EXPECT_EQ(destination.GetColorSpace(), 2U);
  EXPECT_EQ(destination.GetTransferCharacter(), 9U);
  EXPECT_EQ(destination.GetVideoMatrix(), 100U);
  EXPECT_EQ(destination.GetColorPrimary(), 6U);
  EXPECT_EQ(destination.GetDisplayAspectRatio(), (orlo::Rational{16, 9}));
  EXPECT_EQ(destination.GetWidth(), 0U);
  EXPECT_EQ(destination.GetSmt(), 6);
}

TEST(CopyMediaExtraProperty, CopiesTheWellKnownBlocksOfAnySize) {
  const LogCapture quiet;
  Yv12x source(1, 1);
  Yv12x destination(1, 1);
  source.SetDisplayAspectRatio({1, 1});
  SetBlock(source, kPq, Pattern(10, 1));
  SetBlock(source, kBody, Pattern(5000, 2));  // beyond the scratch's first 1024 bytes
  SetBlock(source, kFace, Pattern(1025, 3));
  SetBlock(source, "a key of the host's", Pattern(4, 4));
  SetBlock(destination, kPq, Pattern(100, 9));
  NUXMivareCopyMediaExtraProperty(&destination, &source);
  EXPECT_EQ(BlockOf(destination, kPq), Pattern(10, 1));
  EXPECT_EQ(BlockOf(destination, kBody), Pattern(5000, 2));
  EXPECT_EQ(BlockOf(destination, kFace), Pattern(1025, 3));
  EXPECT_TRUE(BlockOf(destination, "a key of the host's").empty());
}

TEST(CopyMediaExtraProperty, KeepsBlocksThatTheSourceLacks) {
  LogCapture log;
  Yv12x source(1, 1);
  Yv12x destination(1, 1);
  source.SetDisplayAspectRatio({1, 1});
  SetBlock(destination, kFace, Pattern(6, 5));
  log.Clear();
  NUXMivareCopyMediaExtraProperty(&destination, &source);
  EXPECT_EQ(BlockOf(destination, kFace), Pattern(6, 5));
  EXPECT_TRUE(log.Lines().empty()) << "absent blocks are not asked for";
}

// A host's store that writes four bytes and says that it wrote a great many.
class BoastingStore final : public IExtendData {
 public:
  explicit BoastingStore(int32_t said) : said_(said) {}
  uint32_t GetExtendDataLength(const char*) override { return 4; }
  bool GetExtendData(const char*, uint8_t* destination, int32_t* length) override {
    std::fill_n(destination, 4, uint8_t{7});
    *length = said_;
    return true;
  }
  bool SetExtendData(const char*, const uint8_t*, int32_t) override { return false; }
  void RemoveExtendData(const char*) override {}
  std::shared_ptr<IExtendData> Clone() override { return nullptr; }

 private:
  const int32_t said_;
};

TEST(CopyMediaExtraProperty, TakesNoMoreThanItHadRoomFor) {
  const LogCapture quiet;
  for (const int32_t said : {4, 1024, 1025, 1 << 24, INT32_MAX, 0, -1, INT32_MIN}) {
    SCOPED_TRACE(said);
    BoastingStore store(said);
    FakeDesc source(1, 1);
    source.extend_data = static_cast<IExtendData*>(&store);
    Yv12x destination(1, 1);
    NUXMivareCopyMediaExtraProperty(&destination, &source);
    const auto size = static_cast<size_t>(std::clamp(said, 0, 1024));
    EXPECT_EQ(BlockOf(destination, kPq).size(), size);
  }
}

TEST(CopyMediaExtraProperty, LogsWhenTheSourceHasNoExtendData) {
  RecordingDesc source;
  Yv12x destination(1, 1);
  destination.SetInterlace(5);
  LogCapture log;
  NUXMivareCopyMediaExtraProperty(&destination, &source);
  EXPECT_EQ(destination.GetInterlace(), 0U);
  EXPECT_EQ(log.Count(1, "mivare/desc[348]"), 1);
}

TEST(CopyMediaExtraProperty, IgnoresNull) {
  LogCapture log;
  Yv12x desc(1, 1);
  desc.SetInterlace(3);
  NUXMivareCopyMediaExtraProperty(nullptr, &desc);
  NUXMivareCopyMediaExtraProperty(&desc, nullptr);
  NUXMivareCopyMediaExtraProperty(nullptr, nullptr);
  EXPECT_EQ(desc.GetInterlace(), 3U);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(CopyMediaExtraProperty, FromSoundTakesItsNeutralValues) {
  desc::AudioDescBase source(20001);
  Yv12x destination(1, 1);
  destination.SetRotation(9);
  destination.SetVideoSignalRange(9);
  NUXMivareCopyMediaExtraProperty(&destination, &source);
  EXPECT_EQ(destination.GetRotation(), 0U);
  EXPECT_EQ(destination.GetVideoSignalRange(), 1U);
  EXPECT_EQ(destination.GetColorSpace(), 0xFFFFFFFFU);
  EXPECT_EQ(destination.GetDisplayAspectRatio(), (orlo::Rational{1, 1}));
}

int32_t ValueOf(const IMediaDesc& desc, const char* key) {
  orlo::ValAny value;
  return desc.GetUserDataInquire()->Get(key, value) == 1 ? value.ToInt32() : -1;
}

TEST(CopyUserData, RemovesKeysThatTheSourceLacks) {
  Yv12x source(1, 1);
  Yv12x destination(1, 1);
  source.GetUserDataConfig()->Set("a", 1);
  source.GetUserDataConfig()->Set("Blank", 2);
  destination.GetUserDataConfig()->Set("a", 9);
  destination.GetUserDataConfig()->Set("b", 9);
  NUXMivareCopyUserData(&destination, &source);
  EXPECT_EQ(ValueOf(destination, "a"), 1);
  EXPECT_EQ(ValueOf(destination, "b"), -1);
  EXPECT_EQ(ValueOf(destination, "Blank"), 2) << "the hints go along";
  EXPECT_EQ(ValueOf(source, "a"), 1);
}

TEST(CopyUserData, OfADescriptionOntoItselfEmptiesIt) {
  Yv12x desc(1, 1);
  desc.GetUserDataConfig()->Set("a", 1);
  NUXMivareCopyUserData(&desc, &desc);
  EXPECT_EQ(ValueOf(desc, "a"), -1);
}

TEST(CopyUserData, IgnoresNullAndDescriptionsWithoutAMap) {
  LogCapture log;
  Yv12x desc(1, 1);
  desc.GetUserDataConfig()->Set("a", 1);
  RecordingDesc without;
  NUXMivareCopyUserData(nullptr, &desc);
  NUXMivareCopyUserData(&desc, nullptr);
  NUXMivareCopyUserData(&desc, &without);
  NUXMivareCopyUserData(&without, &desc);
  EXPECT_EQ(ValueOf(desc, "a"), 1);
  EXPECT_TRUE(log.Lines().empty());
}

}  // namespace
}  // namespace mivare::test
