#include "reload.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>

#include "failure.h"
#include "orlo/md5.h"
#include "paths.h"
#include "samples.h"
#include "to_bgra.h"

namespace road {
namespace {

constexpr int32_t kPlanar420 = 1;

Reloadable MakeUpright(const VideoInfo& info, std::span<const PlaneView> planes) {
  const Size size = UprightSize(info);
  Reloadable picture{FindPixelFormat("bgra"), ".bmp", size.width, size.height, {}};
  const size_t row_bytes = size_t{4} * static_cast<size_t>(size.width);
  picture.bytes.resize(row_bytes * static_cast<size_t>(size.height));
  ToBgra(info, planes, picture.bytes.data(), static_cast<ptrdiff_t>(row_bytes));
  return picture;
}

// Keeps the upper 8 bits and the chroma of every second column and row.
Reloadable Make420(const VideoInfo& info, std::span<const PlaneView> planes,
                   const PixelFormat* format) {
  Reloadable picture{format, format->dump, info.width, info.height, {}};
  const int below = info.format->bits - 8;
  const auto byte = [below](int sample) { return static_cast<uint8_t>(sample >> below); };
  std::vector<uint8_t> u;
  std::vector<uint8_t> v;
  for (int y = 0; y < info.height; ++y) {
    for (int x = 0; x < info.width; ++x) {
      const Yuv yuv = YuvAt(*info.format, planes, x, y);
      picture.bytes.push_back(byte(yuv.y));
      if (x % 2 != 0 || y % 2 != 0) continue;
      u.push_back(byte(yuv.u));
      v.push_back(byte(yuv.v));
    }
  }
  if (format->smt == kPlanar420) {
    picture.bytes.insert(picture.bytes.end(), u.begin(), u.end());
    picture.bytes.insert(picture.bytes.end(), v.begin(), v.end());
  } else {
    for (size_t i = 0; i < u.size(); ++i) {
      picture.bytes.push_back(u[i]);
      picture.bytes.push_back(v[i]);
    }
  }
  return picture;
}

std::string DumpDigest(const Reloadable& picture, std::span<const PlaneView> planes) {
  const std::vector<uint8_t> bytes =
      GatherDump(*picture.format, picture.width, picture.height, planes);
  return orlo::md5::MD5String(bytes.data(), bytes.size());
}

std::string Noise(double ratio) {
  if (ratio == std::numeric_limits<double>::max()) return ", no noise";
  std::ostringstream text;
  text << ", " << std::fixed << std::setprecision(2) << ratio << " dB";
  return text.str();
}

std::shared_ptr<mivare::IMediaBuffer> Request(Library& library, const Reloadable& picture,
                                              Report& report) {
  const mivare::MediaDescPtr desc = mivare::MakeMediaDesc(1, picture.format->smt);
  if (desc == nullptr) throw Failure(kDiffers, "the library refuses a format that it reads back");
  desc->SetWidthHeight(picture.width, picture.height);
  return library.Request(*desc, 0, report.reload_requests);
}

// Copies the picture into a frame, or its opposite.
void Fill(mivare::IMediaBuffer& frame, const Reloadable& picture, bool inverted) {
  const mivare::LockedBuffer lock(frame, true);
  if (!lock.ok()) throw Failure(kDiffers, "a frame of the library cannot be locked");
  const auto from = TightViews(*picture.format, picture.width, picture.height, picture.bytes);
  for (size_t i = 0; i < static_cast<size_t>(picture.format->planes); ++i) {
    const PlaneShape shape =
        VisibleShape(*picture.format, picture.width, picture.height, static_cast<int>(i));
    for (size_t y = 0; y < shape.rows; ++y) {
      const uint8_t* row = from[i].data + static_cast<ptrdiff_t>(y) * from[i].pitch;
      std::transform(row, row + shape.row_bytes,
                     lock.plane(i) + static_cast<ptrdiff_t>(y) * lock.pitch(i),
                     [inverted](uint8_t byte) -> uint8_t { return inverted ? ~byte : byte; });
    }
  }
}

// The library's own digest, where it has one of all visible luma.
void CompareDigest(const Reloadable& picture, mivare::IMediaBuffer& loaded, const std::string& file,
                   Report& report) {
  if (picture.format->smt != kPlanar420) return;
  std::string digest;
  NUXMivareMediaBuffer2MD5(&loaded, &digest);
  const size_t luma = VisibleShape(*picture.format, picture.width, picture.height, 0).size();
  report.comparisons.push_back(
      {"luma of " + file, orlo::md5::MD5String(picture.bytes.data(), luma), digest});
}

}  // namespace

std::vector<Reloadable> MakeReloadables(const VideoInfo& info, std::span<const PlaneView> planes) {
  std::vector<Reloadable> pictures;
  pictures.push_back(MakeUpright(info, planes));
  if (info.format->first_components == 1) {
    for (const char* name : {"yuv420p", "nv12"}) {
      pictures.push_back(Make420(info, planes, FindPixelFormat(name)));
    }
  }
  return pictures;
}

Comparison CompareReloaded(const Reloadable& picture,
                           const std::shared_ptr<mivare::IMediaBuffer>& dumped,
                           const std::shared_ptr<mivare::IMediaBuffer>& loaded) {
  // The worst of all planes, or of the components of a packed one.
  double ratio = std::numeric_limits<double>::max();
  const int components = picture.format->first_components == 4 ? 4 : 3;
  for (int i = 0; i < components; ++i) {
    ratio = std::min(ratio, NUXMivareImagePSNR(dumped, loaded, static_cast<uint8_t>(i)));
  }
  const mivare::LockedBuffer lock(*loaded);
  if (!lock.ok()) throw Failure(kDiffers, "a frame of the library cannot be locked");
  const auto expected = TightViews(*picture.format, picture.width, picture.height, picture.bytes);
  return {"reload" + std::string(picture.suffix),
          DumpDigest(picture, expected) + Noise(std::numeric_limits<double>::max()),
          DumpDigest(picture, Views(lock, *picture.format)) + Noise(ratio)};
}

void Reload(Library& library, const Reloadable& picture, const std::filesystem::path& folder,
            Report& report) {
  const auto dumped = Request(library, picture, report);
  Fill(*dumped, picture, false);
  std::filesystem::path file = folder / "reload";
  file += picture.suffix;
  Dump(folder / "reload", file, dumped);
  report.files.push_back(file);

  // Memory that is used again may hold the very picture: every byte of it changes first.
  const auto loaded = Request(library, picture, report);
  Fill(*loaded, picture, true);
  if (!Load(file, loaded)) {
    report.comparisons.push_back({Utf8FromPath(file.filename()), "a file", "not read"});
    return;
  }
  report.comparisons.push_back(CompareReloaded(picture, dumped, loaded));
  CompareDigest(picture, *loaded, Utf8FromPath(file.filename()), report);
}

}  // namespace road
