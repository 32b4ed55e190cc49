// ThDoFilter: the numbered 3 x 3 filter family.
#include "effects/filter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "dib/convert.h"
#include "dib/dib.h"
#include "platform/global_memory.h"

namespace vellum {
namespace {

constexpr FilterKernel kBlur[5] = {
    {{1, 3, 1, 3, 20, 3, 1, 3, 1}, 36}, {{1, 3, 1, 3, 10, 3, 1, 3, 1}, 26},
    {{1, 3, 1, 3, 5, 3, 1, 3, 1}, 21},  {{1, 2, 1, 2, 1, 2, 1, 2, 1}, 13},
    {{3, 3, 3, 3, 1, 3, 3, 3, 3}, 25},
};
constexpr FilterKernel kSharpen[5] = {
    {{0, -1, 0, -1, 5, -1, 0, -1, 0}, 1},     {{-1, 0, -1, 0, 5, 0, -1, 0, -1}, 1},
    {{-1, -1, -1, -1, 9, -1, -1, -1, -1}, 1}, {{-1, -2, -1, -2, 13, -2, -1, -2, -1}, 1},
    {{-2, -2, -2, -2, 17, -2, -2, -2, -2}, 1},
};

inline BYTE Clamp255(int v) { return static_cast<BYTE>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

// One filtered row: bytes first..last of `out` from the rows below (r - 1),
// at (r) and above (r + 1) in memory. The kernel is a template argument so the
// compiler sees constant weights and a constant divisor.
template <FilterKernel K>
void ConvolveRow(const BYTE* below, const BYTE* mid, const BYTE* above, BYTE* out,
                 std::int64_t first, std::int64_t last) {
    for (std::int64_t x = first; x <= last; ++x) {
        const int sum = K.weight[0] * below[x - 3] + K.weight[1] * below[x] +
                        K.weight[2] * below[x + 3] + K.weight[3] * mid[x - 3] +
                        K.weight[4] * mid[x] + K.weight[5] * mid[x + 3] +
                        K.weight[6] * above[x - 3] + K.weight[7] * above[x] +
                        K.weight[8] * above[x + 3];
        out[x] = Clamp255(sum / K.divisor);
    }
}

void SmoothRow(const BYTE* below, const BYTE* mid, const BYTE* above, BYTE* out,
               std::int64_t first, std::int64_t last) {
    for (std::int64_t x = first; x <= last; ++x) {
        const int ring = below[x - 3] + below[x] + below[x + 3] + mid[x - 3] + mid[x + 3] +
                         above[x - 3] + above[x] + above[x + 3];
        const int v = (3 * ring + 4 * mid[x]) / 20;
        out[x] = static_cast<BYTE>(v > 255 ? 255 : v);
    }
}

using RowFn = void (*)(const BYTE*, const BYTE*, const BYTE*, BYTE*, std::int64_t, std::int64_t);

template <int K>
constexpr RowFn kBlurRow = ConvolveRow<kBlur[K]>;
template <int K>
constexpr RowFn kSharpenRow = ConvolveRow<kSharpen[K]>;

constexpr RowFn kBlurRows[5] = {kBlurRow<0>, kBlurRow<1>, kBlurRow<2>, kBlurRow<3>, kBlurRow<4>};
constexpr RowFn kSharpenRows[5] = {kSharpenRow<0>, kSharpenRow<1>, kSharpenRow<2>,
                                   kSharpenRow<3>, kSharpenRow<4>};

// Kinds 4..6: horizontal neighbours only.
template <int Kind>
void EdgeRow(const BYTE* src, BYTE* out, std::int64_t first, std::int64_t last) {
    for (std::int64_t x = first; x <= last; ++x) {
        const int l = src[x - 3], c = src[x], r = src[x + 3];
        int v;
        if constexpr (Kind == 4) {
            v = 2 * (l + r) - 3 * c;
        } else if constexpr (Kind == 5) {
            v = 26 * c - 24 * r - l;
        } else {
            v = 5 * c - r - l;
        }
        out[x] = Clamp255(v);
    }
}

// Flat offset of window position n (see the header) relative to byte x of
// row r, for a row stride `stride`.
std::int64_t PositionOffset(int n, std::int64_t stride) {
    return (n / 3 - 1) * stride + 3 * (n % 3 - 1);
}

void EmbossRows(const BYTE* src, BYTE* out, std::int64_t stride, std::int64_t height,
                std::int64_t size, int kind, int strength) {
    int d = kind - 7;
    if (d >= 4) ++d;
    const std::int64_t offA = PositionOffset(d, stride);
    const std::int64_t offB = PositionOffset(8 - d, stride);
    // |p(A) - p(B)| <= 255, so any gain beyond 256 saturates exactly as 256 does.
    const int gain = std::clamp(strength, -256, 256);
    const std::int64_t first = 3, last = stride - 4;
    // A read outside the block is taken from the nearest row inside it.
    auto safe = [&](std::int64_t off) -> int {
        if (off < 0) off += stride;
        if (off >= size) off -= stride;
        return src[off];
    };
    for (std::int64_t r = 1; r <= height - 2; ++r) {
        const std::int64_t base = r * stride;
        const std::int64_t lo = base + first + std::min(offA, offB);
        const std::int64_t hi = base + last + std::max(offA, offB);
        BYTE* o = out + base;
        if (lo >= 0 && hi < size) {
            const BYTE* a = src + base + offA;
            const BYTE* b = src + base + offB;
            for (std::int64_t x = first; x <= last; ++x) {
                o[x] = Clamp255((a[x] - b[x]) * gain + 128);
            }
        } else {
            for (std::int64_t x = first; x <= last; ++x) {
                o[x] = Clamp255((safe(base + x + offA) - safe(base + x + offB)) * gain + 128);
            }
        }
    }
}

}  // namespace

const FilterKernel& BlurKernel(int strength) { return kBlur[std::clamp(strength, 0, 4)]; }
const FilterKernel& SharpenKernel(int strength) { return kSharpen[std::clamp(strength, 0, 4)]; }

}  // namespace vellum

int ThDoFilter(void*& bits, BITMAPINFO*& info, int kind, int strength) {
    using namespace vellum;
    if (!bits || !info || kind < 1 || kind > 16) return 0;
    if ((kind == 1 || kind == 2) && (strength < 0 || strength > 4)) return 0;
    if (!ThConvertTo24Bit(bits, info)) return 0;

    const std::int64_t width = info->bmiHeader.biWidth;
    const std::int64_t height = info->bmiHeader.biHeight;
    const std::int64_t stride = VellumDibStride(24, width);
    const std::int64_t size = stride * height;
    auto* out = static_cast<BYTE*>(GlobalAllocChecked(GMEM_FIXED, size));
    if (!out) return 0;
    const auto* src = static_cast<const BYTE*>(bits);
    const std::int64_t first = 3, last = stride - 4;

    if (kind >= 7) {
        std::memset(out, 128, static_cast<std::size_t>(size));
        EmbossRows(src, out, stride, height, size, kind, strength);
    } else {
        std::memcpy(out, src, static_cast<std::size_t>(size));
        if (kind <= 3) {
            const RowFn row = kind == 1 ? kBlurRows[strength]
                              : kind == 2 ? kSharpenRows[strength]
                                          : SmoothRow;
            for (std::int64_t r = 1; r <= height - 2; ++r) {
                row(src + (r - 1) * stride, src + r * stride, src + (r + 1) * stride,
                    out + r * stride, first, last);
            }
        } else {
            auto* edge = kind == 4 ? EdgeRow<4> : kind == 5 ? EdgeRow<5> : EdgeRow<6>;
            for (std::int64_t r = 0; r < height; ++r) {
                edge(src + r * stride, out + r * stride, first, last);
            }
        }
    }
    GlobalFree(bits);
    bits = out;
    return 1;
}
