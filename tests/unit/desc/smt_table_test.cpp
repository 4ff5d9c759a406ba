// The vocabulary of sub media types: which class a code means, its depth, its alpha plane and the
// media types that create it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <typeinfo>
#include <vector>

#include "audio_desc.h"
#include "bits_desc.h"
#include "mivare/media_desc.h"
#include "support/log_capture.h"
#include "unit/desc/families.h"

namespace mivare::test {
namespace {

using desc::Bgrax;
using desc::Gray;
using desc::Nv12x;
using desc::Nv16x;
using desc::Nv24x;
using desc::Yuvax;
using desc::Yv12x;
using desc::Yv16x;
using desc::Yv24x;

struct SmtRow {
  const char* name;
  NewFamily make;                 // the class that the code means
  const std::type_info& created;  // the class that the factory builds
  size_t planes;                  // three and four tell formats without and with alpha apart
  std::vector<int32_t> codes;
  std::vector<uint32_t> depths;                    // one for each code
  std::vector<std::vector<uint32_t>> media_types;  // for each code
};

using Types = std::vector<std::vector<uint32_t>>;
const Types kVideoFive = {{1}, {1}, {1}, {1}, {1}};
const Types kVideoBut14Bits = {{1}, {1}, {1}, {}, {1}};
const std::vector<uint32_t> kDepths = {8, 10, 12, 14, 16};

const SmtRow kPictures[] = {
    {"Yv12x",
     New<Yv12x>,
     typeid(Yv12x),
     3,
     {1, 2, 3, 4, 5},
     kDepths,
     {{1, 5}, {1, 5}, {1, 5}, {1}, {1}}},
    {"Nv12x", New<Nv12x>, typeid(Nv12x), 2, {6, 7, 8, 9, 10}, kDepths, kVideoFive},
    {"Nv12x, alpha", New<Nv12x>, typeid(Nv12x), 3, {11, 12, 13, 14, 15}, kDepths, kVideoFive},
    {"Nv16x", New<Nv16x>, typeid(Nv16x), 2, {16, 17, 18, 19, 20}, kDepths, kVideoFive},
    {"Nv16x, alpha", New<Nv16x>, typeid(Nv16x), 3, {21, 22, 23, 24, 25}, kDepths, kVideoFive},
    {"Nv24x", New<Nv24x>, typeid(Nv16x), 2, {26, 27, 28, 29, 30}, kDepths, kVideoFive},
    {"Nv24x, alpha", New<Nv24x>, typeid(Nv16x), 3, {31, 32, 33, 34, 35}, kDepths, kVideoFive},
    {"Bgrax",
     New<Bgrax>,
     typeid(Bgrax),
     1,
     {44, 45, 46, 47, 48, 49, 50, 51, 52},
     {8, 8, 10, 8, 16, 8, 8, 10, 8},
     {{1}, {1, 5}, {1, 5}, {1, 5}, {1, 5}, {5}, {1, 5}, {1, 5}, {1, 5}}},
    {"Yuvax", New<Yuvax>, typeid(Yuvax), 4, {55, 56, 57, 58, 59}, kDepths, kVideoFive},
    {"Yv16x", New<Yv16x>, typeid(Yv16x), 3, {60, 61, 62, 63, 64}, kDepths, kVideoBut14Bits},
    {"Yv16x, alpha", New<Yv16x>, typeid(Yv16x), 4, {65, 66, 67, 68, 69}, kDepths, kVideoBut14Bits},
    {"Yv24x", New<Yv24x>, typeid(Yv24x), 3, {70, 71, 72, 73, 74}, kDepths, kVideoBut14Bits},
    {"Yv24x, alpha", New<Yv24x>, typeid(Yv24x), 4, {75, 76, 77, 78, 79}, kDepths, kVideoBut14Bits},
    {"Gray", New<Gray>, typeid(Gray), 1, {15000}, {8}, {{1, 5}}},
};

std::unique_ptr<IMediaDesc> Create(uint32_t media_type, int32_t smt) {
  return std::unique_ptr<IMediaDesc>(NUXMivareMediaDescCreateEx(media_type, smt));
}

TEST(SmtTable, FixesDepthAndAlphaOfEachPictureFormat) {
  for (const SmtRow& row : kPictures) {
    ASSERT_EQ(row.codes.size(), row.depths.size());
    for (size_t i = 0; i < row.codes.size(); ++i) {
      SCOPED_TRACE(testing::Message() << row.name << " smt " << row.codes[i]);
      const auto desc = row.make(row.codes[i]);
      EXPECT_EQ(desc->GetSmt(), row.codes[i]);
      EXPECT_EQ(desc->GetBitDepth(), row.depths[i]);
      desc->SetWidthHeight(64, 64);
      desc->GetFrameSize();
      EXPECT_EQ(desc->PlaneOffsets().size(), row.planes);
    }
  }
}

TEST(SmtTable, SaysWhichMediaTypesCreateEachPictureFormat) {
  const LogCapture quiet;
  for (const SmtRow& row : kPictures) {
    ASSERT_EQ(row.codes.size(), row.media_types.size());
    for (size_t i = 0; i < row.codes.size(); ++i) {
      for (uint32_t media_type = 0; media_type <= 6; ++media_type) {
        SCOPED_TRACE(testing::Message()
                     << row.name << " smt " << row.codes[i] << " media type " << media_type);
        const auto& types = row.media_types[i];
        const bool expected = std::find(types.begin(), types.end(), media_type) != types.end();
        const auto desc = Create(media_type, row.codes[i]);
        ASSERT_EQ(desc != nullptr, expected);
        if (desc == nullptr) continue;
        const IMediaDesc& made = *desc;
        EXPECT_TRUE(typeid(made) == row.created) << typeid(made).name();
        EXPECT_EQ(desc->GetMediaType(), media_type);
        EXPECT_EQ(desc->GetSmt(), row.codes[i]);
        EXPECT_EQ(desc->GetBitDepth(), row.depths[i]);
        EXPECT_EQ(desc->GetWidth(), 0U);
        EXPECT_EQ(desc->GetHeight(), 0U);
        EXPECT_EQ(desc->QuerySubtitle() != nullptr, media_type == 5);
      }
    }
  }
}

TEST(SmtTable, GivesUnknownCodes8Bits) {
  for (const int32_t smt : {INT32_MIN, -1, 0, 36, 40, 41, 42, 43, 53, 54, 80, 10000, INT32_MAX}) {
    SCOPED_TRACE(smt);
    EXPECT_EQ(Gray(smt, 1).GetBitDepth(), 8U);
  }
}

TEST(SmtTable, SaysWhichMediaTypesCreateSoundAndBitstreams) {
  const LogCapture quiet;
  for (uint32_t media_type = 0; media_type <= 6; ++media_type) {
    for (const int32_t smt : {10000, 30000, 31000, 31100}) {
      SCOPED_TRACE(testing::Message() << "smt " << smt << " media type " << media_type);
      const bool expected = (media_type == 2 && smt == 30000) || (media_type == 5 && smt == 31100);
      const auto desc = Create(media_type, smt);
      ASSERT_EQ(desc != nullptr, expected);
      if (desc == nullptr) continue;
      EXPECT_NE(dynamic_cast<desc::BitsDesc*>(desc.get()), nullptr);
      EXPECT_EQ(desc->GetMediaType(), media_type);
      EXPECT_EQ(desc->GetSmt(), smt);
    }
    for (int32_t smt = 20000; smt <= 20011; ++smt) {
      SCOPED_TRACE(testing::Message() << "smt " << smt << " media type " << media_type);
      const bool expected = media_type == 2 && smt >= 20001 && smt <= 20010;
      const auto desc = Create(media_type, smt);
      ASSERT_EQ(desc != nullptr, expected);
      if (desc == nullptr) continue;
      EXPECT_NE(dynamic_cast<desc::AudioDescBase*>(desc.get()), nullptr);
      EXPECT_EQ(desc->GetMediaType(), 2U);
      EXPECT_EQ(desc->GetSmt(), smt);
    }
  }
}

}  // namespace
}  // namespace mivare::test
