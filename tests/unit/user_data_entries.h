// How the tests of user data maps fill and read them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "mivare/user_data.h"

namespace mivare::test {

/// A copyable value that counts how many of its kind are alive and can refuse to be copied.
struct Counted {
  struct Tally {
    int alive = 0;
    int destroyed = 0;
    bool refuse_copies = false;
  };

  Counted(Tally* shared, int id) : tally(shared), number(id) { ++tally->alive; }
  Counted(const Counted& other) : tally(other.tally), number(other.number) {
    if (tally->refuse_copies) throw std::bad_alloc();
    ++tally->alive;
  }
  Counted& operator=(const Counted&) = delete;
  ~Counted() {
    --tally->alive;
    ++tally->destroyed;
  }

  Tally* tally;
  int number;
};

inline int32_t NumberAt(IUserDataInquire& map, const char* key) {
  orlo::ValAny value;
  return map.Get(key, value) == 1 ? value.ToInt32() : -1;
}

using Entry = std::pair<std::string, int32_t>;

/// Every entry in the order of Enumerate, which must end with `last`.
inline std::vector<Entry> Enumerated(IUserDataInquire& map, uint32_t last = 1) {
  std::vector<Entry> entries;
  EXPECT_TRUE(map.Lock());
  std::string key;
  orlo::ValAny value;
  uint32_t result = map.Enumerate(true, key, value);
  while (result == 0) {
    entries.emplace_back(key, value.ToInt32());
    result = map.Enumerate(false, key, value);
  }
  EXPECT_EQ(result, last);
  EXPECT_EQ(map.Unlock(), 0);
  return entries;
}

}  // namespace mivare::test
