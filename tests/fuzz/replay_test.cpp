// Replays what the fuzz targets are kept fed with: seeds, inputs that once crashed, and mutations
// of both that are the same in every run. A property that does not hold ends the process; the last
// test that it named was running.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <random>
#include <string>
#include <vector>

extern "C" {
int Replay_bmp_load(const uint8_t* data, size_t size);
int Replay_bson(const uint8_t* data, size_t size);
int Replay_descriptions(const uint8_t* data, size_t size);
int Replay_frames(const uint8_t* data, size_t size);
int Replay_raw_load(const uint8_t* data, size_t size);
int Replay_stores(const uint8_t* data, size_t size);
int Replay_utf8(const uint8_t* data, size_t size);
}

namespace {

using Input = std::vector<uint8_t>;

struct Target {
  const char* name;
  int (*run)(const uint8_t* data, size_t size);
  int mutations;  ///< few where each writes files or starts threads
};

constexpr Target kTargets[] = {
    {"bmp_load", Replay_bmp_load, 100},
    {"bson", Replay_bson, 1000},
    {"descriptions", Replay_descriptions, 1000},
    {"frames", Replay_frames, 150},
    {"raw_load", Replay_raw_load, 80},
    {"stores", Replay_stores, 1000},
    {"utf8", Replay_utf8, 1000},
};

void PrintTo(const Target& target, std::ostream* out) { *out << target.name; }

// The sanitizers see the end of a block of exactly the input's size.
void Replay(const Target& target, const Input& input) {
  const Input exact(input.begin(), input.end());
  EXPECT_EQ(target.run(exact.data(), exact.size()), 0);
}

Input Read(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::filesystem::path> FilesOf(const Target& target, const char* kind) {
  std::vector<std::filesystem::path> files;
  const std::filesystem::path folder =
      std::filesystem::path(MIVARE_FUZZ_INPUTS) / kind / target.name;
  if (!std::filesystem::is_directory(folder)) return files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string Alphanumeric(std::string text) {
  for (char& letter : text) {
    if (std::isalnum(static_cast<unsigned char>(letter)) == 0) letter = '_';
  }
  return text;
}

struct Kept {
  Target target;
  std::filesystem::path path;
};

void PrintTo(const Kept& kept, std::ostream* out) { *out << kept.path.string(); }

std::vector<Kept> AllKept() {
  std::vector<Kept> all;
  for (const Target& target : kTargets) {
    for (const char* kind : {"seeds", "crashes"}) {
      for (const std::filesystem::path& path : FilesOf(target, kind)) all.push_back({target, path});
    }
  }
  return all;
}

class FuzzInput : public testing::TestWithParam<Kept> {};

TEST_P(FuzzInput, HoldsEveryProperty) { Replay(GetParam().target, Read(GetParam().path)); }

std::string NameOfKept(const testing::TestParamInfo<Kept>& info) {
  const std::filesystem::path& path = info.param.path;
  const std::string kind = path.parent_path().parent_path().filename().string();
  return std::string(info.param.target.name) + "_" +
         Alphanumeric(kind + "_" + path.filename().string());
}

INSTANTIATE_TEST_SUITE_P(Kept, FuzzInput, testing::ValuesIn(AllKept()), NameOfKept);

// Distributions differ between libraries; a remainder does not.
size_t Below(std::mt19937& random, size_t bound) { return bound == 0 ? 0 : random() % bound; }

Input Mutate(std::mt19937& random, Input input, const Input& other) {
  for (size_t changes = 1 + Below(random, 4); changes > 0; --changes) {
    const auto at = static_cast<ptrdiff_t>(Below(random, input.size() + 1));
    const auto end = std::min<ptrdiff_t>(at + static_cast<ptrdiff_t>(Below(random, 9)),
                                         static_cast<ptrdiff_t>(input.size()));
    switch (Below(random, 6)) {
      case 0: input.resize(static_cast<size_t>(at)); break;
      case 1: input.erase(input.begin() + at, input.begin() + end); break;
      case 2: {
        const Input piece(input.begin() + at, input.begin() + end);
        input.insert(input.begin() + at, piece.begin(), piece.end());
        break;
      }
      case 3:
        input.resize(static_cast<size_t>(at));
        input.insert(input.end(),
                     other.begin() + static_cast<ptrdiff_t>(Below(random, other.size() + 1)),
                     other.end());
        break;
      case 4: input.insert(input.begin() + at, static_cast<uint8_t>(random())); break;
      default:
        if (end > at) input[static_cast<size_t>(at)] = static_cast<uint8_t>(random());
    }
  }
  return input;
}

class FuzzTarget : public testing::TestWithParam<Target> {};

TEST_P(FuzzTarget, HasSeeds) { EXPECT_FALSE(FilesOf(GetParam(), "seeds").empty()); }

TEST_P(FuzzTarget, HoldsEveryPropertyForMutatedInput) {
  std::vector<Input> inputs = {{}};
  for (const char* kind : {"seeds", "crashes"}) {
    for (const std::filesystem::path& path : FilesOf(GetParam(), kind)) {
      inputs.push_back(Read(path));
    }
  }
  std::mt19937 random(1);
  for (int i = 0; i < GetParam().mutations; ++i) {
    const Input& one = inputs[Below(random, inputs.size())];
    const Input& other = inputs[Below(random, inputs.size())];
    Replay(GetParam(), Mutate(random, one, other));
  }
}

std::string NameOfTarget(const testing::TestParamInfo<Target>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Each, FuzzTarget, testing::ValuesIn(kTargets), NameOfTarget);

}  // namespace
