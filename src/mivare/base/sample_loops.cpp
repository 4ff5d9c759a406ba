// Plain loops that the compiler turns into vector code, once for any x86-64 processor and once for
// those with AVX2; by hand only what compilers do not find: shuffles of pixels, and the processor's
// string instructions, which do not read the lines that they overwrite.
#include "base/sample_loops.h"

#include <cpuid.h>
#include <immintrin.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace mivare {
namespace {

// Code that is compiled for several processors has to end up inside of what is compiled for each.
#define MIVARE_IN_CALLER [[gnu::always_inline]] inline
#define MIVARE_AVX2 [[gnu::target("avx2")]]

// --- Any processor ---

template <size_t kStep>
MIVARE_IN_CALLER uint64_t AddSteps(const uint8_t* a, const uint8_t* b, size_t samples) noexcept {
  // 32 bits hold the squares of this many samples, and fit the vector registers better than 64.
  constexpr size_t kChunk = size_t{1} << 16;
  static_assert(kChunk * 255 * 255 <= UINT32_MAX);
  uint64_t sum = 0;
  for (size_t done = 0; done < samples; done += kChunk) {
    const size_t end = std::min(samples, done + kChunk);
    uint32_t partial = 0;
    for (size_t i = done; i < end; ++i) {
      const int32_t difference = int32_t{a[i * kStep]} - int32_t{b[i * kStep]};
      partial += static_cast<uint32_t>(difference * difference);
    }
    sum += partial;
  }
  return sum;
}

MIVARE_IN_CALLER uint64_t AddAnySteps(const uint8_t* a, const uint8_t* b, size_t samples,
                                      size_t step) noexcept {
  switch (step) {
    case 1: return AddSteps<1>(a, b, samples);
    case 2: return AddSteps<2>(a, b, samples);
    default: return AddSteps<4>(a, b, samples);
  }
}

MIVARE_IN_CALLER void TakeEverySecond(uint8_t* out, const uint8_t* in, size_t samples) noexcept {
  for (size_t i = 0; i < samples; ++i) out[i] = in[2 * i + 1];
}

MIVARE_IN_CALLER void ExchangePixels(uint8_t* out, const uint8_t* in, size_t pixels) noexcept {
  for (size_t i = 0; i < pixels; ++i, in += 8, out += 4) {
    out[0] = in[5];
    out[1] = in[3];
    out[2] = in[1];
    out[3] = in[7];
  }
}

// Words are read where there are four bytes: behind the last pixel there may be none.
MIVARE_IN_CALLER void AddAlphaToPixels(uint8_t* out, const uint8_t* in, size_t pixels) noexcept {
  for (; pixels > 1; --pixels, in += 3, out += 4) {
    uint32_t pixel = 0;
    std::memcpy(&pixel, in, sizeof(pixel));
    pixel |= 0xFF000000U;
    std::memcpy(out, &pixel, sizeof(pixel));
  }
  if (pixels == 0) return;
  std::memcpy(out, in, 3);
  out[3] = 255;
}

uint64_t AddSquares(const uint8_t* a, const uint8_t* b, size_t samples, size_t step) noexcept {
  return AddAnySteps(a, b, samples, step);
}

void TakeHighBytes(uint8_t* out, const uint8_t* in, size_t samples) noexcept {
  TakeEverySecond(out, in, samples);
}

void ExchangeHighBytes(uint8_t* out, const uint8_t* in, size_t pixels) noexcept {
  ExchangePixels(out, in, pixels);
}

void AddAlpha(uint8_t* out, const uint8_t* in, size_t pixels) noexcept {
  AddAlphaToPixels(out, in, pixels);
}

void FillWords(uint8_t* out, uint16_t word, size_t words) noexcept {
  for (size_t i = 0; i < words; ++i) std::memcpy(out + 2 * i, &word, sizeof(word));
}

void CopyRows(const RowRun& to, const RowRun& from, size_t row_bytes, size_t rows) noexcept {
  for (size_t row = 0; row < rows; ++row) {
    const auto at = static_cast<int64_t>(row);
    std::memmove(to.first + at * to.pitch, from.first + at * from.pitch, row_bytes);
  }
}

bool Always() noexcept { return true; }

// --- Processors with AVX2 ---

bool HasAvx2() noexcept {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0;
}

MIVARE_AVX2 uint64_t AddSquaresAvx2(const uint8_t* a, const uint8_t* b, size_t samples,
                                    size_t step) noexcept {
  return AddAnySteps(a, b, samples, step);
}

MIVARE_AVX2 void TakeHighBytesAvx2(uint8_t* out, const uint8_t* in, size_t samples) noexcept {
  TakeEverySecond(out, in, samples);
}

MIVARE_AVX2 __m128i Load(const uint8_t* in) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
}
MIVARE_AVX2 void Store(uint8_t* out, __m128i bytes) noexcept {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
}

