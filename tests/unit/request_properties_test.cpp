// What a frame takes over from its request: the road by fields between the library's own
// descriptions, and the road through the interface, which any description can go.
#include "request_properties.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "desc_copy.h"
#include "mivare/extend_data.h"
#include "mivare/helper.h"
#include "mivare/user_data.h"
#include "support/failing_new.h"
#include "support/generated.h"
#include "support/log_capture.h"
#include "support/together.h"

namespace mivare::test {
namespace {

struct Code {
  uint32_t media_type;
  int32_t smt;
};

constexpr int32_t kVideo[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14,   15, 16, 17,
                              18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31,   32, 33, 34,
                              35, 44, 45, 46, 47, 48, 50, 51, 52, 55, 56, 57, 58, 59,   60, 61, 62,
                              64, 65, 66, 67, 69, 70, 71, 72, 74, 75, 76, 77, 79, 15000};
constexpr Code kOther[] = {{2, 20001}, {2, 30000}, {5, 1}, {5, 49}, {5, 15000}, {5, 31100}};

constexpr const char* kBlocks[] = {"Mivare Frame Extend Data : PQ",
                                   "Mivare Frame Extend Data : AiBodyFeatureData",
                                   "Mivare Frame Extend Data : AiFaceFeatureData",
                                   "Mivare Frame Extend Data",
                                   "",
                                   "a host's own"};

constexpr char kLongNote[] =
    "a note whose key is so long that nobody keeps room for it, though it travels like the others";
constexpr const char* kNotes[] = {"Blank",
                                  "AllocHostMem",
                                  "PlatformCompatible",
                                  "PlatformExpect",
                                  "user_keys::IsOld",
                                  "user_keys::adjustlayer-workmode",
                                  "blank",
                                  "Blanks",
                                  "user_keys::timestamp",
                                  "a",
                                  "b",
                                  "\xC3\xA9",
                                  kLongNote};

IExtendData& ExtendDataOf(IMediaDesc& desc) {
  void* store = nullptr;
  desc.QueryProperty(kExtendDataKey, &store);
  return *static_cast<IExtendData*>(store);
}

void SetBlock(IMediaDesc& desc, const char* key, int64_t size, uint8_t first) {
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(first + i * 7);
  ExtendDataOf(desc).SetExtendData(key, bytes.data(), static_cast<int32_t>(size));
}

orlo::ValAny SomeValue(Generated& choose) {
  static const int object = 0;
  switch (choose.Between(0, 5)) {
    case 0: return {};
    case 1: return choose.Chance(2);
    case 2: return static_cast<int32_t>(choose.Next());
    case 3: return static_cast<double>(choose.Between(-9, 9)) / 4;
    case 4: return &object;
    default: return std::string(static_cast<size_t>(choose.Between(0, 40)), 't');
  }
}

// One change to what travels from a request to a frame.
void Change(IMediaDesc& desc, Generated& choose) {
  constexpr uint32_t kCodes[] = {0, 1, 2, 3, 4, 5, 6, 9, 0xFFFFFFFF};
  constexpr int64_t kHalves[] = {0, 0, 1, -1, 3, 16, 9, 1080, 1920, -4, 6, INT64_MIN, INT64_MAX};
  const uint32_t code = choose.Pick(kCodes);
  switch (choose.Between(0, 21)) {
    case 0: return desc.SetInterlace(code);
    case 1: return desc.SetRotation(code);
    case 2: return desc.SetFilpType(code);
    case 3: desc.SetColorSpace(code); return;
    case 4: return desc.SetVideoSignalRange(code);
    case 5: return desc.SetVideoMatrix(code);
    case 6: return desc.SetTransferCharacter(code);
    case 7: return desc.SetColorPrimary(code);
    case 8: return desc.SetDisplayAspectRatio({choose.Pick(kHalves), choose.Pick(kHalves)});
    case 9:
      return desc.SetWidthHeight(static_cast<int32_t>(choose.Pick({64, 640, 1920})),
                                 static_cast<int32_t>(choose.Pick({48, 480, 1080})));
    case 10:
      return SetBlock(desc, choose.Pick(kBlocks), choose.Pick({1, 9, 256, 1024, 1025, 9000}),
                      static_cast<uint8_t>(choose.Next()));
    case 11: ExtendDataOf(desc).RemoveExtendData(choose.Pick(kBlocks)); return;
    case 12: desc.GetUserDataConfig()->Set(choose.Pick(kNotes), SomeValue(choose)); return;
    case 13: desc.GetUserDataConfig()->Remove(choose.Pick(kNotes)); return;
    // From here on what stays each description's own.
    case 14: desc.GetFrameSize(); return;  // fixes the layout, and how far the size may grow
    case 15: return desc.SetTag(code);
    case 16: desc.SetMemoryLocation(code); return;
    case 17: return desc.SetPlatform(code);
    case 18: return desc.SetTexType(code);
    case 19: desc.ResetPitches(); return;
    case 20:
      if (ISubtitleDesc* subtitle = desc.QuerySubtitle()) {
        subtitle->SetFirstPair(code, ~code);
        subtitle->SetSecondPair(&code, &code);
        subtitle->SetText(choose.Pick(kNotes));
      }
      return;
    default:
      if (choose.Chance(4)) desc.GetUserDataConfig()->Clear();
      return;
  }
}

std::string Say(const orlo::ValAny& value) {
  std::string said = std::to_string(value.GetTag()) + ":";
  if (const auto* text = value.GetIf<std::string>()) return said + *text;
  if (value.GetTag() == orlo::ValAny::kPointer)
    return said + std::to_string(reinterpret_cast<uintptr_t>(value.Get<const void*>()));
  return value.IsEmpty() ? said : said + std::to_string(value.Get<double>());
}

void LookAtSubtitle(const IMediaDesc& desc, std::vector<std::string>& seen) {
  const ISubtitleDesc* const subtitle = desc.QuerySubtitle();
  if (subtitle == nullptr) return;
  uint32_t a = 0;
  uint32_t b = 0;
  subtitle->GetFirstPair(&a, &b);
  seen.push_back(std::to_string(a) + " " + std::to_string(b));
  subtitle->GetSecondPair(&a, &b);
  seen.push_back(std::to_string(a) + " " + std::to_string(b));
  seen.emplace_back(subtitle->GetText());
}

// What can be seen of a description without changing it, but for the stores that requests have no
// part in; and the steps by which its notes are walked.
std::vector<std::string> Look(IMediaDesc& desc) {
  std::vector<std::string> seen;
  const orlo::Rational ratio = desc.GetDisplayAspectRatio();
  for (const int64_t number :
       {int64_t{desc.GetMediaType()}, int64_t{desc.GetSmt()}, int64_t{desc.GetWidth()},
        int64_t{desc.GetHeight()}, int64_t{desc.GetInterlace()}, int64_t{desc.GetRotation()},
        int64_t{desc.GetFilpType()}, int64_t{desc.GetColorSpace()},
        int64_t{desc.GetVideoSignalRange()}, int64_t{desc.GetVideoMatrix()},
        int64_t{desc.GetTransferCharacter()}, int64_t{desc.GetColorPrimary()}, ratio.num, ratio.den,
        int64_t{desc.GetTag()}, int64_t{desc.GetBitDepth()}, int64_t{desc.GetMemoryLocation()},
        int64_t{desc.GetPlatform()}, int64_t{desc.GetTexType()}}) {
    seen.push_back(std::to_string(number));
  }
  int32_t pitches[8] = {};
  desc.GetPitches(pitches);
  for (const int32_t pitch : pitches) seen.push_back(std::to_string(pitch));
  LookAtSubtitle(desc, seen);
  for (const char* key : kBlocks) {
    IExtendData& blocks = ExtendDataOf(desc);
    std::string bytes(blocks.GetExtendDataLength(key), '\0');
    auto length = static_cast<int32_t>(bytes.size());
    if (length > 0) blocks.GetExtendData(key, reinterpret_cast<uint8_t*>(bytes.data()), &length);
    seen.push_back(std::to_string(length) + " bytes " +
                   std::to_string(std::hash<std::string>()(bytes)));
  }
  IUserDataInquire& notes = *desc.GetUserDataInquire();
  notes.Lock();
  for (const bool from_start : {false, true}) {  // first from where the last walk ended
    std::string key;
    orlo::ValAny value;
    uint32_t answer = notes.Enumerate(from_start, key, value);
    for (; answer == 0; answer = notes.Enumerate(false, key, value)) {
      seen.push_back(key + " = " + Say(value));
    }
    seen.push_back(std::to_string(answer));
  }
  notes.Unlock();
  return seen;
}

// Which of a few larger sizes it takes, and the bytes of a frame after each.
std::vector<std::string> TryToGrow(IMediaDesc& desc) {
  std::vector<std::string> seen;
  for (const int32_t side : {65, 641, 1921, 65536, 65537, 200000}) {
    desc.SetWidthHeight(side, 48);
    desc.SetWidthHeight(64, side);
    seen.push_back(std::to_string(desc.GetWidth()) + " x " + std::to_string(desc.GetHeight()));
  }
  seen.push_back(std::to_string(desc.GetFrameSize()));
  return seen;
}

// Frames of the same past, served by the same requests, on either road.
void ExpectThatBothRoadsAgree(Code request_code, Code frame_code, uint64_t seed) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  Generated choose(seed);
  LogCapture log;
  const MediaDescPtr short_road = MakeMediaDesc(frame_code.media_type, frame_code.smt);
  const MediaDescPtr long_road = MakeMediaDesc(frame_code.media_type, frame_code.smt);
  const MediaDescPtr request = MakeMediaDesc(request_code.media_type, request_code.smt);
  ASSERT_TRUE(short_road != nullptr && request != nullptr);
  for (int round = 0; round < 4; ++round) {
    for (int64_t i = choose.Between(0, 12); i > 0; --i) Change(*request, choose);
    for (int64_t i = choose.Between(0, 6); i > 0; --i) {
      const uint64_t change = choose.Next();
      for (const MediaDescPtr& frame : {std::cref(short_road), std::cref(long_road)}) {
        Generated same(change);
        Change(*frame, same);
      }
    }
    const bool alone = choose.Chance(4);  // the properties without the user data
    Look(*request);                       // moves the walk to where each look leaves it
    const std::vector<std::string> asked = Look(*request);
    log.Clear();
    alone ? CopyExtraProperty(short_road.get(), request.get())
          : CarryRequest(request.get(), short_road.get());
    const std::vector<LogLine> short_log = log.Lines();
    log.Clear();
    alone ? CopyExtraPropertyOfAny(*long_road, *request) : CarryRequestOfAny(*request, *long_road);
    EXPECT_EQ(short_log, log.Lines());
    EXPECT_EQ(Look(*short_road), Look(*long_road));
    EXPECT_EQ(Look(*request), asked) << "the request is only read";
    if (testing::Test::HasFailure()) return;
  }
  const std::vector<std::string> short_growth = TryToGrow(*short_road);
  EXPECT_EQ(short_growth, TryToGrow(*long_road)) << "both grow as far as before";
}

TEST(CarryRequest, TheShortRoadAndTheGeneralOneAgree) {
  for (size_t i = 0; i < std::size(kVideo); ++i) {
    const Code code{1, kVideo[i]};
    SCOPED_TRACE(code.smt);
    for (uint64_t seed = 1; seed <= 25; ++seed) {
      const Code other{1, kVideo[(i * 7 + seed) % std::size(kVideo)]};
      ExpectThatBothRoadsAgree(code, seed % 2 == 0 ? code : other, seed * 1000 + i);
    }
  }
}

TEST(CarryRequest, BothRoadsAgreeWhereOneSideIsNoPicture) {
  for (size_t i = 0; i < std::size(kOther); ++i) {
    SCOPED_TRACE(kOther[i].smt);
    for (uint64_t seed = 1; seed <= 10; ++seed) {
      ExpectThatBothRoadsAgree(kOther[i], {1, 1}, seed * 100 + i);
      ExpectThatBothRoadsAgree({1, 1}, kOther[i], seed * 100 + i + 50);
      ExpectThatBothRoadsAgree(kOther[i], kOther[seed % std::size(kOther)], seed * 100 + i + 90);
    }
  }
}

TEST(CarryRequest, SaysThatARatioIsZeroEachTime) {
  const MediaDescPtr request = MakeMediaDesc(1, 1);
  const MediaDescPtr frame = MakeMediaDesc(1, 1);
  LogCapture log;
  for (const orlo::Rational ratio : {orlo::Rational{0, 0}, {0, 5}, {5, 0}}) {
    request->SetDisplayAspectRatio(ratio);
    log.Clear();
    for (int times = 1; times <= 3; ++times) {
      CarryRequest(request.get(), frame.get());
      const LogLine line{"orlo", 7, "ration den zero! file[orlo::Normalize] line[99]"};
      EXPECT_EQ(log.Lines(), std::vector<LogLine>(static_cast<size_t>(times), line));
      EXPECT_EQ(frame->GetDisplayAspectRatio(), ratio);
    }
  }
}

TEST(CarryRequest, ReducesTheRatioAgainAfterTheSizeChangedIt) {
  const MediaDescPtr request = MakeMediaDesc(1, 1);
  const MediaDescPtr frame = MakeMediaDesc(1, 1);
  request->SetWidthHeight(1920, 1080);
  CarryRequest(request.get(), frame.get());
  EXPECT_EQ(frame->GetDisplayAspectRatio(), (orlo::Rational{16, 9}));
  frame->SetWidthHeight(1920, 1080);
  EXPECT_EQ(frame->GetDisplayAspectRatio(), (orlo::Rational{1920, 1080}));
  CarryRequest(request.get(), frame.get());
  EXPECT_EQ(frame->GetDisplayAspectRatio(), (orlo::Rational{16, 9}));
  frame->SetDisplayAspectRatio({4, 2});
  CarryRequest(request.get(), frame.get());
  EXPECT_EQ(frame->GetDisplayAspectRatio(), (orlo::Rational{16, 9}));
}

TEST(CarryRequest, WithoutARequestOnlyTakesTheHintsAway) {
  const MediaDescPtr frame = MakeMediaDesc(1, 1);
  frame->GetUserDataConfig()->Set("Blank", 1);
  frame->GetUserDataConfig()->Set("note", 1);
  CarryRequest(nullptr, frame.get());
  CarryRequest(frame.get(), nullptr);
  orlo::ValAny value;
  EXPECT_EQ(frame->GetUserDataInquire()->Get("Blank", value), 0);
  EXPECT_EQ(frame->GetUserDataInquire()->Get("note", value), 1);
}

// The preset, set first, undoes what was set apart from it before that is read.
TEST(CarryRequest, FromADescriptionToItselfKeepsThePresetAndNoNotes) {
  const LogCapture quiet;
  std::vector<std::vector<std::string>> seen;
  for (const bool dispatched : {true, false}) {
    const MediaDescPtr desc = MakeMediaDesc(1, 1);
    desc->SetDisplayAspectRatio({4, 2});
    desc->SetColorSpace(2);
    desc->SetVideoMatrix(100);
    desc->GetUserDataConfig()->Set("note", 1);
    SetBlock(*desc, kBlocks[0], 10, 1);
    dispatched ? CarryRequest(desc.get(), desc.get()) : CarryRequestOfAny(*desc, *desc);
    EXPECT_EQ(desc->GetVideoMatrix(), 7U);
    orlo::ValAny value;
    EXPECT_EQ(desc->GetUserDataInquire()->Get("note", value), 0);
    EXPECT_EQ(ExtendDataOf(*desc).GetExtendDataLength(kBlocks[0]), 10U);
    desc->SetVideoMatrix(100);
    CopyExtraProperty(desc.get(), desc.get());
    EXPECT_EQ(desc->GetVideoMatrix(), 7U);
    seen.push_back(Look(*desc));
  }
  EXPECT_EQ(seen[0], seen[1]);
}

// A pooled frame that serves one request after another.
TEST(CarryRequest, AsksForNoMemoryInTheLongRun) {
  const LogCapture quiet;
  const MediaDescPtr request = MakeMediaDesc(1, 1);
  const MediaDescPtr frame = MakeMediaDesc(1, 1);
  request->SetWidthHeight(1920, 1080);
  request->GetUserDataConfig()->Set("user_keys::timestamp", int64_t{40000});
  request->GetUserDataConfig()->Set("user_keys::track-index", 3);
  request->GetUserDataConfig()->Set("Blank", std::string("a hint that is copied to nobody at all"));
  SetBlock(*request, kBlocks[0], 256, 1);
  const std::vector<uint8_t> block(200, 7);
  const auto serve = [&](int number) {
    request->GetUserDataConfig()->Set("user_keys::timestamp", number);
    ExtendDataOf(*request).SetExtendData(kBlocks[0], block.data(), 200);
    CarryRequest(request.get(), frame.get());
    frame->GetUserDataConfig()->Clear();
  };
  serve(0);  // makes room
  const FailingNew failing(1);
  for (int i = 1; i < 4; ++i) serve(i);
  EXPECT_FALSE(failing.fired());
  EXPECT_EQ(ExtendDataOf(*frame).GetExtendDataLength(kBlocks[0]), 200U);
}

TEST(CarryRequest, KeepsTheRoomForNotesOverRequestsThatBringOnlyHints) {
  const MediaDescPtr noted = MakeMediaDesc(1, 1);
  noted->GetUserDataConfig()->Set("note", 1);
  const MediaDescPtr hinted = MakeMediaDesc(1, 1);
  hinted->GetUserDataConfig()->Set("Blank", 1);
  const MediaDescPtr frame = MakeMediaDesc(1, 1);
  const auto serve = [&] {
    for (IMediaDesc* request : {noted.get(), hinted.get()}) {
      CarryRequest(request, frame.get());
      frame->GetUserDataConfig()->Clear();
    }
  };
  serve();
  const FailingNew failing(1);
  serve();
  EXPECT_FALSE(failing.fired());
}

TEST(CarryRequest, OfOneRequestToFramesOfManyThreadsGivesEachAllOfIt) {
  const LogCapture quiet;
  const MediaDescPtr request = MakeMediaDesc(1, 1);
  request->SetWidthHeight(1920, 1080);
  request->GetUserDataConfig()->Set("note", std::string("a text that is too long to be in place"));
  request->GetUserDataConfig()->Set("Blank", 1);
  SetBlock(*request, kBlocks[1], 3000, 5);
  std::vector<std::vector<std::string>> seen(4);
  Together(4, [&](int thread) {
    const MediaDescPtr frame = MakeMediaDesc(1, 1);
    for (int i = 0; i < 200; ++i) {
      frame->GetUserDataConfig()->Clear();
      CarryRequest(request.get(), frame.get());
    }
    seen[static_cast<size_t>(thread)] = Look(*frame);
  });
  const MediaDescPtr expected = MakeMediaDesc(1, 1);
  CarryRequestOfAny(*request, *expected);
  for (const auto& look : seen) EXPECT_EQ(look, Look(*expected));
}

}  // namespace
}  // namespace mivare::test
