#include "stress/scenario.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "orlo/event_bus.h"
#include "stress/stamp.h"
#include "support/process.h"
#include "trovel/trovel.h"

namespace mivare::test {
namespace {

int64_t FromEnvironment(const char* name, int64_t otherwise) {
  const char* text = std::getenv(name);
  const int64_t value = text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
  return value > 0 ? value : otherwise;
}

int64_t ScalePercent() {
  static const int64_t percent = FromEnvironment("MIVARE_STRESS_SCALE", 100);
  return percent;
}

// Where threads were last, by their identifiers: two may share a place, and a thread that ended
// leaves its note. Relaxed throughout: the notes must not order the threads that are under test.
// (No thread_local with a destructor: MinGW's run when the thread's storage is gone already.)
std::array<std::atomic<const char*>, 256> places{};

std::string NameOfThisTest() {
  const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
  return test != nullptr ? std::string(test->test_suite_name()) + "." + test->name() : "no test";
}

struct Probe {};

}  // namespace

int Rounds(int count) {
  return static_cast<int>(std::max<int64_t>(1, count * ScalePercent() / 100));
}

void At(const char* place) {
  const size_t mine = std::hash<std::thread::id>()(std::this_thread::get_id()) % places.size();
  places[mine].store(place, std::memory_order_relaxed);
}

Watchdog::Watchdog()
    : Watchdog(NameOfThisTest(),
               std::chrono::seconds(FromEnvironment("MIVARE_STRESS_PATIENCE", 120) *
                                    std::max<int64_t>(100, ScalePercent()) / 100),
               [](const std::string& report) {
                 std::fputs(report.c_str(), stderr);
                 std::fflush(stderr);
                 std::abort();
               }) {}

Watchdog::Watchdog(std::string name, std::chrono::seconds patience, OnHang on_hang)
    : name_(std::move(name)),
      patience_(patience),
      on_hang_(std::move(on_hang)),
      thread_(&Watchdog::Watch, this) {}

Watchdog::~Watchdog() {
  {
    const std::lock_guard lock(mutex_);
    over_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Watchdog::Watch() {
  std::unique_lock lock(mutex_);
  if (changed_.wait_for(lock, patience_, [this] { return over_; })) return;
  std::string report = "WATCHDOG: " + name_ + " has not ended after " +
                       std::to_string(patience_.count()) + " s. Its threads were last at:\n";
  for (const auto& place : places) {
    const char* text = place.load(std::memory_order_relaxed);
    if (text != nullptr) report += std::string("  ") + text + "\n";
  }
  on_hang_(report);
}

BusProbe::BusProbe() {
  orlo::GetGlobalEventBus()->Subscribe<Probe>([heard = heard_](const Probe&) { ++*heard; });
}

bool BusProbe::IsHeard() {
  const int before = *heard_;
  orlo::AsyncEventBus* bus = orlo::GetGlobalEventBus();
  bus->Post(Probe{});
  bus->Flush();
  orlo::ReleaseGlobalEventBus();
  return *heard_ == before + 1;
}

BusProbe::~BusProbe() {
  orlo::ReleaseGlobalEventBus();
  EXPECT_FALSE(IsHeard()) << "somebody still holds the event bus";
}

void Library::Open(IGpuAllocator* gpu) {
  EXPECT_EQ(NUXMivareDefaultAllocatorInit(gpu), 0);
  up_ = true;
}

void Library::Close() {
  if (!std::exchange(up_, false)) return;
  EXPECT_EQ(NUXMivareDefaultAllocatorUninit(), 0);
}

IAllocatorEx& Manager() {
  IAllocatorEx* manager = nullptr;
  NUXMivareDefaultAllocatorAcquire(&manager);
  return *manager;
}

Scenario::Scenario() : threads_before_(CountThreads()) {
  for (auto& place : places) place.store(nullptr, std::memory_order_relaxed);
}

void Scenario::TearDown() {
  At("looking for what is left");
  uint64_t all = 0;
  uint64_t free = 0;
  EXPECT_EQ(Manager().GetMemoryStatus(all, free), -1) << "the library is still up";
  EXPECT_EQ(trovel::CountResources(nullptr), 0U) << trovel::LeakReport();
  EXPECT_EQ(gpu_.lives(), 0);
  { const BusProbe probe; }
  // A thread that was joined, or that left on its own, is gone a moment later.
  for (int i = 0; i < 20'000 && CountThreads() > threads_before_; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_LE(CountThreads(), threads_before_);
}

void Stamp(IMediaBuffer& frame, int32_t stamp) {
  if (frame.GetDesc(0)->GetMemoryLocation() == 1) {
    Native(frame).picture = stamp;
  } else {
    StampRows(frame, stamp);
  }
}

bool HasStamp(IMediaBuffer& frame, int32_t stamp) {
  if (frame.GetDesc(0)->GetMemoryLocation() == 1) return Native(frame).picture == stamp;
  return RowsHoldStamp(frame, stamp);
}

}  // namespace mivare::test
