// Another implementation of BSON, libbson, as the judge of ours: what ours packs it reads, what it
// packs ours reads, and of damaged documents both take the same ones.
#include <bson/bson.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bson_vectors.h"
#include "orlo/bson.h"

namespace {

using orlo::BsonBox;
using orlo::BsonDateTime;
using orlo::BsonType;
using orlo::BsonUnpacker;
using orlo::test::BsonVector;
using orlo::test::BsonVectors;
using orlo::test::Pack;
using Bytes = std::vector<uint8_t>;

// Owns a document of libbson's.
class BsonOwner {
 public:
  BsonOwner() : bson_(bson_new()) {}
  BsonOwner(BsonOwner&& other) noexcept : bson_(std::exchange(other.bson_, nullptr)) {}
  BsonOwner& operator=(BsonOwner&&) = delete;
  ~BsonOwner() {
    if (bson_ != nullptr) bson_destroy(bson_);
  }
  bson_t* get() const { return bson_; }

 private:
  bson_t* bson_;
};

BsonOwner Write(const BsonBox& tree);

// One element of a document that libbson writes.
void Append(bson_t* to, const std::string& key, const BsonBox& value) {
  const int size = static_cast<int>(key.size());
  bool boolean = false;
  int32_t narrow = 0;
  int64_t wide = 0;
  double real = 0;
  BsonDateTime moment;
  std::string text;
  Bytes binary;
  bool done = false;
  switch (value.Type()) {
    case BsonType::kDouble:
      done = value.Get(&real) && bson_append_double(to, key.c_str(), size, real);
      break;
    case BsonType::kString:
      done = value.Get(&text) &&
             bson_append_utf8(to, key.c_str(), size, text.c_str(), static_cast<int>(text.size()));
      break;
    case BsonType::kDocument:
      done = bson_append_document(to, key.c_str(), size, Write(value).get());
      break;
    case BsonType::kArray:
      done = bson_append_array(to, key.c_str(), size, Write(value).get());
      break;
    case BsonType::kBinary:
      done = value.Get(&binary) &&
             bson_append_binary(to, key.c_str(), size, BSON_SUBTYPE_BINARY, binary.data(),
                                static_cast<uint32_t>(binary.size()));
      break;
    case BsonType::kBool:
      done = value.Get(&boolean) && bson_append_bool(to, key.c_str(), size, boolean);
      break;
    case BsonType::kDateTime:
      done =
          value.Get(&moment) && bson_append_date_time(to, key.c_str(), size, moment.milliseconds);
      break;
    case BsonType::kNull: done = bson_append_null(to, key.c_str(), size); break;
    case BsonType::kInt32:
      done = value.Get(&narrow) && bson_append_int32(to, key.c_str(), size, narrow);
      break;
    case BsonType::kInt64:
      done = value.Get(&wide) && bson_append_int64(to, key.c_str(), size, wide);
      break;
  }
  ASSERT_TRUE(done) << key;
}

// A document or an array, written by libbson.
BsonOwner Write(const BsonBox& tree) {
  BsonOwner bson;
  if (const BsonBox::Document* members = tree.GetDocument()) {
    for (const BsonBox::Member& member : *members) Append(bson.get(), member.key, member.value);
  } else if (const BsonBox::Array* values = tree.GetArray()) {
    for (size_t i = 0; i < values->size(); ++i) {
      Append(bson.get(), std::to_string(i), (*values)[i]);
    }
  }
  return bson;
}

Bytes WriteBytes(const BsonBox& tree) {
  const BsonOwner bson = Write(tree);
  const uint8_t* data = bson_get_data(bson.get());
  return {data, data + bson.get()->len};
}

bool IsText(std::string_view text) { return bson_utf8_validate(text.data(), text.size(), true); }

// A document or an array as libbson reads it. False for what it refuses, and for the types,
// subtypes, array keys and depths that ours documents to refuse.
bool Read(const uint8_t* data, size_t size, bool is_array, size_t levels, BsonBox* tree) {
  bson_t bson;
  bson_iter_t at;
  if (levels == 0 || !bson_init_static(&bson, data, size) || !bson_iter_init(&at, &bson)) {
    return false;
  }
  BsonBox::Document members;
  while (bson_iter_next(&at)) {
    const std::string key = bson_iter_key(&at);
    if (!IsText(key) || (is_array && key != std::to_string(members.size()))) return false;
    BsonBox value;
    const bson_value_t* raw = bson_iter_value(&at);
    switch (raw->value_type) {
      case BSON_TYPE_DOUBLE: value = raw->value.v_double; break;
      case BSON_TYPE_UTF8:
        value = std::string(raw->value.v_utf8.str, raw->value.v_utf8.len);
        if (!IsText({raw->value.v_utf8.str, raw->value.v_utf8.len})) return false;
        break;
      case BSON_TYPE_DOCUMENT:
      case BSON_TYPE_ARRAY:
        if (!Read(raw->value.v_doc.data, raw->value.v_doc.data_len,
                  raw->value_type == BSON_TYPE_ARRAY, levels - 1, &value)) {
          return false;
        }
        break;
      case BSON_TYPE_BINARY:
        if (raw->value.v_binary.subtype != BSON_SUBTYPE_BINARY) return false;
        value = Bytes(raw->value.v_binary.data,
                      raw->value.v_binary.data + raw->value.v_binary.data_len);
        break;
      case BSON_TYPE_BOOL: value = raw->value.v_bool; break;
      case BSON_TYPE_DATE_TIME: value = BsonDateTime{raw->value.v_datetime}; break;
      case BSON_TYPE_NULL: break;
      case BSON_TYPE_INT32: value = raw->value.v_int32; break;
      case BSON_TYPE_INT64: value = raw->value.v_int64; break;
      default: return false;
    }
    members.push_back({key, std::move(value)});
  }
  if (at.err_off != 0) return false;
  if (is_array) {
    BsonBox::Array values;
    for (BsonBox::Member& member : members) values.push_back(std::move(member.value));
    *tree = std::move(values);
  } else {
    *tree = std::move(members);
  }
  return true;
}

bool Read(const Bytes& bytes, BsonBox* tree) {
  return Read(bytes.data(), bytes.size(), false, orlo::kBsonMaxDepth, tree);
}

// Trees of every type and shape from one seed each.
class TreeMaker {
 public:
  explicit TreeMaker(uint32_t seed) : random_(seed) {}

