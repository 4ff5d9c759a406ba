// A program over the four stores of two descriptions, and their copies: user data with values of
// every kind, extend data, audio volumes, multi-camera records. Models of plain containers say what
// each operation answers and what the stores hold in the end.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/bytes.h"
#include "fuzz/check.h"
#include "mivare/audio_volume.h"
#include "mivare/extend_data.h"
#include "mivare/helper.h"
#include "mivare/media_desc.h"
#include "mivare/multi_camera.h"
#include "mivare/user_data.h"
#include "orlo/val_any.h"

namespace mivare::fuzz {
namespace {

// A value behind a holder that counts itself.
struct Counted {
  static inline int alive = 0;

  explicit Counted(int32_t n) : number(n) { ++alive; }
  Counted(const Counted& other) : number(other.number) { ++alive; }
  Counted& operator=(const Counted&) = default;
  ~Counted() { --alive; }

  int32_t number;
};

// What a value is, as text that compares.
std::string Say(const orlo::ValAny& value) {
  std::string tag = std::to_string(value.GetTag());
  if (const auto* counted = value.GetIf<Counted>()) {
    return tag + "c" + std::to_string(counted->number);
  }
  if (const auto* text = value.GetIf<std::string>()) return tag + "t" + *text;
  switch (value.GetTag()) {
    case orlo::ValAny::kEmpty: return tag;
    case orlo::ValAny::kPointer: return tag + "p" + std::to_string(value.Get<void*>() != nullptr);
    case orlo::ValAny::kFloat:
    case orlo::ValAny::kDouble: return tag + "f" + std::to_string(value.Get<double>());
    case orlo::ValAny::kUInt64: return tag + "u" + std::to_string(value.Get<uint64_t>());
    default: return tag + "i" + std::to_string(value.Get<int64_t>());
  }
}

orlo::ValAny TakeValue(Bytes& in) {
  switch (in.Below(12)) {
    case 0: return {};
    case 1: return in.Flag();
    case 2: return in.Take<int8_t>();
    case 3: return in.Take<uint16_t>();
    case 4: return in.Take<int32_t>();
    case 5: return in.Take<uint64_t>();
    case 6: return static_cast<float>(in.Size());
    case 7: return static_cast<double>(in.Take<int64_t>());
    case 8: return static_cast<void*>(&Counted::alive);
    case 9: return nullptr;
    case 10: return in.Text(40);
    default: return Counted(in.Size());
  }
}

// Numbers convert where they fit, and nothing else does.
void Convert(const orlo::ValAny& value) {
  const auto read = [&](auto kind) {
    using T = decltype(kind);
    try {
      static_cast<void>(value.Get<T>());
      return true;
    } catch (const orlo::AnyBadAccess&) {
      return false;
    }
  };
  const bool number = value.GetTag() >= 1 && value.GetTag() <= 11;
  FUZZ_CHECK(read(bool{}) == number && read(double{}) == number);
  FUZZ_CHECK(!read(int8_t{}) || read(int16_t{}));
  FUZZ_CHECK(!read(int16_t{}) || read(int32_t{}));
  FUZZ_CHECK(!read(int32_t{}) || read(int64_t{}));
  FUZZ_CHECK(!read(uint8_t{}) || (read(uint16_t{}) && read(int16_t{})));
  FUZZ_CHECK(!read(uint32_t{}) || (read(uint64_t{}) && read(int64_t{})));
  FUZZ_CHECK(read(std::string{}) == (value.GetTag() == orlo::ValAny::kText));
}

constexpr std::array<const char*, 16> kKeys = {
    "Blank",
    "AllocHostMem",
    "PlatformCompatible",
    "PlatformExpect",
    "user_keys::IsOld",
    "user_keys::adjustlayer-workmode",
    "Mivare Frame Extend Data : PQ",
    "Mivare Frame Extend Data : AiBodyFeatureData",
    "Mivare Frame Extend Data : AiFaceFeatureData",
    "a",
    "b",
    "blank",
    "\xC3\xA9",
    "Blank ",
    "",
    nullptr,
};
constexpr size_t kHints = 6;

using Key = std::optional<std::string>;

Key TakeKey(Bytes& in) {
  const uint32_t choice = in.Below(20);
  if (choice >= kKeys.size()) return in.Word(12);
  return kKeys[choice] != nullptr ? Key(kKeys[choice]) : std::nullopt;
}

const char* Raw(const Key& key) { return key ? key->c_str() : nullptr; }

// A read face of a host's own making.
class HostUserData final : public IUserDataInquire {
 public:
  explicit HostUserData(const std::map<std::string, orlo::ValAny>& entries) : entries_(entries) {}

