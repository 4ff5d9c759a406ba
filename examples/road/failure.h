// Why the program ends early, and with which exit status.
#pragma once

#include <stdexcept>
#include <string>

namespace road {

enum ExitStatus : int {
  kPlayed = 0,         // and everything compared was the same
  kDiffers = 1,        // a comparison failed, something leaked, or the library refused
  kNoCounterpart = 2,  // the clip's format has none in the library
  kUnusable = 3,       // wrong usage, unreadable input, unwritable output
};

struct Failure : std::runtime_error {
  Failure(ExitStatus exit_status, const std::string& message)
      : std::runtime_error(message), status(exit_status) {}
  ExitStatus status;
};

}  // namespace road
