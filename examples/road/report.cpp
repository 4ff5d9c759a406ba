#include "report.h"

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>

#include "orlo/md5.h"
#include "paths.h"

namespace road {
namespace {

std::string Microseconds(std::chrono::nanoseconds time) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << static_cast<double>(time.count()) / 1000 << " us";
  return text.str();
}

std::string Megabytes(uint64_t bytes) {
  std::ostringstream text;
  text << bytes << " bytes (" << std::fixed << std::setprecision(1)
       << static_cast<double>(bytes) / 1e6 << " MB)";
  return text.str();
}

void PrintStreams(const Report& report, std::ostream& out) {
  if (report.info.video) {
    const VideoInfo& video = *report.info.video;
    out << "played     " << report.frames << " frames, " << video.width << " x " << video.height
        << ' ' << video.format->name << " (smt " << video.format->smt << "), "
        << (video.range != 0 ? "full" : "limited") << " range, matrix " << video.matrix
        << ", transfer " << video.transfer << ", primaries " << video.primaries << ", rotation "
        << video.rotation << '\n';
  }
  if (report.info.audio) {
    const AudioInfo& audio = *report.info.audio;
    out << "           " << report.sound_blocks << " blocks of sound, " << audio.rate << " Hz, "
        << audio.channels << " channels, " << audio.format->name << " (smt " << audio.format->smt
        << ")\n";
  }
}

void PrintRequests(const char* kind, const RequestCounts& counts, std::ostream& out) {
  if (counts.cold.empty() && counts.warm.empty()) return;
  out << "  " << std::left << std::setw(9) << kind << std::right << std::setw(5)
      << counts.cold.size() << " cold, median " << std::setw(9)
      << (counts.cold.empty() ? "-" : Microseconds(Median(counts.cold))) << std::setw(9)
      << counts.warm.size() << " warm, median " << std::setw(9)
      << (counts.warm.empty() ? "-" : Microseconds(Median(counts.warm))) << '\n';
}

}  // namespace

std::chrono::nanoseconds Median(std::vector<std::chrono::nanoseconds> times) {
  if (times.empty()) return {};
  const auto middle = times.begin() + static_cast<ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

std::string FileDigest(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return {};
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  return file.bad() ? std::string() : orlo::md5::MD5String(bytes.data(), bytes.size());
}

Comparison CompareFile(const std::filesystem::path& path, const std::string& decoder_digest) {
  return {Utf8FromPath(path.filename()), decoder_digest, FileDigest(path)};
}

bool Report::ok() const {
  const bool same = std::all_of(comparisons.begin(), comparisons.end(),
                                [](const Comparison& comparison) { return comparison.same(); });
  return same && live_resources == 0;
}

void Print(const Report& report, std::ostream& out) {
  PrintStreams(report, out);
  out << "requests\n";
  PrintRequests("frames", report.frame_requests, out);
  PrintRequests("images", report.image_requests, out);
  PrintRequests("sound", report.sound_requests, out);
  PrintRequests("reloads", report.reload_requests, out);
  out << "memory     peak " << Megabytes(report.peak_bytes) << ", pooled at the end "
      << Megabytes(report.pooled_bytes) << '\n';
  out << "files\n";
  for (const auto& file : report.files) {
    out << "  " << Utf8FromPath(std::filesystem::absolute(file)) << '\n';
  }
  out << "compared with the decoder's own bytes\n";
  for (const Comparison& comparison : report.comparisons) {
    out << "  " << std::left << std::setw(22) << comparison.what << std::right << ' '
        << comparison.actual << (comparison.same() ? "  same" : "  DIFFERS from ")
        << (comparison.same() ? "" : comparison.expected) << '\n';
  }
  for (const std::string& note : report.notes) out << "  " << note << '\n';
  out << "alive      " << report.live_resources << " resources after the shutdown\n"
      << report.leaks;
  out << (report.ok() ? "everything is the same, nothing leaked\n" : "FAILED\n");
}

}  // namespace road
