// Noise, histogram and artistic effects on a 24-megapixel picture. Targets
// (time over the memcpy floor, single thread): equalise at most 7, solarise
// and negate at most 3, roll at most 4.
#include "bench_common.h"
#include "effects/artistic.h"
#include "effects/histogram.h"
#include "effects/noise.h"

namespace {

using vbench::Image;
using vbench::kHeight;
using vbench::kWidth;
using vbench::Measure;

template <typename Op>
void Run(benchmark::State& state, Op op) {
    vbench::MeasureOnCopy(state, op);
}

void BM_Despeckle(benchmark::State& state) {
    Run(state, [](Image& w) { ThDespeckleImage(w.bits, w.info); });
}
BENCHMARK(BM_Despeckle)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Equalize(benchmark::State& state) {
    Run(state, [](Image& w) { ThEqualizeImage(w.bits, w.info); });
}
BENCHMARK(BM_Equalize)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Normalize(benchmark::State& state) {
    Run(state, [](Image& w) { ThNormalize(w.bits, w.info); });
}
BENCHMARK(BM_Normalize)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_OilPaintRadius3(benchmark::State& state) {
    Run(state, [](Image& w) { ThOilPaintImage(w.bits, w.info, 3); });
}
BENCHMARK(BM_OilPaintRadius3)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Solarize(benchmark::State& state) {
    Run(state, [](Image& w) { ThSolarize(w.bits, w.info, 50.0f); });
}
BENCHMARK(BM_Solarize)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Negate(benchmark::State& state) {
    Run(state, [](Image& w) { ThNegateImage(w.bits, w.info, 0); });
}
BENCHMARK(BM_Negate)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Roll(benchmark::State& state) {
    Run(state, [](Image& w) { ThRollImage(w.bits, w.info, 30, 20); });
}
BENCHMARK(BM_Roll)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ReduceNoise(benchmark::State& state) {
    Run(state, [](Image& w) { ThReduceNoiseImage(w.bits, w.info); });
}
BENCHMARK(BM_ReduceNoise)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
