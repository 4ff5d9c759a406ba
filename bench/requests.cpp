// What does a warm request cost, from asking for a frame to dropping its last handle?
#include <benchmark/benchmark.h>

#include "peers/gstreamer.h"
#include "peers/libavutil.h"
#include "support/library.h"
#include "support/worker.h"

namespace mivare::bench {
namespace {

void Request(benchmark::State& state, Notes notes, int other_keys) {
  const Library library;
  MakeKeys(library, other_keys);
  if (other_keys > 0) AwaitTrimming();
  const MediaDescPtr desc = Picture(kPlanar420, kHd);
  AddNotes(*desc, notes);
  if (library.Request(*desc) == nullptr) state.SkipWithError("no frame");
  for (auto _ : state) benchmark::DoNotOptimize(library.Request(*desc));
}
BENCHMARK_CAPTURE(Request, mivare, Notes::kNone, 0)->Name("request/mivare");
BENCHMARK_CAPTURE(Request, numbers, Notes::kNumbers, 0)->Name("request_numbers/mivare");
BENCHMARK_CAPTURE(Request, texts, Notes::kTexts, 0)->Name("request_texts/mivare");
BENCHMARK_CAPTURE(Request, keys, Notes::kNone, 9'999)
    ->Name("request_many_keys/mivare")
    ->Repetitions(9);  // making the keys takes longer than measuring

void RequestGst(benchmark::State& state) {
  const GstPicturePool pool(kHd);
  if (pool.Take() == nullptr) state.SkipWithError("no buffer");
  for (auto _ : state) benchmark::DoNotOptimize(pool.Take());
}
BENCHMARK(RequestGst)->Name("request/gstreamer");

void RequestAv(benchmark::State& state) {
  const AvFramePool pool(kHd);
  if (pool.Take()->data[2] == nullptr) state.SkipWithError("no frame");
  for (auto _ : state) benchmark::DoNotOptimize(pool.Take());
}
BENCHMARK(RequestAv)->Name("request/libavutil");

void RequestAvWithProperties(benchmark::State& state, Notes notes) {
  const AvFramePool pool(kHd);
  const AvFramePtr properties = AvProperties(notes);
  const AvFramePtr sample = pool.Take(*properties);
  if (sample->nb_side_data != 1 || av_dict_count(sample->metadata) != 2) {
    state.SkipWithError("no properties");
  }
  for (auto _ : state) benchmark::DoNotOptimize(pool.Take(*properties));
}
BENCHMARK_CAPTURE(RequestAvWithProperties, numbers, Notes::kNumbers)
    ->Name("request_numbers/libavutil");
BENCHMARK_CAPTURE(RequestAvWithProperties, texts, Notes::kTexts)->Name("request_texts/libavutil");

}  // namespace
}  // namespace mivare::bench
