// check_loop: the library's one thread.
//
//   starts   with the hybrid allocator, which waits until it runs
//   passes   about every 100 ms: gives idle frames and the CPU allocator's surplus back
//   tasks    end its wait early and run one a pass, in the order of their queuing
//   reports  the system's state when more than 10 s have passed since the last report
//   ends     at the allocator's end: the task it is in, a last forced reduction, pools closed
//
// While it runs, it keeps its own code loaded: a host may unload the library at any time.
#pragma once

#include <memory>
#include <thread>

#include "platform/platform.h"

namespace mivare {

class FramePools;
class IAllocator;

class check_loop {
 public:
  /// Starts the thread and returns once it runs. Throws std::system_error when there is none to be
  /// had. The thread shares both arguments.
  check_loop(std::shared_ptr<FramePools> pools, std::shared_ptr<IAllocator> cpu_allocator);
  /// Stops the thread and joins it; every pool is empty and closed then. On the thread itself, in a
  /// frame's destructor or a task, it cannot wait: the thread ends by itself then, and the code
  /// stays until it has.
  ~check_loop();
  check_loop(const check_loop&) = delete;
  check_loop& operator=(const check_loop&) = delete;

 private:
  platform::ModuleReference module_;            // first: given back when all else is gone
  platform::ModuleReference* alone_ = nullptr;  // of the thread: takes module_ if nobody joins it
  std::shared_ptr<FramePools> pools_;
  std::thread thread_;
};

}  // namespace mivare
