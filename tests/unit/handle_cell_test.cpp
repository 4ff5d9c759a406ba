#include "handle_cell.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/failing_new.h"

namespace mivare::test {
namespace {

struct Nothing {
  void operator()(int*) const {}
};

class HandleCellTest : public testing::Test {
 protected:
  std::shared_ptr<int> Handle() { return {&value_, Nothing{}, HandleCell::Allocator<int>(*cell_)}; }

  int value_ = 7;
  HandleCell::Owner cell_{new HandleCell};
};

TEST_F(HandleCellTest, IsTakenFromTheFirstHandleToTheLast) {
  EXPECT_TRUE(cell_->IsFree());
  std::shared_ptr<int> first = Handle();
  EXPECT_EQ(*first, 7);
  EXPECT_FALSE(cell_->IsFree());
  std::shared_ptr<int> second = first;
  first.reset();
  EXPECT_FALSE(cell_->IsFree());
  second.reset();
  EXPECT_TRUE(cell_->IsFree());
}

TEST_F(HandleCellTest, AWeakReferenceKeepsItTaken) {
  std::weak_ptr<int> weak = Handle();
  EXPECT_TRUE(weak.expired());
  EXPECT_FALSE(cell_->IsFree());
  weak.reset();
  EXPECT_TRUE(cell_->IsFree());
}

TEST_F(HandleCellTest, HandlesMadeInItAskForNoMemory) {
  const FailingNew failing(1);
  for (int i = 0; i < 3; ++i) Handle();
  EXPECT_FALSE(failing.fired());
}

TEST_F(HandleCellTest, MayBeLeftWithAWeakReferenceStillThere) {
  const HeapLedger ledger;
  cell_.reset(new HandleCell);
  std::weak_ptr<int> weak = Handle();
  cell_.reset();
  EXPECT_EQ(ledger.Alive(), 1U);
  EXPECT_TRUE(weak.expired());
  weak.reset();
  EXPECT_EQ(ledger.Alive(), 0U);
}

TEST_F(HandleCellTest, MayBeLeftWithAHandleStillThere) {
  const HeapLedger ledger;
  cell_.reset(new HandleCell);
  std::shared_ptr<int> handle = Handle();
  cell_.reset();
  EXPECT_EQ(*handle, 7);
  handle.reset();
  EXPECT_EQ(ledger.Alive(), 0U);
}

}  // namespace
}  // namespace mivare::test
