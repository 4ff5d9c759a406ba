// What the program asks of the system it runs on. One file a platform fulfils it.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace road {

/// The arguments behind the program's name, as UTF-8; also makes the console show UTF-8.
std::vector<std::string> Utf8Arguments(int argc, char** argv);

/// Standard input and output carry bytes from now on, not text.
void UseBinaryStreams();

bool IsTerminal(std::FILE* file);

}  // namespace road
