// Dumps, loads and comparisons while each piece of memory in turn is missing, and files that cannot
// be opened or written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "allocator.h"
#include "dump_file.h"
#include "mivare/diagnostics.h"
#include "support/fake_gpu.h"
#include "support/nth_failure.h"
#include "support/request.h"
#include "support/scratch_folder.h"
#include "support/worker_clock.h"

namespace mivare::test {
namespace {

constexpr char kAnyLine[] = "error! file[mivare/dump_image] line[*]";

/// A folder whose memory does not count: paths are freed elsewhere than they are made.
class OwnFolder {
 public:
  OwnFolder() {
    const OwnMemory own;
    folder_ = std::make_unique<ScratchFolder>();
  }
  ~OwnFolder() {
    const OwnMemory own;
    folder_.reset();
  }
  OwnFolder(const OwnFolder&) = delete;
  OwnFolder& operator=(const OwnFolder&) = delete;
  const ScratchFolder& operator*() const { return *folder_; }
  const ScratchFolder* operator->() const { return folder_.get(); }

 private:
  std::unique_ptr<ScratchFolder> folder_;
};

/// Two frames of 64 x 64, or buffers with 100 bytes, and a folder.
struct Files {
  std::shared_ptr<IAllocatorEx> allocator = MakeCpuAllocator();
  OwnFolder folder;
  std::shared_ptr<IMediaBuffer> frame;
  std::shared_ptr<IMediaBuffer> other;
  std::string digest = "as it was";

