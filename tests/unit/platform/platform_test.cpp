#include "platform/platform.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace mivare::platform {
namespace {

constexpr size_t kPage = 4096;

struct BlockFree {
  void operator()(uint8_t* block) const { FreeBlock(block); }
};
using Block = std::unique_ptr<uint8_t, BlockFree>;

Block MakeBlock(size_t size) { return Block(static_cast<uint8_t*>(AllocateBlock(size))); }

// A folder of the test's own, gone with the test.
class TempFolder {
 public:
  TempFolder() {
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    path_ = std::filesystem::temp_directory_path() /
            ("mivare_platform_" + std::to_string(stamp) + "_" +
             std::to_string(reinterpret_cast<uintptr_t>(this)));
    std::filesystem::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

TEST(PlatformBlock, IsZeroedToItsLastByte) {
  for (const size_t size : {size_t{1}, kPage - 1, kPage, kPage + 1, size_t{2} << 20U}) {
    SCOPED_TRACE(size);
    const Block block = MakeBlock(size);
    ASSERT_NE(block, nullptr);
    const std::vector<uint8_t> zeros(size);
    EXPECT_EQ(std::memcmp(block.get(), zeros.data(), size), 0);
  }
}

TEST(PlatformBlock, StartsOnAPage) {
  for (const size_t size : {size_t{1}, kPage + 1, size_t{3} << 20U}) {
    SCOPED_TRACE(size);
    const Block block = MakeBlock(size);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block.get()) % kPage, 0U);
  }
}

TEST(PlatformBlock, IsWritableToItsLastByte) {
  constexpr size_t kSize = (size_t{2} << 20U) + 123;
  const Block block = MakeBlock(kSize);
  ASSERT_NE(block, nullptr);
  std::memset(block.get(), 0xA5, kSize);
  EXPECT_EQ(block.get()[0], 0xA5);
  EXPECT_EQ(block.get()[kSize - 1], 0xA5);
}

TEST(PlatformBlock, BlocksOfDifferentSizesLiveSideBySide) {
  std::vector<Block> blocks;
  for (size_t i = 1; i <= 32; ++i) {
    const size_t size = i * 10000;
    blocks.push_back(MakeBlock(size));
    ASSERT_NE(blocks.back(), nullptr);
    std::memset(blocks.back().get(), static_cast<int>(i), size);
  }
  // Every second one goes; its neighbours keep what they hold.
  for (size_t i = 0; i < blocks.size(); i += 2) blocks[i].reset();
  for (size_t i = 1; i < blocks.size(); i += 2) {
    SCOPED_TRACE(i);
    EXPECT_EQ(blocks[i].get()[0], i + 1);
    EXPECT_EQ(blocks[i].get()[(i + 1) * 10000 - 1], i + 1);
  }
}

TEST(PlatformBlock, GivesItsMemoryBack) {
  constexpr size_t kSize = size_t{64} << 20U;
  const uint64_t before = ReadMemoryFigures().working_set;
  for (int i = 0; i < 8; ++i) {
    const Block block = MakeBlock(kSize);
    ASSERT_NE(block, nullptr);
    for (size_t at = 0; at < kSize; at += kPage) block.get()[at] = 1;
  }
  // Eight leaked blocks would be 512 MiB; sanitizers keep some memory of their own for one.
  EXPECT_LT(ReadMemoryFigures().working_set, before + 4 * kSize);
}

TEST(PlatformBlock, FreeingNothingIsFine) {
  FreeBlock(nullptr);
  EXPECT_NE(MakeBlock(kPage), nullptr);
}

TEST(PlatformBlock, ImpossibleSizesFailAndSayWhy) {
  for (const size_t size : {std::numeric_limits<size_t>::max(),
                            std::numeric_limits<size_t>::max() - kPage, size_t{1} << 62U}) {
    SCOPED_TRACE(size);
    EXPECT_EQ(AllocateBlock(size), nullptr);
    EXPECT_NE(LastError(), 0U);
  }
}

TEST(PlatformBlock, ThreadsTakeAndFreeBlocksAtOnce) {
  std::array<bool, 4> intact{};
  std::vector<std::thread> threads;
  for (size_t id = 0; id < intact.size(); ++id) {
    threads.emplace_back([id, &intact] {
      bool good = true;
      for (size_t i = 1; i <= 200; ++i) {
        const size_t size = i * 1024;
        const Block block = MakeBlock(size);
        if (block == nullptr) {
          good = false;
          continue;
        }
        good = good && block.get()[0] == 0 && block.get()[size - 1] == 0;
        std::memset(block.get(), static_cast<int>(id + 1), size);
        good = good && block.get()[size / 2] == id + 1;
      }
      intact[id] = good;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(intact, (std::array<bool, 4>{true, true, true, true}));
}

// The standard library's clock is the judge; both are read around each other.
TEST(PlatformClock, WallClockCountsMillisecondsSince1970) {
  const auto now = [] {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const int64_t before = now();
  const int64_t wall = WallClockMs();
  const int64_t after = now();
  // The system's coarser clocks may lag by one of their ticks.
  EXPECT_GE(wall, before - 20);
  EXPECT_LE(wall, after + 20);
}

TEST(PlatformClock, SteadyClockNeverRunsBackwards) {
  int64_t last = SteadyClockMs();
  for (int i = 0; i < 100000; ++i) {
    const int64_t now = SteadyClockMs();
    ASSERT_GE(now, last);
    last = now;
  }
}

TEST(PlatformCpuTimes, GrowWithTheWorkDone) {
  CpuTimes before;
  ASSERT_TRUE(ReadCpuTimes(before));
  EXPECT_GE(before.processors, 1U);
  EXPECT_LE(before.processors, 4096U);

  // Work until the process has visibly used its processor: 20 ms, in units of 100 ns.
  CpuTimes after = before;
  volatile uint64_t sum = 0;
  for (int rounds = 0; rounds < 100000; ++rounds) {
    for (int i = 0; i < 100000; ++i) sum = sum + static_cast<uint64_t>(i);
    ASSERT_TRUE(ReadCpuTimes(after));
    if (after.user + after.kernel >= before.user + before.kernel + 200000) break;
  }
  EXPECT_GE(after.user + after.kernel, before.user + before.kernel + 200000);
  EXPECT_GE(after.user, before.user);
  EXPECT_GE(after.kernel, before.kernel);
  EXPECT_GT(after.system_time, before.system_time);
  EXPECT_EQ(after.processors, before.processors);
}

TEST(PlatformMemory, FiguresArePlausible) {
  const MemoryFigures figures = ReadMemoryFigures();
  EXPECT_GT(figures.total_physical, uint64_t{64} << 20U);
  EXPECT_GT(figures.available_physical, 0U);
  EXPECT_LE(figures.available_physical, figures.total_physical);
  EXPECT_GT(figures.working_set, uint64_t{64} << 10U);
  EXPECT_LT(figures.working_set, figures.total_physical);
}

TEST(PlatformMemory, WorkingSetFollowsTouchedMemory) {
  constexpr size_t kSize = size_t{64} << 20U;
  const uint64_t before = ReadMemoryFigures().working_set;
  const Block block = MakeBlock(kSize);
  ASSERT_NE(block, nullptr);
  std::memset(block.get(), 1, kSize);
  const uint64_t after = ReadMemoryFigures().working_set;
  EXPECT_GE(after, before + kSize / 2);
}

TEST(PlatformFile, OpensNamesBeyondAscii) {
  const TempFolder folder;
  // Latin, Greek, Chinese, and a character outside the basic plane.
  const std::u8string name = u8"gr\u00FC\u00DF \u03B1 \u5E27 \U0001F39E.bin";
  const std::filesystem::path path = folder.path() / std::filesystem::path(name);
  {
    const File file = OpenFile(Utf8(path).c_str(), "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fwrite("abc\n", 1, 4, file.get()), 4U);
  }
  // The folder shows it under exactly this name, and binary mode leaves line ends alone.
  ASSERT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(std::filesystem::file_size(path), 4U);

  const File file = OpenFile(Utf8(path).c_str(), "rb");
  ASSERT_NE(file, nullptr);
  std::array<char, 8> text{};
  EXPECT_EQ(std::fread(text.data(), 1, text.size(), file.get()), 4U);
  EXPECT_STREQ(text.data(), "abc\n");
}

TEST(PlatformFile, MissingFilesAndNullPathsAreEmpty) {
  const TempFolder folder;
  EXPECT_EQ(OpenFile(nullptr, "rb"), nullptr);
  EXPECT_EQ(OpenFile("", "rb"), nullptr);
  EXPECT_EQ(OpenFile(Utf8(folder.path() / "absent").c_str(), "rb"), nullptr);
  EXPECT_EQ(OpenFile(Utf8(folder.path() / "absent" / "child").c_str(), "wb"), nullptr);
}

std::vector<uint8_t> ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// More pieces than a system takes at once, empty ones among them, and pieces larger than anything
// that gathers them.
TEST(PlatformFile, WritesPiecesOneBehindTheOther) {
  struct Case {
    const char* name;
    size_t pieces;
    size_t bytes_each;
  };
  for (const Case& row : {Case{"none", 0, 0},
                          {"one byte", 1, 1},
                          {"empty", 3, 0},
                          {"many", 5000, 7},
                          {"rows", 1100, 700},
                          {"large", 3, 1 << 19}}) {
    SCOPED_TRACE(row.name);
    const TempFolder folder;
    const std::filesystem::path path = folder.path() / "pieces";
    std::vector<uint8_t> bytes(2 * row.pieces * row.bytes_each);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 31 + i / 251);
    // Each second piece, from the last one to the first, and then something empty.
    std::vector<FilePiece> pieces;
    std::vector<uint8_t> expected;
    for (size_t i = row.pieces; i-- > 0;) {
      const uint8_t* piece = bytes.data() + 2 * i * row.bytes_each;
      pieces.push_back({piece, row.bytes_each});
      if (i % 3 == 0) pieces.push_back({});
      expected.insert(expected.end(), piece, piece + row.bytes_each);
    }
    {
      const File file = OpenFile(Utf8(path).c_str(), "wb");
      ASSERT_NE(file, nullptr);
      EXPECT_TRUE(WritePieces(file.get(), pieces));
      EXPECT_TRUE(WritePieces(file.get(), {}));
      EXPECT_TRUE(WritePieces(file.get(), pieces)) << "behind what is there";
    }
    std::vector<uint8_t> twice = expected;
    twice.insert(twice.end(), expected.begin(), expected.end());
    EXPECT_TRUE(ReadAll(path) == twice);
  }
}

TEST(PlatformFile, SaysThatPiecesCannotBeWritten) {
  const TempFolder folder;
  const std::filesystem::path path = folder.path() / "pieces";
  { const File file = OpenFile(Utf8(path).c_str(), "wb"); }
  const std::vector<uint8_t> bytes(1 << 19);
  const File file = OpenFile(Utf8(path).c_str(), "rb");
  ASSERT_NE(file, nullptr);
  const FilePiece piece{bytes.data(), bytes.size()};
  EXPECT_FALSE(WritePieces(file.get(), std::span(&piece, 1)));
  EXPECT_TRUE(ReadAll(path).empty());
}

}  // namespace
}  // namespace mivare::platform
