#include <fcntl.h>
#include <io.h>
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include "console.h"

namespace road {
namespace {

std::string Utf8(const wchar_t* wide) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 1) return {};
  std::string text(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, text.data(), size, nullptr, nullptr);
  text.pop_back();  // the NUL
  return text;
}

}  // namespace

// main's own arguments are in the code page of the day, which does not know every name.
std::vector<std::string> Utf8Arguments(int, char**) {
  SetConsoleOutputCP(CP_UTF8);
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; wide != nullptr && i < count; ++i) arguments.push_back(Utf8(wide[i]));
  LocalFree(wide);
  return arguments;
}

void UseBinaryStreams() {
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
}

bool IsTerminal(std::FILE* file) { return _isatty(_fileno(file)) != 0; }

}  // namespace road
