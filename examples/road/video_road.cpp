#include "video_road.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <span>
#include <vector>

#include "failure.h"
#include "orlo/md5.h"
#include "paths.h"
#include "reload.h"
#include "to_bgra.h"

namespace road {
namespace {

constexpr size_t kImageEvery = 10;
constexpr int32_t kBgra = 45;

mivare::MediaDescPtr MakeFrameDesc(const VideoInfo& info) {
  mivare::MediaDescPtr desc = mivare::MakeMediaDesc(1, info.format->smt);
  if (desc == nullptr) {
    throw Failure(kNoCounterpart, "the library has no frames of smt " +
                                      std::to_string(info.format->smt) + " for " +
                                      std::string(info.format->name));
  }
  desc->SetWidthHeight(info.width, info.height);
  desc->SetDisplayAspectRatio(info.aspect);
  desc->SetVideoSignalRange(info.range);
  desc->SetVideoMatrix(info.matrix);
  desc->SetTransferCharacter(info.transfer);
  desc->SetColorPrimary(info.primaries);
  desc->SetRotation(static_cast<uint32_t>(info.rotation));
  return desc;
}

// Upright and in full-range RGB; the transfer and the primaries stay.
mivare::MediaDescPtr MakeImageDesc(const VideoInfo& info) {
  mivare::MediaDescPtr desc = mivare::MakeMediaDesc(1, kBgra);
  if (desc == nullptr) throw Failure(kDiffers, "the library has no packed frames");
  const Size size = UprightSize(info);
  desc->SetWidthHeight(size.width, size.height);
  const bool sideways = size.width != info.width;
  desc->SetDisplayAspectRatio(sideways ? orlo::Rational{info.aspect.den, info.aspect.num}
                                       : info.aspect);
  desc->SetVideoSignalRange(1);
  desc->SetVideoMatrix(0);
  desc->SetTransferCharacter(info.transfer);
  desc->SetColorPrimary(info.primaries);
  return desc;
}

std::string Digest(const std::vector<uint8_t>& bytes) {
  return orlo::md5::MD5String(bytes.data(), bytes.size());
}

}  // namespace

VideoRoad::VideoRoad(Library& library, const VideoInfo& info, const std::filesystem::path& folder,
                     Report& report)
    : library_(library),
      info_(info),
      folder_(folder),
      report_(report),
      desc_(MakeFrameDesc(info)),
      image_desc_(MakeImageDesc(info)),
      dump_(DumpPath(*info.format, info.width, info.height, folder / "first")),
      middle_(MiddleOf(info.width, info.height)) {}

void VideoRoad::Take(const Picture& picture) {
  Frame frame;
  frame.time = picture.time;
  const auto buffer = library_.Request(*desc_, picture.time, report_.frame_requests);
  {
    mivare::LockedBuffer lock(*buffer, true);
    if (!lock.ok()) throw Failure(kDiffers, "a frame of the library cannot be locked");
    for (int i = 0; i < info_.format->planes; ++i) {
      const PlaneShape shape = VisibleShape(*info_.format, info_.width, info_.height, i);
      const PlaneView& from = picture.planes[static_cast<size_t>(i)];
      uint8_t* to = lock.plane(static_cast<size_t>(i));
      const ptrdiff_t pitch = lock.pitch(static_cast<size_t>(i));
      const uint8_t* row = from.data;
      for (size_t y = 0; y < shape.rows; ++y, to += pitch, row += from.pitch) {
        std::memcpy(to, row, shape.row_bytes);
      }
    }
  }
  std::vector<uint8_t> bytes =
      GatherPicture(*info_.format, info_.width, info_.height, picture.planes);
  frame.digest = Digest(bytes);
  frame.middle_digest = Digest(GatherPicture(*info_.format, middle_.width, middle_.height,
                                             Middle(*info_.format, picture.planes, middle_)));
  if (first_picture_.empty()) first_picture_ = std::move(bytes);
  const auto time = static_cast<uint64_t>(picture.time);
  frame.sample = mivare::NUXMivareMediaSampleCreate(time, 0, 0, nullptr);
  frame.sample->AddBuffer(buffer);
  under_way_.push_back(std::move(frame));
  if (under_way_.size() == kLookAhead) ShowOldest();
}

void VideoRoad::ShowOldest() {
  const Frame frame = std::move(under_way_.front());
  under_way_.pop_front();
  const auto buffer = frame.sample->GetBuffer(0);
  if (buffer == nullptr) throw Failure(kDiffers, "a sample of the library has lost its frame");
  const auto shown = StandIn(buffer);
  if (IsAsDecoded(*shown, frame)) ++same_;
  if (info_.format->crops && IsMiddleAsDecoded(*Crop(buffer, middle_), frame)) ++same_middles_;
  if (report_.frames == 0 && !info_.format->dump.empty()) Dump(folder_ / "first", dump_, shown);
  if (report_.frames % kImageEvery == 0) WriteImage(*shown, frame.time);
  ++report_.frames;
}

// What the display would see: the samples, the time stamps and the stream's properties.
bool VideoRoad::IsAsDecoded(mivare::IMediaBuffer& shown, const Frame& frame) const {
  const mivare::IMediaDesc& desc = *shown.GetDesc(0);
  if (static_cast<int64_t>(frame.sample->GetParam1()) != frame.time ||
      frame.sample->GetBufferCount() != 1 || TimeOf(shown, ~frame.time) != frame.time ||
      desc.GetWidth() != desc_->GetWidth() || desc.GetHeight() != desc_->GetHeight() ||
      desc.GetVideoSignalRange() != info_.range || desc.GetVideoMatrix() != info_.matrix ||
      desc.GetTransferCharacter() != info_.transfer || desc.GetColorPrimary() != info_.primaries ||
      desc.GetRotation() != static_cast<uint32_t>(info_.rotation) ||
      desc.GetDisplayAspectRatio() != desc_->GetDisplayAspectRatio()) {
    return false;
  }
  return DigestOf(shown, info_.width, info_.height) == frame.digest;
}

bool VideoRoad::IsMiddleAsDecoded(mivare::IMediaBuffer& crop, const Frame& frame) const {
  const mivare::IMediaDesc& desc = *crop.GetDesc(0);
  return desc.GetWidth() == static_cast<uint32_t>(middle_.width) &&
         desc.GetHeight() == static_cast<uint32_t>(middle_.height) &&
         DigestOf(crop, middle_.width, middle_.height) == frame.middle_digest;
}

// Of the visible bytes; empty when the frame cannot be locked.
std::string VideoRoad::DigestOf(mivare::IMediaBuffer& frame, int width, int height) const {
  const mivare::LockedBuffer lock(frame);
  if (!lock.ok()) return {};
  return Digest(GatherPicture(*info_.format, width, height, Views(lock, *info_.format)));
}

void VideoRoad::WriteImage(mivare::IMediaBuffer& frame, int64_t time) {
  const auto image = library_.Request(*image_desc_, time, report_.image_requests);
  {
    const mivare::LockedBuffer from(frame);
    const mivare::LockedBuffer to(*image, true);
    if (!from.ok() || !to.ok()) throw Failure(kDiffers, "a frame of the library cannot be locked");
    ToBgra(info_, Views(from, *info_.format), to.plane(0), to.pitch(0));
  }
  char name[32];
  std::snprintf(name, sizeof(name), "frame_%05zu.bmp", report_.frames);
  const std::filesystem::path path = folder_ / name;
  if (NUXMivareDumpBMP(Utf8FromPath(path).c_str(), image) != 0) {
    throw Failure(kUnusable, "cannot write " + Utf8FromPath(path));
  }
  report_.files.push_back(path);
}

void VideoRoad::Finish() {
  while (!under_way_.empty()) ShowOldest();
}

void VideoRoad::Compare() {
  const std::string all = " of " + std::to_string(report_.frames) + " frames";
  report_.comparisons.push_back(
      {"in memory", std::to_string(report_.frames) + all, std::to_string(same_) + all});
  if (info_.format->crops) {
    report_.comparisons.push_back(
        {"in crops", std::to_string(report_.frames) + all, std::to_string(same_middles_) + all});
  } else {
    report_.notes.push_back("no crops: the library does not show rectangles of " +
                            std::string(info_.format->name));
  }
  if (report_.frames == 0) return;
  const auto first = TightViews(*info_.format, info_.width, info_.height, first_picture_);
  if (info_.format->dump.empty()) {
    report_.notes.push_back("no raw file: the library's raw dump does not know " +
                            std::string(info_.format->name));
  } else {
    report_.files.push_back(dump_);
    report_.comparisons.push_back(
        CompareFile(dump_, Digest(GatherDump(*info_.format, info_.width, info_.height, first))));
  }
  for (const Reloadable& picture : MakeReloadables(info_, first)) {
    Reload(library_, picture, folder_, report_);
  }
}

}  // namespace road
