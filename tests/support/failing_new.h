// Memory that runs out at a chosen moment.
#pragma once

#include <cstdint>

namespace mivare::test {

/// While it lives, the `nth` operator new that this thread calls from the program itself, counted
/// from 1, fails; the others work.
/// Other threads notice nothing. Do not nest.
class FailingNew {
 public:
  explicit FailingNew(uint64_t nth);
  ~FailingNew();
  FailingNew(const FailingNew&) = delete;
  FailingNew& operator=(const FailingNew&) = delete;

  /// Whether the code under test came as far as the n-th request.
  bool fired() const;
};

}  // namespace mivare::test
