#include "multi_camera.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace mivare {
namespace {

struct Record {
  std::string name;
  uint32_t value1 = 0;
  uint32_t value2 = 0;
  uint64_t data = 0;

  friend bool operator==(const Record&, const Record&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Record& record) {
    return out << record.name << "/" << record.value1 << "/" << record.value2 << "/" << record.data;
  }
};

const Record kA{"A", 1, 2, 0x1000000000000001U};
const Record kB{"B", 3, 4, 0xFFFFFFFFFFFFFFFFU};
const Record kC{"C", 5, 6, 7};

std::shared_ptr<IVideoMultiCameraFrameManger> MakeWith(const std::vector<Record>& records) {
  auto manager = MakeMultiCameraManager();
  for (const Record& r : records) {
    EXPECT_TRUE(manager->GetFrameConfig()->AddFrame(r.name, r.value1, r.value2, r.data));
  }
  return manager;
}

Record Newest(IVideoMultiCameraFrameInquire& face) {
  Record record;
  EXPECT_EQ(face.GetFrame(record.name, record.value1, record.value2, record.data), 1);
  return record;
}

/// How many records there are; drains the queue.
int Drain(IVideoMultiCameraFrameManger& manager) {
  int count = 0;
  while (IVideoMultiCameraFrameInquire* face = manager.GetFrameInquire()) {
    face->NextFrame();
    ++count;
  }
  return count;
}

TEST(MultiCamera, AnEmptyManagerHasNothingToInquire) {
  EXPECT_EQ(MakeMultiCameraManager()->GetFrameInquire(), nullptr);
}

TEST(MultiCamera, ReadsTheNewestAndDropsTheOldest) {
  const auto manager = MakeWith({kA, kB});
  IVideoMultiCameraFrameInquire* face = manager->GetFrameInquire();
  ASSERT_NE(face, nullptr);
  EXPECT_EQ(Newest(*face), kB);
  EXPECT_EQ(face->NextFrame(), face);
  EXPECT_EQ(Newest(*face), kB);
  EXPECT_EQ(face->NextFrame(), face);  // also for the last one
  EXPECT_EQ(manager->GetFrameInquire(), nullptr);
}

TEST(MultiCamera, AnEmptyQueueLeavesTheOutputs) {
  const auto manager = MakeWith({kA});
  IVideoMultiCameraFrameInquire* face = manager->GetFrameInquire();
  face->NextFrame();
  Record record = kC;
  EXPECT_EQ(face->GetFrame(record.name, record.value1, record.value2, record.data), 0);
  EXPECT_EQ(record, kC);
  EXPECT_EQ(face->NextFrame(), nullptr);
}

TEST(MultiCamera, InquiringMovesNothing) {
  const auto manager = MakeWith({kA, kB});
  EXPECT_EQ(manager->GetFrameInquire(), manager->GetFrameInquire());
  EXPECT_EQ(Drain(*manager), 2);
}

TEST(MultiCamera, KeepsEqualNames) {
  const auto manager = MakeWith({kA, kA, {"A", 9, 9, 9}});
  EXPECT_EQ(Newest(*manager->GetFrameInquire()), (Record{"A", 9, 9, 9}));
  EXPECT_EQ(Drain(*manager), 3);
}

TEST(MultiCamera, CopiesWhatItIsGiven) {
  const auto manager = MakeMultiCameraManager();
  Record given = kA;
  manager->GetFrameConfig()->AddFrame(given.name, given.value1, given.value2, given.data);
  given = kB;
  EXPECT_EQ(Newest(*manager->GetFrameInquire()), kA);
}

TEST(MultiCamera, ClearFramesDropsAll) {
  const auto manager = MakeWith({kA, kB, kC});
  EXPECT_EQ(manager->GetFrameConfig()->ClearFrames(), 0);
  EXPECT_EQ(manager->GetFrameInquire(), nullptr);
  EXPECT_EQ(manager->GetFrameConfig()->ClearFrames(), 0);
}

TEST(MultiCamera, ReleaseDoesNothing) {
  const auto manager = MakeWith({kA});
  manager->GetFrameInquire()->Release();
  manager->GetFrameConfig()->Release();
  EXPECT_EQ(Newest(*manager->GetFrameInquire()), kA);
}

TEST(MultiCamera, OrdersItsFacesManagerConfigInquire) {
  const auto manager = MakeWith({kA});
  const auto at = [](const auto* face) { return reinterpret_cast<uintptr_t>(face); };
  EXPECT_EQ(reinterpret_cast<uintptr_t>(dynamic_cast<void*>(manager.get())), at(manager.get()));
  EXPECT_LT(at(manager.get()), at(manager->GetFrameConfig()));
  EXPECT_LT(at(manager->GetFrameConfig()), at(manager->GetFrameInquire()));
}

/// A host's manager: notes what is added, and every call in one text that two of them may share.
class ScriptedManager : public IVideoMultiCameraFrameManger,
                        public IVideoMultiCameraFrameConfig,
                        public IVideoMultiCameraFrameInquire {
 public:
  ScriptedManager(std::string name, std::string* calls) : name_(std::move(name)), calls_(calls) {}

  IVideoMultiCameraFrameInquire* GetFrameInquire() override {
    Note("inquire");
    return no_inquire ? nullptr : this;
  }
  IVideoMultiCameraFrameConfig* GetFrameConfig() override {
    Note("config");
    return no_config ? nullptr : this;
  }
  void Release() override { Note("release"); }
  bool AddFrame(const std::string& name, const uint32_t& value1, const uint32_t& value2,
                const uint64_t& data) override {
    Note("add");
    if (throws) throw std::bad_alloc();
    added.push_back({name, value1, value2, data});
    return false;
  }
  int32_t ClearFrames() override {
    Note("clear");
    return 0;
  }
  IVideoMultiCameraFrameInquire* NextFrame() override {
    Note("next");
    return --passes > 0 ? this : nullptr;
  }
  int32_t GetFrame(std::string& name, uint32_t& value1, uint32_t& value2, uint64_t& data) override {
    Note("get(" + name + ")");
    if (passes == 1) return 0;  // the last pass delivers nothing
    name = kB.name;
    value1 = kB.value1;
    value2 = kB.value2;
    data = kB.data;
    return 1;
  }

  bool no_inquire = false;
  bool no_config = false;
  bool throws = false;
  int passes = 2;
  std::vector<Record> added;

 private:
  void Note(const std::string& call) { *calls_ += name_ + "." + call + " "; }

  std::string name_;
  std::string* calls_;
};

TEST(CopyVideoMultiCameraFrame, GivesTheNewestForEachRecordAndOneWithoutAName) {
  struct Case {
    const char* name;
    std::vector<Record> source;
    std::vector<Record> copied;
  };
  const Case cases[] = {
      {"one", {kA}, {kA, {"", 1, 2, 0x1000000000000001U}}},
      {"A then B", {kA, kB}, {kB, kB, {"", 3, 4, 0xFFFFFFFFFFFFFFFFU}}},
      {"three", {kB, kA, kC}, {kC, kC, kC, {"", 5, 6, 7}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto source = MakeWith(c.source);
    std::string calls;
    ScriptedManager destination("d", &calls);
    EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(source.get(), &destination), 0);
    EXPECT_EQ(destination.added, c.copied);
    EXPECT_EQ(source->GetFrameInquire(), nullptr);
  }
}

TEST(CopyVideoMultiCameraFrame, FillsAManagerOfItsOwn) {
  const auto source = MakeWith({kA, kB});
  const auto destination = MakeWith({kC});
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(source.get(), destination.get()), 0);
  EXPECT_EQ(source->GetFrameInquire(), nullptr);
  EXPECT_EQ(Newest(*destination->GetFrameInquire()), (Record{"", 3, 4, 0xFFFFFFFFFFFFFFFFU}));
  EXPECT_EQ(Drain(*destination), 4);  // what it had, B, B, the nameless one
}

TEST(CopyVideoMultiCameraFrame, AnEmptySourceFailsAndChangesNothing) {
  const auto source = MakeMultiCameraManager();
  const auto destination = MakeWith({kA});
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(source.get(), destination.get()), -1);
  EXPECT_EQ(Newest(*destination->GetFrameInquire()), kA);
  EXPECT_EQ(Drain(*destination), 1);
}

