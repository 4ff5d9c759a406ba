#include "base/sample_loops.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/generated.h"

namespace mivare {
namespace {

using test::Generated;
using Bytes = std::vector<uint8_t>;

// Each test runs every form that runs here against the plainest loop there is.
class SampleLoopsTest : public testing::TestWithParam<SampleLoops> {
 protected:
  void SetUp() override {
    if (!GetParam().runs_here()) forms_.clear();
  }
  // The form, unless this processor lacks it.
  std::vector<SampleLoops> forms_{GetParam()};
};

std::string NameOf(const testing::TestParamInfo<SampleLoops>& info) {
  std::string name = info.param.name;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Forms, SampleLoopsTest, testing::ValuesIn(AllSampleLoops()), NameOf);

Bytes Noise(Generated& generated, size_t count) {
  Bytes bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(generated.Next());
  return bytes;
}

// Every length around the sizes of vectors, and some large ones.
std::vector<size_t> Lengths() {
  std::vector<size_t> lengths(200);
  for (size_t i = 0; i < lengths.size(); ++i) lengths[i] = i;
  lengths.insert(lengths.end(), {511, 512, 513, 1023, 1024, 1025, 3840, 5000});
  return lengths;
}

// `bytes` at `offset` from a multiple of 64, in a vector that ends with them.
class Placed {
 public:
  Placed(const Bytes& bytes, size_t offset) : all_(64 + offset + bytes.size(), kAround) {
    const size_t at = (64 - reinterpret_cast<uintptr_t>(all_.data()) % 64) % 64;
    start_ = at + offset;
    all_.resize(start_ + bytes.size());
    std::copy(bytes.begin(), bytes.end(), all_.begin() + static_cast<ptrdiff_t>(start_));
  }
  uint8_t* data() { return all_.data() + start_; }
  Bytes bytes() const { return {all_.begin() + static_cast<ptrdiff_t>(start_), all_.end()}; }
  bool IsIntactInFront() const {
    return std::all_of(all_.begin(), all_.begin() + static_cast<ptrdiff_t>(start_),
                       [](uint8_t byte) { return byte == kAround; });
  }

