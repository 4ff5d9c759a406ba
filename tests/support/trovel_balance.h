// Checks that a test leaves the resource monitor as it found it.
#pragma once

#include <gtest/gtest.h>

#include "trovel/trovel.h"

namespace mivare::test {

/// Put one at the top of every test that allocates: when it goes, each registration made since must
/// have been taken back.
class TrovelBalance {
 public:
  TrovelBalance() : before_(trovel::CountResources(nullptr)) {}
  ~TrovelBalance() { EXPECT_EQ(trovel::CountResources(nullptr), before_) << trovel::LeakReport(); }
  TrovelBalance(const TrovelBalance&) = delete;
  TrovelBalance& operator=(const TrovelBalance&) = delete;

 private:
  size_t before_;
};

}  // namespace mivare::test
