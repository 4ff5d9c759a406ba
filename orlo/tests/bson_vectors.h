// Documents as trees and as the bytes that they must be, worked out by hand from the format's
// grammar and confirmed by another implementation (bson_oracle).
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "orlo/bson.h"

namespace orlo::test {

struct BsonVector {
  const char* name;
  BsonBox tree;
  std::vector<uint8_t> bytes;
};

/// Bytes from hexadecimal digits with blanks between, and texts in quotes that stand for
/// themselves.
inline std::vector<uint8_t> Hex(std::string_view text) {
  std::vector<uint8_t> bytes;
  bool quoted = false;
  int digits = 0;
  for (const char c : text) {
    if (c == '\'') {
      quoted = !quoted;
    } else if (quoted) {
      bytes.push_back(static_cast<uint8_t>(c));
    } else if (c != ' ') {
      const int value = c <= '9' ? c - '0' : c - 'a' + 10;
      if (digits++ % 2 == 0) {
        bytes.push_back(static_cast<uint8_t>(16 * value));
      } else {
        bytes.back() = static_cast<uint8_t>(bytes.back() + value);
      }
    }
  }
  return bytes;
}

inline std::vector<BsonVector> BsonVectors() {
  using Array = BsonBox::Array;
  using Binary = BsonBox::Binary;
  using Document = BsonBox::Document;
  return {
      {"empty", Document{}, Hex("05000000 00")},
      {"one string", Document{{"hello", "world"}},
       Hex("16000000 02 'hello' 00 06000000 'world' 00 00")},
      {"array", Document{{"BSON", Array{"awesome", 5.05, 1986}}},
       Hex("31000000 04 'BSON' 00 26000000"
           " 02 '0' 00 08000000 'awesome' 00"
           " 01 '1' 00 3333333333331440"
           " 10 '2' 00 c2070000 00 00")},
      {"every type",
       Document{{"d", 1.5},
                {"s", "text"},
                {"o", Document{{"k", 1}}},
                {"a", Array{nullptr}},
                {"b", Binary{0xDE, 0xAD}},
                {"t", true},
                {"f", false},
                {"m", BsonDateTime{1700000000000}},
                {"n", nullptr},
                {"i", 7},
                {"l", int64_t{7}}},
       Hex("68000000"
           " 01 'd' 00 000000000000f83f"
           " 02 's' 00 05000000 'text' 00"
           " 03 'o' 00 0c000000 10 'k' 00 01000000 00"
           " 04 'a' 00 08000000 0a '0' 00 00"
           " 05 'b' 00 02000000 00 dead"
           " 08 't' 00 01"
           " 08 'f' 00 00"
           " 09 'm' 00 0068e5cf8b010000"
           " 0a 'n' 00"
           " 10 'i' 00 07000000"
           " 12 'l' 00 0700000000000000"
           " 00")},
      {"empty values", Document{{"", ""}, {"", Document{}}, {"", Array{}}, {"", Binary{}}},
       Hex("21000000"
           " 02 00 01000000 00"
           " 03 00 05000000 00"
           " 04 00 05000000 00"
           " 05 00 00000000 00"
           " 00")},
      {"extremes",
       Document{{"i", std::numeric_limits<int32_t>::min()},
                {"l", std::numeric_limits<int64_t>::min()},
                {"z", -0.0},
                {"h", std::numeric_limits<double>::infinity()},
                {"m", BsonDateTime{-1}}},
       Hex("38000000"
           " 10 'i' 00 00000080"
           " 12 'l' 00 0000000000000080"
           " 01 'z' 00 0000000000000080"
           " 01 'h' 00 000000000000f07f"
           " 09 'm' 00 ffffffffffffffff"
           " 00")},
      {"text beyond ASCII",
       Document{{"\xC3\xA9", std::string("a\0b\xE2\x82\xAC\xF0\x9F\x8E\xAC", 10)}},
       Hex("18000000 02 c3a9 00 0b000000 'a' 00 'b' e282ac f09f8eac 00 00")},
      {"eleven values", Document{{"v", Array{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}},
       Hex("5b000000 04 'v' 00 53000000"
           " 10 '0' 00 00000000 10 '1' 00 01000000 10 '2' 00 02000000 10 '3' 00 03000000"
           " 10 '4' 00 04000000 10 '5' 00 05000000 10 '6' 00 06000000 10 '7' 00 07000000"
           " 10 '8' 00 08000000 10 '9' 00 09000000 10 '10' 00 0a000000 00 00")},
      {"nested",
       Document{{"m", Document{{"a", Array{Array{}, Document{{"x", Array{1, "y"}}}}}, {"b", 2}}},
                {"m", nullptr}},
       Hex("47000000"
           " 03 'm' 00 3c000000"
           " 04 'a' 00 2d000000"
           " 04 '0' 00 05000000 00"
           " 03 '1' 00 1d000000"
           " 04 'x' 00 15000000"
           " 10 '0' 00 01000000"
           " 02 '1' 00 02000000 'y' 00 00 00 00"
           " 10 'b' 00 02000000 00"
           " 0a 'm' 00 00")},
  };
}

/// The bytes of a tree; none when the packer fails.
inline std::vector<uint8_t> Pack(const BsonBox& tree) {
  BsonPacker packer;
  packer << tree;
  return packer.Take();
}

/// Documents in documents, so many levels in all.
inline BsonBox Nested(size_t levels) {
  BsonBox tree = BsonBox::Document{};
  for (size_t i = 1; i < levels; ++i) {
    BsonBox::Document outer;
    outer.push_back({"d", std::move(tree)});
    tree = std::move(outer);
  }
  return tree;
}

/// The bytes of Nested, made without the packer.
inline std::vector<uint8_t> NestedBytes(size_t levels) {
  std::vector<uint8_t> bytes;
  const size_t kShell = 8;  // length, type, "d", NUL, ..., NUL
  for (size_t i = levels; i-- > 0;) {
    const size_t size = kShell * i + 5;
    for (size_t k = 0; k < 4; ++k) bytes.push_back(static_cast<uint8_t>(size >> (8 * k)));
    if (i > 0) bytes.insert(bytes.end(), {0x03, 'd', 0});
  }
  bytes.insert(bytes.end(), levels, 0);
  return bytes;
}

}  // namespace orlo::test
