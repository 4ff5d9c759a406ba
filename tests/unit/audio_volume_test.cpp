#include "audio_volume.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace mivare {
namespace {

using Values = std::vector<uint64_t>;
using Track = std::pair<std::string, Values>;

std::vector<Track> Tracks(ITrackAudioVolumeManager& manager) {
  std::vector<Track> tracks;
  for (IAudioVolumeInquire* face = manager.GetVolumeInquire(); face != nullptr;
       face = face->NextVolume()) {
    Track track;
    EXPECT_EQ(face->GetVolume(track.first, track.second), 1);
    tracks.push_back(std::move(track));
  }
  return tracks;
}

std::shared_ptr<ITrackAudioVolumeManager> MakeWith(const std::vector<Track>& tracks) {
  auto manager = MakeAudioVolumeManager();
  for (const Track& track : tracks) {
    EXPECT_TRUE(manager->GetVolumeConfig()->AddVolume(track.first, track.second));
  }
  return manager;
}

TEST(AudioVolume, AnEmptyManagerHasNothingToInquire) {
  EXPECT_EQ(MakeAudioVolumeManager()->GetVolumeInquire(), nullptr);
}

TEST(AudioVolume, DeliversTracksInKeyOrder) {
  const auto manager = MakeWith({{"b", {3}}, {"", {}}, {"B", {1, 2}}, {"\xFF", {~uint64_t{0}}}});
  const std::vector<Track> expected = {
      {"", {}}, {"B", {1, 2}}, {"b", {3}}, {"\xFF", {0xFFFFFFFFFFFFFFFFU}}};
  EXPECT_EQ(Tracks(*manager), expected);
  EXPECT_EQ(Tracks(*manager), expected);
}

TEST(AudioVolume, TheFirstValuesOfATrackStay) {
  const auto manager = MakeWith({{"a", {1, 2}}, {"a", {9}}});
  EXPECT_EQ(Tracks(*manager), (std::vector<Track>{{"a", {1, 2}}}));
}

TEST(AudioVolume, CopiesWhatItIsGiven) {
  const auto manager = MakeAudioVolumeManager();
  std::string track = "a";
  Values values = {1, 2};
  manager->GetVolumeConfig()->AddVolume(track, values);
  track = "z";
  values[0] = 100;
  EXPECT_EQ(Tracks(*manager), (std::vector<Track>{{"a", {1, 2}}}));
}

TEST(AudioVolume, GetVolumeReplacesOutputsAndStays) {
  const auto manager = MakeWith({{"a", {1}}, {"b", {2}}});
  IAudioVolumeInquire* face = manager->GetVolumeInquire();
  std::string track = "before";
  Values values = {7, 8, 9};
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(face->GetVolume(track, values), 1);
    EXPECT_EQ(track, "a");
    EXPECT_EQ(values, Values{1});
  }
}

TEST(AudioVolume, AtTheEndOutputsStayAndThereIsNoNext) {
  const auto manager = MakeWith({{"a", {1}}});
  IAudioVolumeInquire* face = manager->GetVolumeInquire();
  ASSERT_NE(face, nullptr);
  EXPECT_EQ(face->NextVolume(), nullptr);
  std::string track = "before";
  Values values = {7};
  EXPECT_EQ(face->GetVolume(track, values), 0);
  EXPECT_EQ(track, "before");
  EXPECT_EQ(values, Values{7});
  EXPECT_EQ(face->NextVolume(), nullptr);
}

TEST(AudioVolume, NextVolumeGivesTheSameFace) {
  const auto manager = MakeWith({{"a", {1}}, {"b", {2}}});
  IAudioVolumeInquire* face = manager->GetVolumeInquire();
  EXPECT_EQ(face->NextVolume(), face);
  EXPECT_EQ(manager->GetVolumeInquire(), face);
}

TEST(AudioVolume, AddVolumeReturnsToTheFirstTrack) {
  const auto manager = MakeWith({{"b", {2}}, {"c", {3}}});
  IAudioVolumeInquire* face = manager->GetVolumeInquire();
  std::string track;
  Values values;
  for (const char* added : {"a", "c"}) {  // new, and already there
    SCOPED_TRACE(added);
    face->NextVolume();
    manager->GetVolumeConfig()->AddVolume(added, {1});
    ASSERT_EQ(face->GetVolume(track, values), 1);
    EXPECT_EQ(track, "a");
  }
}

TEST(AudioVolume, AddVolumeToAnEmptyManagerSetsThePosition) {
  const auto manager = MakeWith({{"a", {1}}});
  IAudioVolumeInquire* face = manager->GetVolumeInquire();
  manager->GetVolumeConfig()->ClearVolumes();
  manager->GetVolumeConfig()->AddVolume("b", {2});
  std::string track;
  Values values;
  EXPECT_EQ(face->GetVolume(track, values), 1);
  EXPECT_EQ(track, "b");
}

