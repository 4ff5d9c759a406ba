// Which class each pair of media type and code builds, and what a refusal logs.
#include "desc_factory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "audio_desc.h"
#include "bits_desc.h"
#include "support/log_capture.h"
#include "unit/desc/families.h"

namespace mivare::test {
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

struct Builds {
  const std::type_info& type;
  std::vector<int32_t> codes;
};

const std::vector<Builds> kVideo = {
    {typeid(Yv12x), {1, 2, 3, 4, 5}},
    {typeid(Nv12x), {6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
    {typeid(Nv16x),
     {16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35}},
    {typeid(Bgrax), {44, 45, 46, 47, 48, 50, 51, 52}},
    {typeid(Yuvax), {55, 56, 57, 58, 59}},
    {typeid(Yv16x), {60, 61, 62, 64, 65, 66, 67, 69}},
    {typeid(Yv24x), {70, 71, 72, 74, 75, 76, 77, 79}},
    {typeid(Gray), {15000}},
};
const std::vector<Builds> kAudio = {
    {typeid(AudioDescBase), {20001, 20002, 20003, 20004, 20005, 20006, 20007, 20008, 20009, 20010}},
    {typeid(BitsDesc), {30000}},
};
const std::vector<Builds> kSubtitle = {
    {typeid(Gray), {15000}},
    {typeid(Yv12x), {1, 2, 3}},
    {typeid(Bgrax), {45, 46, 47, 48, 49, 50, 51, 52}},
    {typeid(BitsDesc), {31100}},
};
const std::vector<Builds> kLike = {
    {typeid(Yv12x), {1, 2, 3}},
    {typeid(Nv12x), {6, 7, 8, 9, 11}},
    {typeid(Nv16x), {16, 17, 18, 19}},
    {typeid(Nv24x), {26, 27, 28, 29, 30, 31, 35}},
    {typeid(Bgrax), {44, 45, 46, 47, 48, 50, 51, 52}},
    {typeid(Yuvax), {55, 56, 57, 58}},
    {typeid(Yv16x), {60, 61, 62, 64, 65, 66, 67, 69}},
    {typeid(Yv24x), {70, 71, 72, 74, 75, 76, 77, 79}},
    {typeid(Gray), {15000}},
};

const std::type_info* Expected(const std::vector<Builds>& table, int32_t smt) {
  for (const Builds& row : table) {
    for (const int32_t code : row.codes) {
      if (code == smt) return &row.type;
    }
  }
  return nullptr;
}

// Every small code, and the special ones with their neighbours.
std::vector<int32_t> AllCodes() {
  std::vector<int32_t> codes = {INT32_MIN, INT32_MAX, 9999,  10000, 10001, 14999,
                                15000,     15001,     29999, 30000, 30001, 31000,
                                31099,     31100,     31101, 65537, -65535};
  for (int32_t smt = -2; smt <= 110; ++smt) codes.push_back(smt);
  for (int32_t smt = 19999; smt <= 20012; ++smt) codes.push_back(smt);
  return codes;
}

struct MediaTypeCase {
  uint32_t media_type;
  const std::vector<Builds>& table;
  std::string refusal;  // without the code and the closing bracket
};

TEST(MediaDescCreateEx, BuildsByTableAndLogsWhatItRefuses) {
  const MediaTypeCase cases[] = {
      {1, kVideo, "error! mivare/desc(271) unsupport smt["},
      {2, kAudio, "mivare/desc[303] smt["},
      {5, kSubtitle, "mivare/desc[335] smt["},
  };
  for (const MediaTypeCase& row : cases) {
    for (const int32_t smt : AllCodes()) {
      SCOPED_TRACE(testing::Message() << "media type " << row.media_type << " smt " << smt);
      LogCapture log;
      const std::unique_ptr<IMediaDesc> desc(NUXMivareMediaDescCreateEx(row.media_type, smt));
      const std::type_info* type = Expected(row.table, smt);
      ASSERT_EQ(desc != nullptr, type != nullptr);
      if (desc == nullptr) {
        EXPECT_EQ(log.Lines(),
                  (std::vector<LogLine>{{"mivare", 6, row.refusal + std::to_string(smt) + "]"}}));
        continue;
      }
      EXPECT_TRUE(log.Lines().empty());
      const IMediaDesc& made = *desc;
      EXPECT_TRUE(typeid(made) == *type) << typeid(made).name();
      EXPECT_EQ(desc->GetMediaType(), row.media_type);
      EXPECT_EQ(desc->GetSmt(), smt);
      EXPECT_EQ(desc->GetWidth(), 0U);
      EXPECT_EQ(desc->GetHeight(), 0U);
    }
  }
}

TEST(MediaDescCreateEx, RefusesOtherMediaTypesQuietly) {
  LogCapture log;
  for (const uint32_t media_type : {0U, 3U, 4U, 6U, 7U, UINT32_MAX}) {
    for (const int32_t smt : AllCodes()) {
      EXPECT_EQ(NUXMivareMediaDescCreateEx(media_type, smt), nullptr);
    }
  }
  EXPECT_TRUE(log.Lines().empty());
}

TEST(MediaDescCreateEx, Builds444CodesWithThe422Layout) {
  const std::unique_ptr<IMediaDesc> desc(NUXMivareMediaDescCreateEx(1, 30));
  ASSERT_NE(dynamic_cast<Nv16x*>(desc.get()), nullptr);
  EXPECT_EQ(desc->GetSmt(), 30);
  desc->SetWidthHeight(64, 64);
  EXPECT_EQ(desc->GetFrameSize(), 2 * 64 * 64 * 2);
  const auto like = CreateDescLike(*desc);
  ASSERT_NE(std::dynamic_pointer_cast<Nv24x>(like), nullptr);
  EXPECT_EQ(like->GetFrameSize(), 3 * 64 * 64 * 2);
}

TEST(MediaDescCreate, GivesNothing) { EXPECT_EQ(NUXMivareMediaDescCreate(), nullptr); }

TEST(MediaDescDestroy, FreesAndNullsThePointer) {
  NUXMivareMediaDescDestroy(nullptr);
  IMediaDesc* desc = nullptr;
  NUXMivareMediaDescDestroy(&desc);
  EXPECT_EQ(desc, nullptr);
  desc = NUXMivareMediaDescCreateEx(1, 1);
  ASSERT_NE(desc, nullptr);
  NUXMivareMediaDescDestroy(&desc);
  EXPECT_EQ(desc, nullptr);
  NUXMivareMediaDescDestroy(&desc);
}

TEST(MediaDescUpdate, CallsTheSetterOfItsName) {
  struct Case {
    const char* name;
    void (*update)(IMediaDesc*, uint32_t);
    uint32_t (IMediaDesc::*get)() const;
  };
  const Case cases[] = {
      {"primary", NUXMivareMediaDescUpdateColorPrimary, &IMediaDesc::GetColorPrimary},
      {"filp", NUXMivareMediaDescUpdateFilpType, &IMediaDesc::GetFilpType},
      {"interlace", NUXMivareMediaDescUpdateInterlace, &IMediaDesc::GetInterlace},
      {"rotation", NUXMivareMediaDescUpdateRotation, &IMediaDesc::GetRotation},
      {"transfer", NUXMivareMediaDescUpdateTransferCharacter, &IMediaDesc::GetTransferCharacter},
      {"matrix", NUXMivareMediaDescUpdateVideoMatrix, &IMediaDesc::GetVideoMatrix},
      {"range", NUXMivareMediaDescUpdateVideoSignalRange, &IMediaDesc::GetVideoSignalRange},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    Yv12x desc(1, 1);
    std::vector<uint32_t> before;
    for (const Case& other : cases) before.push_back((desc.*other.get)());
    row.update(&desc, 99);
    for (size_t i = 0; i < std::size(cases); ++i) {
      const bool updated = cases[i].update == row.update;
      EXPECT_EQ((desc.*cases[i].get)(), updated ? 99U : before[i]) << cases[i].name;
    }
    row.update(nullptr, 99);
  }
}

// A description of any code and size, as a host might bring its own.
class AnyPicture final : public Cloneable<AnyPicture, PicturelessDesc> {
 public:
  AnyPicture(int32_t smt, int32_t width, int32_t height)
      : smt_(smt), width_(width), height_(height) {}
  AnyPicture(const AnyPicture&) = default;
  uint32_t GetMediaType() const override { return 5; }
  int32_t GetSmt() const override { return smt_; }
  int32_t GetMediaTypeAndSmt(uint32_t*, uint32_t*) const override { return -1; }
  uint32_t GetTag() const override { return 0; }
  void SetTag(uint32_t) override {}
  uint32_t GetWidth() const override { return static_cast<uint32_t>(width_); }
  uint32_t GetHeight() const override { return static_cast<uint32_t>(height_); }

 private:
  int32_t smt_;
  int32_t width_;
  int32_t height_;
};

TEST(CreateDescLike, BuildsByItsNarrowerTable) {
  for (const int32_t smt : AllCodes()) {
    SCOPED_TRACE(smt);
    LogCapture log;
    const auto like = CreateDescLike(AnyPicture(smt, 320, 200));
    const std::type_info* type = Expected(kLike, smt);
    ASSERT_EQ(like != nullptr, type != nullptr);
    if (like == nullptr) {
      EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{"mivare", 6,
                                                    "error! mivare/desc(112) unsupport smt[" +
                                                        std::to_string(smt) + "]"}}));
      continue;
    }
    EXPECT_TRUE(log.Lines().empty());
    const IMediaDesc& made = *like;
    EXPECT_TRUE(typeid(made) == *type) << typeid(made).name();
    EXPECT_EQ(like->GetMediaType(), 1U);
    EXPECT_EQ(like->GetSmt(), smt);
    EXPECT_EQ(like->GetWidth(), 320U);
    EXPECT_EQ(like->GetHeight(), 200U);
  }
}

