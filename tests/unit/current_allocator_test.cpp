#include "current_allocator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "mivare/allocator.h"
#include "support/together.h"

namespace mivare::test {
namespace {

class Witness final : public IAllocator {
 public:
  explicit Witness(std::atomic<int>& alive) : alive_(alive) { ++alive_; }
  ~Witness() override { --alive_; }

  std::shared_ptr<IMediaBuffer> Alloc(IMediaDesc*, IMediaBuffer*, void*) override { return {}; }
  int32_t GetMemoryStatus(uint64_t&, uint64_t&) override { return 0; }
  void clear() override {}
  void SetMemoryLimit(uint32_t) override {}
  bool FillBlank(IMediaBuffer*) override { return false; }

 private:
  std::atomic<int>& alive_;
};

class CurrentAllocatorTest : public testing::Test {
 protected:
  ~CurrentAllocatorTest() override {
    current_.Remove();
    EXPECT_EQ(alive_, 0);
  }

  std::shared_ptr<IAllocator> PutUp() {
    CurrentAllocator::Room room;
    return current_.Replace(room, std::make_shared<Witness>(alive_));
  }

  std::atomic<int> alive_{0};
  CurrentAllocator current_;
};

TEST_F(CurrentAllocatorTest, LendsNothingWhenNoneIsUp) {
  const CurrentAllocator::Loan loan = current_.Borrow();
  EXPECT_EQ(loan.get(), nullptr);
  EXPECT_EQ(loan.Share(), nullptr);
  EXPECT_EQ(current_.Remove(), nullptr);
}

TEST_F(CurrentAllocatorTest, GivesWhatWasUpBefore) {
  EXPECT_EQ(PutUp(), nullptr);
  const IAllocator* first = current_.Borrow().get();
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(PutUp().get(), first);
  EXPECT_EQ(alive_, 1);
  EXPECT_NE(current_.Remove(), nullptr);
  EXPECT_EQ(alive_, 0);
}

TEST_F(CurrentAllocatorTest, ALoanKeepsWhatWasReplaced) {
  PutUp();
  {
    const CurrentAllocator::Loan loan = current_.Borrow();
    const CurrentAllocator::Loan another = current_.Borrow();
    PutUp();
    EXPECT_EQ(alive_, 2);
    EXPECT_NE(loan.get(), current_.Borrow().get());
    EXPECT_EQ(loan.get(), another.get());
  }
  EXPECT_EQ(alive_, 1);
}

TEST_F(CurrentAllocatorTest, ALoanOfNothingEndsAfterOneIsUp) {
  {
    const CurrentAllocator::Loan loan = current_.Borrow();
    PutUp();
    EXPECT_EQ(loan.get(), nullptr);
  }
  EXPECT_NE(current_.Borrow().get(), nullptr);
}

TEST_F(CurrentAllocatorTest, ASharedOneOutlivesItsLoan) {
  PutUp();
  std::shared_ptr<IAllocator> shared = current_.Borrow().Share();
  current_.Remove();
  EXPECT_EQ(alive_, 1);
  shared.reset();
  EXPECT_EQ(alive_, 0);
}

TEST_F(CurrentAllocatorTest, ALoanMayEndOnAnotherThread) {
  PutUp();
  auto loan =
      std::unique_ptr<CurrentAllocator::Loan>(new CurrentAllocator::Loan(current_.Borrow()));
  std::thread([&] { current_.Remove(); }).join();
  EXPECT_EQ(alive_, 1);
  std::thread([&] { loan.reset(); }).join();
  EXPECT_EQ(alive_, 0);
}

TEST_F(CurrentAllocatorTest, IsReplacedUnderManyLoans) {
  std::atomic<int> found{0};
  Together(4, [&](int thread) {
    for (int i = 0; i < 300; ++i) {
      if (thread == 0) {
        if (i % 2 == 0) {
          PutUp();
        } else {
          current_.Remove();
        }
      } else {
        const CurrentAllocator::Loan loan = current_.Borrow();
        uint64_t all = 0;
        if (loan.get() != nullptr && loan.get()->GetMemoryStatus(all, all) == 0) ++found;
      }
    }
  });
  EXPECT_EQ(alive_, 0);
}

}  // namespace
}  // namespace mivare::test
