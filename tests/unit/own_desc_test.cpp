#include "own_desc.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "audio_desc.h"
#include "bits_desc.h"
#include "mivare/helper.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"
#include "unit/desc/families.h"

namespace mivare::test {
namespace {

using desc::VideoDescBase;

TEST(OwnDesc, KnowsEachClassOfTheLibrary) {
  const std::vector<std::shared_ptr<VideoDescBase>> pictures = {
      std::make_shared<desc::Gray>(15000, 1), std::make_shared<desc::Yv12x>(2, 1),
      std::make_shared<desc::Yv16x>(66, 1),   std::make_shared<desc::Yv24x>(71, 1),
      std::make_shared<desc::Nv12x>(12, 1),   std::make_shared<desc::Nv16x>(30, 1),
      std::make_shared<desc::Nv24x>(30, 1),   std::make_shared<desc::Yuvax>(57, 1),
      std::make_shared<desc::Bgrax>(45, 5)};
  for (const auto& picture : pictures) {
    SCOPED_TRACE(picture->GetSmt());
    IMediaDesc& face = *picture;
    EXPECT_EQ(OwnVideoDesc(face), picture.get());
    EXPECT_EQ(OwnDesc(face), picture.get());
    EXPECT_EQ(OwnDesc(std::as_const(face)), picture.get());
  }
  desc::AudioDescBase audio(20001);
  desc::BitsDesc bits(30000);
  EXPECT_EQ(OwnDesc(audio), &audio);
  EXPECT_EQ(OwnDesc(bits), &bits);
  EXPECT_EQ(OwnVideoDesc(audio), nullptr);
  EXPECT_EQ(OwnVideoDesc(bits), nullptr);
}

TEST(OwnDesc, KnowsWhateverTheFactoryMakes) {
  const LogCapture quiet;  // not every pair is something
  int pictures = 0;
  for (uint32_t media_type = 1; media_type <= 5; ++media_type) {
    for (const int32_t first : {0, 15000, 20000, 30000, 31000}) {
      for (int32_t smt = first; smt <= first + 100; ++smt) {
        SCOPED_TRACE(std::to_string(media_type) + ", " + std::to_string(smt));
        const MediaDescPtr desc = MakeMediaDesc(media_type, smt);
        if (desc == nullptr) continue;
        auto* const picture = dynamic_cast<VideoDescBase*>(desc.get());
        EXPECT_NE(OwnDesc(*desc), nullptr);
        EXPECT_EQ(OwnVideoDesc(*desc), picture);
        pictures += picture != nullptr;
      }
    }
  }
  EXPECT_EQ(pictures, 65 + 12) << "of media types 1 and 5";
}

// Built on the library's classes, with operations of its own.
class Derived final : public VideoDescBase {
 public:
  Derived() : VideoDescBase(1, 1) {}
  IMediaDesc* Clone() const override { return nullptr; }
  std::shared_ptr<IMediaDesc> CloneShared() const override { return nullptr; }
  int32_t GetFrameSize() override { return -1; }
  int32_t ValidatePitches(const int32_t*) const override { return -1; }
  void ResetPitchesNow() override {}
};

TEST(OwnDesc, KnowsNoDescriptionOfAHostsMaking) {
  FakeDesc fake(1, 1);
  Derived derived;
  for (IMediaDesc* desc : {static_cast<IMediaDesc*>(&fake), static_cast<IMediaDesc*>(&derived)}) {
    EXPECT_EQ(OwnDesc(*desc), nullptr);
    EXPECT_EQ(OwnVideoDesc(*desc), nullptr);
  }
}

}  // namespace
}  // namespace mivare::test
