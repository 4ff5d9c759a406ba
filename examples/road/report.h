// What the road found out, and the page that it ends with.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "source.h"

namespace road {

/// Requests of one kind. Cold: the library had to get memory; warm: it reused some.
struct RequestCounts {
  std::vector<std::chrono::nanoseconds> cold;
  std::vector<std::chrono::nanoseconds> warm;
};

/// The middle one of some times; 0 when there are none.
std::chrono::nanoseconds Median(std::vector<std::chrono::nanoseconds> times);

/// Two texts (digests, counts) that must be equal. A text that could not be had is empty and equals
/// nothing.
struct Comparison {
  std::string what;
  std::string expected;
  std::string actual;
  bool same() const { return !expected.empty() && expected == actual; }
};

/// The MD5 of a file; empty when it cannot be read.
std::string FileDigest(const std::filesystem::path& path);

/// A written file held against the decoder's own bytes.
Comparison CompareFile(const std::filesystem::path& path, const std::string& decoder_digest);

struct Report {
  StreamInfo info;
  size_t frames = 0;
  size_t sound_blocks = 0;
  RequestCounts frame_requests;
  RequestCounts image_requests;  // the packed frames behind the BMP files
  RequestCounts sound_requests;
  RequestCounts reload_requests;  // the frames behind the files that are read back
  uint64_t peak_bytes = 0;
  uint64_t pooled_bytes = 0;  // held by the library when the host had given everything back
  std::vector<std::filesystem::path> files;
  std::vector<Comparison> comparisons;
  std::vector<std::string> notes;
  size_t live_resources = 0;  // after the library was shut down
  std::string leaks;

  /// Everything compared was the same, and nothing is left alive.
  bool ok() const;
};

void Print(const Report& report, std::ostream& out);

}  // namespace road