TEST(CopyVideoMultiCameraFrame, RefusesNullAndItself) {
  const auto manager = MakeWith({kA, kB});
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(manager.get(), manager.get()), -1);
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(nullptr, manager.get()), -1);
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(manager.get(), nullptr), -1);
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(nullptr, nullptr), -1);
  EXPECT_EQ(Drain(*manager), 2);
}

TEST(CopyVideoMultiCameraFrame, ReleasesTheConfigFaceWhenThereIsNothingToRead) {
  std::string calls;
  ScriptedManager source("s", &calls);
  ScriptedManager destination("d", &calls);
  source.no_inquire = true;
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(&source, &destination), -1);
  EXPECT_EQ(calls, "s.inquire d.config d.release ");
}

TEST(CopyVideoMultiCameraFrame, ReleasesTheInquiryFaceWhenThereIsNowhereToWrite) {
  std::string calls;
  ScriptedManager source("s", &calls);
  ScriptedManager destination("d", &calls);
  destination.no_config = true;
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(&source, &destination), -1);
  EXPECT_EQ(calls, "s.inquire d.config s.release ");
}

TEST(CopyVideoMultiCameraFrame, StartsEachPassWithoutANameAndReleasesBothFaces) {
  std::string calls;
  ScriptedManager source("s", &calls);
  ScriptedManager destination("d", &calls);
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(&source, &destination), 0);
  const std::string passes = "s.inquire d.config s.get() d.add s.next s.get() d.add s.next ";
  EXPECT_EQ(calls.substr(0, passes.size()), passes);
  const std::string rest = calls.substr(passes.size());
  EXPECT_TRUE(rest == "s.release d.release " || rest == "d.release s.release ") << rest;
  EXPECT_EQ(destination.added, (std::vector<Record>{kB, {"", 3, 4, 0xFFFFFFFFFFFFFFFFU}}));
}