  int32_t Get(const char*, orlo::ValAny&) override { return 0; }
  bool Lock() override { return true; }
  int32_t Unlock() override { return 0; }
  uint32_t Enumerate(bool first, std::string& key, orlo::ValAny& value) override {
    if (first) at_ = 0;
    if (at_ >= entries_.size()) return 1;
    const auto entry = std::next(entries_.begin(), static_cast<ptrdiff_t>(at_++));
    key = entry->first;
    value = entry->second;
    return 0;
  }
  std::shared_ptr<IUserDataInquire> Clone() override { return nullptr; }

 private:
  const std::map<std::string, orlo::ValAny>& entries_;
  size_t at_ = 0;
};

using Tracks = std::map<std::string, std::vector<uint64_t>>;

struct Record {
  std::string name;
  uint32_t value1 = 0;
  uint32_t value2 = 0;
  uint64_t data = 0;

  friend bool operator==(const Record&, const Record&) = default;
};

template <class Store>
Store* Query(IMediaDesc& desc, const char* key) {
  void* store = nullptr;
  desc.QueryProperty(key, &store);
  return static_cast<Store*>(store);
}

// A description, and what its stores hold.
struct Side {
  std::shared_ptr<IMediaDesc> desc;
  std::map<std::string, std::string> user_data;  // values as they say themselves
  bool enumerates = false;
  std::map<std::string, std::vector<uint8_t>> blocks;
  Tracks tracks;
  std::optional<std::string> track;  // at the reading position
  std::deque<Record> records;

  IUserDataConfig& Config() const { return *desc->GetUserDataConfig(); }
  IUserDataInquire& Inquire() const { return *desc->GetUserDataInquire(); }
  IExtendData& Blocks() const { return *Query<IExtendData>(*desc, kExtendDataKey); }
  ITrackAudioVolumeManager* Volumes() const {
    return Query<ITrackAudioVolumeManager>(*desc, kAudioVolumeKey);
  }
  IVideoMultiCameraFrameManger& Cameras() const {
    return *Query<IVideoMultiCameraFrameManger>(*desc, kMultiCameraKey);
  }

