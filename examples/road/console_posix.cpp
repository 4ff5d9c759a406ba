#include <unistd.h>

#include "console.h"

namespace road {

std::vector<std::string> Utf8Arguments(int argc, char** argv) {
  return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

void UseBinaryStreams() {}

bool IsTerminal(std::FILE* file) { return isatty(fileno(file)) != 0; }

}  // namespace road
