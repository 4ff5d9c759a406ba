// The one file that targets of a process write and read back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "support/scratch_folder.h"

namespace mivare::fuzz {

inline const test::ScratchFolder& Scratch() {
  static const test::ScratchFolder folder;
  return folder;
}

inline const std::string& ScratchFile() {
  static const std::string name = Scratch().File("file");
  return name;
}

inline void WriteScratch(std::span<const uint8_t> bytes) {
  std::FILE* file = std::fopen(ScratchFile().c_str(), "wb");
  FUZZ_CHECK(file != nullptr);
  FUZZ_CHECK(std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
  std::fclose(file);
}

/// Empty when there is no such file. Takes it away.
inline std::vector<uint8_t> TakeFile(const std::string& name) {
  std::vector<uint8_t> bytes;
  std::FILE* file = std::fopen(name.c_str(), "rb");
  if (file == nullptr) return bytes;
  uint8_t chunk[4096];
  for (size_t count = 0; (count = std::fread(chunk, 1, sizeof(chunk), file)) > 0;) {
    bytes.insert(bytes.end(), chunk, chunk + count);
  }
  std::fclose(file);
  FUZZ_CHECK(std::remove(name.c_str()) == 0);
  return bytes;
}

}  // namespace mivare::fuzz