  void ToFirstTrack() {
    track = tracks.empty() ? std::nullopt : std::optional(tracks.begin()->first);
  }
};

Side NewSide() {
  Side side;
  side.desc = MakeMediaDesc(1, 1);
  FUZZ_CHECK(side.desc != nullptr);
  return side;
}

// A camera queue moves as n copies of its newest record and one more without a name.
void MoveRecords(Side& from, Side& to) {
  if (from.records.empty()) return;
  const Record newest = from.records.back();
  to.records.insert(to.records.end(), from.records.size(), newest);
  to.records.push_back({"", newest.value1, newest.value2, newest.data});
  from.records.clear();
}

Side CloneSide(Side& from, std::shared_ptr<IMediaDesc> desc) {
  Side side;
  side.desc = std::move(desc);
  FUZZ_CHECK(side.desc != nullptr && side.Volumes() == nullptr);
  side.user_data = from.user_data;
  for (size_t i = 0; i < kHints; ++i) side.user_data.erase(kKeys[i]);
  side.blocks = from.blocks;
  MoveRecords(from, side);
  return side;
}

void UseUserData(Bytes& in, Side& side) {
  const Key key = TakeKey(in);
  const bool usable = key && !key->empty();
  switch (in.Below(8)) {
    case 0: {
      orlo::ValAny value(int64_t{-77});
      const std::string before = Say(value);
      const bool found = usable && side.user_data.count(*key) > 0;
      FUZZ_CHECK(side.Inquire().Get(Raw(key), value) == (found ? 1 : 0));
      FUZZ_CHECK(Say(value) == (found ? side.user_data[*key] : before));
      break;
    }
    case 1:
      FUZZ_CHECK(side.Config().Remove(Raw(key)) == 0);
      if (usable) side.user_data.erase(*key);
      break;
    case 2:
      if (in.Below(4) != 0) break;
      FUZZ_CHECK(side.Config().Clear() == 0);
      side.user_data.clear();
      break;
    default: {
      const orlo::ValAny value = TakeValue(in);
      Convert(value);
      FUZZ_CHECK(side.Config().Set(Raw(key), value) == (usable ? 1 : 0));
      if (!usable) break;
      side.user_data[*key] = Say(value);
      side.enumerates = true;
    }
  }
}

void UseBlocks(Bytes& in, Side& side) {
  const Key key = TakeKey(in);
  const auto stored = key ? side.blocks.find(*key) : side.blocks.end();
  const bool found = stored != side.blocks.end();
  IExtendData& blocks = side.Blocks();
  switch (in.Below(5)) {
    case 0:
      FUZZ_CHECK(blocks.GetExtendDataLength(Raw(key)) == (found ? stored->second.size() : 0));
      break;
    case 1: {
      const int32_t room = in.Size();
      std::vector<uint8_t> bytes(static_cast<size_t>(std::clamp(room, 0, 300)));
      int32_t length = std::min(room, 300);
      const int32_t before = length;
      const bool fits = found && length >= static_cast<int32_t>(stored->second.size());
      uint8_t* destination = in.Below(8) != 0 ? bytes.data() : nullptr;
      const bool done = blocks.GetExtendData(Raw(key), destination, &length);
      FUZZ_CHECK(done == (fits && destination != nullptr && before > 0));
      FUZZ_CHECK(length == (done ? static_cast<int32_t>(stored->second.size()) : before));
      if (done) FUZZ_CHECK(std::equal(stored->second.begin(), stored->second.end(), bytes.begin()));
      break;
    }
    case 2:
      blocks.RemoveExtendData(Raw(key));
      if (found) side.blocks.erase(stored);
      break;
    default: {
      const std::span<const uint8_t> source = in.Some(255);
      const std::vector<uint8_t> block(source.begin(), source.end());
      const uint8_t* bytes = in.Below(8) != 0 ? block.data() : nullptr;
      const auto length = static_cast<int32_t>(in.Below(8) != 0 ? block.size() : 0);
      const bool done = blocks.SetExtendData(Raw(key), bytes, length);
      FUZZ_CHECK(done == (key && bytes != nullptr && length > 0));
      if (done) side.blocks[*key] = block;
    }
  }
}

void UseVolumes(Bytes& in, Side& side) {
  ITrackAudioVolumeManager* volumes = side.Volumes();
  if (volumes == nullptr) return;
  // Both faces are parts of the manager, but only this one may be had without moving the position.
  auto* reader = dynamic_cast<IAudioVolumeInquire*>(volumes);
  FUZZ_CHECK(reader != nullptr);
  switch (in.Below(6)) {
    case 0:
      FUZZ_CHECK((volumes->GetVolumeInquire() != nullptr) == !side.tracks.empty());
      if (!side.tracks.empty()) side.ToFirstTrack();
      break;
    case 1: {
      const bool had = side.track.has_value();
      if (had) {
        const auto next = side.tracks.upper_bound(*side.track);
        side.track = next != side.tracks.end() ? std::optional(next->first) : std::nullopt;
      }
      FUZZ_CHECK((reader->NextVolume() != nullptr) == side.track.has_value());
      break;
    }
    case 2: {
      std::string track = "?";
      std::vector<uint64_t> values = {77};
      FUZZ_CHECK(reader->GetVolume(track, values) == (side.track ? 1 : 0));
      FUZZ_CHECK(track == side.track.value_or("?"));
      FUZZ_CHECK(values == (side.track ? side.tracks[*side.track] : std::vector<uint64_t>{77}));
      break;
    }
    case 3:
      if (in.Below(4) != 0) break;
      FUZZ_CHECK(volumes->GetVolumeConfig()->ClearVolumes() == 0);
      side.tracks.clear();
      side.track.reset();
      break;
    default: {
      const std::string track = in.Text(6);
      std::vector<uint64_t> values(in.Below(5));
      for (uint64_t& value : values) value = in.Take<uint64_t>();
      FUZZ_CHECK(volumes->GetVolumeConfig()->AddVolume(track, values));
      side.tracks.emplace(track, values);
      side.ToFirstTrack();
    }
  }
}

void UseCameras(Bytes& in, Side& side) {
  IVideoMultiCameraFrameManger& cameras = side.Cameras();
  IVideoMultiCameraFrameInquire* reader = cameras.GetFrameInquire();
  FUZZ_CHECK((reader != nullptr) == !side.records.empty());
  switch (in.Below(5)) {
    case 0: {
      if (reader == nullptr) break;
      Record record;
      FUZZ_CHECK(reader->GetFrame(record.name, record.value1, record.value2, record.data) == 1);
      FUZZ_CHECK(record == side.records.back());
      break;
    }
    case 1:
      if (reader == nullptr) break;
      FUZZ_CHECK(reader->NextFrame() == reader);
      side.records.pop_front();
      break;
    case 2:
      if (in.Below(4) != 0) break;
      FUZZ_CHECK(cameras.GetFrameConfig()->ClearFrames() == 0);
      side.records.clear();
      break;
    default: {
      const Record record = {in.Text(6), in.Take<uint32_t>(), in.Take<uint32_t>(),
                             in.Take<uint64_t>()};
      FUZZ_CHECK(cameras.GetFrameConfig()->AddFrame(record.name, record.value1, record.value2,
                                                    record.data));
      side.records.push_back(record);
    }
  }
}

void Merge(std::map<std::string, std::string>& to, const std::map<std::string, std::string>& from) {
  for (const auto& [key, value] : from) to[key] = value;
}

// Brings entries from outside the library's own map.
void MergeHostData(Bytes& in, Side& to) {
  std::map<std::string, orlo::ValAny> entries;
  for (uint32_t i = in.Below(5); i > 0; --i) {
    const Key key = TakeKey(in);
    if (key) entries[*key] = TakeValue(in);
  }
  HostUserData host(entries);
  to.Config().CopyFrom(&host);
  for (const auto& [key, value] : entries) {
    if (key.empty()) continue;
    to.user_data[key] = Say(value);
    to.enumerates = true;
  }
}

void CopyBlocks(Side& to, const Side& from) {
  NUXMivareCopyMediaExtraProperty(to.desc.get(), from.desc.get());
  for (int32_t i = 0; i < NUXMivareGetExtendKeyCount(); ++i) {
    const auto entry = from.blocks.find(NUXMivareGetExtendKey(i));
    if (entry != from.blocks.end()) to.blocks[entry->first] = entry->second;
  }
}

void CopyTracks(Side& to, Side& from) {
  const bool possible =
      to.Volumes() != nullptr && from.Volumes() != nullptr && &to != &from && !from.tracks.empty();
  FUZZ_CHECK(NUXMivareCopyAudioVolumeData(from.Volumes(), to.Volumes()) == (possible ? 0 : -1));
  if (!possible) return;
  to.tracks.insert(from.tracks.begin(), from.tracks.end());
  to.ToFirstTrack();
  from.track.reset();
}

void CopyBetween(Bytes& in, Side& to, Side& from) {
  const bool same = &to == &from;
  switch (in.Below(9)) {
    case 0:
      NUXMivareCopyUserData(to.desc.get(), from.desc.get());
      to.user_data = same ? decltype(to.user_data)() : from.user_data;
      break;
    case 1:
      to.Config().CopyFrom(&from.Inquire());
      Merge(to.user_data, from.user_data);
      break;
    case 2: MergeHostData(in, to); break;
    case 3: CopyBlocks(to, from); break;
    case 4: CopyTracks(to, from); break;
    case 5: {
      const bool possible = !same && !from.records.empty();
      FUZZ_CHECK(NUXMivareCopyVideoMultiCameraFrame(&from.Cameras(), &to.Cameras()) ==
                 (possible ? 0 : -1));
      if (possible) MoveRecords(from, to);
      break;
    }
    case 6: {
      Side clone = CloneSide(from, from.desc->CloneShared());
      if (!same) to = std::move(clone);
      break;
    }
    case 7: {
      Side clone = CloneSide(from, MediaDescPtr(from.desc->Clone()));
      if (!same) to = std::move(clone);
      break;
    }
    default:
      FUZZ_CHECK(NUXMivareGetExtendKey(3 + static_cast<int32_t>(in.Below(250))) == nullptr);
      NUXMivareCopyUserData(nullptr, from.desc.get());
      NUXMivareCopyUserData(to.desc.get(), nullptr);
      FUZZ_CHECK(NUXMivareCopyAudioVolumeData(nullptr, to.Volumes()) == -1);
      FUZZ_CHECK(NUXMivareCopyVideoMultiCameraFrame(&from.Cameras(), nullptr) == -1);
  }
}

// A map that saw no Set delivers its first entry and then refuses.
void CheckEnumeration(const Side& side) {
  IUserDataInquire& inquire = side.Inquire();
  FUZZ_CHECK(inquire.Lock());
  std::string key;
  orlo::ValAny value;
  uint32_t status = inquire.Enumerate(true, key, value);
  auto expected = side.user_data.begin();
  while (status == 0) {
    FUZZ_CHECK(expected != side.user_data.end());
    FUZZ_CHECK(key == expected->first && Say(value) == expected->second);
    ++expected;
    status = inquire.Enumerate(false, key, value);
  }
  FUZZ_CHECK(inquire.Unlock() == 0);
  if (side.enumerates || side.user_data.empty()) {
    FUZZ_CHECK(status == 1 && expected == side.user_data.end());
  } else {
    FUZZ_CHECK(status == kEnumerateRefused && expected == std::next(side.user_data.begin()));
  }
}

void CheckUserData(const Side& side) {
  CheckEnumeration(side);
  const std::shared_ptr<IUserDataInquire> clone = side.Inquire().Clone();
  for (const auto& [key, said] : side.user_data) {
    orlo::ValAny value;
    FUZZ_CHECK(clone->Get(key.c_str(), value) == 1 && Say(value) == said);
  }
}

void CheckBlocks(const Side& side) {
  const std::shared_ptr<IExtendData> clone = side.Blocks().Clone();
  for (const auto& [key, block] : side.blocks) {
    std::vector<uint8_t> bytes(clone->GetExtendDataLength(key.c_str()));
    auto length = static_cast<int32_t>(bytes.size());
    FUZZ_CHECK(clone->GetExtendData(key.c_str(), bytes.data(), &length) && bytes == block);
  }
}

void CheckTracks(const Side& side) {
  if (side.Volumes() == nullptr) return;
  Tracks read;
  IAudioVolumeInquire* reader = side.Volumes()->GetVolumeInquire();
  while (reader != nullptr) {
    std::string track;
    std::vector<uint64_t> values;
    FUZZ_CHECK(reader->GetVolume(track, values) == 1);
    read.emplace(track, values);
    reader = reader->NextVolume();
  }
  FUZZ_CHECK(read == side.tracks);
}

void CheckRecords(const Side& side) {
  size_t count = 0;
  IVideoMultiCameraFrameInquire* reader = side.Cameras().GetFrameInquire();
  for (; reader != nullptr; ++count) {
    Record newest;
    const int32_t status = reader->GetFrame(newest.name, newest.value1, newest.value2, newest.data);
    FUZZ_CHECK((status == 1) == (count < side.records.size()));
    if (status == 0) break;
    FUZZ_CHECK(newest == side.records.back());
    reader = reader->NextFrame();
  }
  FUZZ_CHECK(count == side.records.size());
}

void Run(Bytes in) {
  const Quiet quiet;
  const Balance balance;
  {
    std::array<Side, 2> sides = {NewSide(), NewSide()};
    for (int steps = 0; steps < 96 && !in.Empty(); ++steps) {
      const uint8_t choice = in.Take();
      Side& side = sides[choice & 1U];
      switch ((choice >> 1U) % 8) {
        case 0:
        case 1: UseUserData(in, side); break;
        case 2: UseBlocks(in, side); break;
        case 3: UseVolumes(in, side); break;
        case 4: UseCameras(in, side); break;
        case 5: CopyBetween(in, side, side); break;
        default: CopyBetween(in, side, sides[1 - (choice & 1U)]); break;
      }
    }
    for (const Side& side : sides) {
      CheckUserData(side);
      CheckBlocks(side);
      CheckTracks(side);
      CheckRecords(side);
    }
  }
  FUZZ_CHECK(Counted::alive == 0);
}

}  // namespace
}  // namespace mivare::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mivare::fuzz::Run({data, size});
  return 0;
}
