#include "pool_index.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>

#include "blank_pool.h"
#include "support/request.h"
#include "support/together.h"

namespace mivare::test {
namespace {

FrameKey Key(int32_t width, bool blank = false) { return {*VideoRequest(1, width, 64), blank}; }

class PoolIndexTest : public testing::Test {
 protected:
  const PoolIndex::Entry& Add(const FrameKey& key) {
    index_.Reserve();
    entries_.push_back({key, nullptr});
    index_.Insert(entries_.back());
    return entries_.back();
  }

  PoolIndex index_;
  std::deque<PoolIndex::Entry> entries_;
};

TEST_F(PoolIndexTest, AnEmptyOneFindsNothing) { EXPECT_EQ(index_.Find(Key(64)), nullptr); }

TEST_F(PoolIndexTest, FindsWhatWasPutInAndNothingElse) {
  const PoolIndex::Entry& plain = Add(Key(64));
  EXPECT_EQ(index_.Find(Key(64)), &plain);
  EXPECT_EQ(index_.Find(Key(64, true)), nullptr);
  EXPECT_EQ(index_.Find(Key(65)), nullptr);
  const PoolIndex::Entry& blank = Add(Key(64, true));
  EXPECT_EQ(index_.Find(Key(64)), &plain);
  EXPECT_EQ(index_.Find(Key(64, true)), &blank);
}

TEST_F(PoolIndexTest, FindsEveryOneOfManyWhileItGrows) {
  for (int32_t width = 1; width <= 1000; ++width) {
    Add(Key(width));
    ASSERT_EQ(index_.Find(Key(1)), &entries_.front());
    ASSERT_EQ(index_.Find(Key(width)), &entries_.back());
  }
  for (int32_t width = 1; width <= 1000; ++width) {
    ASSERT_EQ(index_.Find(Key(width)), &entries_[static_cast<size_t>(width - 1)]);
  }
  EXPECT_EQ(index_.Find(Key(1001)), nullptr);
}

TEST_F(PoolIndexTest, ReadersNeedNoLock) {
  const PoolIndex::Entry& first = Add(Key(1));
  Together(3, [&](int thread) {
    for (int32_t i = 2; i <= 300; ++i) {
      if (thread == 0) {
        Add(Key(i));
      } else {
        ASSERT_EQ(index_.Find(Key(1)), &first);
        const PoolIndex::Entry* found = index_.Find(Key(i));
        if (found != nullptr) {
          ASSERT_EQ(found->key, Key(i));
        }
      }
    }
  });
}

}  // namespace
}  // namespace mivare::test
