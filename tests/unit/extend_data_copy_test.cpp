// Extend data on its way from one store of the library to another.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "extend_data_impl.h"
#include "support/failing_new.h"
#include "support/log_capture.h"
#include "support/together.h"

namespace mivare {
namespace {

using test::FailingNew;
using test::HeapLedger;
using test::LogCapture;
using test::Together;

constexpr char kPq[] = "Mivare Frame Extend Data : PQ";
constexpr char kBody[] = "Mivare Frame Extend Data : AiBodyFeatureData";
constexpr char kFace[] = "Mivare Frame Extend Data : AiFaceFeatureData";

void Set(ExtendDataStore& store, const char* key, size_t size, uint8_t fill) {
  const std::vector<uint8_t> block(size, fill);
  ASSERT_TRUE(store.SetExtendData(key, block.data(), static_cast<int32_t>(size)));
}

/// Empty when there is none.
std::vector<uint8_t> Get(ExtendDataStore& store, const char* key) {
  std::vector<uint8_t> block(store.GetExtendDataLength(key));
  auto length = static_cast<int32_t>(block.size());
  if (length > 0 && !store.GetExtendData(key, block.data(), &length)) return {};
  return block;
}

std::vector<uint8_t> Block(size_t size, uint8_t fill) { return std::vector<uint8_t>(size, fill); }

TEST(TakeWellKnown, TakesTheThreeAndNoOther) {
  const LogCapture quiet;
  ExtendDataStore source;
  ExtendDataStore store;
  Set(source, kPq, 10, 1);
  Set(source, kBody, 5000, 2);
  Set(source, "other", 3, 3);
  Set(store, kBody, 7, 4);
  Set(store, kFace, 8, 5);
  store.TakeWellKnown(source);
  EXPECT_EQ(Get(store, kPq), Block(10, 1));
  EXPECT_EQ(Get(store, kBody), Block(5000, 2));
  EXPECT_EQ(Get(store, kFace), Block(8, 5)) << "what the source lacks stays";
  EXPECT_TRUE(Get(store, "other").empty());
  Set(source, kPq, 10, 9);
  EXPECT_EQ(Get(store, kPq), Block(10, 1)) << "a copy of its own";
}

TEST(TakeWellKnown, FromItselfOrAnEmptyStoreDoesNothing) {
  LogCapture log;
  ExtendDataStore store;
  const ExtendDataStore empty;
  Set(store, kPq, 10, 1);
  log.Clear();
  store.TakeWellKnown(store);
  store.TakeWellKnown(empty);
  EXPECT_EQ(Get(store, kPq), Block(10, 1));
  EXPECT_TRUE(log.Lines().empty());
}

TEST(TakeWellKnown, TracesANewKeyLikeASetOfIt) {
  LogCapture log;
  ExtendDataStore source;
  ExtendDataStore store;
  Set(source, kPq, 10, 1);
  Set(source, kFace, 10, 1);
  const std::vector<test::LogLine> by_set = log.Lines();
  ASSERT_EQ(by_set.size(), 2U);
  log.Clear();
  store.TakeWellKnown(source);
  EXPECT_EQ(log.Lines(), by_set);
  log.Clear();
  store.TakeWellKnown(source);
  EXPECT_TRUE(log.Lines().empty());
  store.RemoveExtendData(kPq);
  store.TakeWellKnown(source);
  EXPECT_EQ(log.Lines(), (std::vector<test::LogLine>{by_set[0]}));
}

TEST(TakeWellKnown, KeepsTheBlocksThatItHadWhenMemoryEnded) {
  LogCapture log;
  ExtendDataStore source;
  Set(source, kPq, 10, 1);
  Set(source, kFace, 2000, 2);
  ExtendDataStore store;
  Set(store, kFace, 5, 3);
  log.Clear();
  {
    const FailingNew failing(2);
    EXPECT_THROW(store.TakeWellKnown(source), std::bad_alloc);
  }
  EXPECT_EQ(Get(store, kPq), Block(10, 1));
  EXPECT_EQ(Get(store, kFace), Block(5, 3));
  EXPECT_EQ(log.Lines().size(), 1U) << "the new key is traced all the same";
  store.TakeWellKnown(source);
  EXPECT_EQ(Get(store, kFace), Block(2000, 2));
}

TEST(ExtendDataMemory, ABlockMovesIntoTheMemoryOfTheOneItReplaces) {
  const LogCapture quiet;
  ExtendDataStore source;
  ExtendDataStore store;
  Set(source, kPq, 3000, 1);
  Set(source, "other", 100, 1);
  store.TakeWellKnown(source);
  const std::vector<uint8_t> smaller(100, 7);
  const FailingNew failing(1);
  source.SetExtendData(kPq, smaller.data(), 100);
  source.SetExtendData("other", smaller.data(), 50);
  store.TakeWellKnown(source);
  EXPECT_FALSE(failing.fired());
  EXPECT_EQ(store.GetExtendDataLength(kPq), 100U);
  EXPECT_EQ(source.GetExtendDataLength("other"), 50U);
}

TEST(ExtendDataMemory, ASmallBlockDoesNotKeepTheMemoryOfALargeOne) {
  const LogCapture quiet;
  ExtendDataStore source;
  ExtendDataStore store;
  Set(source, kPq, 1 << 20, 1);
  store.TakeWellKnown(source);
  const std::vector<uint8_t> small(100, 7);
  const HeapLedger ledger;
  source.SetExtendData(kPq, small.data(), 100);
  store.TakeWellKnown(source);
  EXPECT_EQ(ledger.Alive(), 2U) << "each has a new block of its own size";
  EXPECT_EQ(Get(store, kPq), small);
}

TEST(ExtendDataMemory, ARemovedBlockIsFreed) {
  const LogCapture quiet;
  const HeapLedger ledger;
  ExtendDataStore store;
  Set(store, kPq, 100, 1);
  Set(store, "other", 100, 1);
  EXPECT_GT(ledger.Alive(), 0U);
  store.RemoveExtendData(kPq);
  store.RemoveExtendData("other");
  EXPECT_EQ(ledger.Alive(), 0U);
  EXPECT_EQ(store.GetExtendDataLength(kPq), 0U);
}

TEST(TakeWellKnown, BothWaysAtOnceNeitherHangsNorTears) {
  const LogCapture quiet;
  ExtendDataStore a;
  ExtendDataStore b;
  Set(a, kPq, 100, 1);
  Set(b, kPq, 3000, 2);
  Together(4, [&](int thread) {
    ExtendDataStore& mine = thread % 2 == 0 ? a : b;
    ExtendDataStore& theirs = thread % 2 == 0 ? b : a;
    for (size_t i = 0; i < 300; ++i) {
      mine.TakeWellKnown(theirs);
      if (i % 8 == 0) Set(mine, kPq, 50 + i, static_cast<uint8_t>(i));
      std::vector<uint8_t> seen(4000);
      int32_t length = 4000;
      ASSERT_TRUE(mine.GetExtendData(kPq, seen.data(), &length));
      seen.resize(static_cast<size_t>(length));
      ASSERT_EQ(seen, Block(seen.size(), seen.at(0)));
    }
  });
}

}  // namespace
}  // namespace mivare