TEST(CreateDescLike, RefusesThe14BitYv12xThatTheFactoryBuilds) {
  const std::unique_ptr<IMediaDesc> desc(NUXMivareMediaDescCreateEx(1, 4));
  ASSERT_NE(desc, nullptr);
  LogCapture log;
  EXPECT_EQ(CreateDescLike(*desc), nullptr);
  EXPECT_EQ(log.Count(6, "error! mivare/desc(112) unsupport smt[4]"), 1);
}

TEST(CreateDescLike, RefusesSizesBeyondTheCapacity) {
  LogCapture log;
  EXPECT_NE(CreateDescLike(AnyPicture(1, 200000, 65536)), nullptr);
  EXPECT_NE(CreateDescLike(AnyPicture(1, -5, 10)), nullptr);
  EXPECT_TRUE(log.Lines().empty());
  EXPECT_EQ(CreateDescLike(AnyPicture(1, 200001, 10)), nullptr);
  EXPECT_EQ(CreateDescLike(AnyPicture(1, 10, 65537)), nullptr);
  EXPECT_EQ(log.Lines(),
            (std::vector<LogLine>{{"mivare", 6, "error! mivare/desc(127) [200001x10]"},
                                  {"mivare", 6, "error! mivare/desc(127) [10x65537]"}}));
  // A size that the new description itself refuses leaves it without one.
  log.Clear();
  const auto like = CreateDescLike(AnyPicture(1, 0, 0));
  ASSERT_NE(like, nullptr);
  EXPECT_EQ(like->GetWidth(), 0U);
  EXPECT_EQ(log.CountContaining("width[0] x height[0]"), 1);
}

}  // namespace
}  // namespace mivare::test
