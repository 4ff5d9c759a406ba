// road_clip FORMAT WIDTH HEIGHT FRAMES: a made-up clip as a stream for "road -".
#include <cstdlib>
#include <exception>
#include <iostream>

#include "console.h"
#include "pipe.h"
#include "synthetic_source.h"

int main(int argc, char** argv) {
  if (argc != 5) {
    std::cerr << "road_clip FORMAT WIDTH HEIGHT FRAMES\n";
    return 3;
  }
  try {
    road::UseBinaryStreams();
    road::SyntheticSource source(argv[1], std::atoi(argv[2]), std::atoi(argv[3]),
                                 std::atoi(argv[4]), "s16");
    road::WritePipe(source, std::cout);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "road_clip: " << error.what() << '\n';
    return 3;
  }
}
