// What does a copy of a frame's description cost, and its end?
#include <benchmark/benchmark.h>

#include "peers/gstreamer.h"
#include "peers/libavutil.h"
#include "support/library.h"

namespace mivare::bench {
namespace {

void Clone(benchmark::State& state) {
  const MediaDescPtr desc = Picture(kPlanar420, kHd);
  desc->GetFrameSize();
  for (auto _ : state) {
    const MediaDescPtr copy(desc->Clone());
    benchmark::DoNotOptimize(copy.get());
  }
}
BENCHMARK(Clone)->Name("clone/mivare");

void CloneAv(benchmark::State& state) {
  const AvFramePtr properties = AvProperties(Notes::kNone);
  for (auto _ : state) {
    const AvFramePtr copy(av_frame_alloc());
    av_frame_copy_props(copy.get(), properties.get());
    benchmark::DoNotOptimize(copy.get());
  }
}
BENCHMARK(CloneAv)->Name("clone/libavutil");

void CloneGst(benchmark::State& state) {
  const GstCapsPtr caps = GstPictureCaps(kHd);
  GstVideoInfo info;
  if (gst_video_info_from_caps(&info, caps.get()) == FALSE) state.SkipWithError("no description");
  for (auto _ : state) {
    const GstVideoInfoPtr info_copy(gst_video_info_copy(&info));
    const GstCapsPtr caps_copy(gst_caps_copy(caps.get()));
    benchmark::DoNotOptimize(info_copy.get());
    benchmark::DoNotOptimize(caps_copy.get());
  }
}
BENCHMARK(CloneGst)->Name("clone/gstreamer");

}  // namespace
}  // namespace mivare::bench
