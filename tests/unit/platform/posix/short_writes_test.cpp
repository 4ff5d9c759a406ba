// The system may take less of a write than it is given: here a signal comes while a pipe is full.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "support/scratch_folder.h"

namespace mivare::platform {
namespace {

/// For a scope the signal interrupts what a thread waits for, and does nothing else.
class Interruptions {
 public:
  static constexpr int kSignal = SIGUSR1;

  Interruptions() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(kSignal, &action, &before_);
  }
  ~Interruptions() { sigaction(kSignal, &before_, nullptr); }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

 private:
  struct sigaction before_ = {};
};

TEST(PlatformFile, WritesWhatASignalInterruptedToTheEnd) {
  const Interruptions interruptions;
  const test::ScratchFolder folder;
  const std::string path = folder.File("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::vector<uint8_t> bytes(1 << 20);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 31 + i / 251);
  const size_t third = bytes.size() / 3;
  const std::vector<FilePiece> pieces = {{bytes.data(), third},
                                         {bytes.data() + third, third},
                                         {bytes.data() + 2 * third, bytes.size() - 2 * third}};
  std::promise<void> read;
  bool written = false;
  std::thread writer([&] {
    {
      const File file = OpenFile(path.c_str(), "wb");
      written = file != nullptr && WritePieces(file.get(), pieces);
    }
    read.get_future().wait();  // a signal finds a thread that has not ended
  });

  std::vector<uint8_t> seen;
  const int pipe = open(path.c_str(), O_RDONLY);  // waits for the writer
  EXPECT_GE(pipe, 0);
  std::vector<uint8_t> part(8192);
  for (ssize_t count = 1; count > 0;) {
    // The first may find it in the middle of a write, the others before it wrote anything.
    for (int i = 0; i < 16; ++i) {
      pthread_kill(writer.native_handle(), Interruptions::kSignal);
      std::this_thread::yield();
    }
    count = ::read(pipe, part.data(), part.size());
    if (count > 0) seen.insert(seen.end(), part.begin(), part.begin() + count);
  }
  close(pipe);
  read.set_value();
  writer.join();
  EXPECT_TRUE(written);
  EXPECT_TRUE(seen == bytes);
}

}  // namespace
}  // namespace mivare::platform