  BsonBox Document(int levels) {
    BsonBox::Document members;
    for (uint32_t i = random_() % 6; i > 0; --i) {
      std::string key = Text();
      std::erase(key, '\0');
      members.push_back({std::move(key), Value(levels)});
    }
    return members;
  }

 private:
  BsonBox Value(int levels) {
    switch (random_() % (levels > 1 ? 10 : 8)) {
      case 0: return Real();
      case 1: return Text();
      case 2: {
        BsonBox::Binary bytes(random_() % 20);
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random_());
        return bytes;
      }
      case 3: return random_() % 2 == 0;
      case 4: return BsonDateTime{Wide()};
      case 5: return nullptr;
      case 6: return static_cast<int32_t>(random_());
      case 7: return Wide();
      case 8: return Document(levels - 1);
      default: {
        BsonBox::Array values;
        for (uint32_t i = random_() % 13; i > 0; --i) values.push_back(Value(levels - 1));
        return values;
      }
    }
  }

  std::string Text() {
    const char* const letters[] = {
        "a", "Z", "$", ".", "\xC3\xBC", "\xE4\xB8\xAD", "\xF0\x9F\x8E\xA5"};
    std::string text;
    for (uint32_t i = random_() % 8; i > 0; --i) {
      const uint32_t letter = random_() % 8;
      if (letter < std::size(letters)) {
        text += letters[letter];
      } else {
        text += '\0';
      }
    }
    return text;
  }

  int64_t Wide() {
    const uint64_t high = random_();
    return static_cast<int64_t>(high << 32 | random_());
  }
  double Real() { return static_cast<double>(Wide()) / 3e5; }

  std::mt19937 random_;
};

void ExpectBothAgreeOn(const BsonBox& tree) {
  const Bytes bytes = Pack(tree);
  ASSERT_EQ(bytes, WriteBytes(tree));
  BsonBox theirs;
  ASSERT_TRUE(Read(bytes, &theirs));
  ASSERT_TRUE(theirs == tree);
  BsonBox ours;
  ASSERT_TRUE(BsonUnpacker(bytes) >> ours);
  ASSERT_TRUE(ours == tree);
}

void ExpectOneVerdictOn(const Bytes& bytes) {
  BsonBox theirs;
  BsonBox ours;
  const bool taken = Read(bytes, &theirs);
  ASSERT_EQ(bool{BsonUnpacker(bytes) >> ours}, taken);
  // Numbers that are none differ from themselves, so the trees are compared by their bytes.
  if (taken) {
    ASSERT_EQ(Pack(ours), Pack(theirs));
  }
}

TEST(BsonOracle, ConfirmsTheKnownBytes) {
  for (const BsonVector& vector : BsonVectors()) {
    SCOPED_TRACE(vector.name);
    EXPECT_EQ(WriteBytes(vector.tree), vector.bytes);
    ExpectBothAgreeOn(vector.tree);
  }
}

TEST(BsonOracle, AgreesOnTreesOfEveryShape) {
  for (uint32_t seed = 0; seed < 2000; ++seed) {
    SCOPED_TRACE(seed);
    ExpectBothAgreeOn(TreeMaker(seed).Document(5));
    if (HasFatalFailure()) return;
  }
}

TEST(BsonOracle, AgreesOnTheDepthOfDocuments) {
  ExpectBothAgreeOn(orlo::test::Nested(orlo::kBsonMaxDepth));
  ExpectOneVerdictOn(orlo::test::NestedBytes(orlo::kBsonMaxDepth + 1));
}

TEST(BsonOracle, AgreesOnEveryCorruptedByte) {
  for (const BsonVector& vector : BsonVectors()) {
    SCOPED_TRACE(vector.name);
    for (size_t at = 0; at < vector.bytes.size(); ++at) {
      Bytes bytes = vector.bytes;
      for (int change = 1; change < 256; ++change) {
        bytes[at] = static_cast<uint8_t>(vector.bytes[at] ^ change);
        ExpectOneVerdictOn(bytes);
        if (HasFatalFailure()) FAIL() << "byte " << at << " as " << int{bytes[at]};
      }
    }
  }
}

TEST(BsonOracle, AgreesOnDocumentsWithSeveralDamages) {
  std::mt19937 random(1);
  for (uint32_t seed = 0; seed < 2000; ++seed) {
    SCOPED_TRACE(seed);
    const Bytes whole = Pack(TreeMaker(seed).Document(4));
    for (int round = 0; round < 20; ++round) {
      Bytes bytes = whole;
      for (uint32_t i = 1 + random() % 3; i > 0; --i) {
        // Small changes of small numbers keep more of the structure alive.
        uint8_t& byte = bytes[4 + random() % (bytes.size() - 4)];
        byte = static_cast<uint8_t>(random() % 2 == 0 ? random() : byte + random() % 5 - 2);
      }
      ExpectOneVerdictOn(bytes);
      if (HasFatalFailure()) return;
    }
  }
}

}  // namespace
