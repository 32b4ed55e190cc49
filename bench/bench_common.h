// Shared frame for the benchmarks: a 24-megapixel picture, a memcpy floor
// measured in the same run, and counters in megapixels per second and in
// multiples of the floor.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>

#include "dib/dib.h"
#include "platform/global_memory.h"

namespace vbench {

inline constexpr int kWidth = 6000;
inline constexpr int kHeight = 4000;
inline constexpr double kMegapixels = kWidth * double(kHeight) / 1e6;

// Seconds per memcpy of the 24-bit picture; set by the floor benchmark,
// which is registered first.
double& MemcpySeconds();

// An owned pair, filled with a smooth colourful pattern.
struct Image {
    void* bits = nullptr;
    BITMAPINFO* info = nullptr;
    Image() = default;
    Image(int width, int height, int depth);
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    ~Image();
    void copyFrom(const Image& other);
};

// Runs `op` once per iteration with `prepare` untimed before it, and reports
// megapixels per second and the ratio to the memcpy floor.
void Measure(benchmark::State& state, const std::function<void()>& prepare,
             const std::function<void()>& op, double megapixels = kMegapixels);

// Runs `op` on a fresh copy of a 24-megapixel picture of `depth` bits each
// iteration (the copy untimed).
template <typename Op>
void MeasureOnCopy(benchmark::State& state, Op op, int depth = 24) {
    Image source(kWidth, kHeight, depth);
    Image work(1, 1, depth);
    Measure(state, [&] { work.copyFrom(source); }, [&] { op(work); });
}

}  // namespace vbench
