#include "player.h"

#include <optional>
#include <string>
#include <system_error>

#include "audio_road.h"
#include "failure.h"
#include "paths.h"
#include "progress.h"
#include "requests.h"
#include "trovel/trovel.h"
#include "video_road.h"

namespace road {

Report Play(Source& source, const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw Failure(kUnusable, "cannot make " + Utf8FromPath(folder) + ": " + error.message());
  }

  Report report;
  report.info = source.Info();
  {
    Library library;
    std::optional<VideoRoad> video;
    std::optional<AudioRoad> audio;
    if (report.info.video) video.emplace(library, *report.info.video, folder, report);
    if (report.info.audio) audio.emplace(library, *report.info.audio, folder, report);

    Progress progress(report.info.video ? report.info.video->frames : 0);
    while (const std::optional<Packet> packet = source.Next()) {
      if (const auto* picture = std::get_if<Picture>(&*packet)) {
        video->Take(*picture);
        progress.Step();
      } else {
        audio->Take(std::get<Samples>(*packet));
      }
    }
    if (video) video->Finish();
    if (audio) audio->Finish();
    report.peak_bytes = library.peak_bytes();
    report.pooled_bytes = library.HeldBytes();
    if (video) video->Compare();
    if (audio) audio->Compare();
    if (source.Skipped() > 0) {
      report.notes.push_back(std::to_string(source.Skipped()) +
                             " packets of the clip could not be decoded and were left out");
    }
  }
  report.live_resources = trovel::CountResources(nullptr);
  report.leaks = trovel::LeakReport();
  return report;
}

}  // namespace road
