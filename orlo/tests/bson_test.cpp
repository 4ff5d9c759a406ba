#include "orlo/bson.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "bson_vectors.h"

namespace {

using orlo::BsonBox;
using orlo::BsonDateTime;
using orlo::BsonItem;
using orlo::BsonMapSize;
using orlo::BsonPacker;
using orlo::BsonTupleSize;
using orlo::BsonType;
using orlo::BsonUnpacker;
using orlo::test::BsonVector;
using orlo::test::BsonVectors;
using orlo::test::Hex;
using orlo::test::Nested;
using orlo::test::NestedBytes;
using orlo::test::Pack;
using Bytes = std::vector<uint8_t>;

Bytes Copy(const BsonPacker& packer) { return {packer.Bytes().begin(), packer.Bytes().end()}; }

// One member "v".
template <class T>
Bytes PackOne(const T& value) {
  BsonPacker packer;
  packer << BsonMapSize(1) << "v" << value;
  return packer.Take();
}

// The document that PackOne made, up to its value.
template <class T>
bool UnpackOne(const Bytes& bytes, T* value) {
  BsonUnpacker unpacker(bytes);
  BsonMapSize size;
  std::string_view key;
  return (unpacker >> size >> key >> *value) && unpacker.AtEnd();
}

TEST(Bson, PacksTreesToTheKnownBytes) {
  for (const BsonVector& vector : BsonVectors()) {
    SCOPED_TRACE(vector.name);
    EXPECT_EQ(Pack(vector.tree), vector.bytes);
  }
}

TEST(Bson, UnpacksTheKnownBytesToTrees) {
  for (const BsonVector& vector : BsonVectors()) {
    SCOPED_TRACE(vector.name);
    BsonUnpacker unpacker(vector.bytes);
    BsonBox tree;
    EXPECT_TRUE(unpacker >> tree);
    EXPECT_TRUE(unpacker.AtEnd());
    EXPECT_TRUE(tree == vector.tree);
  }
}

TEST(BsonPacker, StreamsMapsAndTuples) {
  BsonPacker packer;
  packer << BsonMapSize(3) << "a" << 1 << "b" << true;
  packer << "c" << BsonTupleSize(3) << 2.5 << nullptr << BsonMapSize(0);
  EXPECT_TRUE(packer.Complete());
  EXPECT_EQ(Copy(packer), Hex("2e000000 10 'a' 00 01000000 08 'b' 00 01 04 'c' 00 1b000000"
                              " 01 '0' 00 0000000000000440 0a '1' 00 03 '2' 00 05000000 00 00 00"));
}

TEST(BsonPacker, TakesATupleAsTheWholeDocument) {
  BsonPacker packer;
  packer << BsonTupleSize(2) << "x" << int64_t{-1};
  EXPECT_EQ(Copy(packer), Hex("19000000 02 '0' 00 02000000 'x' 00 12 '1' 00 ffffffffffffffff 00"));
}

TEST(BsonPacker, HasNoBytesUntilAllThatWasAnnouncedIsIn) {
  BsonPacker packer;
  EXPECT_FALSE(packer.Complete());
  packer << BsonMapSize(1);
  EXPECT_TRUE(packer.Bytes().empty());
  packer << "k";
  EXPECT_TRUE(packer.Bytes().empty());
  EXPECT_TRUE(packer.Take().empty());
  EXPECT_TRUE(packer.Ok());
  packer << BsonTupleSize(1);
  EXPECT_FALSE(packer.Complete());
  packer << "v";
  EXPECT_TRUE(packer.Complete());
  EXPECT_EQ(packer.Take(), Hex("16000000 04 'k' 00 0e000000 02 '0' 00 02000000 'v' 00 00 00"));
}

TEST(BsonPacker, StartsAfreshOnceItsBytesAreTaken) {
  BsonPacker packer;
  packer << BsonMapSize(0);
  EXPECT_EQ(packer.Take(), Hex("05000000 00"));
  EXPECT_FALSE(packer.Complete());
  packer << BsonTupleSize(1) << 1;
  EXPECT_EQ(packer.Take(), Hex("0c000000 10 '0' 00 01000000 00"));
}

TEST(BsonPacker, ForgetsFailuresWhenReset) {
  BsonPacker packer;
  packer << 1;
  EXPECT_FALSE(packer.Ok());
  packer << BsonMapSize(0);
  EXPECT_FALSE(packer.Ok()) << "a failure stays";
  packer.Reset();
  packer << BsonMapSize(1) << "k";
  packer.Reset();
  packer << BsonMapSize(0);
  EXPECT_EQ(packer.Take(), Hex("05000000 00"));
}

TEST(BsonPacker, ChoosesTheWidthOfIntegersByTheirType) {
  EXPECT_EQ(PackOne(int8_t{-1}), Hex("0c000000 10 'v' 00 ffffffff 00"));
  EXPECT_EQ(PackOne(uint16_t{65535}), Hex("0c000000 10 'v' 00 ffff0000 00"));
  EXPECT_EQ(PackOne(int32_t{-2}), Hex("0c000000 10 'v' 00 feffffff 00"));
  EXPECT_EQ(PackOne(uint32_t{4294967295}), Hex("10000000 12 'v' 00 ffffffff00000000 00"));
  EXPECT_EQ(PackOne(int64_t{1}), Hex("10000000 12 'v' 00 0100000000000000 00"));
  EXPECT_EQ(PackOne(1LL), Hex("10000000 12 'v' 00 0100000000000000 00"));
  EXPECT_EQ(PackOne(static_cast<uint64_t>(INT64_MAX)),
            Hex("10000000 12 'v' 00 ffffffffffffff7f 00"));
  EXPECT_EQ(PackOne(uint64_t{1} << 63), Bytes());
}

TEST(BsonPacker, TakesANullTextAsAnEmptyOne) {
  const char* none = nullptr;
  EXPECT_EQ(PackOne(none), Hex("0d000000 02 'v' 00 01000000 00 00"));
}

TEST(BsonPacker, RefusesWhatIsOutOfPlace) {
  struct Case {
    const char* name;
    void (*pack)(BsonPacker&);
  };
  const Case cases[] = {
      {"a value before the document", [](BsonPacker& p) { p << true; }},
      {"a text before the document", [](BsonPacker& p) { p << "k"; }},
      {"a scalar tree as the document", [](BsonPacker& p) { p << BsonBox(1); }},
      {"a second document", [](BsonPacker& p) { p << BsonMapSize(0) << BsonMapSize(0); }},
      {"a value behind the document", [](BsonPacker& p) { p << BsonTupleSize(0) << 1; }},
      {"a number as a key", [](BsonPacker& p) { p << BsonMapSize(1) << 1; }},
      {"a null as a key", [](BsonPacker& p) { p << BsonMapSize(1) << nullptr; }},
      {"a map as a key", [](BsonPacker& p) { p << BsonMapSize(1) << BsonMapSize(0); }},
      {"a binary as a key", [](BsonPacker& p) { p << BsonMapSize(1) << Bytes{1}; }},
      {"a tree as a key", [](BsonPacker& p) { p << BsonMapSize(1) << BsonBox("k"); }},
      {"a NUL in a key", [](BsonPacker& p) { p << BsonMapSize(1) << std::string("a\0b", 3); }},
      {"a key that is not UTF-8", [](BsonPacker& p) { p << BsonMapSize(1) << "\xFF"; }},
      {"a text that is not UTF-8", [](BsonPacker& p) { p << BsonTupleSize(1) << "\xC0\x80"; }},
      {"a text that is too long",
       [](BsonPacker& p) { p << BsonTupleSize(1) << std::string_view("", size_t{1} << 31); }},
      {"a key that is too long",
       [](BsonPacker& p) { p << BsonMapSize(1) << std::string_view("", size_t{1} << 31); }},
      {"a binary that is too long",
       [](BsonPacker& p) {
         const uint8_t byte = 0;
         const volatile size_t largest = INT32_MAX;  // nobody reads that far
         p << BsonTupleSize(1) << std::span<const uint8_t>(&byte, largest - 5);
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    BsonPacker packer;
    c.pack(packer);
    EXPECT_FALSE(packer.Ok());
    EXPECT_FALSE(packer.Complete());
    EXPECT_TRUE(packer.Bytes().empty());
  }
}

TEST(BsonPacker, GoesDownAHundredLevels) {
  EXPECT_EQ(Pack(Nested(100)), NestedBytes(100));
  EXPECT_EQ(Pack(Nested(101)), Bytes());
  BsonPacker packer;
  for (int i = 0; i < 100; ++i) packer << BsonTupleSize(1);
  EXPECT_TRUE(packer.Ok());
  packer << BsonTupleSize(0);
  EXPECT_FALSE(packer.Ok());
}

TEST(BsonUnpacker, StreamsWhatThePackerWrote) {
  BsonPacker packer;
  const Bytes binary = {1, 2, 0};
  packer << BsonMapSize(4) << "name" << std::string("intro") << "data" << binary;
  packer << "list" << BsonTupleSize(3) << BsonMapSize(0) << 2 << BsonDateTime{3} << "end"
         << nullptr;
  const Bytes bytes = packer.Take();

  BsonUnpacker unpacker(bytes);
  BsonMapSize map;
  BsonTupleSize tuple;
  BsonMapSize inner(9);
  std::string name;
  std::string_view key;
  Bytes data;
  int64_t two = 0;
  BsonDateTime moment;
  EXPECT_TRUE(unpacker >> map >> key);
  EXPECT_EQ(map.Count(), 4U);
  EXPECT_EQ(key, "name");
  EXPECT_TRUE(unpacker >> name >> key >> data);
  EXPECT_EQ(name, "intro");
  EXPECT_EQ(data, binary);
  EXPECT_TRUE(unpacker >> key >> tuple >> inner >> two >> moment);
  EXPECT_EQ(key, "list");
  EXPECT_EQ(tuple.Count(), 3U);
  EXPECT_EQ(inner.Count(), 0U);
  EXPECT_EQ(two, 2);
  EXPECT_EQ(moment, BsonDateTime{3});
  EXPECT_FALSE(unpacker.AtEnd());
  EXPECT_TRUE(unpacker >> key >> nullptr);
  EXPECT_EQ(key, "end");
  EXPECT_TRUE(unpacker.AtEnd());
}

TEST(BsonUnpacker, GivesElementsWhole) {
  const Bytes bytes = Pack(BsonBox::Document{{"a", BsonBox::Array{1, 2}}, {"b", 3}, {"c", "x"}});
  BsonUnpacker unpacker(bytes);
  BsonMapSize size;
  BsonItem item;
  std::string_view key;
  EXPECT_FALSE(unpacker.Peek(&item)) << "nothing was entered";
  ASSERT_TRUE(unpacker >> size >> item);
  EXPECT_EQ(item.Key(), "a");
  EXPECT_EQ(item.Type(), BsonType::kArray);
  std::vector<int> numbers;
  BsonUnpacker nested(item.Nested());
  EXPECT_TRUE(nested >> numbers);
  EXPECT_EQ(numbers, (std::vector<int>{1, 2}));
  ASSERT_TRUE(unpacker >> key >> item);
  EXPECT_EQ(item.Key(), "b") << "the key was read before";
  EXPECT_TRUE(item.Nested().empty());
  EXPECT_TRUE(unpacker.Peek(&item));
  EXPECT_EQ(item.Key(), "c");
  ASSERT_TRUE(unpacker >> item);
  std::string text;
  EXPECT_TRUE(item.Get(&text));
  EXPECT_EQ(text, "x");
  EXPECT_TRUE(unpacker.AtEnd());
  EXPECT_FALSE(unpacker.Peek(&item));
  EXPECT_FALSE(unpacker >> item) << "nothing is left";
}

TEST(BsonUnpacker, EntersTheWholeAsATupleOnlyWithItsKeys) {
  const Bytes right = Pack(BsonBox::Document{{"0", 1}, {"1", 2}});
  const Bytes wrong = Pack(BsonBox::Document{{"1", 1}, {"0", 2}});
  std::vector<int> numbers;
  BsonUnpacker first(right);
  EXPECT_TRUE(first >> numbers);
  EXPECT_EQ(numbers, (std::vector<int>{1, 2}));
  BsonUnpacker second(wrong);
  EXPECT_FALSE(second >> numbers);
  EXPECT_EQ(numbers, (std::vector<int>{1, 2}));
}

TEST(BsonUnpacker, ReadsOneTreeInTheMiddle) {
  const Bytes bytes = Pack(BsonBox::Document{{"a", BsonBox::Document{{"x", 1}}}, {"b", 2}});
  BsonUnpacker unpacker(bytes);
  BsonMapSize size;
  std::string key;
  BsonBox tree;
  int number = 0;
  EXPECT_TRUE(unpacker >> size >> key >> tree >> key >> number);
  EXPECT_TRUE(tree == BsonBox(BsonBox::Document{{"x", 1}}));
  EXPECT_EQ(number, 2);
}

// What an operation expects against what comes: the unpacker fails and the target stays.
template <class T>
void ExpectMismatch(const char* name, const BsonBox& value, T target) {
  SCOPED_TRACE(name);
  const Bytes bytes = PackOne(value);
  const T before = target;
  BsonUnpacker unpacker(bytes);
  BsonMapSize size;
  std::string_view key;
  EXPECT_TRUE(unpacker >> size >> key);
  EXPECT_FALSE(unpacker >> target);
  EXPECT_TRUE(target == before);
  EXPECT_FALSE(unpacker.AtEnd());
  BsonItem item;
  EXPECT_FALSE(unpacker >> item) << "a failure stays";
}

TEST(BsonUnpacker, FailsWhereTheTypeDoesNotFit) {
  ExpectMismatch("bool of a number", 1, true);
  ExpectMismatch("number of a bool", true, 5);
  ExpectMismatch("number of a double", 1.0, 5);
  ExpectMismatch("number of a text", "1", int64_t{5});
  ExpectMismatch("number of a date", BsonDateTime{1}, int64_t{5});
  ExpectMismatch("32 bits of more", int64_t{1} << 31, int32_t{5});
  ExpectMismatch("8 bits of more", 128, int8_t{5});
  ExpectMismatch("unsigned of a negative", -1, uint64_t{5});
  ExpectMismatch("double of a number that it would round", (int64_t{1} << 53) + 1, 5.0);
  ExpectMismatch("text of a binary", BsonBox::Binary{'a'}, std::string("t"));
  ExpectMismatch("binary of a text", "a", Bytes{5});
  ExpectMismatch("date of a number", 1, BsonDateTime{5});
  ExpectMismatch("vector of a map", BsonBox::Document{{"0", 1}}, std::vector<int>{5});
  ExpectMismatch("vector with one wrong value", BsonBox::Array{1, "2"}, std::vector<int>{5});
  ExpectMismatch("map of an array", BsonBox::Array{1}, std::map<std::string, int>{{"k", 5}});
  ExpectMismatch("tuple of another length", BsonBox::Array{1}, std::tuple<int, int>{5, 6});
  ExpectMismatch("optional of another type", "x", std::optional<int>(5));
}

TEST(BsonUnpacker, FailsOnAValueWhereAKeyIsDue) {
  const Bytes bytes = PackOne(1);
  int number = 5;
  BsonMapSize size;
  BsonUnpacker direct(bytes);
  EXPECT_FALSE(direct >> number) << "nothing was entered";
  BsonUnpacker unpacker(bytes);
  EXPECT_FALSE(unpacker >> size >> number);
  EXPECT_EQ(number, 5);
  BsonUnpacker inner(bytes);
  EXPECT_FALSE(inner >> size >> size) << "an inner map has a key, too";
}

TEST(BsonUnpacker, ConvertsIntegersThatFit) {
  double real = 0;
  int32_t narrow = 0;
  uint8_t byte = 0;
  uint64_t big = 0;
  EXPECT_TRUE(UnpackOne(PackOne(-3), &real));
  EXPECT_EQ(real, -3.0);
  EXPECT_TRUE(UnpackOne(PackOne(int64_t{1} << 53), &real));
  EXPECT_EQ(real, 9007199254740992.0);
  EXPECT_TRUE(UnpackOne(PackOne(int64_t{-2147483648}), &narrow));
  EXPECT_EQ(narrow, std::numeric_limits<int32_t>::min());
  EXPECT_TRUE(UnpackOne(PackOne(255), &byte));
  EXPECT_EQ(byte, 255);
  EXPECT_TRUE(UnpackOne(PackOne(INT64_MAX), &big));
  EXPECT_EQ(big, static_cast<uint64_t>(INT64_MAX));
}

TEST(Bson, CarriesContainers) {
  using Shot = std::tuple<std::string, double, std::optional<int>>;
  const std::map<std::string, std::vector<Shot>> scenes = {
      {"one", {{"wide", 1.5, 3}, {"close", -2.0, std::nullopt}}}, {"two", {}}};
  const Bytes bytes = PackOne(scenes);
  std::map<std::string, std::vector<Shot>> read;
  EXPECT_TRUE(UnpackOne(bytes, &read));
  EXPECT_EQ(read, scenes);

  const std::vector<bool> bits = {true, false};
  std::vector<bool> read_bits;
  EXPECT_TRUE(UnpackOne(PackOne(bits), &read_bits));
  EXPECT_EQ(read_bits, bits);

  const std::vector<Bytes> chunks = {{1}, {}, {2, 3}};
  std::vector<Bytes> read_chunks;
  EXPECT_TRUE(UnpackOne(PackOne(chunks), &read_chunks));
  EXPECT_EQ(read_chunks, chunks);

  std::optional<int> emptied = 5;
  EXPECT_TRUE(UnpackOne(PackOne(nullptr), &emptied));
  EXPECT_FALSE(emptied.has_value());
}

TEST(Bson, KeepsTheFirstOfEqualKeysInAMap) {
  std::map<std::string, int> read;
  EXPECT_TRUE(UnpackOne(PackOne(BsonBox(BsonBox::Document{{"k", 1}, {"k", 2}})), &read));
  EXPECT_EQ(read, (std::map<std::string, int>{{"k", 1}}));
}

struct Point {
  int x = 0;
  int y = 0;

  friend BsonPacker& operator<<(BsonPacker& packer, const Point& p) {
    return packer << BsonTupleSize(2) << p.x << p.y;
  }
  friend BsonUnpacker& operator>>(BsonUnpacker& unpacker, Point& p) {
    BsonTupleSize size;
    return unpacker >> size >> p.x >> p.y;
  }
  friend bool operator==(const Point&, const Point&) = default;
};

TEST(Bson, CarriesTypesThatBringTheirOperators) {
  const std::vector<Point> points = {{1, 2}, {3, 4}};
  std::vector<Point> read;
  EXPECT_TRUE(UnpackOne(PackOne(points), &read));
  EXPECT_EQ(read, points);
}

TEST(BsonBox, FindsMembersAndValues) {
  const BsonBox tree = BsonBox::Document{{"k", 1}, {"list", BsonBox::Array{"a", "b"}}, {"k", 2}};
  int number = 0;
  ASSERT_NE(tree.Find("k"), nullptr);
  EXPECT_TRUE(tree.Find("k")->Get(&number));
  EXPECT_EQ(number, 1) << "the first of two";
  EXPECT_EQ(tree.Find("K"), nullptr);
  EXPECT_EQ(tree.At(0), nullptr) << "it is no array";
  const BsonBox* list = tree.Find("list");
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->Find("0"), nullptr) << "it is no document";
  std::string_view text;
  ASSERT_NE(list->At(1), nullptr);
  EXPECT_TRUE(list->At(1)->Get(&text));
  EXPECT_EQ(text, "b");
  EXPECT_EQ(list->At(2), nullptr);
}

TEST(BsonBox, KnowsItsType) {
  EXPECT_EQ(BsonBox().Type(), BsonType::kNull);
  EXPECT_TRUE(BsonBox(nullptr).IsNull());
  EXPECT_EQ(BsonBox(1.0).Type(), BsonType::kDouble);
  EXPECT_EQ(BsonBox(1.0F).Type(), BsonType::kDouble);
  EXPECT_EQ(BsonBox("").Type(), BsonType::kString);
  EXPECT_EQ(BsonBox(static_cast<const char*>(nullptr)).Type(), BsonType::kString);
  EXPECT_EQ(BsonBox(std::string_view("x")).Type(), BsonType::kString);
  EXPECT_EQ(BsonBox(false).Type(), BsonType::kBool);
  EXPECT_EQ(BsonBox(BsonDateTime{}).Type(), BsonType::kDateTime);
  EXPECT_EQ(BsonBox(uint16_t{1}).Type(), BsonType::kInt32);
  EXPECT_EQ(BsonBox(1U).Type(), BsonType::kInt64);
  EXPECT_EQ(BsonBox(1LL).Type(), BsonType::kInt64);
  EXPECT_EQ(BsonBox(BsonBox::Binary{}).Type(), BsonType::kBinary);
  EXPECT_EQ(BsonBox(BsonBox::Array{}).Type(), BsonType::kArray);
  EXPECT_EQ(BsonBox(BsonBox::Document{}).Type(), BsonType::kDocument);
}

TEST(BsonBox, ComparesTypesOrderAndValues) {
  EXPECT_FALSE(BsonBox(1) == BsonBox(int64_t{1}));
  EXPECT_FALSE(BsonBox(1) == BsonBox(2));
  EXPECT_FALSE(BsonBox() == BsonBox(false));
  EXPECT_FALSE(BsonBox(std::numeric_limits<double>::quiet_NaN()) ==
               BsonBox(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_FALSE(BsonBox(BsonBox::Document{{"a", 1}, {"b", 2}}) ==
               BsonBox(BsonBox::Document{{"b", 2}, {"a", 1}}));
  EXPECT_FALSE(BsonBox(BsonBox::Document{{"a", 1}}) == BsonBox(BsonBox::Document{{"b", 1}}));
  EXPECT_TRUE(BsonBox(BsonBox::Array{1, "x"}) == BsonBox(BsonBox::Array{1, "x"}));
}

TEST(BsonBox, CopiesDeeplyAndMoves) {
  BsonBox tree = BsonBox::Document{{"list", BsonBox::Array{1}}};
  const BsonBox copy = tree;
  ASSERT_NE(tree.GetDocument(), nullptr);
  tree.GetDocument()->front().value.GetArray()->push_back(2);
  EXPECT_EQ(copy.Find("list")->GetArray()->size(), 1U);
  EXPECT_EQ(tree.Find("list")->GetArray()->size(), 2U);
  BsonBox target = "old";
  target = copy;
  EXPECT_TRUE(target == copy);
  target = std::move(tree);
  EXPECT_EQ(target.Find("list")->GetArray()->size(), 2U);
  EXPECT_EQ(target.GetArray(), nullptr);
  EXPECT_EQ(BsonBox(1).GetDocument(), nullptr);
}

}  // namespace
