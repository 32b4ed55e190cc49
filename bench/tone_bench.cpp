// Tone operations on a 24-megapixel picture. Targets, as time over the memcpy
// floor of the same run: ThCurve at most 5; 8-bit grey conversion at most 1.5.
#include "bench_common.h"
#include "effects/tone.h"
#include "effects/tone_tables.h"

namespace {

using vbench::Image;
using vbench::kHeight;
using vbench::kWidth;
using vbench::Measure;

void BM_Curve(benchmark::State& state) {
    Image work(kWidth, kHeight, 24);
    BYTE r[256], g[256], b[256];
    vellum::GammaTables(70, 60, 40, r, g, b);
    Measure(state, [] {}, [&] { ThCurve(work.bits, work.info, r, g, b); });
}
BENCHMARK(BM_Curve)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ConvertToGray(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); }, [&] { ThConvertToGray(work.bits, work.info); });
}
BENCHMARK(BM_ConvertToGray)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ConvertTo8BitGray(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); },
            [&] { ThConvertTo8BitGray(work.bits, work.info); });
}
BENCHMARK(BM_ConvertTo8BitGray)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ConvertToBW(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); }, [&] { ThConvertToBW(work.bits, work.info, 128); });
}
BENCHMARK(BM_ConvertToBW)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Mask(benchmark::State& state) {
    const int mode = static_cast<int>(state.range(0));
    Image work(kWidth, kHeight, 24);
    Image mask(kWidth, kHeight, 24);
    Measure(state, [] {}, [&] {
        ThMask(work.bits, work.info, mask.bits, mask.info, mode, 60, CPoint(0, 0), CRect());
    });
}
BENCHMARK(BM_Mask)->Arg(0)->Arg(2)->Arg(4)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
