// What targets assert, and the quiet that they run in.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "orlo/log.h"
#include "trovel/trovel.h"

/// Ends the process where a property does not hold: that is how a fuzzing engine learns of it.
#define FUZZ_CHECK(property)                                                             \
  do {                                                                                   \
    if (!(property)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #property); \
      std::abort();                                                                      \
    }                                                                                    \
  } while (false)

namespace mivare::fuzz {

/// Refusals are what targets are after: the log of them stays off standard error for a scope.
class Quiet {
 public:
  Quiet() : before_(orlo::SetDefaultLogLevel(INT32_MAX)) {}
  ~Quiet() { orlo::SetDefaultLogLevel(before_); }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  int32_t before_;
};

/// Whatever is registered in a scope is taken back by its end.
class Balance {
 public:
  Balance() : before_(trovel::CountResources(nullptr)) {}
  ~Balance() { FUZZ_CHECK(trovel::CountResources(nullptr) == before_); }
  Balance(const Balance&) = delete;
  Balance& operator=(const Balance&) = delete;

 private:
  size_t before_;
};

}  // namespace mivare::fuzz