MIVARE_AVX2 void ExchangeHighBytesAvx2(uint8_t* out, const uint8_t* in, size_t pixels) noexcept {
  const __m128i picked = _mm_setr_epi8(5, 3, 1, 7, 13, 11, 9, 15, -1, -1, -1, -1, -1, -1, -1, -1);
  for (; pixels >= 4; pixels -= 4, in += 32, out += 16) {
    const __m128i first = _mm_shuffle_epi8(Load(in), picked);
    const __m128i second = _mm_shuffle_epi8(Load(in + 16), picked);
    Store(out, _mm_unpacklo_epi64(first, second));
  }
  ExchangePixels(out, in, pixels);
}

MIVARE_AVX2 void AddAlphaAvx2(uint8_t* out, const uint8_t* in, size_t pixels) noexcept {
  const __m128i picked = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  const __m128i alpha = _mm_set1_epi32(static_cast<int32_t>(0xFF000000U));
  // 16 bytes are read, 12 used: of 6 pixels on they are all there.
  for (; pixels >= 6; pixels -= 4, in += 12, out += 16) {
    Store(out, _mm_or_si128(_mm_shuffle_epi8(Load(in), picked), alpha));
  }
  AddAlphaToPixels(out, in, pixels);
}

// --- And fast string instructions ---

// Below this their start takes longer than they gain.
constexpr size_t kWorthAString = 1024;
// Above this the system's memmove is as fast, or faster where it knows the sizes of the caches.
constexpr size_t kLeftToMemmove = size_t{1} << 20;

bool HasFastStrings() noexcept {
#if defined(MIVARE_SANITIZED)
  return false;  // a sanitizer sees the bytes that memmove touches, not those of an instruction
#else
  unsigned eax = 0;
  unsigned ebx = 0;
  unsigned ecx = 0;
  unsigned edx = 0;
  constexpr unsigned kEnhancedStrings = 1U << 9;
  return HasAvx2() && __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 &&
         (ebx & kEnhancedStrings) != 0;
#endif
}

void FillWordsByString(uint8_t* out, uint16_t word, size_t words) noexcept {
  if (2 * words < kWorthAString) return FillWords(out, word, words);
  asm volatile("rep stosw" : "+D"(out), "+c"(words) : "a"(word) : "memory");
}

// Whether no byte of the one is a byte of the other, as far as that is easily said.
bool LieApart(const RowRun& a, const RowRun& b, size_t row_bytes, size_t rows) {
  if (a.pitch < 0 || b.pitch < 0) return false;
  const auto pitch = static_cast<uint64_t>(std::max(a.pitch, b.pitch));
  const uint64_t span = (rows - 1) * pitch + row_bytes;
  const uint64_t ahead =
      reinterpret_cast<uintptr_t>(a.first) - reinterpret_cast<uintptr_t>(b.first);
  const uint64_t behind = 0 - ahead;
  return ahead >= span && behind >= span;
}

void CopyRowsByString(const RowRun& to, const RowRun& from, size_t row_bytes,
                      size_t rows) noexcept {
  if (rows == 0 || row_bytes < kWorthAString || row_bytes > kLeftToMemmove ||
      !LieApart(to, from, row_bytes, rows)) {
    return CopyRows(to, from, row_bytes, rows);
  }
  for (size_t row = 0; row < rows; ++row) {
    const auto at = static_cast<int64_t>(row);
    uint8_t* out = to.first + at * to.pitch;
    const uint8_t* in = from.first + at * from.pitch;
    size_t left = row_bytes;
    asm volatile("rep movsb" : "+D"(out), "+S"(in), "+c"(left) : : "memory");
  }
}

constexpr SampleLoops kAllLoops[] = {
    {"any processor", Always, AddSquares, TakeHighBytes, ExchangeHighBytes, AddAlpha, FillWords,
     CopyRows},
    {"AVX2", HasAvx2, AddSquaresAvx2, TakeHighBytesAvx2, ExchangeHighBytesAvx2, AddAlphaAvx2,
     FillWords, CopyRows},
    {"AVX2 and fast strings", HasFastStrings, AddSquaresAvx2, TakeHighBytesAvx2,
     ExchangeHighBytesAvx2, AddAlphaAvx2, FillWordsByString, CopyRowsByString},
};

}  // namespace

std::span<const SampleLoops> AllSampleLoops() noexcept { return kAllLoops; }

const SampleLoops& BestSampleLoops() noexcept {
  static const SampleLoops& best =
      *std::find_if(std::rbegin(kAllLoops), std::rend(kAllLoops),
                    [](const SampleLoops& loops) { return loops.runs_here(); });
  return best;
}

}  // namespace mivare
