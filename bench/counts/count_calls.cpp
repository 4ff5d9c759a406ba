// Prints, a line for each case, its name and the heap allocations and locks of one operation.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "counts/calls.h"
#include "counts/cases.h"
#include "orlo/log.h"

namespace {

using mivare::bench::Calls;
using mivare::bench::CallsOfThisThread;

double PerStep(uint64_t count) { return static_cast<double>(count) / mivare::bench::kSteps; }

}  // namespace

int main() {
  constexpr int kRounds = 7;
  orlo::SetDefaultLogLevel(INT32_MAX);
  std::vector<std::pair<std::string, Calls>> least;
  mivare::bench::RunCases(kRounds, [&least](const std::string& name, const auto& steps) {
    const Calls before = CallsOfThisThread();
    steps();
    const Calls after = CallsOfThisThread();
    const uint64_t allocations = after.allocations - before.allocations;
    const uint64_t locks = after.locks - before.locks;
    if (least.empty() || least.back().first != name)
      least.push_back({name, {UINT64_MAX, UINT64_MAX}});
    Calls& best = least.back().second;
    best = {std::min(best.allocations, allocations), std::min(best.locks, locks)};
  });
  for (const auto& [name, calls] : least) {
    std::printf("%s %g %g\n", name.c_str(), PerStep(calls.allocations), PerStep(calls.locks));
  }
}
