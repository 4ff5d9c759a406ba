// For builds without the decoding libraries.
#include "failure.h"
#include "source.h"

namespace road {

std::unique_ptr<Source> OpenClip(const std::string&) {
  throw Failure(kUnusable,
                "this build has no decoder of its own; let another one decode:\n"
                "  road --pipe CLIP | road - OUTPUT_FOLDER");
}

}  // namespace road
