// The n-th failure: an operation is tried with its first piece of memory missing, then with its
// second, and so on until nothing is missing any more.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/failing_blocks.h"
#include "support/failing_new.h"
#include "support/log_capture.h"
#include "support/system_blocks.h"
#include "trovel/trovel.h"

namespace mivare::test {

/// One attempt at an operation, in a world of its own that its functions share and that goes with
/// them.
struct Attempt {
  /// The operation: true for the value that says it is done, false for the one that says memory was
  /// short. Anything else is the function's to complain about. Tried again when it has failed.
  std::function<bool()> act;
  /// Looks at what was made: all of it must be there.
  std::function<void()> check = [] {};
  /// Drops what was made. Needs no memory.
  std::function<void()> drop = [] {};
  /// Looks at the world when nothing is held any more.
  std::function<void()> after = [] {};
};

/// Patterns of log lines may hold `*` for any run of characters.
struct Operation {
  std::string name;
  std::function<Attempt()> prepare;
  /// What a failure may say at the levels of errors; nothing else.
  std::vector<std::string> may_say = {};
  /// The one of them that every failure says exactly once.
  std::string must_say = {};
  /// What the failure of a block says, in this order, its event beside it. None: there are no
  /// blocks.
  std::vector<std::string> block_says = {};
  /// Whether there is memory that it can do without.
  bool may_do_without = false;
};

inline void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

inline bool Matches(std::string_view text, std::string_view pattern) {
  if (pattern.empty()) return text.empty();
  if (pattern.front() != '*') {
    return !text.empty() && text.front() == pattern.front() &&
           Matches(text.substr(1), pattern.substr(1));
  }
  for (size_t skip = 0; skip <= text.size(); ++skip) {
    if (Matches(text.substr(skip), pattern.substr(1))) return true;
  }
  return false;
}

/// True when it went through, false when it threw what short memory throws.
template <class Function>
bool Done(Function function) {
  try {
    function();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

enum class Memory { kHeap, kBlocks };

class NthFailure {
 public:
  explicit NthFailure(const Operation& operation) : operation_(operation) {}

  /// Runs the attempts. Returns how many pieces of memory were missing in turn.
  uint64_t FailEach(Memory memory) {
    Once(memory, kNever);  // makes what is made once in a process
    for (uint64_t n = 1; n < kEnough; ++n) {
      SCOPED_TRACE(operation_.name + (memory == Memory::kHeap ? ", heap " : ", block ") +
                   std::to_string(n));
      bool fired = false;
      {
        const size_t registered = trovel::CountResources(nullptr);
        const int64_t blocks = SystemBlocksAlive();
        const HeapLedger ledger;
        fired = Once(memory, n);
        EXPECT_EQ(ledger.Alive(), 0U) << "blocks of the heap leaked";
        EXPECT_EQ(SystemBlocksAlive(), blocks) << "blocks of the system leaked";
        EXPECT_EQ(trovel::CountResources(nullptr), registered);
      }
      if (!fired || testing::Test::HasFailure()) return n - 1;
    }
    ADD_FAILURE() << "never got through";
    return kEnough;
  }

 private:
  static constexpr uint64_t kEnough = 1000;
  static constexpr uint64_t kNever = 1'000'000;

  bool Once(Memory memory, uint64_t nth) {
    bool fired = false;
    bool done = false;
    const Attempt attempt = operation_.prepare();
    log_.Clear();
    const int events_before = listener_.Count();
    if (memory == Memory::kHeap) {
      const FailingNew failing(nth);
      done = attempt.act();
      fired = failing.fired();
    } else {
      const FailingBlocks failing(static_cast<int>(nth) - 1, 1);
      done = attempt.act();
      fired = failing.fired();
    }
    EXPECT_TRUE(fired || done) << "failed with all the memory it asked for";
    EXPECT_TRUE(!fired || !done || operation_.may_do_without) << "did not miss its memory";
    CheckSaid(memory, done, listener_.Count() - events_before);
    if (!done) {
      EXPECT_TRUE(attempt.act()) << "failed again, with memory";
    }
    attempt.check();
    {
      const FailingNew failing(1);
      attempt.drop();
      EXPECT_FALSE(failing.fired()) << "the release asked for memory";
    }
    attempt.after();
    return fired;
  }

  void CheckSaid(Memory memory, bool done, int events) const {
    std::vector<std::string> said;
    int lost_memory = 0;
    int musts = 0;
    for (const LogLine& line : log_.Lines()) {
      if (line.level < 6) continue;
      said.push_back(line.text);
      if (line.level == 7) ++lost_memory;
      if (Matches(line.text, operation_.must_say)) ++musts;
    }
    EXPECT_EQ(events, lost_memory) << "an event for each line about lost memory";
    if (memory == Memory::kBlocks && !done) {
      EXPECT_EQ(lost_memory, 1);
      bool same = said.size() == operation_.block_says.size();
      for (size_t i = 0; same && i < said.size(); ++i) {
        same = Matches(said[i], operation_.block_says[i]);
      }
      EXPECT_TRUE(same) << testing::PrintToString(said);
      return;
    }
    if (!operation_.must_say.empty()) {
      EXPECT_EQ(musts, done ? 0 : 1) << testing::PrintToString(said);
    }
    for (const std::string& text : said) {
      bool known = false;
      for (const auto* patterns : {&operation_.may_say, &operation_.block_says}) {
        for (const std::string& pattern : *patterns) known = known || Matches(text, pattern);
      }
      EXPECT_TRUE(known) << text;
    }
  }

  const Operation& operation_;
  LogCapture log_;
  MemoryListener listener_;
};

}  // namespace mivare::test
