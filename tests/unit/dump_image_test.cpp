// What holds for both kinds of image: refusals, paths, taking turns.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "mivare/diagnostics.h"
#include "mivare/helper.h"
#include "support/log_capture.h"
#include "unit/image_files.h"

namespace mivare {
namespace {

using test::Bytes;
using test::Describe;
using test::HostFrame;
using test::LogCapture;
using test::ScratchFolder;
using test::SmallFrame;

struct Kind {
  const char* name;
  int32_t (*dump)(const char*, std::shared_ptr<IMediaBuffer>);
  const char* missing;
};

constexpr Kind kKinds[] = {
    {"BMP", NUXMivareDumpBMP, "error! mivare::NUXMivareDumpBMP line[104]: mb is nullptr!"},
    {"TGA", NUXMivareDumpTGA, "error! mivare::NUXMivareDumpTGA line[1392]: mb is nullptr!"},
};

TEST(DumpImage, RefusesAnEmptyBuffer) {
  const ScratchFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const LogCapture log;
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), nullptr), -1);
    EXPECT_EQ(log.Count(6, kind.missing), 1);
    EXPECT_EQ(log.Lines().size(), 1u);
    EXPECT_TRUE(folder.IsEmpty());
  }
}

TEST(DumpImage, RefusesWhatItCannotOpenOrDescribe) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const ScratchFolder folder;
    const auto frame = SmallFrame();
    EXPECT_EQ(kind.dump(nullptr, frame), -1);
    EXPECT_EQ(kind.dump(folder.File("missing/a").c_str(), frame), -1);
    EXPECT_EQ(frame->locks, frame->unlocks);
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), std::make_shared<HostFrame>(nullptr)), -1);
    EXPECT_TRUE(folder.IsEmpty());
    // Each of them gave its turn back.
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), frame), 0);
  }
}

TEST(DumpImage, TakesUtf8Paths) {
  const ScratchFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const std::string name = std::string("t\xC3\xA4st_\xE5\xB8\xA7.") + kind.name;
    EXPECT_EQ(kind.dump(folder.File(name).c_str(), SmallFrame()), 0);
    EXPECT_TRUE(folder.Has(name));
  }
}

TEST(DumpImage, LetsNoExceptionOut) {
  const ScratchFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto frame = SmallFrame();
    frame->throws = true;
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), frame), -1);
    frame->throws = false;
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), frame), 0);
  }
}

TEST(DumpImage, GivesTheHandleBack) {
  const ScratchFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto frame = SmallFrame();
    EXPECT_EQ(kind.dump(folder.File("a").c_str(), frame), 0);
    EXPECT_EQ(frame.use_count(), 1);
  }
}

// Notes the most threads that were ever between Lock and Unlock of such frames at once.
class CountingFrame final : public HostFrame {
 public:
  CountingFrame(MediaDescPtr description, std::atomic<int>& inside, std::atomic<int>& most)
      : HostFrame(std::move(description)), inside_(inside), most_(most) {}

  int32_t Lock(uint8_t* out_planes[8], int32_t out_pitches[8], void* reserved,
               uint32_t* capacity_out) override {
    const int now = ++inside_;
    if (now > most_) most_ = now;
    std::this_thread::yield();
    return HostFrame::Lock(out_planes, out_pitches, reserved, capacity_out);
  }
  int32_t Unlock() override {
    --inside_;
    return HostFrame::Unlock();
  }

 private:
  std::atomic<int>& inside_;
  std::atomic<int>& most_;
};

TEST(DumpImage, DumpsOfAKindTakeTurns) {
  constexpr int kRounds = 40;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const ScratchFolder folder;
    const std::string shared = folder.File("shared");
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    const auto run = [&](uint8_t value, const std::string& own) {
      const auto frame = std::make_shared<CountingFrame>(Describe(1, 45, 200, 100), inside, most);
      frame->memory[0].assign(size_t{800} * 100, value);
      frame->planes[0] = frame->memory[0].data();
      frame->pitches[0] = 800;
      for (int i = 0; i < kRounds; ++i) {
        kind.dump(shared.c_str(), frame);
        kind.dump(own.c_str(), frame);
      }
    };
    std::thread other(run, uint8_t{0xA1}, folder.File("one"));
    run(0xB2, folder.File("two"));
    other.join();
    EXPECT_EQ(most, 1);
    const Bytes one = folder.Read("one");
    const Bytes two = folder.Read("two");
    EXPECT_EQ(std::count(one.begin(), one.end(), 0xA1), 80000);
    EXPECT_EQ(std::count(two.begin(), two.end(), 0xB2), 80000);
    EXPECT_EQ(std::count(one.begin(), one.end(), 0xB2), 0);
    const Bytes last = folder.Read("shared");
    EXPECT_TRUE(last == one || last == two);
  }
}

// While it is locked itself, another thread dumps a frame as TGA.
class NestingFrame final : public HostFrame {
 public:
  NestingFrame(MediaDescPtr description, std::string path)
      : HostFrame(std::move(description)), path_(std::move(path)) {}

  int32_t nested_result = 1;

  int32_t Lock(uint8_t* out_planes[8], int32_t out_pitches[8], void* reserved,
               uint32_t* capacity_out) override {
    std::thread([this] { nested_result = NUXMivareDumpTGA(path_.c_str(), SmallFrame()); }).join();
    return HostFrame::Lock(out_planes, out_pitches, reserved, capacity_out);
  }

 private:
  std::string path_;
};

TEST(DumpImage, TheKindsDoNotWaitForEachOther) {
  const ScratchFolder folder;
  const auto frame =
      std::make_shared<NestingFrame>(Describe(1, 45, 3, 2), folder.File("inner.tga"));
  frame->AddPlane(0, 12, 12, 2);
  EXPECT_EQ(NUXMivareDumpBMP(folder.File("outer.bmp").c_str(), frame), 0);
  EXPECT_EQ(frame->nested_result, 0);
  EXPECT_EQ(folder.Size("inner.tga"), 18u + 24);
  EXPECT_EQ(folder.Size("outer.bmp"), 54u + 24);
}

}  // namespace
}  // namespace mivare
