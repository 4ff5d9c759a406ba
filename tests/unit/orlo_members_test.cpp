// What the BSON classes that the library offers do when memory runs out.
#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "orlo/bson.h"
#include "support/failing_new.h"

namespace {

using mivare::test::FailingNew;
using orlo::BsonBox;
using orlo::BsonMapSize;
using orlo::BsonPacker;
using orlo::BsonTupleSize;
using orlo::BsonUnpacker;
using Bytes = std::vector<uint8_t>;

const BsonBox& Tree() {
  static const BsonBox tree = BsonBox::Document{
      {"a key too long to be kept in place", BsonBox::Array{1, 2.5, BsonBox::Binary(100, 7)}},
      {"k", "a text too long to be kept in place"}};
  return tree;
}

Bytes TreeBytes() {
  BsonPacker packer;
  packer << Tree();
  return packer.Take();
}

TEST(OrloMembers, PackNothingOfAValueThatFoundNoMemory) {
  const Bytes binary(100, 7);
  using Step = void (*)(BsonPacker&, const Bytes&);
  const Step steps[] = {
      [](BsonPacker& p, const Bytes&) { p << BsonMapSize(2); },
      [](BsonPacker& p, const Bytes&) { p << "a key too long to be kept in place"; },
      [](BsonPacker& p, const Bytes&) { p << BsonTupleSize(3); },
      [](BsonPacker& p, const Bytes&) { p << 1; },
      [](BsonPacker& p, const Bytes&) { p << 2.5; },
      [](BsonPacker& p, const Bytes& b) { p << b; },
      [](BsonPacker& p, const Bytes&) { p << "k"; },
      [](BsonPacker& p, const Bytes&) { p << "a text too long to be kept in place"; },
  };
  const Bytes expected = TreeBytes();
  uint64_t nth = 1;
  for (;; ++nth) {
    BsonPacker packer;
    bool fired = false;
    {
      const FailingNew failing(nth);
      for (const Step step : steps) {
        try {
          step(packer, binary);
        } catch (const std::bad_alloc&) {
          step(packer, binary);  // once more, as if nothing had happened
        }
      }
      fired = failing.fired();
    }
    ASSERT_EQ(packer.Take(), expected) << nth;
    if (!fired) break;
  }
  EXPECT_GT(nth, 3U) << "the packer grows several times";
}

TEST(OrloMembers, PackATreeAfterAResetWhenItFoundNoMemory) {
  const Bytes expected = TreeBytes();
  for (uint64_t nth = 1;; ++nth) {
    BsonPacker packer;
    bool threw = false;
    {
      const FailingNew failing(nth);
      try {
        packer << Tree();
      } catch (const std::bad_alloc&) {
        threw = true;
      }
    }
    if (threw) {
      ASSERT_TRUE(packer.Take().empty()) << nth;
      packer.Reset();
      packer << Tree();
    }
    ASSERT_EQ(packer.Take(), expected) << nth;
    if (!threw) break;
  }
}

TEST(OrloMembers, LeaveTheTargetAloneWhenATreeFindsNoMemory) {
  const Bytes bytes = TreeBytes();
  uint64_t nth = 1;
  for (;; ++nth) {
    BsonUnpacker unpacker(bytes);
    BsonBox tree = 5;
    bool threw = false;
    {
      const FailingNew failing(nth);
      try {
        unpacker >> tree;
      } catch (const std::bad_alloc&) {
        threw = true;
      }
    }
    ASSERT_TRUE(tree == (threw ? BsonBox(5) : Tree())) << nth;
    if (!threw) break;
  }
  EXPECT_GT(nth, 3U) << "a tree is made of several blocks";
}

}  // namespace
