// Runs the cases under callgrind, which collects while the steps of a case run and writes a file of
// what it saw behind each round; the file's trigger names the case. See counts.py.
#include <valgrind/callgrind.h>

#include <cstdint>
#include <string>

#include "counts/cases.h"
#include "orlo/log.h"

int main() {
  constexpr int kRounds = 3;
  orlo::SetDefaultLogLevel(INT32_MAX);
  mivare::bench::RunCases(kRounds, [](const std::string& name, const auto& steps) {
    CALLGRIND_TOGGLE_COLLECT;
    steps();
    CALLGRIND_TOGGLE_COLLECT;
    CALLGRIND_DUMP_STATS_AT(name.c_str());
  });
  return RUNNING_ON_VALGRIND != 0 ? 0 : 1;
}
