// A program over descriptions: made of every code, set up with any numbers, laid out, copied onto
// one another. After each step the description answers what the model says.
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "buffer2d.h"
#include "desc.h"
#include "desc_factory.h"
#include "fuzz/bytes.h"
#include "fuzz/check.h"
#include "fuzz/desc_model.h"
#include "fuzz/tight_blocks.h"
#include "mivare/media_desc.h"
#include "orlo/rational.h"
#include "pool_key.h"

namespace mivare::fuzz {
namespace {

struct Entry {
  std::shared_ptr<IMediaDesc> desc;
  DescModel model;
};

std::shared_ptr<IMediaDesc> Own(IMediaDesc* desc) {
  return {desc, [](IMediaDesc* gone) { NUXMivareMediaDescDestroy(&gone); }};
}

int32_t TakeSmt(Bytes& in) {
  constexpr std::array<int32_t, 14> kFar = {10000, 15000, 20000, 20001, 20002, 20005, 20010,
                                            20011, 30000, 31000, 31100, 80,    0,     -1};
  const uint32_t code = in.Below(128);
  if (code <= 80) return static_cast<int32_t>(code);
  return code < 120 ? kFar[code % kFar.size()] : in.Take<int32_t>();
}

bool Within(int32_t smt, int32_t first, int32_t last) { return first <= smt && smt <= last; }

// Whether the factory knows the pair.
bool IsMade(uint32_t media_type, int32_t smt) {
  const bool no_14_bits = smt != 63 && smt != 68 && smt != 73 && smt != 78;
  switch (media_type) {
    case 1:
      return Within(smt, 1, 35) || (Within(smt, 44, 52) && smt != 49) || Within(smt, 55, 59) ||
             (Within(smt, 60, 79) && no_14_bits) || smt == 15000;
    case 2: return Within(smt, 20001, 20010) || smt == 30000;
    case 5: return Within(smt, 1, 3) || Within(smt, 45, 52) || smt == 15000 || smt == 31100;
    default: return false;
  }
}

DescModel NewModel(uint32_t media_type, int32_t smt) {
  DescModel model;
  model.media_type = media_type;
  model.smt = smt;
  if (smt == 30000 || smt == 31100) {
    model.kind = Kind::kBits;
  } else if (media_type == 2) {
    model.kind = Kind::kAudio;
  } else {
    model.family = FamilyOf(smt, Family::kNv16);
  }
  return model;
}

DescModel CloneModel(const Entry& entry) {
  DescModel model = entry.model;
  model.has_volumes = false;
  return model;
}

// A sized description of the same code: formats beyond 8 and 10 bits are missing in places.
bool IsLiked(int32_t smt) {
  for (const auto& [first, last] : std::array<std::pair<int32_t, int32_t>, 16>{{{1, 3},
                                                                                {6, 9},
                                                                                {11, 11},
                                                                                {16, 19},
                                                                                {26, 31},
                                                                                {35, 35},
                                                                                {44, 48},
                                                                                {50, 52},
                                                                                {55, 58},
                                                                                {60, 62},
                                                                                {64, 67},
                                                                                {69, 69},
                                                                                {70, 72},
                                                                                {74, 77},
                                                                                {79, 79},
                                                                                {15000, 15000}}}) {
    if (Within(smt, first, last)) return true;
  }
  return false;
}

void CheckLike(const Entry& entry, std::vector<Entry>& made) {
  const std::shared_ptr<IMediaDesc> like = CreateDescLike(*entry.desc);
  const auto width = static_cast<int32_t>(entry.desc->GetWidth());
  const auto height = static_cast<int32_t>(entry.desc->GetHeight());
  const bool expected = IsLiked(entry.desc->GetSmt()) && width < 200001 && height < 65537;
  FUZZ_CHECK((like != nullptr) == expected);
  if (like == nullptr) return;
  DescModel model = NewModel(1, entry.desc->GetSmt());
  model.family = FamilyOf(model.smt, Family::kNv24);
  model.SetSize(width, height);
  made.push_back({like, model});
}

// Where nothing wrapped, each plane ends before the next one begins, and the last within the frame.
void CheckPlanes(const DescModel& model) {
  const auto width = static_cast<int32_t>(model.width);
  const int64_t luma = int64_t{model::Up(model.width)} * model::Up(model.height) * 2 * 4;
  if (width < 1 || model.height == 0 || luma > INT32_MAX / 5) return;
  FUZZ_CHECK(model.frame_size > 0);
  for (size_t i = 0; i < model.offsets.size(); ++i) {
    const bool quarter = model.family == Family::kYv12 || model.family == Family::kYuva ||
                         model.family == Family::kNv12;
    const bool chroma = i == 1 || (i == 2 && model.family != Family::kNv12);
    const int64_t rows = model::Up(model.height) / (quarter && chroma ? 2 : 1);
    const int64_t end = i + 1 < model.offsets.size() ? model.offsets[i + 1] : model.frame_size;
    FUZZ_CHECK(model.offsets[i] + rows * model.pitches[i] <= end);
  }
}

void CheckFrame(Entry& entry) {
  const int32_t size = entry.model.FrameSize();
  FUZZ_CHECK(entry.desc->GetFrameSize() == size);
  if (entry.model.kind != Kind::kVideo) return;
  const auto& known = dynamic_cast<const DescBase&>(*entry.desc);
  FUZZ_CHECK(std::ranges::equal(known.PlaneOffsets(), entry.model.offsets));
  FUZZ_CHECK(known.DataLength() == size);
  if (size < 1 || size > (1 << 18)) return;
  const std::unique_ptr<Buffer2d> frame = _CreateMediaBuffer2D(entry.desc.get(), nullptr);
  // The product wraps in 32 bits.
  FUZZ_CHECK((frame != nullptr) == (entry.model.width * entry.model.height <= 530841600U));
  if (frame == nullptr) return;
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  FUZZ_CHECK(frame->Lock(planes, pitches, nullptr, nullptr) == 0);
  for (size_t i = 0; i < 8; ++i) {
    FUZZ_CHECK(pitches[i] == entry.model.pitches[i]);
    if (i < entry.model.offsets.size()) {
      FUZZ_CHECK(planes[i] == frame->Data() + entry.model.offsets[i]);
    } else {
      FUZZ_CHECK(planes[i] == nullptr);
    }
  }
  frame->Data()[size - 1] = 1;
  frame->Unlock();
}

void SetNumbers(Bytes& in, Entry& entry) {
  IMediaDesc& desc = *entry.desc;
  DescModel& model = entry.model;
  const auto value = static_cast<uint32_t>(in.Size());
  switch (in.Below(16)) {
    case 0: desc.SetTag(model.tag = value); break;
    case 1: desc.SetPlatform(model.platform = value); break;
    case 2: desc.SetTexType(model.tex_type = value); break;
    case 3: FUZZ_CHECK(desc.SetMemoryLocation(model.location = value)); break;
    case 4: NUXMivareMediaDescUpdateInterlace(&desc, model.interlace = value); break;
    case 5: NUXMivareMediaDescUpdateRotation(&desc, model.rotation = value); break;
    case 6: NUXMivareMediaDescUpdateFilpType(&desc, model.flip = value); break;
    case 7: NUXMivareMediaDescUpdateVideoSignalRange(&desc, model.range = value); break;
    case 8: NUXMivareMediaDescUpdateVideoMatrix(&desc, model.matrix = value); break;
    case 9: NUXMivareMediaDescUpdateTransferCharacter(&desc, model.transfer = value); break;
    case 10: NUXMivareMediaDescUpdateColorPrimary(&desc, model.primaries = value); break;
    case 11:
      FUZZ_CHECK(desc.SetColorSpace(value) == (model.kind == Kind::kVideo));
      model.SetColorSpace(value);
      break;
    case 12: desc.SetChannels(model.channels = value); break;
    case 13: desc.SetSampleRate(model.rate = value); break;
    case 14: desc.SetChannelLayout(model.layout = in.Take<uint64_t>()); break;
    case 15: {
      const orlo::Rational ratio = {in.Flag() ? in.Take<int64_t>() : in.Size(),
                                    in.Flag() ? in.Take<int64_t>() : in.Size()};
      const orlo::Rational reduced = orlo::Normalize(ratio);
      desc.SetDisplayAspectRatio(ratio);
      model.ratio_num = reduced.num;
      model.ratio_den = reduced.den;
      break;
    }
  }
}

void SetPitches(Bytes& in, Entry& entry) {
  const std::array<int32_t, 4> wanted = {in.Size(), in.Size(), in.Size(), in.Size()};
  const bool video = entry.model.kind == Kind::kVideo;
  const bool fits = !video || entry.model.Accepts(wanted);
  FUZZ_CHECK(entry.desc->SetPitches(wanted.data()) == (fits ? 0 : -1));
  if (video && fits) {
    entry.model.pitches = {wanted[0], wanted[1], wanted[2], wanted[3], 0, 0, 0, 0};
  }
  FUZZ_CHECK(entry.desc->SetPitches(nullptr) == (video ? -1 : 0));
  FUZZ_CHECK(entry.desc->GetPitches(nullptr) == (video ? -1 : 0));
}

void SetSubtitle(Bytes& in, Entry& entry) {
  ISubtitleDesc* subtitle = entry.desc->QuerySubtitle();
  if (subtitle == nullptr) return;
  auto& pairs = entry.model.subtitle_pairs;
  for (uint32_t& value : pairs) value = in.Take<uint32_t>();
  subtitle->SetFirstPair(pairs[0], pairs[1]);
  subtitle->SetSecondPair(&pairs[2], &pairs[3]);
  entry.model.text = in.Word(32);
  subtitle->SetText(entry.model.text.c_str());
  subtitle->SetText(nullptr);
}

void CopyFrom(Entry& to, const Entry& from) {
  FUZZ_CHECK(to.desc->CopyFrom(*from.desc));
  switch (to.model.kind) {
    case Kind::kVideo:
      to.model.SetSize(static_cast<int32_t>(from.desc->GetWidth()),
                       static_cast<int32_t>(from.desc->GetHeight()));
      if (from.desc->QuerySubtitle() != nullptr) {
        to.model.subtitle_pairs = from.model.subtitle_pairs;
      }
      break;
    case Kind::kAudio:
      to.model.channels = from.desc->GetChannels();
      to.model.rate = from.desc->GetSampleRate();
      to.model.layout = from.desc->GetChannelLayout();
      break;
    case Kind::kBits:
      to.model.media_type = from.desc->GetMediaType();
      to.model.smt = from.desc->GetSmt();
      break;
  }
}

void CopyProperties(Entry& to, const Entry& from) {
  const orlo::Rational ratio = orlo::Normalize(from.desc->GetDisplayAspectRatio());
  NUXMivareCopyMediaExtraProperty(to.desc.get(), from.desc.get());
  to.model.interlace = from.desc->GetInterlace();
  to.model.rotation = from.desc->GetRotation();
  to.model.flip = from.desc->GetFilpType();
  to.model.color_space = from.desc->GetColorSpace();
  to.model.range = from.desc->GetVideoSignalRange();
  if (&to != &from) {  // onto itself the preset has the last word
    to.model.matrix = from.desc->GetVideoMatrix();
    to.model.transfer = from.desc->GetTransferCharacter();
    to.model.primaries = from.desc->GetColorPrimary();
  } else {
    to.model.SetColorSpace(to.model.color_space);
  }
  to.model.ratio_num = ratio.num;
  to.model.ratio_den = ratio.den;
}

void Query(Bytes& in, const Entry& entry) {
  IMediaDesc& desc = *entry.desc;
  int mark = 0;
  void* store = &mark;
  const auto ask = [&](const char* key) {
    store = &mark;
    desc.QueryProperty(key, &store);
    return store;
  };
  FUZZ_CHECK(ask(kExtendDataKey) != nullptr && store != &mark);
  FUZZ_CHECK(ask(kMultiCameraKey) != nullptr && store != &mark);
  FUZZ_CHECK((ask(kAudioVolumeKey) != nullptr) == entry.model.has_volumes && store != &mark);
  FUZZ_CHECK(ask(in.Word(8).c_str()) == &mark && ask(nullptr) == &mark);
  desc.QueryProperty(kExtendDataKey, nullptr);
  uint32_t index = 0;
  FUZZ_CHECK(!desc.QueryIndex(&index) && index == UINT32_MAX && !desc.QueryIndex(nullptr));
  uint32_t media_type = 7;
  uint32_t smt = 7;
  FUZZ_CHECK(desc.GetMediaTypeAndSmt(&media_type, nullptr) == -1 && media_type == 7);
  FUZZ_CHECK(desc.GetMediaTypeAndSmt(&media_type, &smt) == 0);
  FUZZ_CHECK(media_type == desc.GetMediaType() && smt == static_cast<uint32_t>(desc.GetSmt()));
  FUZZ_CHECK(GetPoolKey(&desc) == GetPoolKey(&desc));
}

void Turn(Bytes& in) {
  const auto angle = std::bit_cast<float>(in.Take<uint32_t>());
  const auto width = static_cast<uint32_t>(in.Size());
  const auto height = static_cast<uint32_t>(in.Size());
  uint32_t a = 7;
  uint32_t b = 7;
  uint32_t again = 8;
  GetVideoRotateCaseNewSize(angle, 0, width, height, &a, &b);
  GetVideoRotateCaseNewSize(angle, in.Size(), width, height, &again, nullptr);
  FUZZ_CHECK(again == a);
  GetVideoRotateCaseNewSize(angle, 0, width, height, nullptr, &again);
  FUZZ_CHECK(again == b);
}

void Make(Bytes& in, std::vector<Entry>& made) {
  constexpr std::array<uint32_t, 8> kTypes = {1, 1, 1, 1, 2, 5, 3, 0};
  const uint32_t media_type = in.OneOf(kTypes);
  const int32_t smt = TakeSmt(in);
  const std::shared_ptr<IMediaDesc> desc = Own(NUXMivareMediaDescCreateEx(media_type, smt));
  FUZZ_CHECK((desc != nullptr) == IsMade(media_type, smt));
  if (desc != nullptr) made.push_back({desc, NewModel(media_type, smt)});
}

void Step(Bytes& in, std::vector<Entry>& made) {
  if (made.size() > 6) made.erase(made.begin());
  const uint32_t operation = in.Below(16);
  if (made.empty() || operation == 0) return Make(in, made);
  if (operation == 1) return Turn(in);
  // References do not outlive what is added.
  const size_t index = in.Below(static_cast<uint32_t>(made.size()));
  Entry& entry = made[index];
  switch (operation) {
    case 2:
      FUZZ_CHECK(entry.desc->ResetPitches() == (entry.model.kind == Kind::kVideo));
      entry.model.ResetPitches();
      break;
    case 3: SetPitches(in, entry); break;
    case 4: SetSubtitle(in, entry); break;
    case 5: CopyFrom(entry, made[in.Below(static_cast<uint32_t>(made.size()))]); break;
    case 6: CopyProperties(entry, made[in.Below(static_cast<uint32_t>(made.size()))]); break;
    case 7: Query(in, entry); break;
    case 8: made.push_back({Own(entry.desc->Clone()), CloneModel(entry)}); break;
    case 9: made.push_back({entry.desc->CloneShared(), CloneModel(entry)}); break;
    case 10: CheckLike(entry, made); break;
    case 11:
    case 12: {
      const int32_t width = in.Size();
      const int32_t height = in.Size();
      entry.desc->SetWidthHeight(width, height);
      entry.model.SetSize(width, height);
      break;
    }
    case 13: {
      const bool first = entry.model.frame_size < 1;
      CheckFrame(entry);
      if (first && entry.model.kind == Kind::kVideo) CheckPlanes(entry.model);
      break;
    }
    default: SetNumbers(in, entry); break;
  }
  made[index].model.Check(*made[index].desc);
  FUZZ_CHECK(made.back().desc != nullptr);
  made.back().model.Check(*made.back().desc);
}

void Run(Bytes in) {
  const Quiet quiet;
  const Balance balance;
  const TightBlocks blocks;
  std::vector<Entry> made;
  for (int steps = 0; steps < 64 && !in.Empty(); ++steps) Step(in, made);
  for (Entry& entry : made) {
    CheckFrame(entry);
    entry.model.Check(*entry.desc);
  }
}

}  // namespace
}  // namespace mivare::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mivare::fuzz::Run({data, size});
  return 0;
}
