// Memory and threads that run out at a chosen moment, and what becomes of the memory that was had.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace mivare::test {

// What support/failing_new.cpp goes by. 0: memory never fails.
inline constinit thread_local uint64_t requests_to_failure = 0;
inline constinit thread_local bool keeps_ledger = false;

/// While it lives, the `nth` operator new, array and nothrow forms included, that this thread calls
/// from the program itself, counted from 1, fails; the others work.
/// Other threads notice nothing. Do not nest.
class FailingNew {
 public:
  explicit FailingNew(uint64_t nth) { requests_to_failure = nth; }
  ~FailingNew() { requests_to_failure = 0; }
  FailingNew(const FailingNew&) = delete;
  FailingNew& operator=(const FailingNew&) = delete;

  /// Whether the code under test came as far as the n-th request.
  bool fired() const { return requests_to_failure == 0; }
};

/// For what a test itself needs in the middle of it all, such as room for a log line: while it
/// lives, this thread's requests neither fail nor count, and are in no ledger.
class OwnMemory {
 public:
  OwnMemory()
      : requests_(std::exchange(requests_to_failure, 0)),
        ledger_(std::exchange(keeps_ledger, false)) {}
  ~OwnMemory() {
    requests_to_failure = requests_;
    keeps_ledger = ledger_;
  }
  OwnMemory(const OwnMemory&) = delete;
  OwnMemory& operator=(const OwnMemory&) = delete;

 private:
  uint64_t requests_;
  bool ledger_;
};

/// Notes what this thread gets from operator new, called from the program itself, while it lives.
/// One at a time in the process.
class HeapLedger {
 public:
  HeapLedger();
  ~HeapLedger();
  HeapLedger(const HeapLedger&) = delete;
  HeapLedger& operator=(const HeapLedger&) = delete;

  /// How many of those blocks no thread has deleted yet.
  size_t Alive() const;
};

/// While it lives, this thread can start no other: the program's own std::thread throws.
class NoThreads {
 public:
  NoThreads();
  ~NoThreads();
  NoThreads(const NoThreads&) = delete;
  NoThreads& operator=(const NoThreads&) = delete;

  /// How many were refused.
  int refused() const;
};

}  // namespace mivare::test
