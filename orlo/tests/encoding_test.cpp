#include "orlo/encoding.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(Utf8ToWide, KeepsValidText) {
  const struct {
    const char* name;
    const char* utf8;
    const wchar_t* wide;
  } cases[] = {
      {"empty", "", L""},
      {"ASCII", "frame_01.bmp", L"frame_01.bmp"},
      {"two bytes, smallest", "\xC2\x80", L"\u0080"},
      {"two bytes, largest", "\xDF\xBF", L"\u07FF"},
      {"three bytes, smallest", "\xE0\xA0\x80", L"\u0800"},
      {"below the surrogates", "\xED\x9F\xBF", L"\uD7FF"},
      {"above the surrogates", "\xEE\x80\x80", L"\uE000"},
      {"three bytes, largest", "\xEF\xBF\xBF", L"\uFFFF"},
      {"four bytes, smallest", "\xF0\x90\x80\x80", L"\U00010000"},
      {"four bytes, largest", "\xF4\x8F\xBF\xBF", L"\U0010FFFF"},
      {"a mixture", "\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x8E\xAC/x", L"\u00E9\u4E2D\U0001F3AC/x"},
      {"a byte order mark",
       "\xEF\xBB\xBF"
       "a",
       L"\uFEFF"
       L"a"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    EXPECT_EQ(NUXOrlo_UTF8_Unicode(one.utf8), one.wide);
  }
}

TEST(Utf8ToWide, MarksEveryInvalidSequenceOnce) {
  const struct {
    const char* name;
    const char* utf8;
    const wchar_t* wide;
  } cases[] = {
      {"a lone continuation",
       "a\x80"
       "b",
       L"a\uFFFD"
       L"b"},
      {"the last continuation",
       "a\xBF"
       "b",
       L"a\uFFFD"
       L"b"},
      {"two lone continuations", "\x80\x80", L"\uFFFD\uFFFD"},
      {"two bytes, cut",
       "a\xC3"
       "b",
       L"a\uFFFD"
       L"b"},
      {"three bytes, cut after one",
       "a\xE4"
       "b",
       L"a\uFFFD"
       L"b"},
      {"three bytes, cut after two",
       "a\xE4\xB8"
       "b",
       L"a\uFFFD"
       L"b"},
      {"four bytes, cut after three",
       "a\xF0\x9F\x8E"
       "b",
       L"a\uFFFD"
       L"b"},
      {"cut by another start", "\xE4\xB8\xC3\xA9", L"\uFFFD\u00E9"},
      {"overlong, two bytes",
       "a\xC0\xAF"
       "b",
       L"a\uFFFD"
       L"b"},
      {"overlong, three bytes",
       "a\xE0\x80\xAF"
       "b",
       L"a\uFFFD"
       L"b"},
      {"overlong, four bytes",
       "a\xF0\x80\x80\xAF"
       "b",
       L"a\uFFFD"
       L"b"},
      {"an overlong NUL",
       "a\xC0\x80"
       "b",
       L"a\uFFFD"
       L"b"},
      {"the first surrogate",
       "a\xED\xA0\x80"
       "b",
       L"a\uFFFD"
       L"b"},
      {"the last surrogate",
       "a\xED\xBF\xBF"
       "b",
       L"a\uFFFD"
       L"b"},
      {"above U+10FFFF",
       "a\xF4\x90\x80\x80"
       "b",
       L"a\uFFFD"
       L"b"},
      {"a byte that starts nothing",
       "a\xFF"
       "b",
       L"a\uFFFD"
       L"b"},
      {"a start of five bytes",
       "a\xF8"
       "b",
       L"a\uFFFD"
       L"b"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    EXPECT_EQ(NUXOrlo_UTF8_Unicode(one.utf8), one.wide);
  }
}

// The sanitizers watch the byte behind the end.
TEST(Utf8ToWide, ReadsNothingBehindTheEndOfACutText) {
  for (const char* cut : {"a\xC3", "a\xE4", "a\xE4\xB8", "a\xF0", "a\xF0\x9F", "a\xF0\x9F\x8E"}) {
    const std::string exact(cut);
    std::vector<char> heap(exact.c_str(), exact.c_str() + exact.size() + 1);
    EXPECT_EQ(NUXOrlo_UTF8_Unicode(heap.data()), L"a\uFFFD");
  }
  const char after_the_end[] = "a\xE4\0\xB8\xAD";
  EXPECT_EQ(NUXOrlo_UTF8_Unicode(after_the_end), L"a\uFFFD");
}

TEST(Utf8ToWide, TakesNullForAnEmptyText) { EXPECT_EQ(NUXOrlo_UTF8_Unicode(nullptr), L""); }

}  // namespace