TEST(AudioVolume, ClearVolumesLeavesThePositionAtTheEnd) {
  const auto manager = MakeWith({{"a", {1}}, {"b", {2}}});
  IAudioVolumeInquire* face = manager->GetVolumeInquire();
  EXPECT_EQ(manager->GetVolumeConfig()->ClearVolumes(), 0);
  std::string track = "before";
  Values values = {7};
  EXPECT_EQ(face->GetVolume(track, values), 0);
  EXPECT_EQ(face->NextVolume(), nullptr);
  EXPECT_EQ(track, "before");
  EXPECT_EQ(values, Values{7});
  EXPECT_EQ(manager->GetVolumeInquire(), nullptr);
  EXPECT_EQ(manager->GetVolumeConfig()->ClearVolumes(), 0);
}

TEST(AudioVolume, ANewManagerStandsAtTheEnd) {
  const auto manager = MakeAudioVolumeManager();
  // The reading face of an empty manager is not handed out, but it is part of the same object.
  auto* face = dynamic_cast<IAudioVolumeInquire*>(manager.get());
  ASSERT_NE(face, nullptr);
  std::string track = "before";
  Values values;
  EXPECT_EQ(face->GetVolume(track, values), 0);
  EXPECT_EQ(face->NextVolume(), nullptr);
}

TEST(AudioVolume, ReleaseDoesNothing) {
  const auto manager = MakeWith({{"a", {1}}});
  manager->GetVolumeInquire()->Release();
  manager->GetVolumeConfig()->Release();
  EXPECT_EQ(Tracks(*manager), (std::vector<Track>{{"a", {1}}}));
}

TEST(AudioVolume, OrdersItsFacesManagerConfigInquire) {
  const auto manager = MakeWith({{"a", {1}}});
  const auto at = [](const auto* face) { return reinterpret_cast<uintptr_t>(face); };
  EXPECT_EQ(reinterpret_cast<uintptr_t>(dynamic_cast<void*>(manager.get())), at(manager.get()));
  EXPECT_LT(at(manager.get()), at(manager->GetVolumeConfig()));
  EXPECT_LT(at(manager->GetVolumeConfig()), at(manager->GetVolumeInquire()));
}

TEST(CopyAudioVolumeData, CopiesThreeEntriesInKeyOrder) {
  const std::vector<Track> tracks = {{"a", {1}}, {"b", {2, 3}}, {"c", {}}};
  const auto source = MakeWith({tracks[2], tracks[0], tracks[1]});
  const auto destination = MakeAudioVolumeManager();
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(source.get(), destination.get()), 0);
  EXPECT_EQ(Tracks(*destination), tracks);
  EXPECT_EQ(Tracks(*source), tracks);
}

TEST(CopyAudioVolumeData, StartsOverWhereverThePositionIs) {
  const auto source = MakeWith({{"a", {1}}, {"b", {2}}});
  source->GetVolumeInquire()->NextVolume();
  const auto destination = MakeAudioVolumeManager();
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(source.get(), destination.get()), 0);
  EXPECT_EQ(Tracks(*destination).size(), 2U);
}

TEST(CopyAudioVolumeData, LeavesTheSourceAtTheEnd) {
  const auto source = MakeWith({{"a", {1}}});
  IAudioVolumeInquire* face = source->GetVolumeInquire();
  const auto destination = MakeAudioVolumeManager();
  NUXMivareCopyAudioVolumeData(source.get(), destination.get());
  std::string track;
  Values values;
  EXPECT_EQ(face->GetVolume(track, values), 0);
}

TEST(CopyAudioVolumeData, KeepsWhatTheDestinationHas) {
  const auto source = MakeWith({{"a", {1}}, {"b", {2}}});
  const auto destination = MakeWith({{"b", {20}}, {"c", {30}}});
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(source.get(), destination.get()), 0);
  EXPECT_EQ(Tracks(*destination), (std::vector<Track>{{"a", {1}}, {"b", {20}}, {"c", {30}}}));
}

TEST(CopyAudioVolumeData, AnEmptySourceFailsAndChangesNothing) {
  const auto source = MakeAudioVolumeManager();
  const auto destination = MakeWith({{"a", {1}}});
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(source.get(), destination.get()), -1);
  EXPECT_EQ(Tracks(*destination), (std::vector<Track>{{"a", {1}}}));
}

TEST(CopyAudioVolumeData, RefusesNullAndItself) {
  const auto manager = MakeWith({{"a", {1}}});
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(manager.get(), manager.get()), -1);
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(nullptr, manager.get()), -1);
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(manager.get(), nullptr), -1);
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(nullptr, nullptr), -1);
  EXPECT_EQ(Tracks(*manager), (std::vector<Track>{{"a", {1}}}));
}

