// Pictures of the clip sent through the library's files: dumped, read back into another frame, and
// held against the first, in every format that the library reads back.
#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "mivare/mivare.h"
#include "report.h"
#include "requests.h"
#include "source.h"

namespace road {

/// A picture in one of those formats.
struct Reloadable {
  const PixelFormat* format;
  std::string_view suffix;  // of the library's dump
  int width, height;
  std::vector<uint8_t> bytes;  // visible, plane after plane
};

/// A picture of `info` as all that the library reads back: upright in screen colours and, unless it
/// is packed, as 4:2:0 of 8 bits, once with chroma in planes and once in pairs.
std::vector<Reloadable> MakeReloadables(const VideoInfo& info, std::span<const PlaneView> planes);

/// The MD5 of what the file holds of the picture, and the noise between the two frames.
Comparison CompareReloaded(const Reloadable& picture,
                           const std::shared_ptr<mivare::IMediaBuffer>& dumped,
                           const std::shared_ptr<mivare::IMediaBuffer>& loaded);

/// The way of one picture. Writes a file into `folder`, findings into `report`.
void Reload(Library& library, const Reloadable& picture, const std::filesystem::path& folder,
            Report& report);

}  // namespace road