  explicit Files(const MediaDescPtr& request) {
    frame = allocator->Alloc(request.get(), nullptr, nullptr);
    other = allocator->Alloc(request.get(), nullptr, nullptr);
    const std::vector<uint8_t> bytes(100, 7);
    if (request->GetMediaType() == 2) frame->SetData(bytes.data(), 100);
    for (IMediaBuffer* buffer : {frame.get(), other.get()}) FillWithSevens(*buffer);
  }
  static void FillWithSevens(IMediaBuffer& buffer) {
    uint8_t* planes[8] = {};
    int32_t pitches[8] = {};
    buffer.Lock(planes, pitches, nullptr, nullptr);
    const size_t rows = buffer.GetDesc(0)->GetMediaType() == 2 ? 1 : 64;
    if (planes[0] != nullptr) std::fill_n(planes[0], static_cast<size_t>(pitches[0]) * rows, 7);
    buffer.Unlock();
  }
  bool HasWhole(const std::string& name, uintmax_t size) const {
    return folder->Has(name) && folder->Size(name) == size;
  }
};

MediaDescPtr Packed() { return VideoRequest(45, 64, 64); }
MediaDescPtr Planar() { return VideoRequest(1, 64, 64); }
MediaDescPtr WithGaps() { return VideoRequest(1, 60, 64); }
MediaDescPtr Wide() { return VideoRequest(17, 64, 64); }
MediaDescPtr Sound() { return AudioRequest(); }

Operation OnFiles(const char* name, MediaDescPtr (*request)(), std::function<bool(Files&)> act,
                  bool may_do_without = true) {
  return {.name = name,
          .prepare =
              [request, act = std::move(act)] {
                const auto files = std::make_shared<Files>(request());
                return Attempt{.act = [files, act] { return act(*files); },
                               .drop =
                                   [files] {
                                     files->frame.reset();
                                     files->other.reset();
                                   }};
              },
          .may_say = {kAnyLine},
          .may_do_without = may_do_without};
}

/// A raw dump has no value: it is the file, whole, or a line.
Operation RawDump(const char* name, MediaDescPtr (*request)(), const char* file, uintmax_t size) {
  Operation operation = OnFiles(name, request, [file = std::string(file), size](Files& files) {
    {
      const OwnMemory own;
      std::remove(files.folder->File(file).c_str());
    }
    std::string prefix;
    {
      const OwnMemory own;
      prefix = files.folder->File("a");
    }
    NUXMivareDumpMediaBuffer(prefix.c_str(), files.frame);
    const OwnMemory own;
    EXPECT_TRUE(files.HasWhole(file, size) || files.folder->IsEmpty()) << "half a file";
    return files.HasWhole(file, size);
  });
  operation.must_say = kAnyLine;
  return operation;
}

/// Calls `use` with the name of a file, which does not count.
template <class Use>
auto WithName(const Files& files, const char* name, Use use) {
  std::string path;
  {
    const OwnMemory own;
    path = files.folder->File(name);
  }
  return use(path.c_str());
}

std::vector<Operation> Operations() {
  return {
      OnFiles("DumpBMP", Packed,
              [](Files& files) {
                const int32_t status = WithName(files, "a.bmp", [&](const char* path) {
                  return NUXMivareDumpBMP(path, files.frame);
                });
                const OwnMemory own;
                EXPECT_EQ(status, 0);
                return files.HasWhole("a.bmp", 54 + 64 * 64 * 4);
              }),
      OnFiles("DumpTGA", Packed,
              [](Files& files) {
                const int32_t status = WithName(files, "a.tga", [&](const char* path) {
                  return NUXMivareDumpTGA(path, files.frame);
                });
                const OwnMemory own;
                EXPECT_EQ(status, 0);
                return files.HasWhole("a.tga", 18 + 64 * 64 * 4);
              }),
      RawDump("DumpPlanes", Planar, "a.yv12", 64 * 64 * 3 / 2),
      RawDump("DumpNamedBySize", Wide, "a_64_64.p210", 64 * 64 * 2 * 2),
      RawDump("DumpSound", Sound, "a.pcm", 100),
      RawDump("DumpPacked", Packed, "a.bmp", 54 + 64 * 64 * 4),
      OnFiles(
          "LoadBMP", Packed,
          [](Files& files) {
            return WithName(files, "a.bmp", [&](const char* path) {
              {
                const OwnMemory own;
                EXPECT_EQ(NUXMivareDumpBMP(path, files.frame), 0);
              }
              return NUXMivareLoadBMP(path, files.other);
            });
          },
          false),
      OnFiles(
          "MD5", WithGaps,
          [](Files& files) {
            const int32_t status = NUXMivareMediaBuffer2MD5(files.frame.get(), &files.digest);
            EXPECT_TRUE(status == 0 || status == -1);
            EXPECT_EQ(files.digest == "as it was", status != 0);
            return status == 0;
          },
          false),
  };
}

class NthFailureWithFiles : public testing::TestWithParam<Operation> {};

TEST_P(NthFailureWithFiles, GivesTheWholeFileOrSaysSo) {
  const uint64_t points = NthFailure(GetParam()).FailEach(Memory::kHeap);
  RecordProperty("heap", static_cast<int>(points));
  // An image goes straight from the frame into its file; a system may do so without memory.
  const std::string& name = GetParam().name;
  const bool may_need_none = name == "DumpBMP" || name == "DumpTGA";
  EXPECT_TRUE(points > 0 || may_need_none) << "nothing was allocated";
}

std::string NameOf(const testing::TestParamInfo<Operation>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Files, NthFailureWithFiles, testing::ValuesIn(Operations()), NameOf);

TEST(FilesWithoutMemory, AreLoadedComparedAndCopiedAllTheSame) {
  Files files(Planar());
  Files sound(Sound());
  const std::string path = files.folder->File("a");
  NUXMivareDumpMediaBuffer(path.c_str(), files.frame);
  const std::string raw = path + ".yv12";
  const FailingNew failing(1);
  EXPECT_TRUE(NUXMivareLoadMediaBuffer(raw.c_str(), files.other));
  EXPECT_GT(NUXMivareImagePSNR(files.frame, files.other, 0), 0.0);
  EXPECT_EQ(NUXMivareCopyMediaBufferData(files.other.get(), files.frame.get()), 0);
  EXPECT_EQ(NUXMivareZeroBuffer(sound.frame.get()), 0);
  EXPECT_EQ(NUXMivareMediaBuffer2MD5(files.frame.get(), &files.digest), 0) << "has no gaps";
  EXPECT_FALSE(failing.fired());
}

// The copy that the processor can read is what memory is short for; the dump goes on with the frame
// it was given.
TEST(DumpOfADeviceFrameWithoutMemory, SaysSoAndGoesOn) {
  uint64_t nth = 0;
  int missed = 0;
  for (bool fired = true; fired;) {
    SCOPED_TRACE(++nth);
    WorkerClock clock;
    FakeGpu gpu;
    const LogCapture log;
    const ScratchFolder folder;
    const std::string prefix = folder.File("a");
    NUXMivareDefaultAllocatorInit(&gpu);
    IAllocatorEx* manager = nullptr;
    NUXMivareDefaultAllocatorAcquire(&manager);
    const MediaDescPtr request = VideoRequest(1, 64, 64, 1);
    std::shared_ptr<IMediaBuffer> frame = manager->Alloc(request.get(), nullptr, nullptr);
    {
      const FailingNew failing(nth);
      NUXMivareDumpMediaBuffer(prefix.c_str(), frame);
      fired = failing.fired();
    }
    // The fake's own frames refuse to be copied, with all the memory they want.
    const int refusals = log.Count(6, "error! file[mivare/dump_image] line[730]");
    const int without = log.Count(6, "error! file[mivare/dump_image] line[716]") +
                        log.Count(6, "error! file[mivare/dump_image] line[724]");
    EXPECT_LE(refusals + without, 1);
    if (!fired) {
      EXPECT_EQ(refusals, 1);
      EXPECT_EQ(log.AtLevel(6).size(), 1U);
    }
    missed += without;
    EXPECT_EQ(frame.use_count(), 1);
    frame.reset();
    NUXMivareDefaultAllocatorUninit();
    EXPECT_EQ(gpu.lives(), 0);
  }
  EXPECT_GT(missed, 5);
}

struct BadPath {
  const char* name;
  /// Makes what stands in the way; the path is below the folder.
  std::string (*make)(const ScratchFolder&);
};
constexpr BadPath kBadPaths[] = {
    {"no folder", [](const ScratchFolder& folder) { return folder.File("none") + "/a"; }},
    {"a folder in its place",
     [](const ScratchFolder& folder) {
       for (const char* name :
            {"a", "a.yv12", "a.nv12", "a.p10", "a_64_64.p210", "a.yuv422", "a.pcm", "a.bmp"}) {
         std::filesystem::create_directory(folder.File(name));
       }
       return folder.File("a");
     }},
};

TEST(FilesThatCannotBeOpened, AreSaidToBe) {
  for (const BadPath& bad : kBadPaths) {
    SCOPED_TRACE(bad.name);
    const ScratchFolder folder;
    const std::string path = bad.make(folder);
    const LogCapture log;
    Files packed(Packed());
    EXPECT_EQ(NUXMivareDumpBMP(path.c_str(), packed.frame), -1);
    EXPECT_EQ(NUXMivareDumpTGA(path.c_str(), packed.frame), -1);
    EXPECT_FALSE(NUXMivareLoadBMP(path.c_str(), packed.frame));
    EXPECT_TRUE(log.AtLevel(6).empty());

    struct Row {
      MediaDescPtr (*request)();
      int line;
    };
    for (const Row& row : {Row{Planar, 424}, Row{[] { return VideoRequest(6, 64, 64); }, 663},
                           Row{[] { return VideoRequest(7, 64, 64); }, 627}, Row{Wide, 495},
                           Row{[] { return VideoRequest(60, 64, 64); }, 431}, Row{Sound, 380}}) {
      SCOPED_TRACE(row.line);
      Files files(row.request());
      const LogCapture said;
      NUXMivareDumpMediaBuffer(path.c_str(), files.frame);
      EXPECT_EQ(said.Count(6, "file[mivare/dump_image] line[" + std::to_string(row.line) + "]"), 1);
      EXPECT_EQ(said.AtLevel(6).size(), 1U);
    }
    Files planar(Planar());
    const LogCapture said;
    EXPECT_FALSE(NUXMivareLoadMediaBuffer(path.c_str(), planar.frame));
    EXPECT_EQ(said.CountContaining("file[mivare/dump_image] line["), 1);
  }
}

// A file that takes no byte, as on a full disk: opened for reading alone.
TEST(AFileThatCannotBeWritten, EndsEachRunOfRowsAtItsFirstFailure) {
  const ScratchFolder folder;
  folder.Write("a", {1, 2, 3});
  std::vector<uint8_t> rows(1 << 20);
  {
    DumpFile file(platform::OpenFile(folder.File("a").c_str(), "rb"));
    ASSERT_TRUE(file.IsOpen());
    EXPECT_FALSE(file.Write(rows.data(), rows.size()));
    file.WriteRows(PlaneWalker(rows.data(), 2000, 500, 1000, std::nullopt));
    static size_t converted;
    converted = 0;
    file.WriteConvertedRows<1, 1>(PlaneWalker(rows.data(), 1024, 500, 1024, std::nullopt),
                                  [](uint8_t* out, const uint8_t* in, size_t units) noexcept {
                                    std::copy_n(in, units, out);
                                    converted += units;
                                  });
    EXPECT_EQ(converted, 1U << 15) << "went on after the first piece";
    file.Flush();
  }
  EXPECT_EQ(folder.Read("a"), (Bytes{1, 2, 3}));
}

}  // namespace
}  // namespace mivare::test
