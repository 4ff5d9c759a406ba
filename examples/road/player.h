// Plays a whole source through the library.
#pragma once

#include <filesystem>

#include "report.h"
#include "source.h"

namespace road {

/// Brings the library up, sends every packet of `source` down its road, writes into `folder` (made
/// when it is missing) and shuts the library down. Throws Failure when it cannot go on.
Report Play(Source& source, const std::filesystem::path& folder);

}  // namespace road
