// Filters and blurs on a 24-megapixel picture. Targets, as time over the
// memcpy floor of the same run: filter kind 1 at most 8; shadow blur radius 5
// and 20 at most 9 each.
#include "bench_common.h"
#include "effects/blur.h"
#include "effects/filter.h"

namespace {

using vbench::Image;
using vbench::kHeight;
using vbench::kWidth;
using vbench::Measure;

void BM_DoFilter(benchmark::State& state) {
    const int kind = static_cast<int>(state.range(0));
    Image work(kWidth, kHeight, 24);
    Measure(state, [] {}, [&] { ThDoFilter(work.bits, work.info, kind, kind <= 2 ? 2 : 1); });
}
BENCHMARK(BM_DoFilter)->Arg(1)->Arg(2)->Arg(3)->Arg(8)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ShadowBlur(benchmark::State& state) {
    const int radius = static_cast<int>(state.range(0));
    Image work(kWidth, kHeight, 24);
    Measure(state, [] {}, [&] { ThDoShadowBlur(work.bits, work.info, radius); });
}
BENCHMARK(BM_ShadowBlur)->Arg(1)->Arg(5)->Arg(20)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
