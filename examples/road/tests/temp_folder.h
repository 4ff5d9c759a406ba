// A folder of a test's own, gone with it.
#pragma once

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace road {

class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("road_" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace road
