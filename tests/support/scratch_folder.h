// A folder of a test's own, gone with the test.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>
#include <vector>

namespace mivare::test {

using Bytes = std::vector<uint8_t>;

class ScratchFolder {
 public:
  ScratchFolder() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("mivare_test_" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  /// The full name of a file in it, as UTF-8 text.
  std::string File(const std::string& name) const {
    const std::u8string text = At(name).u8string();
    return {text.begin(), text.end()};
  }
  const std::filesystem::path& Path() const { return path_; }
  bool Has(const std::string& name) const { return std::filesystem::exists(At(name)); }
  bool IsEmpty() const { return std::filesystem::is_empty(path_); }
  uintmax_t Size(const std::string& name) const { return std::filesystem::file_size(At(name)); }
  void Write(const std::string& name, const Bytes& bytes) const {
    std::ofstream out(At(name), std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
  }
  Bytes Read(const std::string& name) const {
    std::ifstream in(At(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path At(const std::string& name) const {
    return path_ / std::filesystem::path(std::u8string(name.begin(), name.end()));
  }

  std::filesystem::path path_;
};

}  // namespace mivare::test
