// loading_host WAY LIBRARY: a host that loads the library (or a plug-in that uses it) by hand, and
// the ways in which that is unloaded or the process ends. Each ends with the host's own status.

#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <thread>

#include "exit/host.h"
#include "exit/module.h"

namespace mivare::test {
namespace {

constexpr int kTimes = 20;

/// The library, loaded, and what this host needs of it. Unloading is the host's to do.
class Library {
 public:
  explicit Library(const char* path)
      : module_(LoadModule(path)),
        create_(Find<decltype(NUXMivareMediaDescCreateEx)>(module_, "NUXMivareMediaDescCreateEx")),
        init_(Find<decltype(NUXMivareDefaultAllocatorInit)>(module_,
                                                            "NUXMivareDefaultAllocatorInit")),
        uninit_(Find<decltype(NUXMivareDefaultAllocatorUninit)>(
            module_, "NUXMivareDefaultAllocatorUninit")) {
    Find<decltype(NUXMivareDefaultAllocatorAcquire)>(module_,
                                                     "NUXMivareDefaultAllocatorAcquire")(&manager_);
  }
  void Init(IGpuAllocator* gpu = nullptr) const { init_(gpu); }
  void Uninit() const { uninit_(); }
  std::shared_ptr<IMediaBuffer> Frame(uint32_t memory_location = 0) const {
    return AllocFrame(manager_, create_, memory_location);
  }
  /// Of 12 MiB, straight from the system.
  std::shared_ptr<IMediaBuffer> LargeFrame() const {
    return AllocFrame(manager_, create_, 0, 3840, 2160);
  }
  IAllocatorEx* manager() const { return manager_; }
  void* module() const { return module_; }
  void Unload() const { UnloadModule(module_); }

 private:
  void* module_;
  decltype(&NUXMivareMediaDescCreateEx) create_;
  decltype(&NUXMivareDefaultAllocatorInit) init_;
  decltype(&NUXMivareDefaultAllocatorUninit) uninit_;
  IAllocatorEx* manager_ = nullptr;
};

int Asked(const char* path) {
  Library(path).Unload();
  return !IsModuleLoaded(path) ? Leave() : Fail("still loaded");
}

int AfterUninit(const char* path) {
  for (int i = 0; i < kTimes; ++i) {
    const Library library(path);
    library.Init();
    if (library.Frame() == nullptr) return Fail("no frame");
    library.Uninit();
    library.Unload();
    if (IsModuleLoaded(path)) return Fail("still loaded");
  }
  return Leave();
}

int WhileUp(const char* path) {
  const Library library(path);
  library.Init();
  library.Frame().reset();
  library.Unload();
  return IsModuleLoaded(path) ? Leave() : Fail("unloaded under its worker");
}

int WhileUpAndBack(const char* path) {
  for (int i = 0; i < kTimes; ++i) {
    const Library first(path);
    first.Init();
    first.Frame().reset();
    first.Unload();
    if (!IsModuleLoaded(path)) return Fail("unloaded under its worker");
    const Library second(path);
    if (second.manager() != first.manager()) return Fail("loaded twice");
    second.Uninit();
    second.Unload();
    if (IsModuleLoaded(path)) return Fail("still loaded");
  }
  return Leave();
}

// The last Uninit comes from a frame's destructor on the worker, which nobody joins then.
int UninitOnTheWorker(const char* path) {
  for (int i = 0; i < kTimes; ++i) {
    const Library library(path);
    FakeGpu gpu;
    struct Signals {
      std::promise<void> cleared;
      std::promise<void> ended;
    };
    const auto signals = std::make_shared<Signals>();
    gpu.prepare_frame = [&library, signals](FakeFrame& frame) {
      frame.on_destroy = [&library, signals] {
        signals->cleared.get_future().wait();  // nobody else is in a call of the allocator's
        library.Uninit();
        signals->ended.set_value();
      };
    };
    library.Init(&gpu);
    library.Frame(1).reset();
    library.manager()->clear();  // the worker destroys the pooled frame
    signals->cleared.set_value();
    signals->ended.get_future().wait();
    library.Unload();
    if (!ThreadsCanTakeTheirModuleAlong()) {
      if (!IsModuleLoaded(path)) return Fail("unloaded under its worker");
      continue;
    }
    while (IsModuleLoaded(path)) std::this_thread::yield();
  }
  return Leave();
}

// An event of the library may be waiting then, to be delivered by code of the library.
int AfterMemoryRanOut(const char* path) {
  const Library library(path);
  library.Init();
  std::shared_ptr<IMediaBuffer> held = library.LargeFrame();  // so that no pool has one
  if (held == nullptr) return Fail("no frame");
  {
    const NoRoom no_room(library.module(), size_t{1} << 22);
    if (library.LargeFrame() != nullptr) return Fail("a frame without room");
  }
  if (library.LargeFrame() == nullptr) return Fail("no frame again");
  held.reset();
  library.Uninit();
  library.Unload();
  return IsModuleLoaded(path) ? Leave() : Fail("unloaded under its event");
}

int Forgotten(const char* path) {
  const Library library(path);
  library.Init();
  library.Frame().reset();
  return Leave();
}

int Plugin(const char* path) {
  Find<void()>(LoadModule(path), "StartPlugin")();
  return Leave();
}

struct Way {
  const char* name;
  int (*run)(const char* path);
};
constexpr Way kWays[] = {
    {"asked", Asked},
    {"after_uninit", AfterUninit},
    {"while_up", WhileUp},
    {"while_up_and_back", WhileUpAndBack},
    {"uninit_on_the_worker", UninitOnTheWorker},
    {"after_memory_ran_out", AfterMemoryRanOut},
    {"forgotten", Forgotten},
    {"plugin", Plugin},
};

}  // namespace
}  // namespace mivare::test

int main(int argc, char** argv) {
  for (const auto& way : mivare::test::kWays) {
    if (argc == 3 && std::strcmp(argv[1], way.name) == 0) return way.run(argv[2]);
  }
  return mivare::test::Fail("no such way");
}
