// DIB core: BMP files and depth conversion on a 24-megapixel picture.
#include <cstdlib>
#include <string>

#include "bench_common.h"
#include "dib/bmp.h"
#include "dib/convert.h"

namespace {

using vbench::Image;
using vbench::kHeight;
using vbench::kWidth;
using vbench::Measure;

std::string TempBmp(int round) {
    const char* dir = std::getenv("TMPDIR");
    return std::string(dir ? dir : "/tmp") + "/vellum-bench-" + std::to_string(round) + ".bmp";
}

void BM_BmpWriteThenRead(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image back(1, 1, 24);
    // Each round writes a new file and the previous one is removed untimed:
    // truncating a file whose pages are still being written back would time
    // the file system, not the writer.
    int round = 0;
    std::string path;
    Measure(
        state,
        [&] {
            if (!path.empty()) std::remove(path.c_str());
            path = TempBmp(round++);
        },
        [&] {
            ThSaveDibData(path.c_str(), source.bits, source.info);
            ThReadDibData(path.c_str(), back.bits, back.info);
        });
    std::remove(path.c_str());
}
BENCHMARK(BM_BmpWriteThenRead)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ConvertTo24From8(benchmark::State& state) {
    Image source(kWidth, kHeight, 8);
    Image work(1, 1, 8);
    Measure(state, [&] { work.copyFrom(source); }, [&] { ThConvertTo24Bit(work.bits, work.info); });
}
BENCHMARK(BM_ConvertTo24From8)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_ConvertToNumBit24To8(benchmark::State& state) {
    Image source(kWidth, kHeight, 24);
    Image work(1, 1, 24);
    Measure(state, [&] { work.copyFrom(source); },
            [&] { ThConvertToNumBit(work.bits, work.info, 8); });
}
BENCHMARK(BM_ConvertToNumBit24To8)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_PrepareTrueImgFrom32(benchmark::State& state) {
    Image source(kWidth, kHeight, 32);
    Image work(1, 1, 32);
    Measure(state, [&] { work.copyFrom(source); }, [&] { ThPrepareTrueImg(work.bits, work.info); });
}
BENCHMARK(BM_PrepareTrueImgFrom32)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
