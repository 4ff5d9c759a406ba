// UTF-8 on its way to wide text: orlo::detail::IsUtf8 and NUXOrlo_UTF8_Unicode against a decoder of
// this file's own and against utfcpp.
#include "utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/check.h"
#include "orlo/bson_types.h"
#include "orlo/encoding.h"

namespace {

constexpr char32_t kMark = 0xFFFD;

// The length of the character that `text` begins with; 0 when it begins with none.
size_t Decode(std::string_view text, char32_t* character) {
  const auto at = [&](size_t i) {
    return i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{0};
  };
  const uint8_t lead = at(0);
  *character = lead;
  if (lead < 0x80) return 1;
  size_t length = 0;
  if ((lead & 0xE0) == 0xC0) length = 2;
  if ((lead & 0xF0) == 0xE0) length = 3;
  if ((lead & 0xF8) == 0xF0) length = 4;
  if (length == 0 || length > text.size()) return 0;
  *character = lead & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xC0) != 0x80) return 0;
    *character = *character << 6 | (at(i) & 0x3FU);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = *character >= 0xD800 && *character < 0xE000;
  return *character < kSmallest[length] || *character > 0x10FFFF || surrogate ? 0 : length;
}

// How many marks a run of invalid bytes becomes is the converter's business: runs count as one.
void Append(std::u32string& text, char32_t character) {
  if (character == kMark && !text.empty() && text.back() == kMark) return;
  text.push_back(character);
}

std::u32string Expected(std::string_view text, bool* valid) {
  std::u32string characters;
  *valid = true;
  while (!text.empty()) {
    char32_t character = 0;
    const size_t length = Decode(text, &character);
    Append(characters, length > 0 ? character : kMark);
    *valid = *valid && length > 0;
    text.remove_prefix(length > 0 ? length : 1);
  }
  return characters;
}

std::u32string Characters(const std::wstring& wide) {
  std::u32string characters;
  for (size_t i = 0; i < wide.size(); ++i) {
    auto unit = static_cast<char32_t>(wide[i]);
    if (sizeof(wchar_t) == 2 && unit >= 0xD800 && unit < 0xE000) {
      FUZZ_CHECK(unit < 0xDC00 && i + 1 < wide.size());
      const auto low = static_cast<char32_t>(wide[++i]);
      FUZZ_CHECK(low >= 0xDC00 && low < 0xE000);
      unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    }
    Append(characters, unit);
  }
  return characters;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view all(reinterpret_cast<const char*>(data), size);
  bool valid = false;
  Expected(all, &valid);
  FUZZ_CHECK(orlo::detail::IsUtf8(all) == valid);
  FUZZ_CHECK(utf8::is_valid(all.begin(), all.end()) == valid);

  // In a block of its own: what lies behind its end must not be read.
  std::vector<char> block(all.begin(), all.end());
  block.push_back('\0');
  const std::string_view text(block.data());
  const std::wstring wide = NUXOrlo_UTF8_Unicode(block.data());
  const std::u32string expected = Expected(text, &valid);
  FUZZ_CHECK(Characters(wide) == expected);
  const bool marked = wide.find(static_cast<wchar_t>(kMark)) != std::wstring::npos;
  FUZZ_CHECK(valid || marked);

  // Back again: valid text is what it was, and what was mended stays mended.
  std::string back;
  if constexpr (sizeof(wchar_t) == 2) {
    utf8::utf16to8(wide.begin(), wide.end(), std::back_inserter(back));
  } else {
    utf8::utf32to8(wide.begin(), wide.end(), std::back_inserter(back));
  }
  FUZZ_CHECK((back == text) == valid);
  FUZZ_CHECK(NUXOrlo_UTF8_Unicode(back.c_str()) == wide);
  return 0;
}