TEST(CopyVideoMultiCameraFrame, LetsNoExceptionOut) {
  std::string calls;
  ScriptedManager source("s", &calls);
  ScriptedManager destination("d", &calls);
  destination.throws = true;
  EXPECT_EQ(NUXMivareCopyVideoMultiCameraFrame(&source, &destination), -1);
  EXPECT_NE(calls.find("s.release"), std::string::npos);
  EXPECT_NE(calls.find("d.release"), std::string::npos);
}

TEST(MultiCamera, SurvivesManyThreads) {
  const auto manager = MakeMultiCameraManager();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (uint32_t t = 0; t < 4; ++t) {
    threads.emplace_back([&manager, &wrong, t] {
      const std::string own(t + 1, 'x');
      for (int i = 0; i < 300; ++i) {
        manager->GetFrameConfig()->AddFrame(own, t + 1, t + 1, t + 1);
        if (IVideoMultiCameraFrameInquire* face = manager->GetFrameInquire()) {
          Record r;
          if (face->GetFrame(r.name, r.value1, r.value2, r.data) == 1 &&
              (r.name.size() != r.value1 || r.value1 != r.value2 || r.value2 != r.data)) {
            ++wrong;
          }
          face->NextFrame();
        }
        if (i % 50 == 0) manager->GetFrameConfig()->ClearFrames();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  manager->GetFrameConfig()->ClearFrames();
  EXPECT_EQ(manager->GetFrameInquire(), nullptr);
}

}  // namespace
}  // namespace mivare