/// A host's manager: says what it is asked, in one text that two of them may share.
class ScriptedManager : public ITrackAudioVolumeManager,
                        public IAudioVolumeConfig,
                        public IAudioVolumeInquire {
 public:
  ScriptedManager(std::string name, std::string* calls) : name_(std::move(name)), calls_(calls) {}

  IAudioVolumeInquire* GetVolumeInquire() override {
    Note("inquire");
    return no_inquire ? nullptr : this;
  }
  IAudioVolumeConfig* GetVolumeConfig() override {
    Note("config");
    return no_config ? nullptr : this;
  }
  void Release() override { Note("release"); }
  bool AddVolume(const std::string& track, const Values& values) override {
    Note("add(" + track + "," + std::to_string(values.size()) + ")");
    if (throws) throw std::bad_alloc();
    return false;
  }
  int32_t ClearVolumes() override {
    Note("clear");
    return 0;
  }
  IAudioVolumeInquire* NextVolume() override {
    Note("next");
    return --passes > 0 ? this : nullptr;
  }
  int32_t GetVolume(std::string& track, Values& values) override {
    Note("get(" + track + "," + std::to_string(values.size()) + ")");
    if (passes == 1) return 0;  // the last pass delivers nothing
    track = "t";
    values = {1};
    return 1;
  }

  bool no_inquire = false;
  bool no_config = false;
  bool throws = false;
  int passes = 2;

 private:
  void Note(const std::string& call) { *calls_ += name_ + "." + call + " "; }

  std::string name_;
  std::string* calls_;
};

TEST(CopyAudioVolumeData, ReleasesTheConfigFaceWhenThereIsNothingToRead) {
  std::string calls;
  ScriptedManager source("s", &calls);
  ScriptedManager destination("d", &calls);
  source.no_inquire = true;
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(&source, &destination), -1);
  EXPECT_EQ(calls, "s.inquire d.config d.release ");
}

TEST(CopyAudioVolumeData, ReleasesTheInquiryFaceWhenThereIsNowhereToWrite) {
  std::string calls;
  ScriptedManager source("s", &calls);
  ScriptedManager destination("d", &calls);
  destination.no_config = true;
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(&source, &destination), -1);
  EXPECT_EQ(calls, "s.inquire d.config s.release ");
}

TEST(CopyAudioVolumeData, HasNothingToReleaseWithoutFaces) {
  std::string calls;
  ScriptedManager source("s", &calls);
  ScriptedManager destination("d", &calls);
  source.no_inquire = true;
  destination.no_config = true;
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(&source, &destination), -1);
  EXPECT_EQ(calls, "s.inquire d.config ");
}

TEST(CopyAudioVolumeData, StartsEachPassWithEmptyOutputsAndReleasesBothFaces) {
  std::string calls;
  ScriptedManager source("s", &calls);
  ScriptedManager destination("d", &calls);
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(&source, &destination), 0);
  const std::string passes =
      "s.inquire d.config s.get(,0) d.add(t,1) s.next s.get(,0) d.add(,0) s.next ";
  EXPECT_EQ(calls.substr(0, passes.size()), passes);
  const std::string rest = calls.substr(passes.size());
  EXPECT_TRUE(rest == "s.release d.release " || rest == "d.release s.release ") << rest;
}

TEST(CopyAudioVolumeData, LetsNoExceptionOut) {
  std::string calls;
  ScriptedManager source("s", &calls);
  ScriptedManager destination("d", &calls);
  destination.throws = true;
  EXPECT_EQ(NUXMivareCopyAudioVolumeData(&source, &destination), -1);
  EXPECT_NE(calls.find("s.release"), std::string::npos);
  EXPECT_NE(calls.find("d.release"), std::string::npos);
}

TEST(AudioVolume, SurvivesManyThreads) {
  const auto manager = MakeAudioVolumeManager();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&manager, &wrong, t] {
      const std::string own(static_cast<size_t>(t) + 1, 'x');
      for (int i = 0; i < 300; ++i) {
        manager->GetVolumeConfig()->AddVolume(own, Values(own.size(), own.size()));
        if (IAudioVolumeInquire* face = manager->GetVolumeInquire()) {
          std::string track;
          Values values;
          if (face->GetVolume(track, values) == 1 && values.size() != track.size()) ++wrong;
          face->NextVolume();
        }
        if (i % 7 == t) manager->GetVolumeConfig()->ClearVolumes();
        const auto copy = MakeAudioVolumeManager();
        NUXMivareCopyAudioVolumeData(manager.get(), copy.get());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace mivare
