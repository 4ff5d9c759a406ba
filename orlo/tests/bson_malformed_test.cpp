// What the unpacker refuses, and that whatever it takes is a document.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bson_vectors.h"
#include "orlo/bson.h"

namespace {

using orlo::BsonBox;
using orlo::BsonItem;
using orlo::BsonMapSize;
using orlo::BsonUnpacker;
using orlo::test::BsonVector;
using orlo::test::BsonVectors;
using orlo::test::Hex;
using orlo::test::NestedBytes;
using orlo::test::Pack;
using Bytes = std::vector<uint8_t>;

bool IsTaken(const Bytes& bytes) { return BsonUnpacker(bytes).Ok(); }

// The only operation that goes through everything; what it gives packs to the same bytes again,
// since each tree has just one form.
void ExpectRefusedOrTheSame(const Bytes& bytes) {
  BsonUnpacker unpacker(bytes);
  BsonBox tree = "before";
  if (unpacker >> tree) {
    ASSERT_TRUE(unpacker.AtEnd());
    ASSERT_EQ(Pack(tree), bytes);
  } else {
    ASSERT_TRUE(tree == BsonBox("before"));
  }
}

TEST(BsonUnpacker, RefusesEveryTruncation) {
  for (const BsonVector& vector : BsonVectors()) {
    SCOPED_TRACE(vector.name);
    ASSERT_TRUE(IsTaken(vector.bytes));
    for (size_t size = 0; size < vector.bytes.size(); ++size) {
      Bytes shorter = vector.bytes;
      shorter.resize(size);
      shorter.shrink_to_fit();  // so that no byte behind it is there to read
      EXPECT_FALSE(IsTaken(shorter)) << size;
      // The same with a length that says so.
      if (size < 5) continue;
      shorter[0] = static_cast<uint8_t>(size);
      ExpectRefusedOrTheSame(shorter);
      shorter.back() = 0;
      ExpectRefusedOrTheSame(shorter);
    }
  }
}

TEST(BsonUnpacker, RefusesBytesBehindTheDocument) {
  for (const BsonVector& vector : BsonVectors()) {
    SCOPED_TRACE(vector.name);
    Bytes longer = vector.bytes;
    longer.push_back(0);
    EXPECT_FALSE(IsTaken(longer));
  }
}

TEST(BsonUnpacker, TakesNoCorruptedByteForAnythingButAnotherDocument) {
  for (const BsonVector& vector : BsonVectors()) {
    SCOPED_TRACE(vector.name);
    for (size_t at = 0; at < vector.bytes.size(); ++at) {
      Bytes bytes = vector.bytes;
      for (int change = 1; change < 256; ++change) {
        bytes[at] = static_cast<uint8_t>(vector.bytes[at] ^ change);
        ExpectRefusedOrTheSame(bytes);
        if (HasFatalFailure()) FAIL() << "byte " << at << " as " << int{bytes[at]};
      }
    }
  }
}

TEST(BsonUnpacker, LeavesNothingToReadInMalformedDocuments) {
  const Bytes bytes = Hex("0c000000 10 'k' 00 01000000 01");
  BsonUnpacker unpacker(bytes);
  BsonMapSize size(7);
  BsonItem item;
  EXPECT_FALSE(unpacker.Ok());
  EXPECT_FALSE(unpacker >> size);
  EXPECT_EQ(size.Count(), 7U);
  EXPECT_FALSE(unpacker >> item);
  EXPECT_FALSE(unpacker.Peek(&item));
  EXPECT_FALSE(unpacker.AtEnd());
}

TEST(BsonUnpacker, RefusesEachKindOfDamage) {
  struct Case {
    const char* name;
    const char* bytes;
  };
  const Case cases[] = {
      {"no bytes", ""},
      {"a length alone", "04000000"},
      {"a length below five", "04000000 00"},
      {"a negative length", "ffffffff 00"},
      {"a length below the bytes", "05000000 00 00"},
      {"a length above the bytes", "06000000 00"},
      {"no NUL at the end", "05000000 01"},
      {"a NUL before the end", "06000000 00 00"},
      {"a type that does not exist", "08000000 20 'k' 00 00"},
      {"an object id", "14000000 07 'k' 00 000102030405060708090a0b 00"},
      {"a key without NUL", "07000000 0a 'k' 00"},
      {"a key that is not UTF-8", "08000000 0a ff 00 00"},
      {"a double cut short", "0f000000 01 'k' 00 00000000000000 00"},
      {"a bool cut short", "08000000 08 'k' 00 00"},
      {"a bool of 2", "09000000 08 'k' 00 02 00"},
      {"a bool of 255", "09000000 08 'k' 00 ff 00"},
      {"a string without its length", "0b000000 02 'k' 00 010000 00"},
      {"a string of length 0", "0d000000 02 'k' 00 00000000 00 00"},
      {"a string of negative length", "0d000000 02 'k' 00 ffffffff 00 00"},
      {"a string beyond its document", "0d000000 02 'k' 00 02000000 00 00"},
      {"a string without NUL", "0d000000 02 'k' 00 01000000 'a' 00"},
      {"a string with a stray tail byte", "0e000000 02 'k' 00 02000000 80 00 00"},
      {"a string with a cut sequence", "0f000000 02 'k' 00 03000000 e282 00 00"},
      {"a string with an overlong NUL", "0f000000 02 'k' 00 03000000 c080 00 00"},
      {"a string with an overlong slash", "10000000 02 'k' 00 04000000 e080af 00 00"},
      {"a string with a surrogate", "10000000 02 'k' 00 04000000 eda080 00 00"},
      {"a string with an overlong of four", "11000000 02 'k' 00 05000000 f08fbfbf 00 00"},
      {"a string above U+10FFFF", "11000000 02 'k' 00 05000000 f4908080 00 00"},
      {"a string with a lead of five", "12000000 02 'k' 00 06000000 f888808080 00 00"},
      {"a binary without its subtype", "0c000000 05 'k' 00 00000000 00"},
      {"a binary beyond its document", "0e000000 05 'k' 00 02000000 00 01 00"},
      {"a binary of negative length", "0d000000 05 'k' 00 ffffffff 00 00"},
      {"a binary of subtype 2", "0d000000 05 'k' 00 00000000 02 00"},
      {"a document below five", "0d000000 03 'k' 00 04000000 00 00"},
      {"a document beyond its parent", "0d000000 03 'k' 00 06000000 00 00"},
      {"a document of negative length", "0d000000 03 'k' 00 fbffffff 00 00"},
      {"a document without NUL", "0d000000 03 'k' 00 05000000 01 00"},
      {"a document cut short", "0b000000 03 'k' 00 050000 00"},
      {"an element beyond its document", "0f000000 03 'k' 00 07000000 0a 00 00 01 00"},
      {"an array from 1", "10000000 04 'k' 00 08000000 0a '1' 00 00 00"},
      {"an array with a gap", "13000000 04 'k' 00 0b000000 0a '0' 00 0a '2' 00 00 00"},
      {"an array with one key twice", "13000000 04 'k' 00 0b000000 0a '0' 00 0a '0' 00 00 00"},
      {"an array with a leading zero", "11000000 04 'k' 00 09000000 0a '00' 00 00 00"},
      {"an array without keys", "0f000000 04 'k' 00 07000000 0a 00 00 00"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_FALSE(IsTaken(Hex(c.bytes)));
  }
}

// The repairs of some of the above: what is refused is the damage, not the document around it.
TEST(BsonUnpacker, TakesTheSameUndamaged) {
  const char* const cases[] = {
      "08000000 0a 'k' 00 00",
      "09000000 08 'k' 00 01 00",
      "0d000000 02 'k' 00 01000000 00 00",
      "0f000000 02 'k' 00 03000000 dfbf 00 00",
      "10000000 02 'k' 00 04000000 ed9fbf 00 00",
      "11000000 02 'k' 00 05000000 f48fbfbf 00 00",
      "0d000000 05 'k' 00 00000000 00 00",
      "0d000000 03 'k' 00 05000000 00 00",
      "13000000 04 'k' 00 0b000000 0a '0' 00 0a '1' 00 00 00",
  };
  for (const char* const bytes : cases) {
    SCOPED_TRACE(bytes);
    EXPECT_TRUE(IsTaken(Hex(bytes)));
  }
}

TEST(BsonUnpacker, GoesDownAHundredLevels) {
  const Bytes deepest = NestedBytes(100);
  BsonUnpacker unpacker(deepest);
  BsonMapSize size;
  std::string_view key;
  for (int i = 1; i < 100; ++i) {
    ASSERT_TRUE(unpacker >> size >> key);
    ASSERT_EQ(key, "d");
  }
  EXPECT_TRUE(unpacker >> size);
  EXPECT_EQ(size.Count(), 0U);
  EXPECT_TRUE(unpacker.AtEnd());
  BsonUnpacker whole(deepest);
  BsonBox tree;
  EXPECT_TRUE(whole >> tree);
  EXPECT_TRUE(tree == orlo::test::Nested(100));

  EXPECT_FALSE(IsTaken(NestedBytes(101)));
  EXPECT_FALSE(IsTaken(NestedBytes(100000)));
}

}  // namespace
