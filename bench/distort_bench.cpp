// Distortions on a 24-megapixel picture. Targets (time over the memcpy floor
// of the same picture, single thread): twist, wave, drop and spiral at most 40.
#include "bench_common.h"
#include "effects/distort.h"

namespace {

using vbench::Image;
using vbench::kHeight;
using vbench::kWidth;
using vbench::Measure;

template <typename Op>
void Run(benchmark::State& state, Op op) {
    vbench::MeasureOnCopy(state, op);
}

void BM_Twist(benchmark::State& state) {
    Run(state, [](Image& w) { ThTwist(w.bits, w.info, 30, 3.0, 5, 1, 255); });
}
BENCHMARK(BM_Twist)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_TwistColumns(benchmark::State& state) {
    Run(state, [](Image& w) { ThTwist(w.bits, w.info, 30, 3.0, 5, 0, 255); });
}
BENCHMARK(BM_TwistColumns)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Wave(benchmark::State& state) {
    Run(state, [](Image& w) { ThWave(w.bits, w.info, 0, 4.0, 3, 0, 255); });
}
BENCHMARK(BM_Wave)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_WaveColumns(benchmark::State& state) {
    Run(state, [](Image& w) { ThWave(w.bits, w.info, 0, 4.0, 3, 1, 255); });
}
BENCHMARK(BM_WaveColumns)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Drop(benchmark::State& state) {
    Run(state, [](Image& w) { ThDrop(w.bits, w.info, 0.5, 0.5, 0, 40, 40); });
}
BENCHMARK(BM_Drop)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Spiral(benchmark::State& state) {
    Run(state, [](Image& w) { ThSpiral(w.bits, w.info, 180.0, 255); });
}
BENCHMARK(BM_Spiral)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Rotate3D(benchmark::State& state) {
    Run(state, [](Image& w) { ThRotate3D(w.bits, w.info, 35.0, 200, 0, 255); });
}
BENCHMARK(BM_Rotate3D)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
