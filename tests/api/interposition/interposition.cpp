// A host program that defines the log and the resource monitor itself: the library must call these,
// and not what its own companions bring.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "mivare/mivare.h"
#include "orlo/log.h"
#include "trovel/trovel.h"

namespace {

struct Calls {
  std::mutex mutex;
  std::vector<std::string> logged;
  std::vector<std::pair<std::string, void*>> added;
  std::vector<std::pair<std::string, void*>> removed;

  void Clear() {
    const std::lock_guard lock(mutex);
    logged.clear();
    added.clear();
    removed.clear();
  }
};

Calls& Seen() {
  static Calls calls;
  return calls;
}

}  // namespace

void OrloLogPrint(const char* tag, int32_t level, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  const std::lock_guard lock(Seen().mutex);
  Seen().logged.push_back(std::string(tag) + "/" + std::to_string(level) + "/" + text);
}

int32_t trovel::AddResource(const char* name, void* object) {
  const std::lock_guard lock(Seen().mutex);
  Seen().added.emplace_back(name, object);
  return 0;
}

int32_t trovel::RemoveResource(const char* name, void* object) {
  const std::lock_guard lock(Seen().mutex);
  Seen().removed.emplace_back(name, object);
  return 0;
}

namespace {

TEST(Interposition, TheHostsLogIsCalled) {
  Seen().Clear();
  EXPECT_EQ(NUXMivareMediaDescCreateEx(1, 9999), nullptr);
  const std::lock_guard lock(Seen().mutex);
  ASSERT_FALSE(Seen().logged.empty());
  EXPECT_EQ(Seen().logged.back().rfind("mivare/6/", 0), 0U) << Seen().logged.back();
}

TEST(Interposition, TheHostsResourceMonitorIsCalled) {
  Seen().Clear();
  ASSERT_EQ(NUXMivareDefaultAllocatorInit(nullptr), 0);
  mivare::IAllocatorEx* allocator = nullptr;
  ASSERT_EQ(NUXMivareDefaultAllocatorAcquire(&allocator), 0);
  const mivare::MediaDescPtr desc = mivare::MakeMediaDesc(1, 1);
  ASSERT_NE(desc, nullptr);
  desc->SetWidthHeight(64, 64);
  {
    const std::shared_ptr<mivare::IMediaBuffer> frame =
        allocator->Alloc(desc.get(), nullptr, nullptr);
    ASSERT_NE(frame, nullptr);
    const std::lock_guard lock(Seen().mutex);
    // The frame and the storage behind it.
    ASSERT_EQ(Seen().added.size(), 2U);
    EXPECT_EQ(Seen().added[0].first, "Video Buffer");
    EXPECT_EQ(Seen().added[1].first, "Video Buffer");
    EXPECT_TRUE(Seen().removed.empty());
  }
  ASSERT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
  const std::lock_guard lock(Seen().mutex);
  auto added = Seen().added;
  auto removed = Seen().removed;
  std::sort(added.begin(), added.end());
  std::sort(removed.begin(), removed.end());
  EXPECT_EQ(added, removed);
}

}  // namespace
