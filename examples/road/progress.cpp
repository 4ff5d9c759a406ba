#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "console.h"

namespace road {

Progress::Progress(int64_t total) : total_(total), shown_(IsTerminal(stderr)) {}

Progress::~Progress() {
  if (shown_ && done_ > 0) std::fputc('\n', stderr);
}

void Progress::Step() {
  constexpr int64_t kWidth = 40;
  ++done_;
  if (!shown_) return;
  if (total_ > 0) {
    const int64_t filled = std::min(done_ * kWidth / total_, kWidth);
    const std::string bar = std::string(static_cast<size_t>(filled), '#') +
                            std::string(static_cast<size_t>(kWidth - filled), '.');
    std::fprintf(stderr, "\r[%s] %lld/%lld", bar.c_str(), static_cast<long long>(done_),
                 static_cast<long long>(total_));
  } else {
    std::fprintf(stderr, "\r%lld frames", static_cast<long long>(done_));
  }
  std::fflush(stderr);
}

}  // namespace road
