// road: plays a clip through the library as an editing engine would, and reports what it saw.
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "console.h"
#include "failure.h"
#include "orlo/log.h"
#include "paths.h"
#include "pipe.h"
#include "player.h"

namespace {

constexpr int32_t kErrorsOnly = 6;

constexpr char kUsage[] =
    "road CLIP OUTPUT_FOLDER   plays a clip through the library\n"
    "road - OUTPUT_FOLDER      plays the stream on standard input\n"
    "road --pipe CLIP          decodes a clip into such a stream on standard output\n"
    "\n"
    "Every tenth frame is written as BMP, the first one raw and in all formats that can be read\n"
    "back, the sound as PCM; what was written is compared with the decoder's own bytes.\n"
    "Exit status: 0 all the same and nothing leaked, 1 not so, 2 the clip's format has no\n"
    "counterpart, 3 wrong usage or an unusable file.\n";

int Run(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) {
    std::cerr << kUsage;
    return road::kUnusable;
  }
  orlo::SetDefaultLogLevel(kErrorsOnly);
  if (arguments[0] == "--pipe") {
    const std::unique_ptr<road::Source> clip = road::OpenClip(arguments[1]);
    road::UseBinaryStreams();
    road::WritePipe(*clip, std::cout);
    if (clip->Skipped() > 0) {
      std::cerr << "road: " << clip->Skipped() << " packets could not be decoded\n";
    }
    return road::kPlayed;
  }
  std::unique_ptr<road::Source> source;
  if (arguments[0] == "-") {
    road::UseBinaryStreams();
    source = std::make_unique<road::PipeSource>(std::cin);
  } else {
    source = road::OpenClip(arguments[0]);
  }
  const road::Report report = road::Play(*source, road::PathFromUtf8(arguments[1]));
  road::Print(report, std::cout);
  return report.ok() ? road::kPlayed : road::kDiffers;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(road::Utf8Arguments(argc, argv));
  } catch (const road::Failure& failure) {
    std::cerr << "road: " << failure.what() << '\n';
    return failure.status;
  } catch (const std::exception& error) {
    std::cerr << "road: " << error.what() << '\n';
    return road::kUnusable;
  }
}
