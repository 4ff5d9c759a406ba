#include "orlo/uuid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

using orlo::Uuid;

constexpr char kText[] = "00112233-4455-6677-8899-aabbccddeeff";
const Uuid::Bytes kBytes = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                            0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

TEST(Uuid, IsNilUnlessMadeOtherwise) {
  EXPECT_TRUE(Uuid().IsNil());
  EXPECT_EQ(Uuid().Version(), 0);
  EXPECT_EQ(Uuid().ToString(), "00000000-0000-0000-0000-000000000000");
  EXPECT_FALSE(Uuid(kBytes).IsNil());
}

TEST(Uuid, ShowsItsBytesInOrder) {
  EXPECT_EQ(Uuid(kBytes).ToString(), kText);
  EXPECT_EQ(Uuid(kBytes).GetBytes(), kBytes);
}

TEST(Uuid, ReadsDigitsOfEitherCase) {
  for (const char* text :
       {kText, "00112233-4455-6677-8899-AABBCCDDEEFF", "00112233-4455-6677-8899-aAbBcCdDeEfF"}) {
    SCOPED_TRACE(text);
    Uuid uuid;
    EXPECT_TRUE(Uuid::Parse(text, &uuid));
    EXPECT_EQ(uuid, Uuid(kBytes));
  }
}

TEST(Uuid, RefusesEverythingElse) {
  const std::vector<std::string> texts = {
      "",
      "00112233445566778899aabbccddeeff",
      "{00112233-4455-6677-8899-aabbccddeeff}",
      " 00112233-4455-6677-8899-aabbccddeeff",
      "00112233-4455-6677-8899-aabbccddeeff ",
      "00112233-4455-6677-8899-aabbccddeef",
      "00112233-4455-6677-8899-aabbccddeefff",
      "0011223-34455-6677-8899-aabbccddeeff",
      "00112233-4455-6677-8899aabbccddeeff-",
      "00112233 4455 6677 8899 aabbccddeeff",
      "0x112233-4455-6677-8899-aabbccddeeff",
      "+0112233-4455-6677-8899-aabbccddeeff",
  };
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    Uuid uuid(kBytes);
    EXPECT_FALSE(Uuid::Parse(text, &uuid));
    EXPECT_EQ(uuid, Uuid(kBytes)) << "the target is left alone";
  }
  // No place takes a character that does not belong there.
  for (size_t at = 0; at < sizeof(kText) - 1; ++at) {
    for (int c = 0; c < 256; ++c) {
      std::string text = kText;
      text[at] = static_cast<char>(c);
      const bool digit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
      Uuid uuid;
      ASSERT_EQ(Uuid::Parse(text, &uuid), kText[at] == '-' ? c == '-' : digit) << at << " " << c;
    }
  }
}

TEST(Uuid, GeneratesRandomOnesOfVersion4) {
  std::set<Uuid> all;
  Uuid::Bytes ones{};
  Uuid::Bytes zeros{};
  for (int i = 0; i < 1000; ++i) {
    const Uuid uuid = Uuid::Generate();
    ASSERT_EQ(uuid.Version(), 4);
    ASSERT_EQ(uuid.GetBytes()[8] >> 6, 2) << "the variant";
    all.insert(uuid);
    for (size_t k = 0; k < ones.size(); ++k) {
      ones[k] = static_cast<uint8_t>(ones[k] | uuid.GetBytes()[k]);
      zeros[k] = static_cast<uint8_t>(zeros[k] | ~uuid.GetBytes()[k]);
    }
    Uuid read;
    ASSERT_TRUE(Uuid::Parse(uuid.ToString(), &read));
    ASSERT_EQ(read, uuid);
  }
  EXPECT_EQ(all.size(), 1000U);
  // Each of the other bits has been seen both ways.
  for (size_t k = 0; k < ones.size(); ++k) {
    EXPECT_EQ(ones[k], k == 6 ? 0x4F : k == 8 ? 0xBF : 0xFF) << k;
    EXPECT_EQ(zeros[k], k == 6 ? 0xBF : k == 8 ? 0x7F : 0xFF) << k;
  }
}

TEST(Uuid, IsOrderedAsItsText) {
  std::vector<Uuid> uuids = {Uuid(), Uuid(kBytes)};
  for (int i = 0; i < 50; ++i) uuids.push_back(Uuid::Generate());
  for (const Uuid& a : uuids) {
    for (const Uuid& b : uuids) {
      EXPECT_EQ(a < b, a.ToString() < b.ToString());
      EXPECT_EQ(a == b, a.ToString() == b.ToString());
    }
  }
}

TEST(Uuid, HashesEveryBit) {
  std::unordered_set<size_t> hashes = {Uuid().Hash()};
  for (size_t bit = 0; bit < 128; ++bit) {
    Uuid::Bytes bytes{};
    bytes[bit / 8] = static_cast<uint8_t>(1U << (bit % 8));
    hashes.insert(Uuid(bytes).Hash());
  }
  EXPECT_EQ(hashes.size(), 129U);
  EXPECT_EQ(Uuid().Hash(), Uuid(Uuid::Bytes{}).Hash());

  const std::unordered_set<Uuid> table = {Uuid(), Uuid(kBytes), Uuid(kBytes)};
  EXPECT_EQ(table.size(), 2U);
  EXPECT_TRUE(table.contains(Uuid(kBytes)));
}

}  // namespace
