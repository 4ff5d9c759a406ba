// linked_host WAY: a host that is linked with the library, and the ways in which its process ends.
// Each ends with the host's own status.

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "exit/host.h"
#include "orlo/log.h"

namespace mivare::test {
namespace {

IAllocatorEx* Manager() {
  IAllocatorEx* manager = nullptr;
  NUXMivareDefaultAllocatorAcquire(&manager);
  return manager;
}

std::shared_ptr<IMediaBuffer> Frame(uint32_t memory_location = 0) {
  return AllocFrame(Manager(), &NUXMivareMediaDescCreateEx, memory_location);
}

// Up, with a frame in a pool.
void Use() {
  NUXMivareDefaultAllocatorInit(nullptr);
  Frame().reset();
}

int Asked() { return Manager() != nullptr ? Leave() : Fail("no manager"); }

int Balanced() {
  Use();
  NUXMivareDefaultAllocatorUninit();
  return Leave();
}

int Forgotten() {
  Use();
  return Leave();
}

int ForgottenOnce() {
  Use();
  NUXMivareDefaultAllocatorInit(nullptr);
  NUXMivareDefaultAllocatorUninit();
  return Leave();
}

int FramesOut() {
  Use();
  static const std::vector<std::shared_ptr<IMediaBuffer>> frames{Frame(), Frame()};
  return Leave();
}

int UninitInADestructor() {
  Use();
  struct Guard {
    ~Guard() { NUXMivareDefaultAllocatorUninit(); }
  };
  static const Guard guard;
  return Leave();
}

int ExitOnAnotherThread() {
  Use();
  std::thread([] { std::exit(Leave()); }).join();
  return 1;
}

int ExitOnTheWorker() {
  static FakeGpu gpu;
  gpu.prepare_frame = [](FakeFrame& frame) { frame.on_destroy = [] { std::exit(Leave()); }; };
  NUXMivareDefaultAllocatorInit(&gpu);
  Frame(1).reset();
  Manager()->clear();  // the worker destroys the pooled frame
  std::promise<void> never;
  never.get_future().wait();
  return 1;
}

// Threads in the middle of requests and log lines: on Windows some die with locks in their hands.
// None is left to use the heap by then: whether an orphaned lock of the heap's holds up the process
// is the system's affair, and under Wine it sometimes does.
int Busy() {
  Use();
  constexpr int kThreads = 4;
  static std::atomic<int> warm{0};
  for (int i = 0; i < kThreads; ++i) {
    std::thread([] {
      const std::unique_ptr<IMediaDesc> desc(NUXMivareMediaDescCreateEx(1, 1));
      desc->SetWidthHeight(320, 180);
      for (int round = 1;; ++round) {
        Manager()->Alloc(desc.get(), nullptr, nullptr).reset();
        NUXMivareMediaDescCreateEx(1, 9999);  // logs
        if (round == 100) ++warm;
      }
    }).detach();
  }
  while (warm < kThreads) std::this_thread::yield();
  return Leave();
}

// As Busy, with everything going to a sink of the host's, which keeps off the heap as well: a
// stream without a buffer asks for one at every write.
int BusySink() {
  static std::array<char, 4096> buffer;
  std::setvbuf(stderr, buffer.data(), _IOFBF, buffer.size());
  orlo::SetDefaultLogLevel(INT32_MAX);
  orlo::AddLogSink(
      [](void*, const char*, int32_t, const char* text) {
        if (std::strstr(text, "line[250]") == nullptr) return;
        std::fputs(text, stderr);
        std::fflush(stderr);
      },
      nullptr);
  return Busy();
}

struct Way {
  const char* name;
  int (*run)();
};
constexpr Way kWays[] = {
    {"asked", Asked},
    {"balanced", Balanced},
    {"forgotten", Forgotten},
    {"forgotten_once", ForgottenOnce},
    {"frames_out", FramesOut},
    {"uninit_in_a_destructor", UninitInADestructor},
    {"exit_on_another_thread", ExitOnAnotherThread},
    {"exit_on_the_worker", ExitOnTheWorker},
    {"busy", Busy},
    {"busy_sink", BusySink},
};

}  // namespace
}  // namespace mivare::test

int main(int argc, char** argv) {
  for (const auto& way : mivare::test::kWays) {
    if (argc == 2 && std::strcmp(argv[1], way.name) == 0) return way.run();
  }
  return mivare::test::Fail("no such way");
}
