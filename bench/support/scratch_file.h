// One file in memory where there is a file system for that, else in the temporary folder.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>

namespace mivare::bench {

/// A name that is this process's own; what is there goes in the end.
class ScratchFile {
 public:
  explicit ScratchFile(const std::string& ending)
      : prefix_(Folder() / ("mivare-bench-" + std::to_string(getpid()))), ending_(ending) {}
  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove(path(), ignored);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  std::string path() const { return prefix_ + ending_; }
  /// The path without its ending.
  const std::string& prefix() const { return prefix_; }

 private:
  static std::filesystem::path Folder() {
    const std::filesystem::path in_memory = "/dev/shm";
    return access(in_memory.c_str(), W_OK) == 0 ? in_memory
                                                : std::filesystem::temp_directory_path();
  }

  std::string prefix_;
  std::string ending_;
};

}  // namespace mivare::bench