 private:
  static constexpr uint8_t kAround = 0xDB;
  Bytes all_;
  size_t start_ = 0;
};

TEST_P(SampleLoopsTest, AddsTheSquaresOfEveryLengthAndStep) {
  Generated generated(1);
  for (const SampleLoops& loops : forms_) {
    for (const size_t step : {1, 2, 4}) {
      for (const size_t samples : Lengths()) {
        SCOPED_TRACE(testing::Message() << samples << " samples, step " << step);
        const size_t bytes = samples == 0 ? 0 : (samples - 1) * step + 1;
        Placed a(Noise(generated, bytes), generated.Next() % 64);
        Placed b(Noise(generated, bytes), generated.Next() % 64);
        uint64_t sum = 0;
        for (size_t i = 0; i < samples; ++i) {
          const int difference = a.data()[i * step] - b.data()[i * step];
          sum += static_cast<uint64_t>(difference * difference);
        }
        EXPECT_EQ(loops.add_squares(a.data(), b.data(), samples, step), sum);
      }
    }
  }
}

TEST_P(SampleLoopsTest, AddsMoreSquaresThan32BitsHold) {
  for (const SampleLoops& loops : forms_) {
    for (const size_t step : {1, 2, 4}) {
      for (const size_t samples : {65535, 65536, 65537, 66052, 200001}) {
        const Bytes black(samples * step, 0);
        const Bytes white(samples * step, 255);
        EXPECT_EQ(loops.add_squares(black.data(), white.data(), samples, step), 65025 * samples);
        EXPECT_EQ(loops.add_squares(white.data(), black.data(), samples, step), 65025 * samples);
      }
    }
  }
}

// Converts every length at many places, and compares with `expected(unit of in)`.
template <size_t kIn, size_t kOut, typename Unit>
void ExpectConverted(SampleLoops::Convert convert, Unit unit) {
  Generated generated(2);
  for (const size_t units : Lengths()) {
    SCOPED_TRACE(testing::Message() << units << " units");
    Placed in(Noise(generated, units * kIn), generated.Next() % 64);
    Placed out(Bytes(units * kOut, 0xEE), generated.Next() % 64);
    Bytes expected;
    for (size_t i = 0; i < units; ++i) {
      const Bytes converted = unit(in.data() + i * kIn);
      expected.insert(expected.end(), converted.begin(), converted.end());
    }
    const Bytes before = in.bytes();
    convert(out.data(), in.data(), units);
    EXPECT_EQ(out.bytes(), expected);
    EXPECT_TRUE(out.IsIntactInFront());
    EXPECT_EQ(in.bytes(), before);
  }
}

TEST_P(SampleLoopsTest, TakeHighBytes) {
  for (const SampleLoops& loops : forms_) {
    ExpectConverted<2, 1>(loops.take_high_bytes, [](const uint8_t* in) { return Bytes{in[1]}; });
  }
}

TEST_P(SampleLoopsTest, ExchangeTheFirstAndThirdHighByte) {
  for (const SampleLoops& loops : forms_) {
    ExpectConverted<8, 4>(loops.exchange_high_bytes, [](const uint8_t* in) {
      return Bytes{in[5], in[3], in[1], in[7]};
    });
  }
}

TEST_P(SampleLoopsTest, AddAnAlphaOf255) {
  for (const SampleLoops& loops : forms_) {
    ExpectConverted<3, 4>(loops.add_alpha, [](const uint8_t* in) {
      return Bytes{in[0], in[1], in[2], 255};
    });
  }
}

TEST_P(SampleLoopsTest, FillWordsFromTheLowByteOn) {
  Generated generated(3);
  for (const SampleLoops& loops : forms_) {
    for (const size_t words : Lengths()) {
      SCOPED_TRACE(testing::Message() << words << " words");
      Placed out(Bytes(2 * words + 3, 0xEE), generated.Next() % 64);
      loops.fill_words(out.data(), 0x1234, words);
      Bytes expected;
      for (size_t i = 0; i < words; ++i) expected.insert(expected.end(), {0x34, 0x12});
      expected.insert(expected.end(), 3, 0xEE);
      EXPECT_EQ(out.bytes(), expected);
      EXPECT_TRUE(out.IsIntactInFront());
    }
  }
}

TEST_P(SampleLoopsTest, CopyRowsOfEveryLength) {
  Generated generated(4);
  for (const SampleLoops& loops : forms_) {
    for (const size_t bytes : Lengths()) {
      for (const size_t rows : {0, 1, 3}) {
        SCOPED_TRACE(testing::Message() << rows << " rows of " << bytes << " bytes");
        const size_t from_pitch = bytes + generated.Next() % 70;
        const size_t to_pitch = bytes + generated.Next() % 70;
        Placed from(Noise(generated, rows * from_pitch), generated.Next() % 64);
        Placed to(Bytes(rows * to_pitch, 0xEE), generated.Next() % 64);
        Bytes expected = to.bytes();
        for (size_t row = 0; row < rows; ++row) {
          std::copy_n(from.data() + row * from_pitch, bytes,
                      expected.begin() + static_cast<ptrdiff_t>(row * to_pitch));
        }
        loops.copy_rows({to.data(), static_cast<int64_t>(to_pitch)},
                        {from.data(), static_cast<int64_t>(from_pitch)}, bytes, rows);
        EXPECT_EQ(to.bytes(), expected);
        EXPECT_TRUE(to.IsIntactInFront());
      }
    }
  }
}

TEST_P(SampleLoopsTest, CopyMoreThanCachesHold) {
  Generated generated(6);
  const Bytes from = Noise(generated, (size_t{1} << 20) + 1);
  for (const SampleLoops& loops : forms_) {
    for (const size_t bytes : {from.size() - 1, from.size()}) {
      Bytes to(bytes);
      loops.copy_rows({to.data()}, {const_cast<uint8_t*>(from.data())}, bytes, 1);
      EXPECT_TRUE(std::equal(to.begin(), to.end(), from.begin()));
    }
  }
}

// As within a frame whose planes lie over one another, and with pitches of every kind.
TEST_P(SampleLoopsTest, CopyRowsThatOverlap) {
  Generated generated(5);
  constexpr ptrdiff_t kStart = 20000;
  for (const SampleLoops& loops : forms_) {
    for (const size_t bytes : {1, 100, 1023, 1024, 5000}) {
      for (const ptrdiff_t shift : {-4999, -1024, -64, -1, 0, 1, 7, 64, 1024, 4999, 5000}) {
        for (const int64_t from_pitch : {-5003, -1100, 0, 1100, 5000}) {
          const int64_t to_pitch = generated.Pick<int64_t>({-5001, -64, 0, 1100, 5000, 5003});
          SCOPED_TRACE(testing::Message() << bytes << " bytes, by " << shift << ", every "
                                          << from_pitch << " to every " << to_pitch);
          Bytes memory = Noise(generated, 45000);
          Bytes expected = memory;
          for (int64_t row = 0; row < 3; ++row) {
            std::memmove(expected.data() + kStart + shift + row * to_pitch,
                         expected.data() + kStart + row * from_pitch, bytes);
          }
          loops.copy_rows({memory.data() + kStart + shift, to_pitch},
                          {memory.data() + kStart, from_pitch}, bytes, 3);
          EXPECT_EQ(memory, expected);
        }
      }
    }
  }
}

TEST(SampleLoopsChoice, IsTheLastFormThatRunsHere) {
  const auto all = AllSampleLoops();
  EXPECT_TRUE(all.front().runs_here());
  const SampleLoops* last = nullptr;
  for (const SampleLoops& loops : all) {
    if (loops.runs_here()) last = &loops;
  }
  EXPECT_EQ(&BestSampleLoops(), last);
}

}  // namespace
}  // namespace mivare
