// The warm paths whose heap allocations, mutexes and instructions are counted, one operation each.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/library.h"

namespace mivare::bench {

struct Case {
  std::string name;
  std::function<void()> step;
};

/// The cases, in the order in which they are to run: the last one leaves the library with more
/// keys. They use `library` for as long as they are kept.
std::vector<Case> MakeCases(const Library& library);

/// Runs every case: `warm_up` times unmeasured, then `measure(name, steps)` `rounds` times, where
/// `steps` runs it kSteps times. Whatever the machine does to a thread (a pool is trimmed while it
/// waits for a core) can only add, so the least of several rounds is what the path costs.
constexpr int kSteps = 200;
template <class Measure>
void RunCases(int rounds, Measure measure) {
  constexpr int kWarmUp = 100;
  const Library library;
  for (const Case& one : MakeCases(library)) {
    for (int i = 0; i < kWarmUp; ++i) one.step();
    for (int round = 0; round < rounds; ++round) {
      measure(one.name, [&one] {
        for (int i = 0; i < kSteps; ++i) one.step();
      });
    }
  }
}

}  // namespace mivare::bench
