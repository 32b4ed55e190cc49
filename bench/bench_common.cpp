#include "bench_common.h"

#include <vector>

namespace vbench {

double& MemcpySeconds() {
    static double seconds = 0;
    return seconds;
}

Image::Image(int width, int height, int depth) {
    info = VellumNewHeader(kFullHeaderBytes);
    BITMAPINFOHEADER& h = info->bmiHeader;
    h.biSize = 40;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(depth);
    h.biSizeImage = static_cast<DWORD>(VellumDibImageSize(h));
    if (depth <= 8) {
        for (int i = 0; i < (1 << depth); ++i) {
            VellumColorTable(info)[i] = RGBQUAD{BYTE(i * 7), BYTE(255 - i), BYTE(i * 3), 0};
        }
    }
    bits = GlobalAllocChecked(GPTR, h.biSizeImage);
    const std::int64_t stride = VellumDibStride(depth, width);
    auto* b = static_cast<BYTE*>(bits);
    for (std::int64_t y = 0; y < height; ++y) {
        BYTE* row = b + stride * y;
        for (std::int64_t i = 0; i < (width * depth + 7) / 8; ++i) {
            row[i] = static_cast<BYTE>((i * 5 + y * 3 + ((i ^ y) & 31)) & 0xFF);
        }
    }
}

Image::~Image() {
    VellumDeleteHeader(info);
    GlobalFree(bits);
}

void Image::copyFrom(const Image& other) {
    ThCopyDibData(bits, info, other.bits, other.info);
}

void Measure(benchmark::State& state, const std::function<void()>& prepare,
             const std::function<void()>& op, double megapixels) {
    double total = 0;
    for (auto _ : state) {
        prepare();
        const auto start = std::chrono::steady_clock::now();
        op();
        const auto stop = std::chrono::steady_clock::now();
        const double seconds = std::chrono::duration<double>(stop - start).count();
        state.SetIterationTime(seconds);
        total += seconds;
    }
    const double perIteration = total / static_cast<double>(state.iterations());
    state.counters["MP/s"] = megapixels / perIteration;
    if (MemcpySeconds() > 0) state.counters["x_memcpy"] = perIteration / MemcpySeconds();
}

namespace {

void BM_MemcpyFloor(benchmark::State& state) {
    const std::size_t bytes = std::size_t(VellumDibStride(24, kWidth)) * kHeight;
    std::vector<BYTE> src(bytes, 1), dst(bytes, 0);
    double total = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        std::memcpy(dst.data(), src.data(), bytes);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
        const auto stop = std::chrono::steady_clock::now();
        const double seconds = std::chrono::duration<double>(stop - start).count();
        state.SetIterationTime(seconds);
        total += seconds;
    }
    MemcpySeconds() = total / static_cast<double>(state.iterations());
    state.counters["MP/s"] = kMegapixels / MemcpySeconds();
    state.counters["x_memcpy"] = 1.0;
}
BENCHMARK(BM_MemcpyFloor)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(0.5);

}  // namespace
}  // namespace vbench
