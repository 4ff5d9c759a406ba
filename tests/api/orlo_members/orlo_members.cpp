// A host whose compiler saw only the declarations of the companion's inline members: every call
// below has to find its body in the library.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orlo/log.h"

namespace orlo {

class BsonMapSize {
 public:
  explicit BsonMapSize(size_t count) noexcept;
  size_t Count() const noexcept;

 private:
  size_t count_;
};

class BsonTupleSize {
 public:
  explicit BsonTupleSize(size_t count) noexcept;
  size_t Count() const noexcept;

 private:
  size_t count_;
};

class Logger {
 public:
  Logger(const char* tag, int32_t level) noexcept;
  void Print(const char* format, ...) const noexcept ORLO_PRINTF(2, 3);

 private:
  const char* tag_;
  int32_t level_;
};

class Uuid {
 public:
  Uuid() noexcept;
  static Uuid Generate() noexcept;
  static bool Parse(std::string_view text, Uuid* uuid) noexcept;
  std::string ToString() const;
  int Version() const noexcept;

 private:
  std::array<uint8_t, 16> bytes_;
};

}  // namespace orlo

namespace {

TEST(OrloMembers, AnnounceSizes) {
  EXPECT_EQ(orlo::BsonMapSize(3).Count(), 3U);
  EXPECT_EQ(orlo::BsonTupleSize(4).Count(), 4U);
}

TEST(OrloMembers, MakeAndReadIdentifiers) {
  EXPECT_EQ(orlo::Uuid().ToString(), "00000000-0000-0000-0000-000000000000");
  orlo::Uuid uuid;
  EXPECT_TRUE(orlo::Uuid::Parse("00112233-4455-6677-8899-AABBCCDDEEFF", &uuid));
  EXPECT_EQ(uuid.ToString(), "00112233-4455-6677-8899-aabbccddeeff");
  EXPECT_FALSE(orlo::Uuid::Parse("no identifier", &uuid));
  EXPECT_EQ(orlo::Uuid::Generate().Version(), 4);
}

TEST(OrloMembers, Log) {
  std::vector<std::string> lines;
  const auto keep = [](void* context, const char* tag, int32_t, const char* text) {
    static_cast<std::vector<std::string>*>(context)->push_back(std::string(tag) + ": " + text);
  };
  const uint64_t sink = orlo::AddLogSink(keep, &lines);
  orlo::Logger("host", 4).Print("%d of %s", 2, "two");
  orlo::RemoveLogSink(sink);
  EXPECT_EQ(lines, std::vector<std::string>{"host: 2 of two"});
}

}  // namespace
