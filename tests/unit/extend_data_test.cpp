#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstring>
#include <numeric>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "extend_data_impl.h"
#include "support/log_capture.h"

namespace mivare {
namespace {

using test::LogCapture;
using test::LogLine;

constexpr char kKey[] = "Mivare Frame Extend Data : PQ";

std::vector<uint8_t> Bytes(size_t count, uint8_t first = 1) {
  std::vector<uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

bool Set(IExtendData& store, const char* key, const std::vector<uint8_t>& bytes) {
  return store.SetExtendData(key, bytes.data(), static_cast<int32_t>(bytes.size()));
}

std::vector<uint8_t> Get(IExtendData& store, const char* key) {
  std::vector<uint8_t> bytes(256);
  auto length = static_cast<int32_t>(bytes.size());
  if (!store.GetExtendData(key, bytes.data(), &length)) return {};
  bytes.resize(static_cast<size_t>(length));
  return bytes;
}

/// The one line logged: its level, and its text with the source line cut to "#".
std::string TheLine(const LogCapture& log, int32_t level) {
  const std::vector<LogLine> lines = log.Lines();
  if (lines.size() != 1) return std::to_string(lines.size()) + " lines";
  EXPECT_EQ(lines[0].tag, "mivare");
  EXPECT_EQ(lines[0].level, level);
  static const std::regex place(R"(^(mivare/extend_data_impl)\[[1-9][0-9]*\])");
  return std::regex_replace(lines[0].text, place, "$1[#]");
}

TEST(ExtendData, StoresAndReturnsBytes) {
  const auto store = MakeExtendData();
  const std::vector<uint8_t> bytes = {0, 1, 0, 255, 7};
  EXPECT_TRUE(Set(*store, kKey, bytes));
  EXPECT_EQ(store->GetExtendDataLength(kKey), 5U);
  EXPECT_EQ(Get(*store, kKey), bytes);
}

TEST(ExtendData, ComparesKeysByteByByte) {
  const auto store = MakeExtendData();
  Set(*store, "key", Bytes(1));
  Set(*store, "Key", Bytes(2));
  Set(*store, "", Bytes(3));  // the empty key is a key
  EXPECT_EQ(store->GetExtendDataLength("key"), 1U);
  EXPECT_EQ(store->GetExtendDataLength("Key"), 2U);
  EXPECT_EQ(store->GetExtendDataLength(""), 3U);
  EXPECT_EQ(store->GetExtendDataLength("ke"), 0U);
}

TEST(ExtendData, ANewKeyIsTracedOnce) {
  const auto store = MakeExtendData();
  LogCapture log;
  Set(*store, kKey, Bytes(3));
  EXPECT_EQ(TheLine(log, 1), "mivare/extend_data_impl[#]");
  log.Clear();
  Set(*store, kKey, Bytes(4));
  EXPECT_TRUE(log.Lines().empty());
}

TEST(ExtendData, LengthOfANullKeyIsZeroAndLogged) {
  const auto store = MakeExtendData();
  LogCapture log;
  EXPECT_EQ(store->GetExtendDataLength(nullptr), 0U);
  EXPECT_EQ(TheLine(log, 4), "mivare/extend_data_impl[#]");
}

TEST(ExtendData, LengthOfAnAbsentKeyIsZeroInSilence) {
  const auto store = MakeExtendData();
  LogCapture log;
  EXPECT_EQ(store->GetExtendDataLength("absent"), 0U);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(ExtendData, SettingLengthZeroIsAParameterErrorAndStoresNothing) {
  const auto store = MakeExtendData();
  LogCapture log;
  const uint8_t byte = 'x';
  EXPECT_FALSE(store->SetExtendData("key", &byte, 0));
  EXPECT_EQ(TheLine(log, 6),
            "mivare/extend_data_impl[#] param error! key[key] buf[] buf_length[0]");
  EXPECT_EQ(store->GetExtendDataLength("key"), 0U);
}

TEST(ExtendData, RefusedSetsNameTheirArguments) {
  struct Case {
    const char* name;
    const char* key;
    const char* source;
    int32_t length;
    const char* text;
  };
  const Case cases[] = {
      {"null key", nullptr, "text", 5, "key[(null)] buf[text] buf_length[5]"},
      {"null source", "key", nullptr, 5, "key[key] buf[(null)] buf_length[5]"},
      {"all wrong", nullptr, nullptr, -1, "key[(null)] buf[(null)] buf_length[-1]"},
      {"negative", "key", "text", -3, "key[key] buf[] buf_length[-3]"},
      {"smallest", "key", "text", INT_MIN, "key[key] buf[] buf_length[-2147483648]"},
      {"text longer than the block", nullptr, "text", 2, "key[(null)] buf[te] buf_length[2]"},
      {"per cent signs", nullptr, "%s%n", 5, "key[(null)] buf[%s%n] buf_length[5]"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto store = MakeExtendData();
    LogCapture log;
    EXPECT_FALSE(store->SetExtendData(c.key, reinterpret_cast<const uint8_t*>(c.source), c.length));
    EXPECT_EQ(TheLine(log, 6), std::string("mivare/extend_data_impl[#] param error! ") + c.text);
    EXPECT_EQ(store->GetExtendDataLength("key"), 0U);
  }
}

TEST(ExtendData, ARefusedBlockIsNotReadBeyondItsLength) {
  const auto store = MakeExtendData();
  LogCapture log;
  const std::vector<uint8_t> unterminated(3, 'x');  // the address sanitizer watches its end
  EXPECT_FALSE(Set(*store, nullptr, unterminated));
  EXPECT_EQ(TheLine(log, 6),
            "mivare/extend_data_impl[#] param error! key[(null)] buf[xxx] buf_length[3]");
}

TEST(ExtendData, ARefusedSetKeepsWhatIsThere) {
  const auto store = MakeExtendData();
  Set(*store, "key", Bytes(3));
  const uint8_t byte = 0;
  EXPECT_FALSE(store->SetExtendData("key", &byte, 0));
  EXPECT_FALSE(store->SetExtendData("key", nullptr, 1));
  EXPECT_EQ(Get(*store, "key"), Bytes(3));
}

TEST(ExtendData, TheSecondSetReplacesTheFirst) {
  const auto store = MakeExtendData();
  EXPECT_TRUE(Set(*store, kKey, Bytes(100)));
  EXPECT_TRUE(Set(*store, kKey, Bytes(10, 50)));
  EXPECT_EQ(store->GetExtendDataLength(kKey), 10U);
  EXPECT_EQ(Get(*store, kKey), Bytes(10, 50));
  EXPECT_TRUE(Set(*store, kKey, Bytes(20, 70)));
  EXPECT_EQ(Get(*store, kKey), Bytes(20, 70));
}

TEST(ExtendData, TooLittleRoomIsRefusedAndTheRoomKept) {
  const auto store = MakeExtendData();
  Set(*store, "key", Bytes(10));
  std::array<uint8_t, 16> room{};
  LogCapture log;
  int32_t length = 9;
  EXPECT_FALSE(store->GetExtendData("key", room.data(), &length));
  EXPECT_EQ(length, 9);
  EXPECT_EQ(room, (std::array<uint8_t, 16>{}));
  EXPECT_EQ(TheLine(log, 6), "mivare/extend_data_impl[#] key[key]dst_length[9] is not enough");
}

TEST(ExtendData, EnoughRoomTakesTheLengthWritten) {
  const auto store = MakeExtendData();
  Set(*store, "key", Bytes(10));
  for (const int32_t room_length : {10, 11, 16, INT_MAX}) {
    SCOPED_TRACE(room_length);
    std::array<uint8_t, 16> room{};
    LogCapture log;
    int32_t length = room_length;
    EXPECT_TRUE(store->GetExtendData("key", room.data(), &length));
    EXPECT_EQ(length, 10);
    std::array<uint8_t, 16> expected{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    EXPECT_EQ(room, expected);
    EXPECT_TRUE(log.Lines().empty());
  }
}

TEST(ExtendData, GettingAnAbsentKeySaysNoKey) {
  const auto store = MakeExtendData();
  std::array<uint8_t, 4> room{};
  LogCapture log;
  int32_t length = 4;
  EXPECT_FALSE(store->GetExtendData("absent", room.data(), &length));
  EXPECT_EQ(length, 4);
  EXPECT_EQ(TheLine(log, 6), "mivare/extend_data_impl[#] no key[absent]!");
}

TEST(ExtendData, GetRefusesBadArguments) {
  const auto store = MakeExtendData();
  Set(*store, "key", Bytes(1));
  std::array<uint8_t, 4> room{};
  struct Case {
    const char* name;
    const char* key;
    uint8_t* destination;
    int32_t length;
  };
  const Case cases[] = {
      {"null key", nullptr, room.data(), 4},
      {"null destination", "key", nullptr, 4},
      {"no room", "key", room.data(), 0},
      {"negative room", "key", room.data(), -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    LogCapture log;
    int32_t length = c.length;
    EXPECT_FALSE(store->GetExtendData(c.key, c.destination, &length));
    EXPECT_EQ(length, c.length);
    EXPECT_EQ(TheLine(log, 6), "mivare/extend_data_impl[#]");
  }
}

TEST(ExtendData, EachReportNamesItsOwnLine) {
  const auto store = MakeExtendData();
  LogCapture log;
  std::array<uint8_t, 4> room{};
  int32_t length = 0;
  store->GetExtendDataLength(nullptr);
  store->GetExtendData("key", room.data(), &length);
  Set(*store, "key", Bytes(1));
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_NE(lines[0].text, lines[1].text);
  EXPECT_NE(lines[1].text, lines[2].text);
}

TEST(ExtendData, RemoveErasesOneKeyInSilence) {
  const auto store = MakeExtendData();
  Set(*store, "a", Bytes(1));
  Set(*store, "b", Bytes(2));
  LogCapture log;
  store->RemoveExtendData("a");
  store->RemoveExtendData("absent");
  store->RemoveExtendData(nullptr);
  EXPECT_TRUE(log.Lines().empty());
  EXPECT_EQ(store->GetExtendDataLength("a"), 0U);
  EXPECT_EQ(store->GetExtendDataLength("b"), 2U);
}

TEST(ExtendData, ACloneIsUnaffectedByLaterChanges) {
  const auto store = MakeExtendData();
  Set(*store, "a", Bytes(5));
  Set(*store, "b", Bytes(6));
  LogCapture log;
  const std::shared_ptr<IExtendData> clone = store->Clone();
  EXPECT_TRUE(log.Lines().empty());
  Set(*store, "a", Bytes(7, 100));
  store->RemoveExtendData("b");
  Set(*store, "c", Bytes(8));
  EXPECT_EQ(Get(*clone, "a"), Bytes(5));
  EXPECT_EQ(Get(*clone, "b"), Bytes(6));
  EXPECT_EQ(clone->GetExtendDataLength("c"), 0U);
  Set(*clone, "d", Bytes(9));
  EXPECT_EQ(store->GetExtendDataLength("d"), 0U);
}

/// Comes back to the store from within the log.
struct StoreSink {
  IExtendData* store;
  int calls = 0;

  static void Receive(void* context, const char*, int32_t, const char*) {
    auto* self = static_cast<StoreSink*>(context);
    self->store->GetExtendDataLength("key");
    ++self->calls;
  }
};

TEST(ExtendData, LogsOutsideItsLock) {
  const auto store = MakeExtendData();
  const LogCapture quiet;
  StoreSink sink{store.get()};
  const uint64_t id = orlo::AddLogSink(&StoreSink::Receive, &sink);
  std::array<uint8_t, 4> room{};
  int32_t length = 1;
  // None of these would return if the sink ran under the store's lock.
  Set(*store, "key", Bytes(3));
  store->GetExtendData("absent", room.data(), &length);
  store->GetExtendData("key", room.data(), &length);
  store->SetExtendData("key", nullptr, 1);
  orlo::RemoveLogSink(id);
  EXPECT_EQ(sink.calls, 4);
}

TEST(ExtendData, SurvivesManyThreads) {
  const auto store = MakeExtendData();
  const LogCapture quiet;
  Set(*store, "shared", Bytes(16, 0));
  std::atomic<int> torn{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&store, &torn, t] {
      const std::string own = "own" + std::to_string(t);
      for (int i = 0; i < 300; ++i) {
        const auto first = static_cast<uint8_t>(i);
        Set(*store, "shared", Bytes(16 + static_cast<size_t>(i % 3), first));
        const std::vector<uint8_t> seen = Get(*store, "shared");
        if (seen.empty() || seen != Bytes(seen.size(), seen[0])) ++torn;
        Set(*store, own.c_str(), Bytes(4, first));
        if (Get(*store->Clone(), own.c_str()) != Bytes(4, first)) ++torn;
        store->RemoveExtendData(own.c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace mivare
