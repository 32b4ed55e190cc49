// Geometry on a 24-megapixel 24-bit picture: scaling, the streaming
// scale-crop engine, rotation, mirroring and cropping. Megapixels are those
// of the source picture.
#include "bench_common.h"
#include "geometry/crop.h"
#include "geometry/mirror.h"
#include "geometry/rotate.h"
#include "geometry/scale.h"
#include "geometry/scale_crop.h"

namespace {

using vbench::Image;
using vbench::kHeight;
using vbench::kWidth;
using vbench::Measure;

void BM_ScaleQuarterAveraging(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); },
            [&] { ThScale(work.bits, work.info, kWidth / 4, kHeight / 4, 0); });
}
BENCHMARK(BM_ScaleQuarterAveraging)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ScaleEnlarge1_5Bilinear(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); },
            [&] { ThScale(work.bits, work.info, kWidth * 3 / 2, kHeight * 3 / 2, 0); });
}
BENCHMARK(BM_ScaleEnlarge1_5Bilinear)->UseManualTime()->Unit(benchmark::kMillisecond);

// The engine reads the source without changing it; the output block is
// released after each run.
void EngineRun(benchmark::State& state, LONG cx, LONG cy) {
    Image source(kWidth, kHeight, 24);
    BITMAPINFO* header = VellumNewHeader(kFullHeaderBytes);
    std::size_t working = 0;
    Measure(state, [] {}, [&] {
        void* out = nullptr;
        SIZE size{cx, cy};
        VellumScaleCropEngine(header, &out, source.info, source.bits, &size, -1, -1, -1, -1, 2,
                              &working);
        GlobalFree(out);
    });
    state.counters["working_KiB"] = static_cast<double>(working) / 1024.0;
    VellumDeleteHeader(header);
}

void BM_EngineThumbnail160x120(benchmark::State& state) { EngineRun(state, 160, 120); }
BENCHMARK(BM_EngineThumbnail160x120)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_EngineHalf(benchmark::State& state) { EngineRun(state, kWidth / 2, kHeight / 2); }
BENCHMARK(BM_EngineHalf)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Rotate30(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); },
            [&] { ThRotateFreeAngle(work.bits, work.info, 0.5235987755982988, 128); });
}
BENCHMARK(BM_Rotate30)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_RotateQuarterTurn(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); },
            [&] { ThRotateBmp90(work.bits, work.info, 1); });
}
BENCHMARK(BM_RotateQuarterTurn)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_MirrorLeftRight(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); }, [&] { ThMirror(work.bits, work.info, 0); });
}
BENCHMARK(BM_MirrorLeftRight)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_MirrorTopBottom(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); }, [&] { ThMirror(work.bits, work.info, 1); });
}
BENCHMARK(BM_MirrorTopBottom)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_CropMiddle(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); }, [&] {
        ThCrop(work.bits, work.info, CRect(kWidth / 4, kHeight / 4, kWidth * 3 / 4, kHeight * 3 / 4), 0);
    });
}
BENCHMARK(BM_CropMiddle)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
