#include "orlo/encoding.h"

#include <cstring>
#include <iterator>

#include "utf8.h"

std::wstring NUXOrlo_UTF8_Unicode(const char* utf8) {
  std::wstring wide;
  if (utf8 == nullptr) return wide;
  const char* end = utf8 + std::strlen(utf8);
  std::string valid;
  utf8::replace_invalid(utf8, end, std::back_inserter(valid));  // marks them with U+FFFD
  if constexpr (sizeof(wchar_t) == sizeof(char16_t)) {
    utf8::utf8to16(valid.begin(), valid.end(), std::back_inserter(wide));
  } else {
    utf8::utf8to32(valid.begin(), valid.end(), std::back_inserter(wide));
  }
  return wide;
}
