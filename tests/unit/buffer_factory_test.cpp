#include "buffer_factory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <typeinfo>

#include "buffer1d.h"
#include "buffer2d.h"
#include "slot.h"
#include "support/failing_blocks.h"
#include "support/fake_desc.h"
#include "support/log_capture.h"

namespace mivare {
namespace {

using test::FakeDesc;
using test::LogCapture;

std::set<int32_t> Codes() {
  std::set<int32_t> codes{INT32_MIN, -1, INT32_MAX};
  for (int32_t code = 0; code <= 130; ++code) codes.insert(code);
  for (const int32_t code : {10000, 15000, 30000, 31000, 31100}) {
    for (int32_t near = code - 2; near <= code + 2; ++near) codes.insert(near);
  }
  for (int32_t code = 19998; code <= 20013; ++code) codes.insert(code);
  return codes;
}

const std::set<int32_t> kVideoPlanar{
    1,  2,  3,  5,  6,  7,  8,  10, 11, 16, 17, 18, 19, 20, 21, 26, 27, 29, 30, 31, 35, 44, 45,
    46, 47, 48, 49, 50, 51, 55, 56, 60, 61, 65, 66, 70, 71, 72, 73, 74, 75, 76, 77, 78, 79, 15000};
const std::set<int32_t> kSubtitlePlanar{1,  2,  3,  6,  7,  8,  45, 46, 47, 48, 50,   51,
                                        55, 56, 60, 61, 65, 66, 70, 71, 75, 76, 15000};
const std::set<int32_t> kAudio{20001, 20002, 20003, 20004, 20005,
                               20006, 20007, 20008, 20009, 20010};

std::string Expected(uint32_t media_type, int32_t smt) {
  if (media_type == 1 && kVideoPlanar.contains(smt)) return "planar";
  if (media_type == 1 && smt == 10000) return "linear";
  if (media_type == 2 && kAudio.contains(smt)) return "audio";
  if (media_type == 2 && smt == 30000) return "linear";
  if (media_type == 5 && kSubtitlePlanar.contains(smt)) return "planar";
  if (media_type == 5 && (smt == 31000 || smt == 31100)) return "linear";
  return "none";
}

std::string ClassOf(const BufferBase* buffer) {
  if (buffer == nullptr) return "none";
  if (typeid(*buffer) == typeid(Buffer2d)) return "planar";
  if (typeid(*buffer) == typeid(Buffer1d)) return "linear";
  if (typeid(*buffer) == typeid(audio::AudioBuffer)) return "audio";
  return "unknown";
}

TEST(BufferFactory, OfEveryMediaTypeAndCode) {
  LogCapture log;
  for (uint32_t media_type = 0; media_type <= 6; ++media_type) {
    for (const int32_t smt : Codes()) {
      FakeDesc desc(media_type, smt);
      const auto buffer = CreateBuffer(&desc, nullptr);
      EXPECT_EQ(ClassOf(buffer.get()), Expected(media_type, smt)) << media_type << " " << smt;
      EXPECT_TRUE(buffer == nullptr || buffer->GetDesc(0) != &desc) << "it owns a clone";
    }
  }
}

TEST(BufferFactory, RefusesNull) { EXPECT_EQ(CreateBuffer(nullptr, nullptr), nullptr); }

TEST(BufferFactory, GivesTheOwner) {
  LogCapture log;
  const auto slot = std::make_shared<Slot>();
  for (FakeDesc desc : {FakeDesc(1, 1), FakeDesc(1, 10000), FakeDesc(2, 20001)}) {
    EXPECT_EQ(CreateBuffer(&desc, slot)->Owner().lock(), slot);
  }
}

TEST(BufferFactory, YieldsNothingWhenInitFails) {
  LogCapture log;
  for (FakeDesc desc : {FakeDesc(1, 1), FakeDesc(1, 10000), FakeDesc(2, 20001)}) {
    SCOPED_TRACE(desc.smt);
    const long alive = desc.Alive();
    const test::FailingBlocks failing;
    EXPECT_EQ(CreateBuffer(&desc, nullptr), nullptr);
    desc.cloneable = false;
    EXPECT_EQ(CreateBuffer(&desc, nullptr), nullptr);
    desc.throws_at_clone = true;
    EXPECT_EQ(CreateBuffer(&desc, nullptr), nullptr);
    EXPECT_EQ(desc.Alive(), alive) << "nothing is left behind";
  }
}

}  // namespace
}  // namespace mivare
